// Published test vectors for the block ciphers, from NIST and FIPS 81.
#pragma once

#include <ostream>

#include "cryptoki/Pkcs11.h"

struct CipherVector {
  const char* name;
  CK_KEY_TYPE type;
  CK_MECHANISM_TYPE mechanism;
  const char* key;
  const char* iv;  // empty in ECB mode
  const char* plain;
  const char* encrypted;
};

inline void PrintTo(const CipherVector& test, std::ostream* out) { *out << test.name; }

// "Now is the time for all ", from FIPS 81.
constexpr char kFips81[] = "4e6f77206973207468652074696d6520666f7220616c6c20";
// "The qufck brown fox jump", from SP 800-67.
constexpr char kSp800_67[] = "54686520717566636b2062726f776e20666f78206a756d70";
constexpr char kSp800_38A[] =
    "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";
// Its first half, from NIST's examples for TDEA.
constexpr char kTdea[] = "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51";
constexpr char kTwoKeys[] = "0123456789abcdef23456789abcdef01";
constexpr char kThreeKeys[] = "0123456789abcdef23456789abcdef01456789abcdef0123";
constexpr char kAes256[] = "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4";
constexpr char kFips197[] = "00112233445566778899aabbccddeeff";
constexpr char kCounting[] = "000102030405060708090a0b0c0d0e0f";

constexpr CipherVector kCipherVectors[] = {
    {"DesEcb", CKK_DES, CKM_DES_ECB, "0123456789abcdef", "", kFips81,
     "3fa40e8a984d48156a271787ab8883f9893d51ec4b563b53"},
    {"DesCbc", CKK_DES, CKM_DES_CBC, "0123456789abcdef", "1234567890abcdef", kFips81,
     "e5c7cdde872bf27c43e934008c389c0f683788499a7c05f6"},
    // The first variable plaintext known answer of SP 800-17. Its key is weak.
    {"DesEcbByAWeakKey", CKK_DES, CKM_DES_ECB, "0101010101010101", "", "8000000000000000", "95f8a5e5dd31d900"},
    {"Des2Ecb", CKK_DES2, CKM_DES3_ECB, kTwoKeys, "", kTdea,
     "06ede3d82884090aff322c19f0518486730576972a666e58b6c88cf107340d3d"},
    {"Des2Cbc", CKK_DES2, CKM_DES3_CBC, kTwoKeys, "f69f2445df4f9b17", kTdea,
     "7401ce1eab6d003caff84bf47b36cc2154f0238f9ffecd8f6acf118392b45581"},
    {"Des3Ecb", CKK_DES3, CKM_DES3_ECB, kThreeKeys, "", kTdea,
     "714772f339841d34267fcc4bd2949cc3ee11c22a576a303876183f99c0b6de87"},
    {"Des3EcbOfSp80067", CKK_DES3, CKM_DES3_ECB, kThreeKeys, "", kSp800_67,
     "a826fd8ce53b855fcce21c8112256fe668d5c05dd9b6b900"},
    {"Des3Cbc", CKK_DES3, CKM_DES3_CBC, kThreeKeys, "f69f2445df4f9b17", kTdea,
     "2079c3d53aa763e193b79e2569ab5262516570481f25b50f73c0bda85c8e0da7"},
    {"Aes128Ecb", CKK_AES, CKM_AES_ECB, "2b7e151628aed2a6abf7158809cf4f3c", "", kSp800_38A,
     "3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf"
     "43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4"},
    {"Aes128Cbc", CKK_AES, CKM_AES_CBC, "2b7e151628aed2a6abf7158809cf4f3c", kCounting, kSp800_38A,
     "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
     "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
    {"Aes256Cbc", CKK_AES, CKM_AES_CBC, kAes256, kCounting, kSp800_38A,
     "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
     "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b"},
    // FIPS 197, appendix C.2.
    {"Aes192Ecb", CKK_AES, CKM_AES_ECB, "000102030405060708090a0b0c0d0e0f1011121314151617", "", kFips197,
     "dda97ca4864cdfe06eaf70a0ec0d7191"},
};

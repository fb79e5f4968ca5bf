// The lists of CryptGetProvParam.
#include "ProviderParams.h"

namespace {

// Several questions, one after another, in one context.
Call Containers(std::vector<DWORD> flags) {
  return [flags](const Side& side) {
    const Prepared context(side);
    std::string answers;
    for (const DWORD flag : flags) {
      answers += (answers.empty() ? "" : ", then ") + AskProvider(context, PP_ENUMCONTAINERS, As::kText, 1024, flag);
    }
    return answers;
  };
}
DWORD Algorithms(HCRYPTPROV context, DWORD parameter) {
  DWORD count = 0;
  BYTE row[sizeof(PROV_ENUMALGS_EX)];
  DWORD length = sizeof row;
  for (DWORD flags = CRYPT_FIRST; CryptGetProvParam(context, parameter, row, &length, flags) != FALSE;
       flags = CRYPT_NEXT) {
    ++count;
    length = sizeof row;
  }
  return count;
}
Call CountAlgorithms(DWORD parameter) {
  return [parameter](const Side& side) {
    const Prepared context(side);
    const DWORD count = Algorithms(context, parameter);
    return "TRUE, " + Number(count) + ", then " + CodeName(GetLastError());
  };
}

// Whether the list has the algorithm, and with which lengths in bits.
Call Listed(ALG_ID algorithm) {
  return [algorithm](const Side& side) {
    const Prepared context(side);
    PROV_ENUMALGS_EX row = {};
    DWORD length = sizeof row;
    for (DWORD flags = CRYPT_FIRST;
         CryptGetProvParam(context, PP_ENUMALGS_EX, reinterpret_cast<BYTE*>(&row), &length, flags) != FALSE;
         flags = CRYPT_NEXT) {
      if (row.aiAlgid == algorithm) {
        return "TRUE, " + Number(row.dwDefaultLen) + " (" + Number(row.dwMinLen) + " to " + Number(row.dwMaxLen) + ")";
      }
      length = sizeof row;
    }
    return std::string("not listed");
  };
}

}  // namespace

const Rows kEnumerationRows = {
    {"list.containers", "PP_ENUMCONTAINERS, CRYPT_FIRST", "TRUE, prepared", Containers({CRYPT_FIRST})},
    {"list.containers_next", "PP_ENUMCONTAINERS, CRYPT_FIRST, then CRYPT_NEXT",
     "TRUE, prepared, then FALSE ERROR_NO_MORE_ITEMS", Containers({CRYPT_FIRST, CRYPT_NEXT})},
    {"list.containers_0", "PP_ENUMCONTAINERS, CRYPT_FIRST, then flags 0",
     "TRUE, prepared, then FALSE ERROR_NO_MORE_ITEMS", Containers({CRYPT_FIRST, 0})},
    {"list.containers_twice", "PP_ENUMCONTAINERS, CRYPT_FIRST twice", "TRUE, prepared, then TRUE, prepared",
     Containers({CRYPT_FIRST, CRYPT_FIRST})},
    {"list.containers_both", "PP_ENUMCONTAINERS, CRYPT_FIRST and CRYPT_NEXT together", "FALSE NTE_BAD_FLAGS",
     Containers({CRYPT_FIRST | CRYPT_NEXT})},
    {"list.containers_size", "PP_ENUMCONTAINERS, CRYPT_FIRST, null buffer", "TRUE; room for the longest name",
     GetProviderSize(PP_ENUMCONTAINERS, CRYPT_FIRST)},
    {"list.containers_small", "PP_ENUMCONTAINERS, CRYPT_FIRST, 4 bytes", "FALSE ERROR_MORE_DATA",
     GetProvider(PP_ENUMCONTAINERS, As::kText, 4, CRYPT_FIRST)},
    {"list.containers_exact", "PP_ENUMCONTAINERS, CRYPT_FIRST, as many bytes as the name", "TRUE, prepared",
     GetProvider(PP_ENUMCONTAINERS, As::kText, 9, CRYPT_FIRST)},
    {"list.containers_length", "the length after PP_ENUMCONTAINERS, CRYPT_FIRST",
     "TRUE; of the name, or of the longest", GetProvider(PP_ENUMCONTAINERS, As::kLength, 1024, CRYPT_FIRST)},
    {"list.containers_verify", "PP_ENUMCONTAINERS in a verification context", "TRUE, prepared",
     GetForVerification(PP_ENUMCONTAINERS, As::kText, CRYPT_FIRST)},
    {"list.algorithms", "PP_ENUMALGS to its end", "TRUE; then ERROR_NO_MORE_ITEMS", CountAlgorithms(PP_ENUMALGS)},
    {"list.algorithms_ex", "PP_ENUMALGS_EX to its end", "TRUE; then ERROR_NO_MORE_ITEMS",
     CountAlgorithms(PP_ENUMALGS_EX)},
    {"list.algorithms_size", "PP_ENUMALGS, null buffer", "TRUE, length 32", GetProviderSize(PP_ENUMALGS, CRYPT_FIRST)},
    {"list.algorithms_ex_size", "PP_ENUMALGS_EX, null buffer", "TRUE, length 88",
     GetProviderSize(PP_ENUMALGS_EX, CRYPT_FIRST)},
    {"list.algorithms_small", "PP_ENUMALGS, 8 bytes", "FALSE ERROR_MORE_DATA",
     GetProvider(PP_ENUMALGS, As::kLength, 8, CRYPT_FIRST)},
    {"list.algorithms_verify", "PP_ENUMALGS in a verification context", "TRUE",
     GetForVerification(PP_ENUMALGS, As::kLength, CRYPT_FIRST)},
    {"list.md2", "PP_ENUMALGS_EX lists MD2, in bits", "TRUE, 128 (128 to 128)", Listed(CALG_MD2)},
    {"list.md4", "PP_ENUMALGS_EX lists MD4", "TRUE, 128 (128 to 128)", Listed(CALG_MD4)},
    {"list.md5", "PP_ENUMALGS_EX lists MD5", "TRUE, 128 (128 to 128)", Listed(CALG_MD5)},
    {"list.sha1", "PP_ENUMALGS_EX lists SHA-1", "TRUE, 160 (160 to 160)", Listed(CALG_SHA1)},
    {"list.sha256", "PP_ENUMALGS_EX lists SHA-256", "TRUE, 256 (256 to 256)", Listed(CALG_SHA_256)},
    {"list.sha384", "PP_ENUMALGS_EX lists SHA-384", "TRUE, 384 (384 to 384)", Listed(0x800D)},
    {"list.sha512", "PP_ENUMALGS_EX lists SHA-512", "TRUE, 512 (512 to 512)", Listed(CALG_SHA_512)},
    {"list.ssl3", "PP_ENUMALGS_EX lists CALG_SSL3_SHAMD5", "TRUE, 288 (288 to 288)", Listed(CALG_SSL3_SHAMD5)},
    {"list.mac", "PP_ENUMALGS_EX lists MAC", "TRUE, 0 (0 to 0)", Listed(CALG_MAC)},
    {"list.hmac", "PP_ENUMALGS_EX lists HMAC", "TRUE, 0 (0 to 0)", Listed(CALG_HMAC)},
    {"list.rsa_sign", "PP_ENUMALGS_EX lists RSA signatures", "TRUE, 1024 (384 to 16384)", Listed(CALG_RSA_SIGN)},
    {"list.rsa_keyx", "PP_ENUMALGS_EX lists RSA key exchange", "TRUE, 1024 (384 to 16384)", Listed(CALG_RSA_KEYX)},
    {"list.des", "PP_ENUMALGS_EX lists DES", "TRUE, 56 (56 to 56)", Listed(CALG_DES)},
    {"list.3des_112", "PP_ENUMALGS_EX lists triple DES with two keys", "TRUE, 112 (112 to 112)", Listed(CALG_3DES_112)},
    {"list.3des", "PP_ENUMALGS_EX lists triple DES", "TRUE, 168 (168 to 168)", Listed(CALG_3DES)},
    {"list.rc2", "PP_ENUMALGS_EX lists RC2", "TRUE, 128 (40 to 128)", Listed(CALG_RC2)},
    {"list.rc4", "PP_ENUMALGS_EX lists RC4", "TRUE, 128 (40 to 128)", Listed(CALG_RC4)},
    {"list.aes128", "PP_ENUMALGS_EX lists AES-128", "TRUE, 128 (128 to 128)", Listed(CALG_AES_128)},
    {"list.aes192", "PP_ENUMALGS_EX lists AES-192", "TRUE, 192 (192 to 192)", Listed(CALG_AES_192)},
    {"list.aes256", "PP_ENUMALGS_EX lists AES-256", "TRUE, 256 (256 to 256)", Listed(CALG_AES_256)},
};

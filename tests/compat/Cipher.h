// Session keys that both providers have, and how they are used.
#pragma once

#include "common/Platform.h"

#include "Row.h"

constexpr DWORD kOaep = 0x40;

struct Cipher {
  ALG_ID algorithm;
  DWORD keyBytes;
  DWORD mode;
};
constexpr Cipher kTriple = {CALG_3DES, 24, CRYPT_MODE_CBC};
constexpr Cipher kTripleEcb = {CALG_3DES, 24, CRYPT_MODE_ECB};
constexpr Cipher kTwoKeys = {CALG_3DES_112, 16, CRYPT_MODE_CBC};
constexpr Cipher kDes = {CALG_DES, 8, CRYPT_MODE_CBC};
constexpr Cipher kDesEcb = {CALG_DES, 8, CRYPT_MODE_ECB};
constexpr Cipher kAes = {CALG_AES_128, 16, CRYPT_MODE_CBC};
constexpr Cipher kAesEcb = {CALG_AES_128, 16, CRYPT_MODE_ECB};
constexpr Cipher kAes256 = {CALG_AES_256, 32, CRYPT_MODE_CBC};

// Sets the mode of a key, and an IV where the mode has one. Throws StepFailed.
void SetMode(HCRYPTKEY key, const Cipher& cipher);

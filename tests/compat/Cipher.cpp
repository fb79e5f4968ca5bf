#include "Cipher.h"

namespace {

void SetKeyNumber(HCRYPTKEY key, DWORD parameter, DWORD number) {
  Step(CryptSetKeyParam(key, parameter, reinterpret_cast<const BYTE*>(&number), 0), "CryptSetKeyParam");
}
void SetIv(HCRYPTKEY key) { Step(CryptSetKeyParam(key, KP_IV, Bytes(16, 0x5A).data(), 0), "CryptSetKeyParam"); }

}  // namespace

void SetMode(HCRYPTKEY key, const Cipher& cipher) {
  SetKeyNumber(key, KP_MODE, cipher.mode);
  if (cipher.mode != CRYPT_MODE_ECB) SetIv(key);
}

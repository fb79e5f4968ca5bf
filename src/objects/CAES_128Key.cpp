#include "objects/CAES_128Key.h"

#include "common/CCSPContextError.h"

namespace {

constexpr DWORD kAESKeyLength = 16;
constexpr DWORD kAESBlockLength = 16;
constexpr DWORD kAESBlockBits = 128;
constexpr DWORD kAESFeedbackBits = 16;

}  // namespace

CAES_128Key::CAES_128Key() : CCSPSecretKey(CALG_AES_128, kAESKeyLength, 0) {}
CAES_128Key::~CAES_128Key() = default;

void CAES_128Key::SetAlgID(DWORD /*algorithm*/) {}
void CAES_128Key::SetBlockLength(DWORD /*bits*/) {}
void CAES_128Key::SetKeyLength(DWORD /*length*/) {}

void CAES_128Key::SetMode(DWORD mode) {
  CCSPSecretKey::SetMode(mode);
  switch (mode) {
    case CRYPT_MODE_CBC:
      return UseMode(kAESBlockBits, CKM_AES_CBC, kAESBlockLength);
    case CRYPT_MODE_ECB:
      return UseMode(kAESBlockBits, CKM_AES_ECB, 0);
    case CRYPT_MODE_OFB:
    case CRYPT_MODE_CFB:
      return UseMode(kAESFeedbackBits, CKM_AES_CBC, kAESBlockLength);
    default:
      throw CCSPContextError("Invalid Mode specified", NTE_BAD_FLAGS);
  }
}

void CAES_128Key::SetIV(const BYTE* iv, DWORD length) {
  if (iv == nullptr || length != kAESBlockLength) {
    throw CCSPContextError("Initial Vector should be 16 for AES Keys", NTE_BAD_DATA);
  }
  UseIV(iv, length);
}

#include "objects/CDESKey.h"

#include "common/CCSPContextError.h"

namespace {

constexpr DWORD kDESKeyLength = 8;
constexpr DWORD kDESBlockLength = 8;
constexpr DWORD kDESBlockBits = 64;
constexpr DWORD kDESFeedbackBits = 8;

}  // namespace

CDESKey::CDESKey() : CDESKey(CALG_DES, kDESKeyLength) {}
CDESKey::CDESKey(ALG_ID algorithm, DWORD keyLength) : CCSPSecretKey(algorithm, keyLength, kDESBlockBits) {}
CDESKey::~CDESKey() = default;

void CDESKey::SetAlgID(DWORD /*algorithm*/) {}
void CDESKey::SetBlockLength(DWORD /*bits*/) {}
void CDESKey::SetKeyLength(DWORD /*length*/) {}

void CDESKey::SetMode(DWORD mode) {
  CCSPSecretKey::SetMode(mode);
  switch (mode) {
    case CRYPT_MODE_CBC:
      return UseMode(kDESBlockBits, CKM_DES_CBC, kDESBlockLength);
    case CRYPT_MODE_ECB:
      return UseMode(kDESBlockBits, CKM_DES_ECB, 0);
    case CRYPT_MODE_OFB:
    case CRYPT_MODE_CFB:
      return UseMode(kDESFeedbackBits, CKM_DES_CBC, kDESBlockLength);
    default:
      return;
  }
}

void CDESKey::SetTripleMode(DWORD mode) {
  CDESKey::SetMode(mode);
  switch (mode) {
    case CRYPT_MODE_CBC:
    case CRYPT_MODE_OFB:
    case CRYPT_MODE_CFB:
      return UseMechanism(CKM_DES3_CBC);
    case CRYPT_MODE_ECB:
      return UseMechanism(CKM_DES3_ECB);
    default:
      return;
  }
}

void CDESKey::SetIV(const BYTE* iv, DWORD length) {
  if (iv == nullptr || length != kDESBlockLength) {
    throw CCSPContextError("Initial Vector should be 8 for DES Keys", NTE_BAD_DATA);
  }
  UseIV(iv, length);
}

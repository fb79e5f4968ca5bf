#include "objects/CDESKey.h"

#include "common/CCSPContextError.h"

namespace {

constexpr DWORD kKeyLength = 8;
constexpr DWORD kBlockLength = 8;
constexpr DWORD kBlockBits = 64;
constexpr DWORD kFeedbackBits = 8;

}  // namespace

CDESKey::CDESKey() : CDESKey(CALG_DES, kKeyLength) {}
CDESKey::CDESKey(ALG_ID algorithm, DWORD keyLength) : CCSPSecretKey(algorithm, keyLength, kBlockBits) {}
CDESKey::~CDESKey() = default;

void CDESKey::SetAlgID(DWORD /*algorithm*/) {}
void CDESKey::SetBlockLength(DWORD /*bits*/) {}
void CDESKey::SetKeyLength(DWORD /*length*/) {}

void CDESKey::SetMode(DWORD mode) {
  CCSPSecretKey::SetMode(mode);
  switch (mode) {
    case CRYPT_MODE_CBC:
      return UseMode(kBlockBits, CKM_DES_CBC, kBlockLength);
    case CRYPT_MODE_ECB:
      return UseMode(kBlockBits, CKM_DES_ECB, 0);
    case CRYPT_MODE_OFB:
    case CRYPT_MODE_CFB:
      return UseMode(kFeedbackBits, CKM_DES_CBC, kBlockLength);
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
  if (iv == nullptr || length != kBlockLength) {
    throw CCSPContextError("Initial Vector should be 8 for DES Keys", NTE_BAD_DATA);
  }
  UseIV(iv, length);
}

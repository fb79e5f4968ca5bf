#include "objects/SHA1MD5Hash.h"

#include <algorithm>
#include <utility>

#include "common/CCSPContextError.h"
#include "cryptoki/CryptokiError.h"

namespace {

constexpr DWORD kMD5Length = 16;
constexpr DWORD kSHA1Length = 20;

// Digests the message into `out`, which has space for `space` bytes. Returns the length of the digest.
DWORD DigestInto(Session& session, CK_MECHANISM_TYPE type, BYTE* message, DWORD length, BYTE* out, DWORD space) {
  session.DigestInit(Mechanism(type));
  CK_ULONG outLength = space;
  session.Digest(message, length, out, &outLength);
  return static_cast<DWORD>(std::min<CK_ULONG>(outLength, space));
}

}  // namespace

SHA1MD5Hash::~SHA1MD5Hash() = default;

// NOLINTNEXTLINE(misc-unconventional-assign-operator): virtual, as the interface requires
SHA1MD5Hash& SHA1MD5Hash::operator=(const SHA1MD5Hash& other) {
  if (this == &other) return *this;
  CCSPHash::operator=(other);
  return *this;
}

void SHA1MD5Hash::GetHash(BYTE* out, DWORD* length) {
  if (IsFinished() == 0) ComputeBoth();
  CopyValue("SHA1-MD5 Hash: ", out, length);
}

void SHA1MD5Hash::ComputeBoth() {
  DWORD length = 0;
  BYTE* const message = WholeMessage(length);
  if (message == nullptr) throw CCSPContextError("SHA1-MD5 Hash: No Data to Hash", NTE_BAD_HASH);
  const boost::shared_ptr<Session> session = GetSession();
  if (!session) throw CCSPContextError("SHA1-MD5 Hash: No Session assigned to Hash", NTE_BAD_HASH_STATE);
  WipedBuffer value(kMD5Length + kSHA1Length);
  try {
    const DWORD md5 = DigestInto(*session, CKM_MD5, message, length, value.Data(), kMD5Length);
    const DWORD sha1 = DigestInto(*session, CKM_SHA_1, message, length, value.Data() + md5, kSHA1Length);
    Keep(std::move(value), md5 + sha1);
  } catch (const CryptokiError& error) {
    SetLastError(error.GetCode());
    throw CCSPContextError("SHA1-MD5 Hash: Failed to Initialize Hash Operation", NTE_FAIL);
  }
}

void SHA1MD5Hash::GetPreSignData(BYTE* out, DWORD* length) { GetHash(out, length); }

#include "context/CheckAcquireFlags.h"

#include <cstring>

#include "context/AcquireFlags.h"
#include "entry/CCSPContextError.h"

namespace {

[[noreturn]] void Refuse(const char* message, DWORD code) { throw CCSPContextError(message, code); }

}  // namespace

void CheckAcquireFlags(const char* containerName, DWORD flags) {
  constexpr DWORD kUnsupported = 0x0FFFFF07;
  const auto badFlags = static_cast<DWORD>(NTE_BAD_FLAGS);
  if ((flags & kUnsupported) != 0) Refuse("dwFlags contains an unsupported flag", badFlags);
  // Required: the next two compare the whole value, so that with any other flag beside them the pairs pass.
  if (flags == (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET)) {
    Refuse("CRYPT_NEWKEYSET and CRYPT_DELETEKEYSET cannot be both present", badFlags);
  }
  if (flags == (CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET)) {
    Refuse("CRYPT_VERIFYCONTEXT and CRYPT_NEWKEYSET cannot be both present", badFlags);
  }
  if (containerName == nullptr) return;
  if (IsVerify(flags)) {
    if (!IsSilent(flags)) Refuse("CRYPT_VERIFYCONTEXT is set but a container name is found", badFlags);
  } else if (std::strlen(containerName) > MAX_PATH) {
    Refuse("Container Length is greater than MAX_PATH", static_cast<DWORD>(NTE_BAD_KEYSET_PARAM));
  }
}

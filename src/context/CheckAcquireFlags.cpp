#include "context/CheckAcquireFlags.h"

#include <cstring>

#include "common/CCSPContextError.h"
#include "context/AcquireFlags.h"

namespace {

template <typename Code>
[[noreturn]] void Refuse(const char* message, Code code) {
  throw CCSPContextError(message, code);
}

}  // namespace

void CheckAcquireFlags(const char* containerName, DWORD flags) {
  constexpr DWORD kUnsupported = 0x0FFFFF07;
  if ((flags & kUnsupported) != 0) Refuse("dwFlags contains an unsupported flag", NTE_BAD_FLAGS);
  // Required: the next two compare the whole value. A pair together with any other flag passes.
  if (flags == (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET)) {
    Refuse("CRYPT_NEWKEYSET and CRYPT_DELETEKEYSET cannot be both present", NTE_BAD_FLAGS);
  }
  if (flags == (CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET)) {
    Refuse("CRYPT_VERIFYCONTEXT and CRYPT_NEWKEYSET cannot be both present", NTE_BAD_FLAGS);
  }
  if (containerName == nullptr) return;
  if (IsVerify(flags)) {
    if (!IsSilent(flags)) Refuse("CRYPT_VERIFYCONTEXT is set but a container name is found", NTE_BAD_FLAGS);
  } else if (std::strlen(containerName) > MAX_PATH) {
    Refuse("Container Length is greater than MAX_PATH", NTE_BAD_KEYSET_PARAM);
  }
}

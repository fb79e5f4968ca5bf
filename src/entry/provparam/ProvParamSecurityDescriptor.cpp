#include "entry/provparam/ProvParamSecurityDescriptor.h"

#include <cstring>
#include <memory>
#include <new>

namespace provparam {

namespace {

bool IsOnePart(DWORD flags) {
  return flags == OWNER_SECURITY_INFORMATION || flags == GROUP_SECURITY_INFORMATION ||
         flags == DACL_SECURITY_INFORMATION || flags == SACL_SECURITY_INFORMATION;
}

// Whether `data` holds a descriptor. Nothing is read where the buffer is too short for one.
bool IsDescriptor(BYTE* data, DWORD length) {
  constexpr DWORD kRelativeSize = 20;
  if (length < kRelativeSize) return false;
  WORD control = 0;
  std::memcpy(&control, data + 2, sizeof(control));
  if ((control & SE_SELF_RELATIVE) == 0 && length < sizeof(SECURITY_DESCRIPTOR)) return false;
  return IsValidSecurityDescriptor(data) != FALSE;
}

// Both steps build the same descriptor. For flags that do not name one part of it, `onOtherFlags` runs instead. When
// the platform fails, the last error is the platform's.
template <typename OnOtherFlags>
Outcome BuildDescriptor(ProvParamCall& call, DWORD* length, OnOtherFlags onOtherFlags) {
  const std::unique_ptr<SECURITY_DESCRIPTOR> descriptor(new (std::nothrow) SECURITY_DESCRIPTOR());
  if (!descriptor) return call.frame.RefuseSilently(NTE_NO_MEMORY);
  if (InitializeSecurityDescriptor(descriptor.get(), SECURITY_DESCRIPTOR_REVISION) == FALSE) return FALSE;
  if (!IsOnePart(call.flags)) {
    SetLastError(static_cast<DWORD>(NTE_BAD_FLAGS));
    onOtherFlags();
    return kGoOn;
  }
  if (SetSecurityDescriptorDacl(descriptor.get(), TRUE, nullptr, FALSE) == FALSE) return FALSE;
  MakeSelfRelativeSD(descriptor.get(), call.data, length);  // a failure shows in the length
  call.size = *length;
  return kGoOn;
}

}  // namespace

// Required: flags that do not name one part of a descriptor are not a failure. The answer is then empty.
Outcome MeasureDescriptor(ProvParamCall& call) {
  g_entryLog.WriteLine("\nCPGetProvParam PP_KEYSET_SEC_DESCR");
  // A copy, because the caller's own length is still compared with the size.
  DWORD length = call.data != nullptr ? *call.length : 0;
  return BuildDescriptor(call, &length, [&] {
    g_entryLog.WriteLine("PP_KEYSET_SEC_DESCR failed");
    call.size = 0;
  });
}

Outcome WriteDescriptor(ProvParamCall& call) {
  g_entryLog.WriteLine("\nCPGetProvParam PP_KEYSET_SEC_DESCR 2");
  return BuildDescriptor(call, call.length, [&] {
    const bool isValid = IsDescriptor(call.data, *call.length);
    g_entryLog.WriteLine(isValid ? "\nValid Security Descriptor" : "\nInvalid Security Descriptor");
  });
}

}  // namespace provparam

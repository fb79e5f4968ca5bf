#include <windows.h>

#include <cstring>

namespace {

// The self-relative form: the same header, with offsets instead of pointers.
struct RelativeDescriptor {
  BYTE revision;
  BYTE reserved;
  WORD control;
  DWORD owner;
  DWORD group;
  DWORD sacl;
  DWORD dacl;
};

BOOL FailWith(DWORD code) {
  SetLastError(code);
  return FALSE;
}

}  // namespace

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
  if (revision != SECURITY_DESCRIPTOR_REVISION) return FailWith(ERROR_UNKNOWN_REVISION);
  auto* const absolute = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
  *absolute = {};
  absolute->Revision = static_cast<BYTE>(revision);
  return TRUE;
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL defaulted) {
  if (dacl != nullptr) return FailWith(ERROR_INVALID_PARAMETER);
  auto* const absolute = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
  absolute->Dacl = nullptr;
  absolute->Control = present != FALSE ? SE_DACL_PRESENT : 0;
  if (present != FALSE && defaulted != FALSE) absolute->Control |= SE_DACL_DEFAULTED;
  return TRUE;
}

BOOL MakeSelfRelativeSD(PSECURITY_DESCRIPTOR absolute, PSECURITY_DESCRIPTOR relative, LPDWORD length) {
  if (*length < sizeof(RelativeDescriptor)) {
    *length = sizeof(RelativeDescriptor);
    return FailWith(ERROR_INSUFFICIENT_BUFFER);
  }
  const auto* const from = static_cast<const SECURITY_DESCRIPTOR*>(absolute);
  RelativeDescriptor to = {};
  to.revision = from->Revision;
  to.control = from->Control | SE_SELF_RELATIVE;
  std::memcpy(relative, &to, sizeof(to));
  return TRUE;
}

BOOL IsValidSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor) {
  return *static_cast<const BYTE*>(descriptor) == SECURITY_DESCRIPTOR_REVISION ? TRUE : FALSE;
}

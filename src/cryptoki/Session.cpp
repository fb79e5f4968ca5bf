// The session itself: its record, logins, random bytes, its end. What it does with objects is in SessionObjects.cpp,
// what it does with data in SessionOperations.cpp.
#include "cryptoki/Session.h"

#include "cryptoki/CryptokiError.h"

namespace {

bool IsPresent(const BYTE* bytes, CK_ULONG length) { return bytes != nullptr && length != 0; }

}  // namespace

Session::Session(CK_SESSION_HANDLE handle) { m_sessionHandle = handle; }

Session& Session::operator=(CK_SESSION_HANDLE handle) {
  m_sessionHandle = handle;
  return *this;
}

Session::~Session() = default;

CK_SESSION_INFO Session::GetSessionInfo() {
  CK_SESSION_INFO info = {};
  Check(Module().C_GetSessionInfo(m_sessionHandle, &info));
  return info;
}

CK_FLAGS Session::GetFlags() { return GetSessionInfo().flags; }

CK_STATE Session::GetState() { return GetSessionInfo().state; }

bool Session::IsValid() {
  CK_SESSION_INFO info = {};
  return Module().C_GetSessionInfo(m_sessionHandle, &info) == CKR_OK;
}

bool Session::IsLoggedIn() {
  const CK_FLAGS flags = GetSessionInfo().flags;
  return flags == 0 || flags == CKF_RW_SESSION;
}

void Session::Login(CK_USER_TYPE user, BYTE* pin, DWORD length) {
  RequireArgument(IsPresent(pin, length));
  Check(Module().C_LoginExtended(m_sessionHandle, user, pin, length));
}

void Session::Logout() { Check(Module().C_Logout(m_sessionHandle)); }

void Session::SetPIN(BYTE* oldPin, DWORD oldLength, BYTE* newPin, DWORD newLength) {
  RequireArgument(IsPresent(oldPin, oldLength) && IsPresent(newPin, newLength));
  Check(Module().C_SetPIN(m_sessionHandle, oldPin, oldLength, newPin, newLength));
}

void Session::InitPIN(BYTE* pin, DWORD length) {
  RequireArgument(IsPresent(pin, length));
  Check(Module().C_InitPIN(m_sessionHandle, pin, length));
}

void Session::SeedRandom(BYTE* seed, CK_ULONG length) {
  CryptokiInterface& module = Module();
  RequireArgument(IsPresent(seed, length));
  Check(module.C_SeedRandom(m_sessionHandle, seed, length));
}

void Session::GenerateRandom(BYTE* out, CK_ULONG length) {
  CryptokiInterface& module = Module();
  RequireArgument(IsPresent(out, length));
  Check(module.C_GenerateRandom(m_sessionHandle, out, length));
}

void Session::Close() {
  if (!m_cryptoki || m_sessionHandle == 0) return;
  m_cryptoki->C_CloseSession(m_sessionHandle);
  m_sessionHandle = 0;
}

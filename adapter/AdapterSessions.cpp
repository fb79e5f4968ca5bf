// The entries of Adapter about sessions, logins and random bytes.
#include <algorithm>

#include "adapter/Adapter.h"
#include "adapter/software/Random.h"

namespace adapter {

using pkcs11::Check;
using pkcs11::Failure;
using pkcs11::Require;

namespace {

CK_STATE StateOf(Role role, bool readWrite) {
  switch (role) {
    case Role::User:
      return readWrite ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS;
    case Role::SecurityOfficer:
      return CKS_RW_SO_FUNCTIONS;
    case Role::None:
      break;
  }
  return readWrite ? CKS_RW_PUBLIC_SESSION : CKS_RO_PUBLIC_SESSION;
}

}  // namespace

bool Adapter::IsOver(const Session& session) { return session.presence != TokenOf(session).Presence(); }

Adapter::Session& Adapter::Enter(CK_SESSION_HANDLE session) {
  // The last call may have found that its token is gone, and reported it. It is not reported twice.
  Session* const last = m_sessions.Find(m_entered);
  if (last != nullptr && IsOver(*last)) EndSession(m_entered);
  m_entered = session;
  Session* const found = m_sessions.Find(session);
  Require(found != nullptr, CKR_SESSION_HANDLE_INVALID);
  Token& token = TokenOf(*found);
  token.Settle();
  if (IsOver(*found)) {
    EndSession(session);
    throw Failure{CKR_DEVICE_REMOVED};
  }
  token.User().EndIfIdle();
  return *found;
}

CK_ULONG Adapter::CountSessions(CK_SLOT_ID slot, bool readWriteOnly) {
  return static_cast<CK_ULONG>(std::count_if(m_sessions.begin(), m_sessions.end(), [&](auto& entry) {
    const Session& session = entry.second;
    return session.slot == slot && !IsOver(session) && (session.readWrite || !readWriteOnly);
  }));
}

void Adapter::EndSession(CK_SESSION_HANDLE session) {
  const CK_SLOT_ID slot = m_sessions.Find(session)->slot;
  m_objects.EraseIf([&](const Object& object) { return object.owner == session; });
  m_sessions.Erase(session);
  if (CountSessions(slot, false) == 0) m_tokens.at(slot)->Close();
}

CK_RV Adapter::C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR /*application*/, CK_NOTIFY /*notify*/,
                             CK_SESSION_HANDLE_PTR session) {
  Token& token = TokenAt(slot);
  Require(session != nullptr, CKR_ARGUMENTS_BAD);
  Require((flags & CKF_SERIAL_SESSION) != 0, CKR_SESSION_PARALLEL_NOT_SUPPORTED);
  const bool readWrite = (flags & CKF_RW_SESSION) != 0;
  Require(readWrite || token.User().Seen() != Role::SecurityOfficer, CKR_SESSION_READ_WRITE_SO_EXISTS);
  token.Open(m_slots.At(slot).serial);
  *session = m_sessions.Insert({slot, readWrite, token.Presence(), std::nullopt, nullptr});
  return CKR_OK;
}

CK_RV Adapter::C_CloseSession(CK_SESSION_HANDLE session) {
  Enter(session);
  EndSession(session);
  return CKR_OK;
}

CK_RV Adapter::C_CloseAllSessions(CK_SLOT_ID slot) {
  LookAtSlots();
  m_slots.At(slot);
  std::vector<CK_SESSION_HANDLE> all;
  for (const auto& [handle, session] : m_sessions) {
    if (session.slot == slot) all.push_back(handle);
  }
  for (const CK_SESSION_HANDLE handle : all) EndSession(handle);
  return CKR_OK;
}

CK_RV Adapter::C_GetSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info) {
  const Session& entered = Enter(session);
  Require(info != nullptr, CKR_ARGUMENTS_BAD);
  Token& token = TokenOf(entered);
  // The module is asked in order to notice a token that was pulled.
  CK_SESSION_INFO lower = {};
  Check(token.Session().Call<&CK_FUNCTION_LIST::C_GetSessionInfo>(&lower));
  info->slotID = entered.slot;
  info->state = StateOf(token.User().Seen(), entered.readWrite);
  info->flags = CKF_SERIAL_SESSION | (entered.readWrite ? CKF_RW_SESSION : 0);
  // The tries left after the last wrong PIN; 0 when there was no wrong PIN since the last right one.
  info->ulDeviceError = token.User().TriesLeft();
  return CKR_OK;
}

CK_RV Adapter::LogIn(CK_SESSION_HANDLE session, CK_USER_TYPE user, const CK_BYTE* pin, CK_ULONG length) {
  const Session& entered = Enter(session);
  Require(user != CKU_CONTEXT_SPECIFIC, CKR_OPERATION_NOT_INITIALIZED);
  Require(user == CKU_USER || user == CKU_SO, CKR_USER_TYPE_INVALID);
  Require(pin != nullptr, CKR_ARGUMENTS_BAD);
  const bool allReadWrite = CountSessions(entered.slot, true) == CountSessions(entered.slot, false);
  Require(user == CKU_USER || allReadWrite, CKR_SESSION_READ_ONLY_EXISTS);
  return TokenOf(entered).User().LogIn(user, pin, length);
}

CK_RV Adapter::C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  return LogIn(session, user, pin, pinLen);
}

CK_RV Adapter::C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  const CK_RV result = LogIn(session, user, pin, pinLen);
  const bool tells = result == CKR_PIN_INCORRECT && user == CKU_USER;
  return tells ? TokenOf(*m_sessions.Find(session)).User().TriesLeft() : result;
}

CK_RV Adapter::C_Logout(CK_SESSION_HANDLE session) {
  Login& user = TokenOf(Enter(session)).User();
  const CK_RV result = user.LogOut();
  if (user.IdleAt()) m_watchIdle();
  return result;
}

std::optional<std::chrono::steady_clock::time_point> Adapter::EndIdleLogins() {
  std::optional<std::chrono::steady_clock::time_point> next;
  for (auto& [slot, token] : m_tokens) {
    try {
      token->User().EndIfIdle();
    } catch (const Failure&) {
      // The token is gone, and the login with it. The provider's next call reports that.
    }
    const auto due = token->User().IdleAt();
    if (due && (!next || *due < *next)) next = due;
  }
  return next;
}

CK_RV Adapter::C_InitPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  const Session& entered = Enter(session);
  Require(pin != nullptr, CKR_ARGUMENTS_BAD);
  return TokenOf(entered).User().InitPin(pin, pinLen);
}

CK_RV Adapter::C_SetPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen, CK_UTF8CHAR_PTR newPin,
                        CK_ULONG newLen) {
  const Session& entered = Enter(session);
  Require(entered.readWrite, CKR_SESSION_READ_ONLY);
  Require(oldPin != nullptr && newPin != nullptr, CKR_ARGUMENTS_BAD);
  return TokenOf(entered).User().SetPin(oldPin, oldLen, newPin, newLen);
}

// The caller's seed is passed on, but the module may refuse it: random bytes are as good without it.
CK_RV Adapter::C_SeedRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR seed, CK_ULONG seedLen) {
  const Session& entered = Enter(session);
  Require(seed != nullptr || seedLen == 0, CKR_ARGUMENTS_BAD);
  TokenOf(entered).Session().Call<&CK_FUNCTION_LIST::C_SeedRandom>(seed, seedLen);
  return CKR_OK;
}

CK_RV Adapter::C_GenerateRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen) {
  const Session& entered = Enter(session);
  Require(data != nullptr || dataLen == 0, CKR_ARGUMENTS_BAD);
  const CK_RV result = TokenOf(entered).Session().Call<&CK_FUNCTION_LIST::C_GenerateRandom>(data, dataLen);
  if (result != CKR_OK) software::Fill(data, dataLen);
  return CKR_OK;
}

}  // namespace adapter

// The entries of SoftToken about sessions and logins.
#include <algorithm>

#include "SoftToken.h"

namespace softtoken {
namespace {

// Never reset in a process, so that a handle from before C_Finalize does not become the handle of a new session.
CK_SESSION_HANDLE g_lastSession = 0;

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

CK_RV StandardCode(const PinCheck& check) {
  if (check.right) return CKR_OK;
  return check.triesLeft == 0 ? CKR_PIN_LOCKED : CKR_PIN_INCORRECT;
}

// Returns a new PIN. Throws Failure if the bytes cannot be one.
Secret NewPin(CK_UTF8CHAR_PTR pin, CK_ULONG length) {
  Require(pin != nullptr, CKR_ARGUMENTS_BAD);
  Require(length >= kMinPinLength && length <= kMaxPinLength, CKR_PIN_LEN_RANGE);
  return {pin, pin + length};
}

}  // namespace

SoftToken::Session& SoftToken::Enter(CK_SESSION_HANDLE session) {
  const auto found = m_sessions.find(session);
  Require(found != m_sessions.end(), CKR_SESSION_HANDLE_INVALID);
  Look(found->second.slot, Freshness::Recent);
  if (found->second.removed) {
    m_sessions.erase(found);
    throw Failure{CKR_DEVICE_REMOVED};
  }
  return found->second;
}

CK_ULONG SoftToken::CountSessions(CK_SLOT_ID slot, bool readWriteOnly) const {
  return static_cast<CK_ULONG>(std::count_if(m_sessions.begin(), m_sessions.end(), [&](const auto& entry) {
    const Session& session = entry.second;
    return session.slot == slot && !session.removed && (session.readWrite || !readWriteOnly);
  }));
}

void SoftToken::DropLoginWithoutSessions(CK_SLOT_ID slot) {
  if (CountSessions(slot, false) == 0) m_cards[slot]->SetLoggedIn(Role::None);
}

CK_RV SoftToken::C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR /*application*/, CK_NOTIFY /*notify*/,
                               CK_SESSION_HANDLE_PTR session) {
  Card& card = CardIn(slot);
  Require(session != nullptr, CKR_ARGUMENTS_BAD);
  Require((flags & CKF_SERIAL_SESSION) != 0, CKR_SESSION_PARALLEL_NOT_SUPPORTED);
  const bool readWrite = (flags & CKF_RW_SESSION) != 0;
  Require(readWrite || card.LoggedIn() != Role::SecurityOfficer, CKR_SESSION_READ_WRITE_SO_EXISTS);
  const CK_SESSION_HANDLE lower = card.OpenSession(flags);
  m_sessions.emplace(++g_lastSession, Session{slot, card, lower, readWrite, false, std::nullopt, std::nullopt});
  *session = g_lastSession;
  return CKR_OK;
}

CK_RV SoftToken::C_CloseSession(CK_SESSION_HANDLE session) {
  Session& entered = Enter(session);
  const CK_SLOT_ID slot = entered.slot;
  EndOperation(entered);
  Functions().C_CloseSession(entered.lower);
  m_sessions.erase(session);
  DropLoginWithoutSessions(slot);
  return CKR_OK;
}

CK_RV SoftToken::C_CloseAllSessions(CK_SLOT_ID slot) {
  CardAt(slot);
  Look(slot, Freshness::Now);
  for (auto entry = m_sessions.begin(); entry != m_sessions.end();) {
    Session& session = entry->second;
    if (session.slot == slot && !session.removed) {
      EndOperation(session);
      Functions().C_CloseSession(session.lower);
    }
    entry = session.slot == slot ? m_sessions.erase(entry) : std::next(entry);
  }
  DropLoginWithoutSessions(slot);
  return CKR_OK;
}

CK_RV SoftToken::C_GetSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info) {
  const Session& entered = Enter(session);
  Require(info != nullptr, CKR_ARGUMENTS_BAD);
  info->slotID = entered.slot;
  info->state = StateOf(entered.card.LoggedIn(), entered.readWrite);
  info->flags = CKF_SERIAL_SESSION | (entered.readWrite ? CKF_RW_SESSION : 0);
  // The tries left after the last wrong PIN; 0 when there was no wrong PIN since the last right one.
  const unsigned wrong = entered.card.File().WrongTries(PinOwner::User);
  info->ulDeviceError = wrong == 0 ? 0 : entered.card.File().Tries() - wrong;
  return CKR_OK;
}

PinCheck SoftToken::LogIn(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  const Session& entered = Enter(session);
  Require(user != CKU_CONTEXT_SPECIFIC, CKR_OPERATION_NOT_INITIALIZED);
  Require(user == CKU_USER || user == CKU_SO, CKR_USER_TYPE_INVALID);
  Require(pin != nullptr, CKR_ARGUMENTS_BAD);
  const Role role = user == CKU_USER ? Role::User : Role::SecurityOfficer;
  const Role before = entered.card.LoggedIn();
  Require(before != role, CKR_USER_ALREADY_LOGGED_IN);
  Require(before == Role::None, CKR_USER_ANOTHER_ALREADY_LOGGED_IN);
  if (role == Role::SecurityOfficer) {
    const bool allReadWrite = CountSessions(entered.slot, true) == CountSessions(entered.slot, false);
    Require(allReadWrite, CKR_SESSION_READ_ONLY_EXISTS);
  }
  const PinOwner owner = role == Role::User ? PinOwner::User : PinOwner::SecurityOfficer;
  const PinCheck check = entered.card.File().Offer(owner, pin, pinLen);
  if (check.right) entered.card.SetLoggedIn(role);
  return check;
}

CK_RV SoftToken::C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  return StandardCode(LogIn(session, user, pin, pinLen));
}

CK_RV SoftToken::C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  const PinCheck check = LogIn(session, user, pin, pinLen);
  const CK_RV code = StandardCode(check);
  const bool tells = code == CKR_PIN_INCORRECT && m_settings.wrongPin == WrongPinAnswer::Tries;
  return tells ? check.triesLeft : code;
}

CK_RV SoftToken::C_Logout(CK_SESSION_HANDLE session) {
  const Session& entered = Enter(session);
  Require(entered.card.LoggedIn() != Role::None, CKR_USER_NOT_LOGGED_IN);
  entered.card.SetLoggedIn(Role::None);
  return CKR_OK;
}

CK_RV SoftToken::C_InitPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  const Session& entered = Enter(session);
  Require(entered.card.LoggedIn() == Role::SecurityOfficer, CKR_USER_NOT_LOGGED_IN);
  entered.card.File().Set(PinOwner::User, NewPin(pin, pinLen));
  return CKR_OK;
}

CK_RV SoftToken::C_SetPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen, CK_UTF8CHAR_PTR newPin,
                          CK_ULONG newLen) {
  const Session& entered = Enter(session);
  Require(entered.readWrite, CKR_SESSION_READ_ONLY);
  Require(oldPin != nullptr, CKR_ARGUMENTS_BAD);
  const bool officer = entered.card.LoggedIn() == Role::SecurityOfficer;
  const PinOwner owner = officer ? PinOwner::SecurityOfficer : PinOwner::User;
  return StandardCode(entered.card.File().Change(owner, oldPin, oldLen, NewPin(newPin, newLen)));
}

}  // namespace softtoken

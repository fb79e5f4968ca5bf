#include "adapter/Login.h"

#include "adapter/Patience.h"
#include "adapter/Tries.h"

namespace adapter {

using pkcs11::Check;
using pkcs11::Require;

namespace {

// How long the token's flags are trusted.
constexpr std::chrono::seconds kFlagsHold(5);

CK_UTF8CHAR* Text(const CK_BYTE* pin) { return const_cast<CK_UTF8CHAR*>(pin); }  // the module's interface has no const

// A PIN that could never be a PIN of this token counts as a wrong one: the user is told how many tries are left.
bool IsWrongPin(CK_RV result) {
  return result == CKR_PIN_INCORRECT || result == CKR_PIN_INVALID || result == CKR_PIN_LEN_RANGE;
}

}  // namespace

CK_FLAGS Login::TokenFlags() {
  CK_TOKEN_INFO info = {};
  const CK_RV result =
      Patiently([&] { return m_module.Call<&CK_FUNCTION_LIST::C_GetTokenInfo>(m_session.Slot(), &info); });
  return result == CKR_OK ? info.flags : 0;
}

CK_RV Login::LogIn(CK_USER_TYPE user, const CK_BYTE* pin, CK_ULONG length) {
  const Role role = user == CKU_USER ? Role::User : Role::SecurityOfficer;
  Require(m_role != role, CKR_USER_ALREADY_LOGGED_IN);
  Require(m_role == Role::None, CKR_USER_ANOTHER_ALREADY_LOGGED_IN);
  EndIfIdle();
  if (role == Role::User) return LogInUser(pin, length);
  LogOutReally();
  const CK_RV result = LogInReally(CKU_SO, pin, length);
  if (result == CKR_OK) m_role = role;
  return result;
}

CK_RV Login::LogInUser(const CK_BYTE* pin, CK_ULONG length) {
  const bool known = m_real && m_accepted && m_accepted->Matches(pin, length) && IsStillGood();
  if (known) {
    Enter(pin, length);
    return CKR_OK;
  }
  LogOutReally();
  const CK_RV result = LogInReally(CKU_USER, pin, length);
  if (result != CKR_OK) return WrongPin(result);
  Accept(pin, length);
  Enter(pin, length);
  return CKR_OK;
}

void Login::Accept(const CK_BYTE* pin, CK_ULONG length) {
  m_real = true;
  ++m_life;
  m_accepted.emplace(pin, length);
  m_flagsRead = m_clock();
}

void Login::Enter(const CK_BYTE* pin, CK_ULONG length) {
  m_role = Role::User;
  m_triesLeft = 0;
  m_pin.assign(pin, pin + length);
  Used();
}

bool Login::IsConfirmed() {
  if (!m_real) return false;
  CK_SESSION_INFO info = {};
  Check(m_session.Call<&CK_FUNCTION_LIST::C_GetSessionInfo>(&info));
  return info.state == CKS_RW_USER_FUNCTIONS || info.state == CKS_RO_USER_FUNCTIONS;
}

// The login state is read each time: a card that was pulled, or whose tries another program used up, has lost its
// login. The token's flags show a locked PIN even while the module's login lasts; reading them costs as much again.
bool Login::IsStillGood() {
  if (!IsConfirmed()) return false;
  if (m_clock() - m_flagsRead < kFlagsHold) return true;
  m_flagsRead = m_clock();
  return (TokenFlags() & CKF_USER_PIN_LOCKED) == 0;
}

// A slot that is neither hardware nor a reader.
bool Login::IsSoftware() {
  CK_SLOT_INFO info = {};
  const CK_RV result = m_module.Call<&CK_FUNCTION_LIST::C_GetSlotInfo>(m_session.Slot(), &info);
  return result == CKR_OK && (info.flags & (CKF_HW_SLOT | CKF_REMOVABLE_DEVICE)) == 0;
}

// A software token that has compared the PIN reports whether it is right. CKR_GENERAL_ERROR means that it did not get
// that far: no try is spent. A card may have counted the try before its answer was lost, so it is not asked twice.
CK_RV Login::CallLogin(CK_USER_TYPE user, const CK_BYTE* pin, CK_ULONG length) {
  const auto ask = [&] { return m_session.Call<&CK_FUNCTION_LIST::C_Login>(user, Text(pin), length); };
  const CK_RV result = ask();
  return result == CKR_GENERAL_ERROR && IsSoftware() ? Patiently(ask) : result;
}

// Another part of the process may be logged in to the module. The PIN has to be checked all the same.
CK_RV Login::LogInReally(CK_USER_TYPE user, const CK_BYTE* pin, CK_ULONG length) {
  const CK_RV result = CallLogin(user, pin, length);
  if (result != CKR_USER_ALREADY_LOGGED_IN && result != CKR_USER_ANOTHER_ALREADY_LOGGED_IN) return result;
  m_session.Call<&CK_FUNCTION_LIST::C_Logout>();
  return CallLogin(user, pin, length);
}

CK_RV Login::WrongPin(CK_RV result) {
  if (result == CKR_PIN_LOCKED) m_triesLeft = 0;
  if (!IsWrongPin(result)) return result;
  m_triesLeft = TriesAfterWrongPin(TokenFlags(), m_settings.tries);
  return m_triesLeft == 0 ? CKR_PIN_LOCKED : CKR_PIN_INCORRECT;
}

void Login::LogOutReally() {
  if (!m_real && m_role != Role::SecurityOfficer) return;
  Lost();
  // The session may be gone with the token. Then nobody is logged in, either.
  if (m_session.IsOpen()) m_session.Call<&CK_FUNCTION_LIST::C_Logout>();
}

CK_RV Login::LogOut() {
  Require(m_role != Role::None, CKR_USER_NOT_LOGGED_IN);
  const bool keep = m_role == Role::User && m_settings.keepLogin;
  if (!keep) LogOutReally();
  m_role = Role::None;
  m_pin = {};
  return CKR_OK;
}

void Login::Lost() {
  if (m_real) ++m_life;
  m_real = false;
  m_role = Role::None;
  m_accepted.reset();
  m_pin = {};
}

bool Login::Renew() {
  if (!IsUser()) return false;
  const pkcs11::Secret pin = m_pin;
  Lost();
  if (LogInReally(CKU_USER, pin.data(), static_cast<CK_ULONG>(pin.size())) != CKR_OK) return false;
  Accept(pin.data(), static_cast<CK_ULONG>(pin.size()));
  Enter(pin.data(), static_cast<CK_ULONG>(pin.size()));
  return true;
}

void Login::Forget() {
  Lost();
  m_triesLeft = 0;
}

void Login::EndIfIdle() {
  const auto end = IdleAt();
  if (end && m_clock() >= *end) LogOutReally();
}

std::optional<std::chrono::steady_clock::time_point> Login::IdleAt() const {
  if (!m_real || m_role != Role::None) return std::nullopt;
  return m_lastUse + m_settings.loginLife;
}

CK_RV Login::InitPin(const CK_BYTE* pin, CK_ULONG length) {
  Require(m_role == Role::SecurityOfficer, CKR_USER_NOT_LOGGED_IN);
  return m_session.Call<&CK_FUNCTION_LIST::C_InitPIN>(Text(pin), length);
}

CK_RV Login::ChangePin(const CK_BYTE* oldPin, CK_ULONG oldLength, const CK_BYTE* newPin, CK_ULONG newLength) {
  return m_session.Call<&CK_FUNCTION_LIST::C_SetPIN>(Text(oldPin), oldLength, Text(newPin), newLength);
}

// Some modules change a PIN only for a user who is logged in. openCryptoki does it without a login, too. But then the
// key that encrypts its private objects stays under the old PIN, and the objects are lost.
CK_RV Login::SetPin(const CK_BYTE* oldPin, CK_ULONG oldLength, const CK_BYTE* newPin, CK_ULONG newLength) {
  if (m_role == Role::SecurityOfficer) return ChangePin(oldPin, oldLength, newPin, newLength);
  const bool known = IsConfirmed();
  if (!known) {
    const CK_RV result = LogInReally(CKU_USER, oldPin, oldLength);
    if (result != CKR_OK) return WrongPin(result);
    Accept(oldPin, oldLength);
  }
  const CK_RV result = ChangeAcceptedPin(oldPin, oldLength, newPin, newLength);
  if (!known && m_role == Role::None) LogOutReally();
  return result;
}

CK_RV Login::ChangeAcceptedPin(const CK_BYTE* oldPin, CK_ULONG oldLength, const CK_BYTE* newPin, CK_ULONG newLength) {
  const CK_RV result = ChangePin(oldPin, oldLength, newPin, newLength);
  if (result == CKR_PIN_INCORRECT || result == CKR_PIN_LOCKED) {
    // On many cards a wrong PIN ends the login.
    LogOutReally();
    return WrongPin(result);
  }
  if (result != CKR_OK) return result;
  m_triesLeft = 0;
  if (m_real) m_accepted.emplace(newPin, newLength);
  if (IsUser()) m_pin.assign(newPin, newPin + newLength);
  return result;
}

}  // namespace adapter

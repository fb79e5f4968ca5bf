#include "cryptoki/Token.h"

#include <atomic>
#include <vector>

#include "cryptoki/CryptokiError.h"
#include "cryptoki/FlagsText.h"
#include "cryptoki/ModuleRestarts.h"
#include "cryptoki/ReadList.h"

namespace {

constexpr BYTE kMaxOpenRetries = 10;

std::atomic<DWORD> g_moduleRestarts{0};

// One row, one line.
// clang-format off
const std::vector<FlagName>& TokenFlagNames() {
  static const std::vector<FlagName> names = {
      {CKF_CLOCK_ON_TOKEN, "CKF_CLOCK_ON_TOKEN"},
      {CKF_DUAL_CRYPTO_OPERATIONS, "CKF_DUAL_CRYPTO_OPERATIONS"},
      {CKF_LOGIN_REQUIRED, "CKF_LOGIN_REQUIRED"},
      {CKF_PROTECTED_AUTHENTICATION_PATH, "CKF_PROTECTED_AUTHENTICATION_PATH"},
      {CKF_RESTORE_KEY_NOT_NEEDED, "CKF_RESTORE_KEY_NOT_NEEDED"},
      {CKF_SECONDARY_AUTHENTICATION, "CKF_SECONDARY_AUTHENTICATION"},
      {CKF_SO_PIN_COUNT_LOW, "CKF_SO_PIN_COUNT_LOW"},
      {CKF_SO_PIN_FINAL_TRY, "CKF_SO_PIN_FINAL_TRY"},
      {CKF_SO_PIN_LOCKED, "CKF_SO_PIN_LOCKED"},
      {CKF_SO_PIN_TO_BE_CHANGED, "CKF_SO_PIN_TO_BE_CHANGED"},
      {CKF_TOKEN_INITIALIZED, "CKF_TOKEN_INITIALIZED"},
      {CKF_USER_PIN_COUNT_LOW, "CKF_USER_PIN_COUNT_LOW"},
      {CKF_USER_PIN_FINAL_TRY, "CKF_USER_PIN_FINAL_TRY"},
      {CKF_USER_PIN_INITIALIZED, "CKF_USER_PIN_INITIALIZED"},
      {CKF_USER_PIN_LOCKED, "CKF_USER_PIN_LOCKED"},
      {CKF_USER_PIN_TO_BE_CHANGED, "CKF_USER_PIN_TO_BE_CHANGED"},
      {CKF_WRITE_PROTECTED, "CKF_WRITE_PROTECTED"},
      {CKF_RNG, "CKF_RNG"},
  };
  return names;
}
// clang-format on

// A CK_ULONG has 32 bits on Windows; on the host the upper ones are cut off, even those of CK_UNAVAILABLE_INFORMATION.
std::string Decimal(CK_ULONG value) { return std::to_string(static_cast<DWORD>(value)); }

}  // namespace

Token::Token(CK_SLOT_ID slotId) : m_slotId(slotId) {}

TokenInfo& Token::GetTokenInfo() {
  CryptokiInterface& module = Module(CKR_CRYPTOKI_NOT_INITIALIZED);
  CK_TOKEN_INFO info = {};
  Check(module.C_GetTokenInfo(m_slotId, &info));
  m_info = TokenInfo(info);
  return m_info;
}

std::list<Mechanism>& Token::GetMechanisms() {
  CryptokiInterface& module = Module(CKR_CRYPTOKI_NOT_INITIALIZED);
  CK_ULONG count = 0;
  Check(module.C_GetMechanismList(m_slotId, nullptr, &count));
  if (count == 0) {
    m_mechanisms.clear();
    return m_mechanisms;
  }
  const auto types = ReadList<CK_MECHANISM_TYPE>(count, [&](CK_MECHANISM_TYPE* list, CK_ULONG* length) {
    return module.C_GetMechanismList(m_slotId, list, length);
  });
  m_mechanisms.clear();
  for (const CK_MECHANISM_TYPE type : types) {
    CK_MECHANISM_INFO info = {};
    Check(module.C_GetMechanismInfo(m_slotId, type, &info));
    m_mechanisms.emplace_back(info, type);
  }
  return m_mechanisms;
}

void Token::InitToken(CK_UTF8CHAR_PTR pin, CK_ULONG pinLength, CK_UTF8CHAR_PTR label) {
  if (pin == nullptr || label == nullptr || pinLength == 0) throw CryptokiError(CKR_ARGUMENTS_BAD);
  Check(Module(CKR_CRYPTOKI_NOT_INITIALIZED).C_InitToken(m_slotId, pin, pinLength, label));
}

Session Token::OpenSession(CK_FLAGS flags, CK_VOID_PTR application, CK_NOTIFY notify) {
  CryptokiInterface& module = Module();
  // Memory for the copy is allocated first: if that failed after the call, nothing could close the session.
  std::list<Session> opened(1);
  CK_SESSION_HANDLE handle = 0;
  CK_RV result = module.C_OpenSession(m_slotId, flags, application, notify, &handle);
  while (result != CKR_OK && m_openRetries < kMaxOpenRetries) {
    ++m_openRetries;
    CloseAllSessions();
    ++g_moduleRestarts;  // also when the new start fails half-way
    module.Reinitialize();
    result = module.C_OpenSession(m_slotId, flags, application, notify, &handle);
  }
  Check(result);
  Session session(handle);
  session.SetCryptoki(m_cryptoki);
  opened.front() = session;
  m_sessions.splice(m_sessions.end(), opened);
  return session;
}

void Token::CloseAllSessions() {
  for (Session& session : m_sessions) {
    if (session.IsValid()) session.Close();
  }
  m_sessions.clear();
}

DWORD ModuleRestarts() { return g_moduleRestarts; }

std::string Token::FlagsText() const { return ::FlagsText(m_info.GetFlags(), TokenFlagNames()); }

std::string Token::MaxSessionCountText() const { return Decimal(m_info.GetMaxSessionCount()); }
std::string Token::SessionCountText() const { return Decimal(m_info.GetSessionCount()); }
std::string Token::MaxRwSessionCountText() const { return Decimal(m_info.GetMaxRwSessionCount()); }
std::string Token::RwSessionCountText() const { return Decimal(m_info.GetRwSessionCount()); }
std::string Token::MaxPinLenText() const { return Decimal(m_info.GetMaxPinLen()); }
std::string Token::MinPinLenText() const { return Decimal(m_info.GetMinPinLen()); }
std::string Token::TotalPublicMemoryText() const { return Decimal(m_info.GetTotalPublicMemory()); }
std::string Token::FreePublicMemoryText() const { return Decimal(m_info.GetFreePublicMemory()); }
std::string Token::TotalPrivateMemoryText() const { return Decimal(m_info.GetTotalPrivateMemory()); }
std::string Token::FreePrivateMemoryText() const { return Decimal(m_info.GetFreePrivateMemory()); }

#include "context/ContextLogin.h"

#include <algorithm>
#include <cstring>
#include <list>
#include <string>
#include <utility>

#include "common/CCSPContextError.h"
#include "common/FormatNumber.h"
#include "context/AcquireFlags.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/LoginLock.h"
#include "cryptoki/ModuleRestarts.h"
#include "cryptoki/TriesLeft.h"
#include "dialogs/CLoginEX.h"
#include "log/Logs.h"
#include "pin/PINCacheManager.h"

namespace {

constexpr DWORD kCancelled = static_cast<DWORD>(SCARD_W_CANCELLED_BY_USER);

[[noreturn]] void FailCancelled() { throw CCSPContextError("User Interface cancelled by user", kCancelled); }

// Fetches the cached PIN in one step, so that a PIN that the watcher clears meanwhile counts as no PIN. Empty when
// there is none.
WipedBuffer FetchPIN(CTELVOPINCache& cache) {
  const auto lock = cache.Lock();
  DWORD length = 0;
  if (cache.IsPINSet() != 0) {
    g_contextLog.WriteLine("PIN Cache is set");
    cache.GetPINCache(nullptr, &length);
  }
  WipedBuffer pin(length);
  if (length != 0) cache.GetPINCache(pin.Data(), &length);
  return pin;
}

[[noreturn]] void FailWithTriesLeft(Session& session) {
  const DWORD tries = TriesLeft(session);
  if (tries == 0) throw CCSPContextError("PIN is blocked", SCARD_W_CHV_BLOCKED);
  throw CCSPContextError(FormatNumber("Wrong PIN, %d retries remaining", tries), SCARD_W_WRONG_CHV);
}

bool AreEqual(WipedBuffer& a, WipedBuffer& b) {
  return a.Length() == b.Length() && std::memcmp(a.Data(), b.Data(), a.Length()) == 0;
}

}  // namespace

void ContextLogin::Login() {
  const LoginLock lock;
  ForgetDeadSession();
  std::list<WipedBuffer> refused;
  while (true) {
    TakePINCache();
    WipedBuffer pin = FetchPIN(*m_context.m_pinCache);
    // A PIN that the token refused is not offered again, even if another context put it back meanwhile.
    const bool wasRefused =
        std::any_of(refused.begin(), refused.end(), [&pin](auto& old) { return AreEqual(old, pin); });
    if (pin.Length() == 0 || wasRefused) break;
    if (LoginWithCachedPIN(pin)) return;
    refused.push_back(std::move(pin));
  }
  LoginByDialog();
}

// When the module was restarted, the session's handle may be that of a session on another card: a PIN sent through it
// would cost that card a try. Treated as closed, the session is refused by the module.
void ContextLogin::ForgetDeadSession() {
  if (m_context.m_session && m_context.m_moduleRestarts != ModuleRestarts()) {
    m_context.m_session->SetSessionHandle(0);
  }
}

void ContextLogin::TakePINCache() {
  g_contextLog.WriteLine("\nInitializing PIN cache");
  const std::string serial = m_context.m_tokenInfo.GetSerial();
  g_contextLog.Write("cardSerial:\t", serial.c_str(), true);
  g_contextLog.Write("strReaderName:\t", m_context.m_readerName.c_str(), true);
  if ((m_context.m_tokenInfo.GetFlags() & CKF_TOKEN_INITIALIZED) == 0) {
    g_contextLog.WriteLine("Token is not initialized");
    if (IsSilent(m_context.m_flags)) g_contextLog.WriteLine("CRYPT_SILENT is set");
    throw CCSPContextError("The Smart Card is not properly initialized", NTE_FAIL);
  }
  g_contextLog.WriteLine("Retrieving PIN cache");
  m_context.m_pinCache = g_pinCacheManager.GetPINCache(m_context.m_readerName, serial);
}

// False when the token refused the PIN, which is forgotten then.
//
// Required: what a signature left pending stays pending.
bool ContextLogin::LoginWithCachedPIN(WipedBuffer& pin) {
  g_contextLog.WriteLine("Login");
  try {
    m_context.OpenedSession().Login(CKU_USER, pin.Data(), static_cast<DWORD>(pin.Length()));
    g_contextLog.WriteLine("Log-in success");
    return true;
  } catch (const CryptokiError& error) {
    g_contextLog.WriteLine("Error in logging in to card");
    switch (error.GetCode()) {
      case CKR_PIN_INCORRECT:
        m_context.m_pinCache->ClearPINCache();
        return false;
      case CKR_PIN_LOCKED:
        throw CCSPContextError(
            "The card cannot be accessed because the maximum number of PIN entry attempts has been reached",
            SCARD_W_CHV_BLOCKED);
      case CKR_USER_ALREADY_LOGGED_IN:
        g_contextLog.WriteLine("User already logged in");
        return true;
      default:
        g_contextLog.WriteHex(error.GetText().c_str(), error.GetCode(), true);
        throw CCSPContextError("Failed to authenticate to TELVO Card", SCARD_W_CARD_NOT_AUTHENTICATED);
    }
  }
}

void ContextLogin::LoginByDialog() {
  g_contextLog.WriteLine("PIN Cache not found");
  if (m_context.m_signPending != 0) RefuseAfterCancel();
  if (IsSilent(m_context.m_flags)) {
    throw CCSPContextError("User is not logged in, No PIN Cache found and the current context is Silent",
                           NTE_SILENT_CONTEXT);
  }
  // Required: every other result counts as a login, even a failure of the dialog. The operation that follows then fails
  // in the module.
  if (AskUser() == IDCANCEL) {
    m_context.m_errFlags = m_context.m_signPending != 0 ? m_context.m_errFlags | kCancelled : 0;
    m_context.m_signPending = 0;
    FailCancelled();
  }
  m_context.m_errFlags = 0;
  m_context.m_signPending = 0;
}

// After a cancel, the second of two signatures in a row does not ask again.
void ContextLogin::RefuseAfterCancel() {
  g_contextLog.WriteFormatted("this->m_errFlags = ", m_context.m_errFlags, "%08X", true);
  // Required: a test of bits and not a comparison.
  if ((m_context.m_errFlags & kCancelled) == 0) return;
  m_context.m_errFlags = 0;
  m_context.m_signPending = 0;
  FailCancelled();
}

// The dialog's result. Other threads may log in while it is open.
INT_PTR ContextLogin::AskUser() {
  const TokenInfo& token = m_context.m_tokenInfo;
  g_contextLog.WriteLine("Retrieving token name");
  m_context.m_tokenName = token.GetLabel();
  g_contextLog.Write("Retrieved token name: ", m_context.m_tokenName.c_str(), true);

  CLoginEX dialog;
  dialog.SetSession(&m_context.OpenedSession());
  dialog.SetTokenLabel(m_context.m_tokenName);
  dialog.SetTokenFlags(static_cast<DWORD>(token.GetFlags()));
  dialog.AttachPINCache(m_context.m_pinCache);
  dialog.SetPINLimits(static_cast<DWORD>(token.GetMinPinLen()), static_cast<DWORD>(token.GetMaxPinLen()));
  const LoginLock::Pause pause;
  return dialog.DoModal();
}

void ContextLogin::LoginWithPIN(const BYTE* pin, DWORD length) {
  if (pin == nullptr || length == 0) {
    g_contextLog.WriteLine("PIN and PIN length is not present");
    throw CCSPContextError("PIN and PIN Length should be present", ERROR_INVALID_PARAMETER);
  }
  const std::string serial = m_context.m_tokenInfo.GetSerial();
  g_contextLog.WriteLine("Retrieving PIN cache");
  g_contextLog.Write("Card serial: ", serial.c_str(), true);
  g_contextLog.Write("Reader name: ", m_context.m_readerName.c_str(), true);
  m_context.m_pinCache = g_pinCacheManager.GetPINCache(m_context.m_readerName, serial);

  const LoginLock lock;
  ForgetDeadSession();
  CachedPIN cached;
  if (IsCachedPIN(pin, length, cached)) {
    g_contextLog.WriteLine("Login Successful.");
    return;
  }
  if (m_context.m_pinCache->IsPINSet() != 0) {
    m_context.Logout();
    g_contextLog.WriteLine("Logout");
  }
  LoginWithNewPIN(pin, length, cached);
}

// Whether the cache holds exactly this PIN. Then the session counts as logged in, and the module is not asked.
bool ContextLogin::IsCachedPIN(const BYTE* pin, DWORD length, CachedPIN& cached) {
  const auto lock = m_context.m_pinCache->Lock();
  if (m_context.m_pinCache->IsPINSet() == 0) return false;
  g_contextLog.WriteLine("PIN is set");
  g_contextLog.WriteLine("Retrieving PIN length from cache");
  m_context.m_pinCache->GetPINCache(nullptr, &cached.length);
  if (cached.length == length) {
    g_contextLog.WriteLine("PIN length matched");
    g_contextLog.WriteLine("Retrieving PIN cache");
    WipedBuffer known(length);
    DWORD knownLength = length;
    m_context.m_pinCache->GetPINCache(known.Data(), &knownLength);
    if (std::memcmp(known.Data(), pin, length) == 0) return true;
  }
  cached.isOther = true;
  return false;
}

void ContextLogin::LoginWithNewPIN(const BYTE* pin, DWORD length, const CachedPIN& cached) {
  g_contextLog.WriteLine("Login");
  Session& session = m_context.OpenedSession();
  try {
    session.Login(CKU_USER, const_cast<BYTE*>(pin), length);  // the module's interface knows no const
    m_context.m_pinCache->SetPINCache(pin, length);
    g_contextLog.WriteLine("Login Successful. PIN Cache Set");
  } catch (const CryptokiError& error) {
    switch (error.GetCode()) {
      case CKR_PIN_INCORRECT:
        FailWithTriesLeft(session);
      case CKR_PIN_LOCKED:
        throw CCSPContextError("PIN is blocked", SCARD_W_CHV_BLOCKED);
      case CKR_USER_ALREADY_LOGGED_IN:
        KeepPINOfOpenLogin(pin, length, cached);
        return;
      default:
        throw CCSPContextError(error.GetText(), NTE_FAIL);
    }
  }
}

void ContextLogin::KeepPINOfOpenLogin(const BYTE* pin, DWORD length, const CachedPIN& cached) {
  if (length != cached.length && m_context.m_pinCache->IsPINSet() != 0) {
    throw CCSPContextError("User already Logged-in. Wrong PIN was submitted to the card", SCARD_W_WRONG_CHV);
  }
  if (cached.isOther) throw CCSPContextError("PIN does not match", SCARD_W_WRONG_CHV);
  m_context.m_pinCache->SetPINCache(pin, length);
  g_contextLog.WriteLine("User Already Logged-in. PIN Cache Set");
  g_contextLog.WriteLine("Login Successfull");
}

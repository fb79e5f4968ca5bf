#include "dialogs/CLoginEX.h"

#include <cstddef>

#include "common/WipeMemory.h"
#include "cryptoki/CryptokiError.h"
#include "dialogs/ReadPIN.h"
#include "log/Logs.h"
#include "resources/DialogIds.h"

namespace {

// Required: a result code of the module from 1 to this one is the number of tries left. CKR_PIN_INCORRECT is not one of
// them, and ends the dialog like any other failure.
constexpr DWORD kMostTries = 14;

// Required: no longer PIN can be read, whatever the token and the edit accept. In bytes, without the terminator.
constexpr std::size_t kLongestReadablePIN = 8;

}  // namespace

CLoginEX::CLoginEX() : LoginDialog(IDC_LOGIN_STATUS) {}

void CLoginEX::SetPINLimits(DWORD minimum, DWORD maximum) {
  m_minimumLength = minimum;
  m_maximumLength = maximum;
}

int CLoginEX::GetResource() const { return IDD_LOGIN; }

void CLoginEX::OnOpen(DialogView& view) {
  m_edit.OnOpen();
  view.SetSmallIcon(IDI_PROVIDER);
  ShowTitle(view);
  view.LimitText(IDC_PIN_EDIT, m_maximumLength);
  view.Enable(IDC_LOGIN, false);
  view.Focus(IDC_PIN_EDIT);
  m_status.Clear(view);
}

void CLoginEX::OnCommand(DialogView& view, int control, UINT notification) {
  if (control == IDC_PIN_EDIT && notification == EN_UPDATE) {
    m_edit.OnUpdate(view);
  } else if (control == IDC_PIN_EDIT && notification == EN_CHANGE) {
    // Required: the length that counts is that of the button's own text, not the PIN's. So the first key enables the
    // button for good.
    view.Enable(IDC_LOGIN, view.GetTextLength(IDC_LOGIN) > 0);
  } else if (control == IDC_LOGIN && notification == BN_CLICKED) {
    OnLogin(view);
  } else if ((control == IDC_CANCEL || control == IDCANCEL) && notification == BN_CLICKED) {
    view.End(IDCANCEL);
  }
}

void CLoginEX::OnLogin(DialogView& view) {
  if (!HasPIN(view) || m_session == nullptr) return;
  DWORD length = 0;
  DWORD result = ReadLoginPIN(view, nullptr, &length);
  if (result == ERROR_SUCCESS) {
    WipedBuffer pin(length);
    result = ReadLoginPIN(view, pin.Data(), &length);
    if (result == ERROR_SUCCESS) result = LogIn(view, pin.Data(), length);
  }
  const bool canTryAgain =
      result == static_cast<DWORD>(SCARD_W_WRONG_CHV) || result == static_cast<DWORD>(SCARD_W_CHV_BLOCKED);
  if (canTryAgain) return;
  view.End(result == ERROR_SUCCESS ? IDOK : static_cast<INT_PTR>(result));
}

DWORD CLoginEX::ReadLoginPIN(const DialogView& view, BYTE* out, DWORD* length) const {
  return ReadPIN(view, m_edit, kLongestReadablePIN + 1, out, length);
}

DWORD CLoginEX::LogIn(DialogView& view, BYTE* pin, DWORD length) {
  try {
    g_loginLog.WriteLine("Enter Login");
    g_loginLog.WriteLine("Session Login");
    LogSessionIn(pin, length);
    g_loginLog.WriteLine("Set window text");
    m_status.Clear(view);
    g_loginLog.WriteLine("Check PIN cache");
    StorePIN(pin, length);
    return ERROR_SUCCESS;
  } catch (const CryptokiError& error) {
    g_loginLog.WriteLine("Catch Cryptoki error");
    return OnLoginError(view, error.GetCode(), pin, length);
  }
}

DWORD CLoginEX::OnLoginError(DialogView& view, DWORD code, const BYTE* pin, DWORD length) {
  if (code > 0 && code <= kMostTries) return OnWrongPIN(view, code);
  if (code == CKR_PIN_LOCKED) return Lock(view, "Pin is locked");
  if (code == CKR_USER_ALREADY_LOGGED_IN) {
    g_loginLog.WriteLine("User already logged in");
    m_status.Clear(view);
    StorePIN(pin, length);
    return ERROR_SUCCESS;
  }
  g_loginLog.WriteLine("NTE_FAIL");
  return static_cast<DWORD>(NTE_FAIL);
}

DWORD CLoginEX::OnWrongPIN(DialogView& view, DWORD triesLeft) {
  g_loginLog.WriteLine("Wrong PIN");
  g_loginLog.WriteLine("Load string");
  // Required: this branch is never taken. 0 tries would be the code 0, which is a success.
  if (triesLeft == 0) return Lock(view, "PIN is locked");
  g_loginLog.WriteLine("There are retries left");
  m_status.ShowText(view, IDS_INCORRECT_PIN, triesLeft);
  return static_cast<DWORD>(SCARD_W_WRONG_CHV);
}

DWORD CLoginEX::Lock(DialogView& view, const char* logLine) {
  g_loginLog.WriteLine(logLine);
  m_status.ShowText(view, IDS_PIN_LOCKED);
  view.Enable(IDC_PIN_EDIT, false);
  view.Enable(IDC_LOGIN, false);
  return static_cast<DWORD>(SCARD_W_CHV_BLOCKED);
}

void CLoginEX::StorePIN(const BYTE* pin, DWORD length) {
  if (!m_cache) return;
  g_loginLog.WriteLine("Set PIN cache");
  m_cache->SetPINCache(pin, length);
}

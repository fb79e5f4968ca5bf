// TokenDialogTest: a session on the token that the loader finds, for dialogs as users see them. The token's PIN is
// 123456, its label "Anna's card", and it has three tries. Each test needs its own card, so login_dialog.sh runs them
// one by one.
#pragma once

#include "common/Platform.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "context/TELVOCSPContext.h"
#include "cryptoki/CCryptoWrapper.h"
#include "dialogs/DialogDriver.h"
#include "pin/CTELVOPINCache.h"

class TokenDialogTest : public testing::Test {
 protected:
  void SetUp() override {
    m_cryptoki = CCryptoWrapper::GetCryptoki();
    m_cryptoki->GetInfo();
    Token token = m_cryptoki->GetActiveSlots().front().GetToken();
    m_session = token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr);
  }

  std::string CachedPin() const {
    DWORD length = 0;
    m_cache->GetPINCache(nullptr, &length);
    std::string pin(length, '\0');
    m_cache->GetPINCache(reinterpret_cast<BYTE*>(pin.data()), &length);
    return pin;
  }

  bool IsLoggedIn() { return m_session.GetState() == CKS_RW_USER_FUNCTIONS; }

  static std::ptrdiff_t RedPixels(const DialogDriver& user, int control) {
    const std::vector<COLORREF> pixels = user.Pixels(control);
    return std::count_if(pixels.begin(), pixels.end(), [](COLORREF color) {
      return GetRValue(color) > 180 && GetGValue(color) < 100 && GetBValue(color) < 100;
    });
  }

  boost::shared_ptr<TELVOCryptoki> m_cryptoki;
  Session m_session;
  boost::shared_ptr<CTELVOPINCache> m_cache{new CTELVOPINCache};
};

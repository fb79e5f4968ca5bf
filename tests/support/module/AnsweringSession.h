// A session whose login and PIN change return what the test sets.
#pragma once

#include "common/Platform.h"

#include <functional>
#include <string>
#include <vector>

#include "cryptoki/CryptokiError.h"
#include "cryptoki/Session.h"
#include "pin/CTELVOPINCache.h"

class AnsweringSession : public Session {
 public:
  void Login(CK_USER_TYPE user, BYTE* pin, DWORD length) override {
    userType = user;
    pinBuffer = pin;
    pins.emplace_back(pin, pin + length);
    if (answer) answer();
  }
  void SetPIN(BYTE* oldPin, DWORD oldLength, BYTE* newPin, DWORD newLength) override {
    oldPinBuffer = oldPin;
    newPinBuffer = newPin;
    changes.push_back(std::string(oldPin, oldPin + oldLength) + " to " + std::string(newPin, newPin + newLength));
    if (answerChange) answerChange();
  }
  CK_SESSION_INFO GetSessionInfo() override {
    if (answerInfo) answerInfo();
    CK_SESSION_INFO info = {};
    info.ulDeviceError = deviceError;
    return info;
  }
  void Fail(DWORD code) {
    answer = [code] { throw CryptokiError(code); };
  }
  void FailChange(DWORD code) {
    answerChange = [code] { throw CryptokiError(code); };
  }

  // Each runs in every such call; the call succeeds while it is empty.
  std::function<void()> answer;
  std::function<void()> answerChange;
  std::function<void()> answerInfo;
  CK_ULONG deviceError = 0;
  const BYTE* oldPinBuffer = nullptr;
  const BYTE* newPinBuffer = nullptr;
  std::vector<std::string> changes;
  CK_USER_TYPE userType = 0;
  const BYTE* pinBuffer = nullptr;
  std::vector<std::string> pins;
};

// The PIN in a cache, "(none)" without one.
inline std::string PINOf(CTELVOPINCache& cache) {
  DWORD length = 0;
  cache.GetPINCache(nullptr, &length);
  if (length == 0) return "(none)";
  std::string pin(length, '\0');
  cache.GetPINCache(reinterpret_cast<BYTE*>(&pin[0]), &length);
  return pin;
}

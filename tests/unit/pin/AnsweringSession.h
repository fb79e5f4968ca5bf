// A session whose login answers what a test wants.
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
  void Fail(DWORD code) {
    answer = [code] { throw CryptokiError(code); };
  }

  // Runs in each login; succeeds while it is empty.
  std::function<void()> answer;
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

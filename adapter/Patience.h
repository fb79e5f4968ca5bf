// Calls of a module that fail briefly, because another process uses the same token.
#pragma once

#include <chrono>
#include <thread>

#include "cryptoki/Pkcs11.h"

namespace adapter {

// Patiently makes a call until it returns something other than CKR_GENERAL_ERROR, for 200 ms at most, and returns its
// last result. SoftHSM2 returns it to a process that reads a token while another one writes it, which happens at each
// login. The call must be safe to repeat.
template <typename Ask>
CK_RV Patiently(Ask ask) {
  constexpr int kTimes = 20;
  constexpr std::chrono::milliseconds kPause(10);
  CK_RV result = ask();
  for (int i = 0; i < kTimes && result == CKR_GENERAL_ERROR; ++i) {
    std::this_thread::sleep_for(kPause);
    result = ask();
  }
  return result;
}

}  // namespace adapter

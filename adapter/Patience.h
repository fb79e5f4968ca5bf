// Calls of a module that fail for a moment, because another process uses the same token.
#pragma once

#include <chrono>
#include <thread>

#include "cryptoki/Pkcs11.h"

namespace adapter {

// Patiently makes a call until it answers something other than CKR_GENERAL_ERROR, for 200 ms at most, and returns its
// last result. SoftHSM2 answers so to a process that reads a token while another one writes it, as it does at each
// login. The call must be one that may be made twice.
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

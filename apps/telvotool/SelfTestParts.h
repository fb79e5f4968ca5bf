// What the steps of the self-test have in common.
#pragma once

#include "common/Platform.h"

#include <string>

#include "telvotool/Errors.h"
#include "telvotool/Files.h"
#include "telvotool/SelfTestSteps.h"

namespace tool {

constexpr DWORD kSelfTestBits = 2048;

// Which provider a call failed in.
constexpr char kOurs[] = "the provider refuses";
constexpr char kTheirs[] = "the system's own provider refuses";

inline Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// What is signed and encrypted. It is not a whole number of blocks.
inline Bytes Message() { return BytesOf("What is signed here is only a test."); }

inline void Expect(bool isTrue, const char* what) {
  if (!isTrue) throw Failure(what, kFailed, "");
}

// Runs work of the system's own provider only: when that fails, the card is not to blame.
template <typename Work>
auto BySystem(Work work) {
  try {
    return work();
  } catch (const Failure& failure) {
    throw NotApplicable(std::string(failure.what()) + ": " + CodeText(failure.Code()));
  }
}

}  // namespace tool

// Must: what has to be so, whatever the fuzzer makes up. libFuzzer keeps the input for which it is not.
#pragma once

#include <cstdlib>

inline void Must(bool isSo) {
  if (!isSo) std::abort();
}

// Must: a condition that must hold for every input. libFuzzer keeps an input for which it does not.
#pragma once

#include <cstdlib>

inline void Must(bool isSo) {
  if (!isSo) std::abort();
}

// RandomUnused: a random value for a new handle.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <cstdlib>

// RandomUnused returns rand() modulo `modulus`, in unsigned arithmetic, and tries again while `isTaken` returns true.
// The generator of the Windows run-time library has 32,768 values. When so many are `taken`, or when many attempts
// found no free one, the result is the smallest free value. The search for it starts at `smallest`; no value below that
// is free. `smallest` is then the result, so that the next search does not start over.
template <typename IsTaken>
DWORD RandomUnused(DWORD modulus, std::size_t taken, IsTaken isTaken, DWORD& smallest) {
  constexpr std::size_t kGeneratorRange = 32768;
  constexpr std::size_t kMostAttempts = 16 * kGeneratorRange;
  if (taken < kGeneratorRange) {
    for (std::size_t attempt = 0; attempt < kMostAttempts; ++attempt) {
      const DWORD value = static_cast<DWORD>(std::rand()) % modulus;  // NOLINT(cert-msc30-c,cert-msc50-cpp): a label
      if (!isTaken(value)) return value;
    }
  }
  while (isTaken(smallest)) ++smallest;
  return smallest;
}

// The same, when every search starts at 0.
template <typename IsTaken>
DWORD RandomUnused(DWORD modulus, std::size_t taken, IsTaken isTaken) {
  DWORD smallest = 0;
  return RandomUnused(modulus, taken, isTaken, smallest);
}

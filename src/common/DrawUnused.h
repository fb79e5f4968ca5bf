// DrawUnused: a value for a new handle, drawn from the run-time library's generator.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <cstdlib>

// Draws rand() modulo `modulus`, in unsigned arithmetic, until `isTaken` refuses no more. The generator of the
// provider's platform has 32,768 values: with as many taken, and likewise when no draw of many was free, it is the
// smallest free value. The search for that begins at `smallest`, below which none is free.
template <typename IsTaken>
DWORD DrawUnused(DWORD modulus, std::size_t taken, IsTaken isTaken, DWORD smallest = 0) {
  constexpr std::size_t kGeneratorRange = 32768;
  constexpr std::size_t kMostDraws = 16 * kGeneratorRange;
  if (taken < kGeneratorRange) {
    for (std::size_t draw = 0; draw < kMostDraws; ++draw) {
      const DWORD value = static_cast<DWORD>(std::rand()) % modulus;  // NOLINT(cert-msc30-c,cert-msc50-cpp): a label
      if (!isTaken(value)) return value;
    }
  }
  DWORD value = smallest;
  while (isTaken(value)) ++value;
  return value;
}

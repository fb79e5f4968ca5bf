// Any bytes as a new PIN; the first byte is the minimum length.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "rating/CMyPasswordChecker.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const DWORD minimumLength = size > 0 ? data[0] : 8;
  const std::string candidate(data + (size > 0 ? 1 : 0), data + size);
  const int score = CMyPasswordChecker(candidate, minimumLength).GetStrength();
  if (score < 0 || score > 100) std::abort();
  return 0;
}

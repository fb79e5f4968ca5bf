// Texts and names from a token: any bytes.
#include <cstdint>

#include "cryptoki/DecodeText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  DecodeText(data, static_cast<DWORD>(size));
  return 0;
}

// The header of what an application hands over as a certificate: any bytes. No more of them may be read than the header
// announces, and a length that comes out holds at least its header.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "common/CCSPContextError.h"
#include "entry/EncodedLength.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t header = data[1] < 0x80 ? 2 : 2 + (data[1] & 0x0FU);
  std::vector<BYTE> exact(header);  // its end is the end of the memory
  std::copy_n(data, std::min(size, header), exact.begin());
  try {
    if (EncodedLength(exact.data()) < header) std::abort();
  } catch (const CCSPContextError& error) {
    if (error.GetCode() != static_cast<DWORD>(NTE_BAD_DATA)) std::abort();
  }
  return 0;
}

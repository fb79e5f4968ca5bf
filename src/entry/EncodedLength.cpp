#include "entry/EncodedLength.h"

#include <cstdint>

#include "common/CCSPContextError.h"

namespace {

DWORD Checked(std::uint64_t length) {
  if (length > 0xFFFFFFFF) throw CCSPContextError("The encoded length is too large", NTE_BAD_DATA);
  return static_cast<DWORD>(length);
}

}  // namespace

DWORD EncodedLength(const BYTE* der) {
  constexpr DWORD kHeader = 2;  // tag and length octet
  if (der == nullptr) return 0;
  const BYTE first = der[1];
  if (first < 0x80) return first + kHeader;
  const DWORD count = first & 0x0FU;  // Required: four bits, not seven
  std::uint64_t length = 0;
  for (DWORD i = 0; i < count; ++i) length = Checked(length << 8U | der[kHeader + i]);
  return Checked(length + count + kHeader);
}

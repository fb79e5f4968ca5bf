// Decrypted data of any kind, compared with a search that tries every length of a padding.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "entry/RemovePKCSPadding.h"

namespace {

std::size_t PaddingOf(const std::vector<BYTE>& data) {
  for (std::size_t n = 1; n <= data.size(); ++n) {
    const auto isN = [n](BYTE byte) { return byte == n; };
    if (std::all_of(data.end() - static_cast<std::ptrdiff_t>(n), data.end(), isN)) return n;
  }
  return 0;
}

void Expect(bool truth) {
  if (!truth) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
  // Random data rarely ends in a padding: its last byte is repeated.
  std::vector<BYTE> data(input, input + size);
  if (size != 0) data.insert(data.end(), data.back() / 2 + data.front() % 3, data.back());
  const std::vector<BYTE> before = data;
  const std::size_t padding = PaddingOf(before);

  auto length = static_cast<DWORD>(data.size());
  Expect(RemovePKCSPadding(data.data(), &length) == (padding != 0));
  Expect(length == before.size() - padding);
  Expect(std::equal(data.begin(), data.begin() + length, before.begin()));
  Expect(std::all_of(data.begin() + length, data.end(), [](BYTE byte) { return byte == 0; }));
  return 0;
}

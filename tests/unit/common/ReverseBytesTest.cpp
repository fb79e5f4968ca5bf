#include <gtest/gtest.h>
#include <vector>

#include "common/ReverseBytes.h"

namespace {

using Array = std::vector<std::uint8_t>;

Array Reversed(Array bytes) {
  ReverseBytes(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  return bytes;
}

TEST(ReverseBytesTest, TheArrayIsReversed) {
  EXPECT_EQ((Array{4, 3, 2, 1}), Reversed({1, 2, 3, 4}));
  EXPECT_EQ((Array{3, 2, 1}), Reversed({1, 2, 3}));
}

TEST(ReverseBytesTest, LengthsBelowTwoChangeNothing) {
  EXPECT_EQ((Array{1}), Reversed({1}));
  ReverseBytes(nullptr, 0);
}

}  // namespace

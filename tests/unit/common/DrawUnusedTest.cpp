#include <cstdlib>
#include <gtest/gtest.h>
#include <unordered_set>

#include "common/DrawUnused.h"

namespace {

TEST(DrawUnusedTest, TheNextNumberOfTheGeneratorIsTakenModuloTheLimit) {
  std::srand(11);
  const DWORD expected = static_cast<DWORD>(std::rand()) % 1000;
  std::srand(11);
  EXPECT_EQ(expected, DrawUnused(1000, 0, [](DWORD) { return false; }));
}

TEST(DrawUnusedTest, ZeroIsAValueLikeAnyOther) {
  EXPECT_EQ(0U, DrawUnused(1, 0, [](DWORD) { return false; }));
}

TEST(DrawUnusedTest, ATakenValueIsDrawnAgainWithoutReseeding) {
  std::srand(11);
  const DWORD first = static_cast<DWORD>(std::rand());
  const DWORD second = static_cast<DWORD>(std::rand());
  std::srand(11);
  EXPECT_EQ(second, DrawUnused(0xFFFFFFFF, 1, [first](DWORD value) { return value == first; }));
}

TEST(DrawUnusedTest, WithTheGeneratorsRangeUsedUpTheSmallestFreeValueIsTaken) {
  EXPECT_EQ(32768U, DrawUnused(0xFFFFFF, 32768, [](DWORD value) { return value < 32768; }));
  EXPECT_EQ(5U, DrawUnused(0xFFFFFF, 32768, [](DWORD value) { return value != 5; }));
}

TEST(DrawUnusedTest, ManyDrawsInVainEndWithTheSmallestFreeValue) {
  EXPECT_EQ(77U, DrawUnused(32768, 32767, [](DWORD value) { return value != 77; }));
  // A value that the generator never gives under this limit.
  EXPECT_EQ(10U, DrawUnused(10, 10, [](DWORD value) { return value < 10; }));
}

TEST(DrawUnusedTest, FortyThousandDrawsGiveFortyThousandValues) {
  std::unordered_set<DWORD> taken;
  while (taken.size() < 40000) {
    ASSERT_TRUE(
        taken.insert(DrawUnused(0xFFFFFF, taken.size(), [&](DWORD value) { return taken.count(value) != 0; })).second);
  }
}

}  // namespace

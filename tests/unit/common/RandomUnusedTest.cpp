#include <cstdlib>
#include <gtest/gtest.h>
#include <unordered_set>

#include "common/RandomUnused.h"

namespace {

TEST(RandomUnusedTest, TheNextNumberOfTheGeneratorIsTakenModuloTheLimit) {
  std::srand(11);
  const DWORD expected = static_cast<DWORD>(std::rand()) % 1000;
  std::srand(11);
  EXPECT_EQ(expected, RandomUnused(1000, 0, [](DWORD) { return false; }));
}

TEST(RandomUnusedTest, ZeroIsAValueLikeAnyOther) {
  EXPECT_EQ(0U, RandomUnused(1, 0, [](DWORD) { return false; }));
}

TEST(RandomUnusedTest, AfterATakenValueTheNextIsGeneratedWithoutReseeding) {
  std::srand(11);
  const DWORD first = static_cast<DWORD>(std::rand());
  const DWORD second = static_cast<DWORD>(std::rand());
  std::srand(11);
  EXPECT_EQ(second, RandomUnused(0xFFFFFFFF, 1, [first](DWORD value) { return value == first; }));
}

TEST(RandomUnusedTest, WithTheGeneratorsRangeUsedUpTheSmallestFreeValueIsTaken) {
  EXPECT_EQ(32768U, RandomUnused(0xFFFFFF, 32768, [](DWORD value) { return value < 32768; }));
  EXPECT_EQ(5U, RandomUnused(0xFFFFFF, 32768, [](DWORD value) { return value != 5; }));
}

TEST(RandomUnusedTest, AfterManyFailedAttemptsTheSmallestFreeValueIsTaken) {
  EXPECT_EQ(77U, RandomUnused(32768, 32767, [](DWORD value) { return value != 77; }));
  // A value that the generator never returns under this limit.
  EXPECT_EQ(10U, RandomUnused(10, 10, [](DWORD value) { return value < 10; }));
}

TEST(RandomUnusedTest, TheNumberOfAttemptsIsSixteenTimesTheGeneratorsRange) {
  int checks = 0;
  EXPECT_EQ(0U, RandomUnused(0xFFFFFF, 1, [&](DWORD) { return ++checks <= 16 * 32768; }));
}

TEST(RandomUnusedTest, TheSearchContinuesWhereThePreviousOneEnded) {
  int checks = 0;
  std::unordered_set<DWORD> taken = {0, 1, 2, 500};
  const auto isTaken = [&](DWORD value) {
    ++checks;
    return taken.count(value) != 0;
  };
  DWORD smallest = 0;
  for (DWORD expected = 3; expected < 1000; ++expected) {
    if (expected == 500) continue;
    const DWORD value = RandomUnused(0xFFFFFF, 32768, isTaken, smallest);
    ASSERT_EQ(expected, value);
    taken.insert(value);
  }
  EXPECT_LE(checks, 2 * 1000);
}

TEST(RandomUnusedTest, FortyThousandCallsReturnDifferentValues) {
  std::unordered_set<DWORD> taken;
  const auto isTaken = [&](DWORD value) { return taken.count(value) != 0; };
  DWORD smallest = 0;
  while (taken.size() < 40000)
    ASSERT_TRUE(taken.insert(RandomUnused(0xFFFFFF, taken.size(), isTaken, smallest)).second);
}

}  // namespace

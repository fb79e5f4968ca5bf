#include <gtest/gtest.h>

#include "cryptoki/Version.h"

namespace {

TEST(VersionTest, DefaultIsZero) { EXPECT_EQ("0.0", Version().ToString()); }

TEST(VersionTest, ShowsBothNumbersInDecimal) { EXPECT_EQ("2.40", Version(2, 40).ToString()); }

TEST(VersionTest, IsConstructedFromTheModulesRecord) { EXPECT_EQ("255.7", Version(CK_VERSION{255, 7}).ToString()); }

TEST(VersionTest, MajorIsComparedBeforeMinor) {
  EXPECT_TRUE(Version(1, 200) < Version(2, 1));
  EXPECT_TRUE(Version(2, 1) > Version(1, 200));
  EXPECT_TRUE(Version(2, 1) < Version(2, 2));
  EXPECT_TRUE(Version(2, 2) > Version(2, 1));
  EXPECT_FALSE(Version(2, 2) < Version(2, 2));
  EXPECT_FALSE(Version(2, 2) > Version(2, 2));
}

TEST(VersionTest, EqualityComparesBothNumbers) {
  EXPECT_TRUE(Version(2, 2) == Version(2, 2));
  EXPECT_FALSE(Version(2, 2) == Version(2, 3));
  EXPECT_TRUE(Version(2, 2) != Version(3, 2));
  EXPECT_FALSE(Version(2, 2) != Version(2, 2));
}

TEST(VersionTest, OrEqualHoldsForEqualVersions) {
  EXPECT_TRUE(Version(2, 2) <= Version(2, 2));
  EXPECT_TRUE(Version(2, 2) >= Version(2, 2));
  EXPECT_TRUE(Version(2, 1) <= Version(2, 2));
  EXPECT_FALSE(Version(2, 1) >= Version(2, 2));
}

}  // namespace

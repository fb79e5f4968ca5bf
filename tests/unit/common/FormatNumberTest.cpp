#include <gtest/gtest.h>

#include "common/FormatNumber.h"

namespace {

TEST(FormatNumberTest, TheDirectiveIsReplaced) {
  EXPECT_EQ("Wrong PIN, 2 retries", FormatNumber("Wrong PIN, %d retries", 2));
}

// A string of the string table that could not be loaded is empty.
TEST(FormatNumberTest, WithoutADirectiveTheStringIsUnchanged) {
  EXPECT_EQ("", FormatNumber("", 2));
  EXPECT_EQ("PIN is locked", FormatNumber("PIN is locked", 2));
}

}  // namespace

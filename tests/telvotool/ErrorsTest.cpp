#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <winscard.h>

#include "telvotool/Errors.h"

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::Not;
using ::testing::StartsWith;
using tool::CodeText;
using tool::Failure;

TEST(ErrorsTest, ACodeIsShownByNameAndNumber) {
  EXPECT_EQ("NTE_BAD_KEYSET (0x80090016)", CodeText(0x80090016));
  EXPECT_EQ("SCARD_W_WRONG_CHV (0x8010006B)", CodeText(0x8010006B));
  EXPECT_EQ("ERROR_FILE_NOT_FOUND (0x00000002)", CodeText(2));
}

TEST(ErrorsTest, ACodeWithoutANameIsShownWithTheSystemsMessage) {
  EXPECT_THAT(CodeText(ERROR_INVALID_HANDLE), AllOf(StartsWith("0x00000006: "), Not(EndsWith("."))));
  EXPECT_EQ("0xE1234567", CodeText(0xE1234567));
}

TEST(ErrorsTest, TheErrorCodeDeterminesTheExitCode) {
  EXPECT_EQ(1, Failure("x", 0x80090020).Exit());  // NTE_FAIL
  EXPECT_EQ(3, Failure("x", 0x80090016).Exit());  // NTE_BAD_KEYSET
  EXPECT_EQ(4, Failure("x", 0x8010006C).Exit());  // SCARD_W_CHV_BLOCKED
  EXPECT_EQ(5, Failure("x", 0x80090006).Exit());  // NTE_BAD_SIGNATURE
  EXPECT_EQ(1, Failure("x", 0xE1234567).Exit());
}

TEST(ErrorsTest, GivenAdviceReplacesTheAdviceOfTheCode) {
  EXPECT_EQ("the PIN is locked: the card's issuer can unlock it", Failure("x", 0x8010006C).Advice());
  EXPECT_EQ("wait", Failure("x", 0x8010006C, "wait").Advice());
  EXPECT_EQ("", Failure("x", 0xE1234567).Advice());
}

}  // namespace

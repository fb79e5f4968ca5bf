#include <fstream>
#include <gtest/gtest.h>

#include "cryptoki/CryptokiError.h"

namespace {

// The list is kept in UTF-8; on Windows the provider's texts are in code page 1252.
std::string InPlatformEncoding(std::string text) {
#if defined(_WIN32)
  const std::size_t apostrophe = text.find("\xE2\x80\x99");
  if (apostrophe != std::string::npos) text.replace(apostrophe, 3, "\x92");
#endif
  return text;
}

TEST(CryptokiErrorTest, EveryCodeOfTheListHasItsText) {
  std::ifstream list(TELVO_TEST_DATA "/error_texts.txt");
  int rows = 0;
  for (std::string line; std::getline(list, line); ++rows) {
    const std::size_t space = line.find(' ');
    const CK_RV code = static_cast<CK_RV>(std::stoul(line.substr(0, space), nullptr, 16));
    EXPECT_EQ(InPlatformEncoding(line.substr(space + 1)), ErrorText(code)) << line;
  }
  EXPECT_EQ(84, rows);
}

TEST(CryptokiErrorTest, CodesWithoutARowGetTheUnknownTextWithEightDigits) {
  EXPECT_EQ("Unknown Error Code: 0x00000004", ErrorText(4));
  EXPECT_EQ("Unknown Error Code: 0x00000200", ErrorText(CKR_FUNCTION_REJECTED));
  EXPECT_EQ("Unknown Error Code: 0x000001C3", ErrorText(CKR_PIN_TOO_WEAK));
}

TEST(CryptokiErrorTest, OnlyTheFirstVendorCodeHasARow) {
  EXPECT_EQ("The error is Vendor Defined", ErrorText(0x80000000));
  EXPECT_EQ("Unknown Error Code: 0x80000001", ErrorText(0x80000001));
}

TEST(CryptokiErrorTest, TheTypographicApostropheIsInThePlatformsEncoding) {
#if defined(_WIN32)
  EXPECT_EQ("The specified token doesn\x92t have a random number generator.", ErrorText(CKR_RANDOM_NO_RNG));
#else
  EXPECT_EQ("The specified token doesn\xE2\x80\x99t have a random number generator.", ErrorText(CKR_RANDOM_NO_RNG));
#endif
}

TEST(CryptokiErrorTest, ZeroIsASuccess) {
  const CryptokiError error(0);
  EXPECT_EQ(0U, error.GetCode());
  EXPECT_EQ("Operation Success", error.GetText());
}

TEST(CryptokiErrorTest, ACopyOfACaughtErrorHasTheSameCodeAndText) {
  try {
    throw CryptokiError(CKR_PIN_INCORRECT);
  } catch (const CryptokiError& caught) {
    const CryptokiError copy = caught;
    CryptokiError assigned(CKR_OK);
    assigned = caught;
    EXPECT_EQ(0xA0U, copy.GetCode());
    EXPECT_EQ("Incorrect PIN.", copy.GetText());
    EXPECT_EQ(0xA0U, assigned.GetCode());
    EXPECT_EQ("Incorrect PIN.", assigned.GetText());
  }
}

TEST(CryptokiErrorTest, CheckThrowsForAnythingButSuccess) {
  EXPECT_NO_THROW(Check(CKR_OK));
  try {
    Check(CKR_DEVICE_REMOVED);
    FAIL();
  } catch (const CryptokiError& error) {
    EXPECT_EQ(0x32U, error.GetCode());
  }
}

}  // namespace

#include <gtest/gtest.h>

#include "telvotool/Errors.h"
#include "telvotool/Options.h"

namespace {

using tool::Options;
using tool::UsageError;
using Words = std::vector<std::string>;

const Words kSome = {"--out", "--bits", "--yes"};

// The parser's error message; empty if it accepts the words.
std::string Complaint(const Words& words) {
  try {
    const Options options(words, kSome);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(OptionsTest, OperandsAndOptionsMayAlternate) {
  const Options options({"one", "--out", "file", "two", "--yes"}, kSome);
  EXPECT_EQ((Words{"one", "two"}), options.Operands());
  EXPECT_EQ("file", options.Value("--out"));
  EXPECT_TRUE(options.Has("--yes"));
  EXPECT_FALSE(options.Has("--bits"));
}

TEST(OptionsTest, AValueMayFollowAnEqualsSign) {
  const Options options({"--out=a=b"}, kSome);
  EXPECT_EQ("a=b", options.Value("--out"));
}

TEST(OptionsTest, AnOptionThatIsNotGivenHasTheDefaultValue) {
  const Options options({}, kSome);
  EXPECT_EQ("2048", options.Value("--bits", "2048"));
  EXPECT_EQ("", options.Value("--bits"));
}

TEST(OptionsTest, AfterTwoHyphensThereAreOnlyOperands) {
  const Options options({"--", "--out", "--"}, kSome);
  EXPECT_EQ((Words{"--out", "--"}), options.Operands());
}

TEST(OptionsTest, OneHyphenIsNotAnOption) { EXPECT_EQ((Words{"-x", "-"}), Options({"-x", "-"}, kSome).Operands()); }

TEST(OptionsTest, AnOptionMayTakeAValueThatLooksLikeOne) {
  EXPECT_EQ("--yes", Options({"--out", "--yes"}, kSome).Value("--out"));
}

TEST(OptionsTest, HelpIsAlwaysAllowed) { EXPECT_TRUE(Options({"--help"}, {}).Has("--help")); }

TEST(OptionsTest, AnErrorNamesTheOption) {
  EXPECT_EQ("unknown option --loudly", Complaint({"--loudly"}));
  EXPECT_EQ("unknown option --loudly", Complaint({"--loudly=1"}));
  EXPECT_EQ("--hash is no option of this command", Complaint({"--hash", "sha1"}));
  EXPECT_EQ("--out needs a value: --out FILE", Complaint({"--out"}));
  EXPECT_EQ("--yes takes no value", Complaint({"--yes=1"}));
  EXPECT_EQ("--bits is given twice", Complaint({"--bits", "1", "--bits=2"}));
}

TEST(OptionsTest, APinOnTheCommandLineIsRefused) {
  EXPECT_EQ("a PIN on the command line can be seen by others: use --pin-file or --pin-stdin",
            Complaint({"--pin", "1"}));
  EXPECT_EQ("a PIN on the command line can be seen by others: use --pin-file or --pin-stdin", Complaint({"--pin=1"}));
}

}  // namespace

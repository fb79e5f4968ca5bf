#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "telvotool/Errors.h"
#include "telvotool/Purposes.h"

namespace {

using ::testing::HasSubstr;
using tool::ParsePurposes;
using Numbers = std::vector<std::string>;

// The parser's error message; empty if it accepts the list.
std::string ComplaintOf(const std::string& list) {
  try {
    ParsePurposes(list);
  } catch (const tool::UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(PurposesTest, NamesBecomeIdentifiersInTheGivenOrder) {
  EXPECT_EQ((Numbers{"1.3.6.1.5.5.7.3.2", "1.3.6.1.5.5.7.3.1"}), ParsePurposes("clientAuth,serverAuth"));
  EXPECT_EQ((Numbers{"1.3.6.1.5.5.7.3.3", "1.3.6.1.5.5.7.3.4", "1.3.6.1.5.5.7.3.8", "1.3.6.1.5.5.7.3.9",
                     "1.3.6.1.4.1.311.20.2.2"}),
            ParsePurposes("codeSigning,emailProtection,timeStamping,OCSPSigning,smartcardLogon"));
}

TEST(PurposesTest, NamesAndIdentifiersMayBeMixed) {
  EXPECT_EQ((Numbers{"1.2.3", "1.3.6.1.5.5.7.3.2", "2.47.268435455"}),
            ParsePurposes("1.2.3,clientAuth,2.47.268435455"));
  EXPECT_EQ(Numbers{"0.39.0"}, ParsePurposes("0.39.0"));
}

TEST(PurposesTest, AnInvalidIdentifierIsRefused) {
  for (const char* entry :
       {"", "clientauth", "client Auth", "1", "1.2", "3.1.1", "0.40.1", "1.40.1", "2.48.1", "1..2", ".1.2.3", "1.2.3.",
        "1.02.3", "1.2.268435456", "1.2.99999999999999999999", "1.2.-3", "1.2.+3"}) {
    EXPECT_THAT(ComplaintOf(entry), HasSubstr("\"" + std::string(entry) + "\" is none of serverAuth, clientAuth,"));
  }
}

TEST(PurposesTest, AnEmptyEntryIsRefused) {
  for (const char* list : {",", "clientAuth,", ",clientAuth", "clientAuth,,serverAuth"}) {
    EXPECT_THAT(ComplaintOf(list), HasSubstr("\"\" is none of")) << list;
  }
}

TEST(PurposesTest, APurposeThatIsGivenTwiceIsRefused) {
  EXPECT_EQ("--eku: clientAuth is there twice", ComplaintOf("clientAuth,clientAuth"));
  EXPECT_EQ("--eku: 1.3.6.1.5.5.7.3.2 is there twice", ComplaintOf("clientAuth,1.3.6.1.5.5.7.3.2"));
}

}  // namespace

// The length of a DER object, from its header.
#include <gtest/gtest.h>

#include "entry/EncodedLength.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "module/DerCertificate.h"
#include "module/SampleCertificates.h"

namespace {

struct Header {
  const char* name;
  Bytes bytes;
  DWORD length;
};

class EncodedLengthTest : public ::testing::TestWithParam<Header> {};

TEST_P(EncodedLengthTest, IsContentAndHeader) { EXPECT_EQ(GetParam().length, EncodedLength(GetParam().bytes.data())); }

const Header kHeaders[] = {
    {"OfNoContent", {0x30, 0x00}, 2},
    {"OfTheLongestContentInTheShortForm", {0x30, 0x7F}, 129},
    {"OfOneOctet", {0x30, 0x81, 0x80}, 131},
    {"OfOneFullOctet", {0x30, 0x81, 0xFF}, 258},
    {"OfTwoOctets", {0x30, 0x82, 0x05, 0xA0}, 1444},
    {"OfThreeOctets", {0x30, 0x83, 0x01, 0x00, 0x00}, 65541},
    {"OfFourOctets", {0x30, 0x84, 0x01, 0x02, 0x03, 0x04}, 0x0102030A},
    {"ThatIsTheLargest", {0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xF9}, 0xFFFFFFFF},
    {"OfAnIndefiniteFormIsThatOfTheHeader", {0x30, 0x80}, 2},
    {"OfAnOctetWithBitsBeyondTheLowFour", {0x30, 0xF2, 0x01, 0x00, 0xEE}, 260},
    {"OfNoOctetsInTheLowFourBits", {0x30, 0x90, 0x55}, 2},
    {"OfFiveOctetsOfWhichFourSuffice", {0x30, 0x85, 0x00, 0x00, 0x00, 0x01, 0x00}, 263},
    {"OfFifteenOctets", {0x30, 0x8F, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x09}, 26},
    {"OfAnotherTag", {0x04, 0x81, 0x90}, 147},
};

INSTANTIATE_TEST_SUITE_P(OfHeader, EncodedLengthTest, ::testing::ValuesIn(kHeaders),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(EncodedLengthOf, NullIsZero) { EXPECT_EQ(0U, EncodedLength(nullptr)); }

TEST(EncodedLengthOf, ACertificateIsItsSize) {
  EXPECT_EQ(303U, EncodedLength(kHolderCertificate.data()));
  EXPECT_EQ(324U, EncodedLength(kRootCertificate.data()));
  const Bytes shortOne = DerCertificate(DerName({}));
  EXPECT_EQ(0x81, shortOne[1]);
  EXPECT_EQ(shortOne.size(), EncodedLength(shortOne.data()));
  const Bytes longOne = DerCertificate(DerName({}), 70000);
  EXPECT_EQ(0x83, longOne[1]);
  EXPECT_EQ(longOne.size(), EncodedLength(longOne.data()));
}

TEST(EncodedLengthOf, MoreThanFourOctetsIsBadData) {
  const Bytes tooMany = {0x30, 0x85, 0x01, 0x00, 0x00, 0x00, 0x00};
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), "The encoded length is too large", EncodedLength(tooMany.data()));
  const Bytes allBits = {0x30, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), "The encoded length is too large", EncodedLength(allBits.data()));
}

TEST(EncodedLengthOf, ATotalBeyond32BitsIsBadData) {
  const Bytes justTooLong = {0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xFA};
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), "The encoded length is too large", EncodedLength(justTooLong.data()));
  const Bytes longest = {0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), "The encoded length is too large", EncodedLength(longest.data()));
}

}  // namespace

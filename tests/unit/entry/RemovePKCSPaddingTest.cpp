#include <gtest/gtest.h>

#include "entry/RemovePKCSPadding.h"
#include "module/ScriptedObjects.h"

namespace {

// The length that is left, with '-' in front when there was no padding.
std::string Left(Bytes data) {
  auto length = static_cast<DWORD>(data.size());
  const Bytes before = data;
  if (RemovePKCSPadding(data.data(), &length)) {
    // The removed bytes are zeroed, and nothing before them changes.
    EXPECT_EQ(Bytes(data.size() - length), Bytes(data.begin() + length, data.end()));
    EXPECT_TRUE(std::equal(data.begin(), data.begin() + length, before.begin()));
    return std::to_string(length);
  }
  EXPECT_EQ(before.size(), length);
  EXPECT_EQ(before, data);
  return "-" + std::to_string(length);
}

Bytes Padded(std::size_t length, std::size_t count, unsigned char value) {
  Bytes data(length, 0xEE);
  data.insert(data.end(), count, value);
  return data;
}

TEST(RemovePKCSPaddingTest, NullOrEmptyDataHasNoPadding) {
  DWORD length = 8;
  BYTE data[8] = {};
  EXPECT_FALSE(RemovePKCSPadding(nullptr, &length));
  EXPECT_EQ(8U, length);
  EXPECT_FALSE(RemovePKCSPadding(data, nullptr));
  length = 0;
  EXPECT_FALSE(RemovePKCSPadding(data, &length));
  EXPECT_EQ(0U, length);
}

TEST(RemovePKCSPaddingTest, DataThatEndsInTwoTwosLosesTwoBytes) { EXPECT_EQ("6", Left(Padded(6, 2, 2))); }

TEST(RemovePKCSPaddingTest, DataThatEndsInTwoOneLosesOneByte) { EXPECT_EQ("7", Left({1, 2, 3, 4, 5, 6, 2, 1})); }

TEST(RemovePKCSPaddingTest, ALastByteOfZeroIsNoPadding) {
  EXPECT_EQ("-8", Left(Bytes(8)));
  EXPECT_EQ("-8", Left({2, 2, 2, 2, 2, 2, 2, 0}));
}

TEST(RemovePKCSPaddingTest, OnlyAsManyBytesAsTheValueAreRemoved) { EXPECT_EQ("8", Left(Padded(5, 5, 2))); }

TEST(RemovePKCSPaddingTest, FewerBytesThanTheValueAreNoPadding) { EXPECT_EQ("-8", Left(Padded(6, 2, 3))); }

TEST(RemovePKCSPaddingTest, AValueAboveTheLengthIsNoPadding) { EXPECT_EQ("-8", Left(Bytes(8, 9))); }

TEST(RemovePKCSPaddingTest, DataThatIsAllPaddingIsEmpty) {
  EXPECT_EQ("0", Left(Bytes(16, 16)));
  EXPECT_EQ("0", Left({1}));
}

TEST(RemovePKCSPaddingTest, APaddingMayBeLongerThanABlock) {
  EXPECT_EQ("8", Left(Padded(8, 40, 40)));
  EXPECT_EQ("1", Left(Padded(1, 255, 255)));
}

}  // namespace

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <new>

#include "Bytes.h"
#include "adapter/software/Digest.h"
#include "adapter/software/SaltedDigest.h"

namespace adapter::testing {
namespace {

using software::SaltedDigest;

SaltedDigest Of(std::string_view pin) { return {BytesOf(pin).data(), pin.size()}; }
bool Matches(const SaltedDigest& digest, std::string_view pin) {
  return digest.Matches(BytesOf(pin).data(), pin.size());
}

TEST(SaltedDigestTest, OnlyTheSamePinMatches) {
  const SaltedDigest digest = Of("123456");
  EXPECT_TRUE(Matches(digest, "123456"));
  for (const char* other : {"123457", "023456", "12345", "1234567", ""}) EXPECT_FALSE(Matches(digest, other)) << other;
}

TEST(SaltedDigestTest, AnEmptyPinMatchesItselfOnly) {
  const SaltedDigest digest(nullptr, 0);
  EXPECT_TRUE(digest.Matches(nullptr, 0));
  EXPECT_FALSE(Matches(digest, "1"));
}

TEST(SaltedDigestTest, CopiesAreEqual) {
  const SaltedDigest digest = Of("123456");
  SaltedDigest copy = Of("1");
  EXPECT_NE(digest, copy);
  copy = digest;
  EXPECT_EQ(digest, copy);
  EXPECT_TRUE(Matches(copy, "123456"));
}

TEST(SaltedDigestTest, ItDoesNotContainThePlainDigestOfThePin) {
  const SaltedDigest digest = Of("123456");
  software::Digest plain(CKM_SHA256);
  plain.Update(BytesOf("123456").data(), 6);
  const Bytes value = plain.Final();
  Bytes kept(sizeof digest);
  std::memcpy(kept.data(), static_cast<const void*>(&digest), kept.size());
  EXPECT_EQ(kept.end(), std::search(kept.begin(), kept.end(), value.begin(), value.end()));
}

TEST(SaltedDigestTest, TheDestructorWipesIt) {
  alignas(SaltedDigest) CK_BYTE room[sizeof(SaltedDigest)] = {};
  auto* const digest = new (room) SaltedDigest(BytesOf("123456").data(), 6);
  EXPECT_NE(Bytes(sizeof room), Bytes(std::begin(room), std::end(room)));
  digest->~SaltedDigest();
  EXPECT_EQ(Bytes(sizeof room), Bytes(std::begin(room), std::end(room)));
}

}  // namespace
}  // namespace adapter::testing

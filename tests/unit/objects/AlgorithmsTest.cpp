#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <list>
#include <string>
#include <vector>

#include "module/ScriptedObjects.h"
#include "objects/Algorithms.h"

namespace {

TEST(AlgorithmsTest, AreEnumeratedInAFixedOrder) {
  std::vector<ALG_ID> ids;
  for (const Algorithm& row : AllAlgorithms()) ids.push_back(row.id);
  EXPECT_EQ(
      (std::vector<ALG_ID>{0x8004, 0x800C, 0x800E, 0x8003, 0x8008, 0x2400, 0xA400, 0x6601, 0x6603, 0x6609, 0x660E}),
      ids);
}

// One line per row.
// clang-format off
constexpr Algorithm kExpected[] = {
    {CALG_SHA1, 160, "SHA-1", 6, "Secure Hash Algorithm (SHA-1)", 30, 160, 160, {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14}, 15},
    {CALG_SHA_256, 256, "SHA-256", 8, "Secure Hash Algorithm (SHA-256)", 32, 256, 256, {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20}, 19},
    {CALG_SHA_512, 512, "SHA-512", 8, "Secure Hash Algorithm (SHA-512)", 32, 512, 512, {0x30, 0x51, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x03, 0x05, 0x00, 0x04, 0x40}, 19},
    {CALG_MD5, 128, "MD5", 4, "Message Digest 5 (MD5)", 23, 128, 128, {0x30, 0x20, 0x30, 0x0c, 0x06, 0x08, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x05, 0x05, 0x00, 0x04, 0x10}, 18},
    {CALG_SSL3_SHAMD5, 288, "SSL3 SHAMD5", 12, "SSL3 SHAMD5", 12, 288, 288, {}, 0},
    {CALG_RSA_SIGN, 1024, "RSA_SIGN", 9, "RSA Signature", 14, 512, 4096, {}, 0},
    {CALG_RSA_KEYX, 1024, "RSA_KEYX", 9, "RSA Key Exchange", 17, 512, 4096, {}, 0},
    {CALG_DES, 56, "DES", 4, "Data Encryption Standard (DES)", 31, 56, 56, {}, 0},
    {CALG_3DES, 168, "3DES", 5, "Three Key Triple DES", 21, 168, 168, {}, 0},
    {CALG_3DES_112, 112, "3DES TWO KEY", 13, "Two Key Triple DES", 19, 112, 112, {}, 0},
    {CALG_AES_128, 128, "AES 128", 8, "Advanced Encryption Standard 128-bit", 37, 128, 128, {}, 0},
};
// clang-format on

// Applications get whole rows, including the bytes after the names.
TEST(AlgorithmsTest, EachRowMatchesByteForByte) {
  static_assert(sizeof(Algorithm) == 344, "no gaps between the fields");
  const std::list<Algorithm> rows = AllAlgorithms();
  ASSERT_EQ(std::size(kExpected), rows.size());
  const Algorithm* expected = kExpected;
  for (const Algorithm& row : rows) {
    EXPECT_EQ(0, std::memcmp(expected, &row, sizeof(row))) << row.name;
    ++expected;
  }
}

TEST(AlgorithmsTest, NamesFitAndTheirLengthsIncludeTheZeroByte) {
  for (const Algorithm& row : AllAlgorithms()) {
    EXPECT_EQ(std::strlen(row.name) + 1, row.nameLength) << row.name;
    EXPECT_EQ(std::strlen(row.longName) + 1, row.longNameLength) << row.longName;
  }
}

std::string Described(ALG_ID id) {
  const Algorithm* const row = FindAlgorithm(id);
  if (row == nullptr) return "none";
  return std::string(row->name) + "; " + row->longName + "; " + std::to_string(row->defaultBits) + " " +
         std::to_string(row->minBits) + " " + std::to_string(row->maxBits);
}

TEST(AlgorithmsTest, EachRowHasItsNamesAndSizes) {
  EXPECT_EQ("SHA-1; Secure Hash Algorithm (SHA-1); 160 160 160", Described(0x8004));
  EXPECT_EQ("SHA-256; Secure Hash Algorithm (SHA-256); 256 256 256", Described(0x800C));
  EXPECT_EQ("SHA-512; Secure Hash Algorithm (SHA-512); 512 512 512", Described(0x800E));
  EXPECT_EQ("MD5; Message Digest 5 (MD5); 128 128 128", Described(0x8003));
  EXPECT_EQ("SSL3 SHAMD5; SSL3 SHAMD5; 288 288 288", Described(0x8008));
  EXPECT_EQ("RSA_SIGN; RSA Signature; 1024 512 4096", Described(0x2400));
  EXPECT_EQ("RSA_KEYX; RSA Key Exchange; 1024 512 4096", Described(0xA400));
  EXPECT_EQ("DES; Data Encryption Standard (DES); 56 56 56", Described(0x6601));
  EXPECT_EQ("3DES; Three Key Triple DES; 168 168 168", Described(0x6603));
  EXPECT_EQ("3DES TWO KEY; Two Key Triple DES; 112 112 112", Described(0x6609));
  EXPECT_EQ("AES 128; Advanced Encryption Standard 128-bit; 128 128 128", Described(0x660E));
}

Bytes PrefixOf(ALG_ID id) {
  const Algorithm* const row = FindAlgorithm(id);
  return Bytes(row->prefix, row->prefix + row->prefixLength);
}

TEST(AlgorithmsTest, HashesHaveTheirDigestInfoPrefixes) {
  EXPECT_EQ((Bytes{0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14}),
            PrefixOf(CALG_SHA1));
  EXPECT_EQ((Bytes{0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00,
                   0x04, 0x20}),
            PrefixOf(CALG_SHA_256));
  EXPECT_EQ((Bytes{0x30, 0x51, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x03, 0x05, 0x00,
                   0x04, 0x40}),
            PrefixOf(CALG_SHA_512));
  EXPECT_EQ((Bytes{0x30, 0x20, 0x30, 0x0c, 0x06, 0x08, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x05, 0x05, 0x00, 0x04,
                   0x10}),
            PrefixOf(CALG_MD5));
  EXPECT_EQ(Bytes(), PrefixOf(CALG_SSL3_SHAMD5));
}

TEST(AlgorithmsTest, AnUnknownAlgorithmIsNotFound) { EXPECT_EQ("none", Described(0x800D)); }

}  // namespace

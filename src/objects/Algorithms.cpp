#include "objects/Algorithms.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace {

template <std::size_t Size, std::size_t Space>
constexpr DWORD Fill(char (&out)[Space], const char (&literal)[Size]) {
  static_assert(Size <= Space, "the name is too long for its field");
  for (std::size_t i = 0; i < Size; ++i) out[i] = literal[i];
  return static_cast<DWORD>(Size);
}

// A row; the lengths of its names are those of the literals.
template <std::size_t NameSize, std::size_t LongSize>
constexpr Algorithm Row(ALG_ID id, DWORD defaultBits, const char (&name)[NameSize], const char (&longName)[LongSize],
                        DWORD minBits, DWORD maxBits) {
  Algorithm row = {};
  row.id = id;
  row.defaultBits = defaultBits;
  row.nameLength = Fill(row.name, name);
  row.longNameLength = Fill(row.longName, longName);
  row.minBits = minBits;
  row.maxBits = maxBits;
  return row;
}

// The row of a hash with a DigestInfo.
template <std::size_t NameSize, std::size_t LongSize, std::size_t PrefixLength>
constexpr Algorithm Hash(ALG_ID id, DWORD bits, const char (&name)[NameSize], const char (&longName)[LongSize],
                         const BYTE (&prefix)[PrefixLength]) {
  Algorithm row = Row(id, bits, name, longName, bits, bits);
  for (std::size_t i = 0; i < PrefixLength; ++i) row.prefix[i] = prefix[i];
  row.prefixLength = static_cast<DWORD>(PrefixLength);
  return row;
}

// One row, one line.
// clang-format off
constexpr Algorithm kAlgorithms[] = {
    Hash(CALG_SHA1, 160, "SHA-1", "Secure Hash Algorithm (SHA-1)", {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14}),
    Hash(CALG_SHA_256, 256, "SHA-256", "Secure Hash Algorithm (SHA-256)", {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20}),
    Hash(CALG_SHA_512, 512, "SHA-512", "Secure Hash Algorithm (SHA-512)", {0x30, 0x51, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x03, 0x05, 0x00, 0x04, 0x40}),
    Hash(CALG_MD5, 128, "MD5", "Message Digest 5 (MD5)", {0x30, 0x20, 0x30, 0x0c, 0x06, 0x08, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x05, 0x05, 0x00, 0x04, 0x10}),
    Row(CALG_SSL3_SHAMD5, 288, "SSL3 SHAMD5", "SSL3 SHAMD5", 288, 288),
    Row(CALG_RSA_SIGN, 1024, "RSA_SIGN", "RSA Signature", 512, 4096),
    Row(CALG_RSA_KEYX, 1024, "RSA_KEYX", "RSA Key Exchange", 512, 4096),
    Row(CALG_DES, 56, "DES", "Data Encryption Standard (DES)", 56, 56),
    Row(CALG_3DES, 168, "3DES", "Three Key Triple DES", 168, 168),
    Row(CALG_3DES_112, 112, "3DES TWO KEY", "Two Key Triple DES", 112, 112),
    Row(CALG_AES_128, 128, "AES 128", "Advanced Encryption Standard 128-bit", 128, 128),
};

// Required: these names have other hyphens and spaces than those of kAlgorithms.
constexpr HashAlgorithm kHashes[] = {
    {CALG_MD5, "MD5", CKM_MD5},
    {CALG_SHA1, "SHA-1", CKM_SHA_1},
    {CALG_SSL3_SHAMD5, "SSL3-SHAMD5", CKM_SHA_1},
    {CALG_SHA_256, "SHA 256", CKM_SHA256},
    {CALG_SHA_512, "SHA 512", CKM_SHA512},
};
// clang-format on

template <typename Table>
constexpr int RowsOf(ALG_ID id, const Table& table) {
  int rows = 0;
  for (const auto& row : table) rows += row.id == id ? 1 : 0;
  return rows;
}

// The upper three bits of an id are the algorithm's class; 4 is that of hashes.
constexpr bool IsHash(const Algorithm& row) { return row.id >> 13U == 4; }

constexpr bool EachHashIsInBothTables() {
  for (const HashAlgorithm& hash : kHashes) {
    if (RowsOf(hash.id, kAlgorithms) != 1) return false;
  }
  for (const Algorithm& row : kAlgorithms) {
    if (RowsOf(row.id, kHashes) != (IsHash(row) ? 1 : 0)) return false;
  }
  return true;
}

// A DigestInfo ends in the length of the digest.
constexpr bool EachPrefixFitsItsHash() {
  for (const Algorithm& row : kAlgorithms) {
    if (row.prefixLength != 0 && row.prefix[row.prefixLength - 1] != row.defaultBits / 8) return false;
  }
  return true;
}

static_assert(EachHashIsInBothTables(), "a hash needs one row in kAlgorithms and one in kHashes");
static_assert(EachPrefixFitsItsHash(), "a DigestInfo is that of another hash");

template <typename Table>
auto Find(ALG_ID id, const Table& table) {
  const auto* const found =
      std::find_if(std::begin(table), std::end(table), [id](const auto& row) { return row.id == id; });
  return found == std::end(table) ? nullptr : found;
}

}  // namespace

std::list<Algorithm> AllAlgorithms() { return {std::begin(kAlgorithms), std::end(kAlgorithms)}; }

const Algorithm* FindAlgorithm(ALG_ID id) { return Find(id, kAlgorithms); }

const HashAlgorithm* FindHashAlgorithm(ALG_ID id) { return Find(id, kHashes); }

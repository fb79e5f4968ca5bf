// Checks the notes of docs/programming.md through the system's CryptoAPI on a card with real keys. Each test is named
// after a note, and shows both what goes wrong and what to do instead.
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "ProviderTest.h"

namespace {

using ::testing::HasSubstr;
using Bytes = std::vector<BYTE>;

constexpr ALG_ID kAes192 = 0x660F;
constexpr ALG_ID kAes256 = 0x6610;
constexpr ALG_ID kSha384 = 0x800D;
constexpr DWORD kOaep = 0x40;

const char kBadAlgorithm[] = "80090008";
const char kBadFlags[] = "80090009";
const char kNoKey[] = "8009000D";
const char kFail[] = "80090020";
const char kNoMoreItems[] = "00000103";

Bytes Reversed(const Bytes& bytes) { return {bytes.rbegin(), bytes.rend()}; }

// 1, 2, 3, ...: all bytes differ, so that their order shows.
Bytes CountingBytes(std::size_t count) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<BYTE>(i + 1);
  return bytes;
}

// A card without a container named "notes".
class NotesTest : public ProviderTest {
 protected:
  NotesTest() { m_cardB.Remove(); }

  static std::string CreateHash(HCRYPTPROV context, ALG_ID algorithm) {
    HCRYPTHASH hash = 0;
    const std::string result = Result(CryptCreateHash(context, algorithm, 0, 0, &hash));
    if (hash != 0) CryptDestroyHash(hash);
    return result;
  }
  // PP_ENUMCONTAINERS with a buffer of 128 bytes and the length `declared`. Returns the name, or the last error.
  std::string NextContainer(DWORD flags, DWORD declared = 128) {
    BYTE name[128] = {};
    const std::string result = Result(CryptGetProvParam(Handle(), PP_ENUMCONTAINERS, name, &declared, flags));
    return result == "true" ? reinterpret_cast<const char*>(name) : result;
  }
};

// The container "notes" with a key pair of 1024 bits, and the PIN supplied.
class NotesKeyTest : public NotesTest {
 protected:
  NotesKeyTest() {
    EXPECT_EQ("true", AcquireResult(Named(kReaderA, "notes").c_str(), CRYPT_NEWKEYSET));
    const BYTE pin[] = "123456";
    EXPECT_EQ("true", Result(CryptSetProvParam(Handle(), PP_SIGNATURE_PIN, pin, 0)));
    EXPECT_EQ("true", Result(CryptGenKey(Handle(), AT_KEYEXCHANGE, 1024U << 16U, &m_pair)));
  }

  // CryptEncrypt with the pair. Returns the bytes in the provider's order.
  Bytes EncryptForPair(const Bytes& plain, DWORD flags = 0) const {
    Bytes data(128);
    std::copy(plain.begin(), plain.end(), data.begin());
    DWORD length = static_cast<DWORD>(plain.size());
    EXPECT_EQ("true", Result(CryptEncrypt(m_pair, 0, TRUE, flags, data.data(), &length, 128)));
    EXPECT_EQ(128U, length);
    return data;
  }
  Bytes DecryptWithPair(Bytes data, DWORD flags = 0) const {
    DWORD length = static_cast<DWORD>(data.size());
    if (CryptDecrypt(m_pair, 0, TRUE, flags, data.data(), &length) == FALSE) return {};
    data.resize(length);
    return data;
  }

  // A SIMPLEBLOB as every other provider writes it: the encrypted key with its least significant byte first.
  Bytes BlobOf(ALG_ID algorithm, const Bytes& value) const {
    Bytes blob = {SIMPLEBLOB, CUR_BLOB_VERSION, 0, 0, LOBYTE(algorithm), HIBYTE(algorithm), 0, 0, 0, 0xA4, 0, 0};
    const Bytes encrypted = Reversed(EncryptForPair(value));
    blob.insert(blob.end(), encrypted.begin(), encrypted.end());
    return blob;
  }
  std::string ImportResult(const Bytes& blob, HCRYPTKEY* key) const {
    return Result(CryptImportKey(Handle(), blob.data(), static_cast<DWORD>(blob.size()), 0, CRYPT_EXPORTABLE, key));
  }
  HCRYPTKEY Import(ALG_ID algorithm, const Bytes& value) const {
    HCRYPTKEY key = 0;
    EXPECT_EQ("true", ImportResult(BlobOf(algorithm, value), &key));
    return key;
  }

  static void SetMode(HCRYPTKEY key, DWORD mode) {
    EXPECT_EQ("true", Result(CryptSetKeyParam(key, KP_MODE, reinterpret_cast<const BYTE*>(&mode), 0)));
  }
  static void SetIV(HCRYPTKEY key, const Bytes& iv) {
    EXPECT_EQ("true", Result(CryptSetKeyParam(key, KP_IV, iv.data(), 0)));
  }
  // The result of CryptEncrypt, which replaces the data.
  static std::string EncryptResult(HCRYPTKEY key, Bytes& data) {
    DWORD length = static_cast<DWORD>(data.size());
    return Result(CryptEncrypt(key, 0, TRUE, 0, data.data(), &length, length));
  }
  static Bytes Encrypt(HCRYPTKEY key, Bytes data) {
    EXPECT_EQ("true", EncryptResult(key, data));
    return data;
  }
  static Bytes Decrypt(HCRYPTKEY key, Bytes data) {
    DWORD length = static_cast<DWORD>(data.size());
    EXPECT_EQ("true", Result(CryptDecrypt(key, 0, FALSE, 0, data.data(), &length)));
    EXPECT_EQ(data.size(), length);
    return data;
  }

  HCRYPTHASH HashOfAbc() const {
    HCRYPTHASH hash = 0;
    EXPECT_EQ("true", Result(CryptCreateHash(Handle(), CALG_SHA1, 0, 0, &hash)));
    EXPECT_EQ("true", Result(CryptHashData(hash, reinterpret_cast<const BYTE*>("abc"), 3, 0)));
    return hash;
  }
  Bytes PublicKeyOf(DWORD keySpec) const {
    HCRYPTKEY key = 0;
    EXPECT_EQ("true", Result(CryptGetUserKey(Handle(), keySpec, &key)));
    DWORD length = 148;
    Bytes blob(length);
    EXPECT_EQ("true", Result(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, blob.data(), &length)));
    return {blob.begin() + 20, blob.end()};
  }

  HCRYPTKEY m_pair = 0;
};

// --- Containers

TEST_F(NotesTest, AMissingContainerIsAcquiredButItsKeyIsNotFound) {
  HCRYPTKEY key = 0;
  ASSERT_EQ("true", AcquireResult("notes", 0));
  EXPECT_EQ(kNoKey, Result(CryptGetUserKey(Handle(), AT_KEYEXCHANGE, &key)));
  ASSERT_EQ("true", AcquireResult(Named(kReaderA, "notes").c_str(), CRYPT_SILENT));
  EXPECT_EQ(kNoKey, Result(CryptGetUserKey(Handle(), AT_KEYEXCHANGE, &key)));
  EXPECT_EQ("80090016", AcquireResult("notes", CRYPT_SILENT));
}

TEST_F(NotesTest, UnlikeVerificationASilentContextHasHashesRandomBytesAndContainers) {
  m_cardA.AddContainer("notes");
  BYTE random[8] = {};
  ASSERT_EQ("true", AcquireResult(nullptr, CRYPT_VERIFYCONTEXT));
  EXPECT_EQ(kFail, CreateHash(Handle(), CALG_SHA1));
  EXPECT_EQ(kFail, Result(CryptGenRandom(Handle(), sizeof(random), random)));
  EXPECT_EQ(kNoMoreItems, NextContainer(CRYPT_FIRST));
  ASSERT_EQ("true", AcquireResult(nullptr, CRYPT_SILENT));
  EXPECT_EQ("true", CreateHash(Handle(), CALG_SHA1));
  EXPECT_EQ("true", Result(CryptGenRandom(Handle(), sizeof(random), random)));
  EXPECT_EQ("notes", NextContainer(CRYPT_FIRST));
}

TEST_F(NotesTest, OnlyCryptNextReturnsTheNextContainerAndItIgnoresTheDeclaredLength) {
  m_cardA.AddCertificate("first-container");
  m_cardA.AddCertificate("second-container");
  ASSERT_EQ("true", AcquireResult(Named(kReaderA, "").c_str(), CRYPT_SILENT));
  const std::string first = NextContainer(CRYPT_FIRST);
  EXPECT_EQ(kNoMoreItems, NextContainer(0));
  EXPECT_EQ(first, NextContainer(CRYPT_FIRST));
  const std::string second = NextContainer(CRYPT_NEXT, 1);
  EXPECT_EQ(kNoMoreItems, NextContainer(CRYPT_NEXT));
  EXPECT_THAT((std::vector<std::string>{first, second}),
              ::testing::UnorderedElementsAre("first-container", "second-container"));
}

TEST_F(NotesTest, ASilentContextCreatesNoContainerEvenWithAReader) {
  EXPECT_EQ("80090016", AcquireResult("notes", CRYPT_NEWKEYSET | CRYPT_SILENT));
  EXPECT_EQ("80090016", AcquireResult(Named(kReaderA, "notes").c_str(), CRYPT_NEWKEYSET | CRYPT_SILENT));
}

TEST_F(NotesTest, ADeletionTakesEffectOnlyDuringALogin) {
  m_cardA.AddContainer("notes");
  ASSERT_EQ("true", AcquireResult("notes", CRYPT_DELETEKEYSET));
  EXPECT_EQ(3U, m_cardA.CountObjects());
  ASSERT_EQ("true", AcquireResult("notes", CRYPT_SILENT));
  const BYTE pin[] = "123456";
  ASSERT_EQ("true", Result(CryptSetProvParam(Handle(), PP_SIGNATURE_PIN, pin, 0)));
  HCRYPTPROV deleted = 0;
  EXPECT_EQ("true", Result(CryptAcquireContextA(&deleted, "notes", kProviderName, PROV_RSA_FULL, CRYPT_DELETEKEYSET)));
  EXPECT_EQ(0U, m_cardA.CountObjects());
}

// --- The key pair

TEST_F(NotesKeyTest, OnePairAnswersToBothKeySpecsAndANewOneReplacesIt) {
  const Bytes former = PublicKeyOf(AT_KEYEXCHANGE);
  EXPECT_EQ(former, PublicKeyOf(AT_SIGNATURE));
  HCRYPTKEY key = 0;
  ASSERT_EQ("true", Result(CryptGenKey(Handle(), AT_SIGNATURE, 1024U << 16U, &key)));
  EXPECT_NE(former, PublicKeyOf(AT_KEYEXCHANGE));
  EXPECT_EQ(PublicKeyOf(AT_KEYEXCHANGE), PublicKeyOf(AT_SIGNATURE));
}

TEST_F(NotesKeyTest, AShortSignatureBufferFailsWithNteFailAndReturnsNoLength) {
  const HCRYPTHASH hash = HashOfAbc();
  BYTE signature[128] = {};
  DWORD length = 127;
  EXPECT_EQ(kFail, Result(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, signature, &length)));
  EXPECT_EQ(127U, length);
  EXPECT_EQ("true", Result(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, nullptr, &length)));
  EXPECT_EQ(128U, length);
  EXPECT_EQ("true", Result(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, signature, &length)));
}

TEST_F(NotesKeyTest, RsaEncryptionIsBigEndianAndDecryptionLittleEndian) {
  const Bytes plain = {'a', 'b', 'c'};
  const Bytes encrypted = EncryptForPair(plain);
  EXPECT_NE(plain, DecryptWithPair(encrypted));
  EXPECT_EQ(plain, DecryptWithPair(Reversed(encrypted)));
}

TEST_F(NotesKeyTest, OaepIsIgnored) {
  const Bytes plain = {'a', 'b', 'c'};
  EXPECT_EQ(plain, DecryptWithPair(Reversed(EncryptForPair(plain, kOaep)), 0));
  EXPECT_EQ(plain, DecryptWithPair(Reversed(EncryptForPair(plain)), kOaep));
  // This padding leaves room for 117 of 128 bytes, which is more than OAEP would.
  EXPECT_EQ(Bytes(117, 'x'), DecryptWithPair(Reversed(EncryptForPair(Bytes(117, 'x'), kOaep))));
}

// --- What mail and TLS can count on

TEST_F(NotesKeyTest, MailKeysAreTripleDesOrAes128) {
  HCRYPTKEY key = 0;
  EXPECT_EQ("true", ImportResult(BlobOf(CALG_3DES, CountingBytes(24)), &key));
  EXPECT_EQ("true", ImportResult(BlobOf(CALG_AES_128, CountingBytes(16)), &key));
  EXPECT_EQ(kBadAlgorithm, ImportResult(BlobOf(kAes192, CountingBytes(24)), &key));
  EXPECT_EQ(kBadAlgorithm, ImportResult(BlobOf(kAes256, CountingBytes(32)), &key));
  EXPECT_EQ(kBadAlgorithm, ImportResult(BlobOf(CALG_RC2, CountingBytes(16)), &key));
  EXPECT_EQ(kBadAlgorithm, ImportResult(BlobOf(CALG_RC4, CountingBytes(16)), &key));
}

TEST_F(NotesKeyTest, ThereIsNoSha384) {
  EXPECT_EQ("true", CreateHash(Handle(), CALG_SHA_256));
  EXPECT_EQ("true", CreateHash(Handle(), CALG_SHA_512));
  EXPECT_EQ(kBadAlgorithm, CreateHash(Handle(), kSha384));
}

// --- Session keys

TEST_F(NotesKeyTest, ASessionKeyEncryptsTheWholeBufferAndPadsNothing) {
  const HCRYPTKEY key = Import(CALG_3DES, CountingBytes(24));
  SetMode(key, CRYPT_MODE_ECB);
  Bytes data(16, 'p');
  DWORD length = 5;  // five bytes in a buffer with room for their padding: the usual call
  EXPECT_EQ(kFail, Result(CryptEncrypt(key, 0, TRUE, 0, data.data(), &length, 8)));
  length = 16;  // here the length is the room, 16 bytes, and the buffer size, 8, is the length of the input
  EXPECT_EQ("true", Result(CryptEncrypt(key, 0, TRUE, 0, data.data(), &length, 8)));
  EXPECT_EQ(8U, length);
  Bytes part(5, 'p');
  EXPECT_EQ(kFail, EncryptResult(key, part));
  const Bytes padded = {'p', 'p', 'p', 'p', 'p', 3, 3, 3};
  Bytes encrypted = Encrypt(key, padded);
  EXPECT_EQ(padded, Decrypt(key, encrypted));
  length = 8;
  EXPECT_EQ("true", Result(CryptDecrypt(key, 0, TRUE, 0, encrypted.data(), &length)));
  EXPECT_EQ(5U, length);
}

TEST_F(NotesKeyTest, ASessionKeyHasNoModeUntilModeOrIVIsSet) {
  Bytes block(8, 'p');
  const HCRYPTKEY imported = Import(CALG_3DES, CountingBytes(24));
  EXPECT_EQ(kFail, EncryptResult(imported, block));
  SetMode(imported, CRYPT_MODE_ECB);
  EXPECT_EQ("true", EncryptResult(imported, block));

  const HCRYPTKEY other = Import(CALG_3DES, CountingBytes(24));
  SetIV(other, Bytes(8, 0));
  const Bytes both = Encrypt(other, Bytes(16, 'p'));
  EXPECT_FALSE(std::equal(both.begin(), both.begin() + 8, both.begin() + 8)) << "CBC";
}

TEST_F(NotesKeyTest, TheFlagsOfAGeneratedSessionKeySetItsMode) {
  Bytes block(8, 'p');
  HCRYPTKEY key = 0;
  ASSERT_EQ("true", Result(CryptGenKey(Handle(), CALG_3DES, 0, &key)));
  EXPECT_EQ(kFail, EncryptResult(key, block));
  ASSERT_EQ("true", Result(CryptGenKey(Handle(), CALG_3DES, CRYPT_EXPORTABLE, &key)));
  const Bytes both = Encrypt(key, Bytes(16, 'p'));
  EXPECT_FALSE(std::equal(both.begin(), both.begin() + 8, both.begin() + 8)) << "CBC";
}

TEST_F(NotesKeyTest, DecryptionInPiecesChainsOnlyIfTheIVIsSetForEachPiece) {
  const HCRYPTKEY key = Import(CALG_3DES, CountingBytes(24));
  const Bytes iv(8, 0x5A);
  const Bytes plain = CountingBytes(16);
  SetIV(key, iv);
  const Bytes encrypted = Encrypt(key, plain);
  const Bytes first(encrypted.begin(), encrypted.begin() + 8);
  const Bytes second(encrypted.begin() + 8, encrypted.end());
  const Bytes plainSecond(plain.begin() + 8, plain.end());

  SetIV(key, iv);
  EXPECT_EQ(Bytes(plain.begin(), plain.begin() + 8), Decrypt(key, first));
  Bytes withoutIV = second;
  DWORD length = 8;
  EXPECT_EQ(kFail, Result(CryptDecrypt(key, 0, FALSE, 0, withoutIV.data(), &length)));
  SetIV(key, first);
  EXPECT_EQ(plainSecond, Decrypt(key, second));
}

TEST_F(NotesKeyTest, ReadingTheIVSetsItToTheCallersBytes) {
  const HCRYPTKEY key = Import(CALG_3DES, CountingBytes(24));
  const Bytes block(8, 'p');
  SetIV(key, Bytes(8, 0x11));
  const Bytes ofTheBuffer = Encrypt(key, block);

  SetIV(key, Bytes(8, 0x5A));
  Bytes buffer(8, 0x11);
  DWORD length = 8;
  ASSERT_EQ("true", Result(CryptGetKeyParam(key, KP_IV, buffer.data(), &length, 0)));
  EXPECT_EQ(Bytes(8, 0x11), buffer);
  EXPECT_EQ(ofTheBuffer, Encrypt(key, block));
}

TEST_F(NotesKeyTest, AnExportedSessionKeyCannotBeImportedAndItsLengthIs12TooSmall) {
  const Bytes value = CountingBytes(24);
  const HCRYPTKEY key = Import(CALG_3DES, value);
  DWORD length = 0;
  ASSERT_EQ("true", Result(CryptExportKey(key, m_pair, SIMPLEBLOB, 0, nullptr, &length)));
  ASSERT_EQ(140U, length);
  Bytes blob(length);
  ASSERT_EQ("true", Result(CryptExportKey(key, m_pair, SIMPLEBLOB, 0, blob.data(), &length)));
  EXPECT_EQ(128U, length);

  HCRYPTKEY back = 0;
  EXPECT_EQ(kFail, ImportResult(blob, &back));
  // With its bytes reversed it is accepted, but the key's own bytes are then reversed as well.
  const Bytes encrypted(blob.begin() + 12, blob.end());
  EXPECT_EQ(Reversed(value), DecryptWithPair(Reversed(encrypted)));
}

TEST_F(NotesKeyTest, EachDerivedKeyHasOneLengthWhichNoCipherAccepts) {
  struct Row {
    ALG_ID algorithm;
    DWORD bits;
    DWORD block;
  };
  HCRYPTKEY key = 0;
  const auto derive = [&](const Row& row) {
    const HCRYPTHASH hash = HashOfAbc();
    const std::string result = Result(CryptDeriveKey(Handle(), row.algorithm, hash, row.bits << 16U, &key));
    CryptDestroyHash(hash);
    return result;
  };
  for (const Row& row : {Row{CALG_DES, 64, 8}, Row{CALG_3DES, 192, 8}, Row{CALG_AES_128, 128, 16},
                         Row{CALG_3DES_112, 112, 8}, Row{CALG_3DES_112, 128, 8}, Row{CALG_DES, 0, 8}}) {
    EXPECT_EQ(kBadFlags, derive(row)) << row.algorithm << " " << row.bits;
  }
  for (const Row& row : {Row{CALG_DES, 56, 8}, Row{CALG_3DES, 168, 8}, Row{CALG_AES_128, 112, 16}}) {
    EXPECT_EQ("true", derive(row)) << row.algorithm << " " << row.bits;
    SetMode(key, CRYPT_MODE_ECB);
    Bytes block(row.block, 'p');
    EXPECT_EQ(kFail, EncryptResult(key, block)) << row.algorithm << " " << row.bits;
  }
}

// --- The log

TEST_F(NotesKeyTest, TheLogShowsHashedAndDecryptedData) {
  TakeLog();
  const HCRYPTHASH hash = HashOfAbc();
  BYTE signature[128] = {};
  DWORD length = sizeof(signature);
  ASSERT_EQ("true", Result(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, signature, &length)));
  EXPECT_THAT(TakeLog(), HasSubstr("61 62 63 "));
  const Bytes secret = {'s', 'e', 'c', 'r', 'e', 't'};
  const Bytes encrypted = Reversed(EncryptForPair(secret));
  TakeLog();
  EXPECT_EQ(secret, DecryptWithPair(encrypted));
  EXPECT_THAT(TakeLog(), HasSubstr("PlainText: 73 65 63 72 65 74 "));
}

}  // namespace

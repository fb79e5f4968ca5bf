// Session keys of the whole provider on a real card.
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

#include "ProviderTest.h"

namespace {

using Bytes = std::vector<BYTE>;

constexpr ALG_ID kSessionKeys[] = {CALG_DES, CALG_3DES, CALG_3DES_112};

class KeysTest : public ProviderTest {
 protected:
  KeysTest() {
    m_cardB.Remove();
    EXPECT_EQ("true", AcquireResult(Named(kReaderA, "keys").c_str(), CRYPT_NEWKEYSET));
    const BYTE pin[] = "123456";
    EXPECT_EQ("true", Result(CryptSetProvParam(Handle(), PP_SIGNATURE_PIN, pin, 0)));
    EXPECT_EQ("true", Result(CryptGenKey(Handle(), AT_KEYEXCHANGE, 1024U << 16U, &m_pair)));
  }

  HCRYPTKEY Generate(ALG_ID algorithm) {
    HCRYPTKEY key = 0;
    EXPECT_EQ("true", Result(CryptGenKey(Handle(), algorithm, CRYPT_EXPORTABLE, &key)));
    return key;
  }
  Bytes Export(HCRYPTKEY key) {
    DWORD length = 0;
    EXPECT_EQ("true", Result(CryptExportKey(key, m_pair, SIMPLEBLOB, 0, nullptr, &length)));
    Bytes blob(length);
    EXPECT_EQ("true", Result(CryptExportKey(key, m_pair, SIMPLEBLOB, 0, blob.data(), &length)));
    return blob;
  }
  std::string Import(const Bytes& blob) {
    HCRYPTKEY key = 0;
    return Result(CryptImportKey(Handle(), blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key));
  }

  HCRYPTKEY m_pair = 0;
};

TEST_F(KeysTest, AnExportedSessionKeyIsImportedOnlyWithItsBytesReversed) {
  Bytes blob = Export(Generate(CALG_3DES));
  ASSERT_EQ(140U, blob.size());
  EXPECT_EQ("80090020", Import(blob));
  std::reverse(blob.begin() + 12, blob.end());
  EXPECT_EQ("true", Import(blob));
}

TEST_F(KeysTest, DestroyedSessionKeysAreRemovedFromTheCard) {
  const std::size_t before = m_cardA.CountObjects();
  for (const ALG_ID algorithm : kSessionKeys) {
    const HCRYPTKEY key = Generate(algorithm);
    EXPECT_EQ(140U, Export(key).size());
    EXPECT_EQ("true", Result(CryptDestroyKey(key)));
  }
  EXPECT_EQ(before, m_cardA.CountObjects());
}

TEST_F(KeysTest, AesIsNotGenerated) {
  for (const ALG_ID algorithm : {0x6611U, 0x660EU}) {
    HCRYPTKEY key = 0;
    EXPECT_EQ("80090008", Result(CryptGenKey(Handle(), algorithm, 0, &key)));
  }
}

TEST_F(KeysTest, ASessionKeyEncryptsWholeBlocksAndDecryptsThem) {
  const HCRYPTKEY key = Generate(CALG_3DES);  // its mode, CBC, comes from the flags
  const Bytes plain(24, 'p');
  Bytes data = plain;
  DWORD length = 24;
  ASSERT_EQ("true", Result(CryptEncrypt(key, 0, FALSE, 0, data.data(), &length, 24)));
  EXPECT_NE(plain, data);
  // Chaining has changed the IV, so it is set again.
  const BYTE iv[8] = {};
  EXPECT_EQ("true", Result(CryptSetKeyParam(key, KP_IV, iv, 0)));
  ASSERT_EQ("true", Result(CryptDecrypt(key, 0, FALSE, 0, data.data(), &length)));
  EXPECT_EQ(plain, data);
}

}  // namespace

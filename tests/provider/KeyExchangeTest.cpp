// Keys exchanged between this provider and the system's own: public keys as blobs in both directions, and session
// keys that the system's provider makes for the container's exchange key.
#include <gtest/gtest.h>
#include <tuple>

#include "OtherProvider.h"
#include "SigningTest.h"

namespace {

class KeyExchangeTest : public SigningTest {
 protected:
  KeyExchangeTest() { Open(2048); }

  static Bytes Export(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type) {
    DWORD length = 0;
    EXPECT_EQ("true", Result(CryptExportKey(key, exchangeKey, type, 0, nullptr, &length)));
    Bytes blob(length);
    EXPECT_EQ("true", Result(CryptExportKey(key, exchangeKey, type, 0, blob.data(), &length)));
    blob.resize(length);
    return blob;
  }
  static HCRYPTKEY Import(HCRYPTPROV provider, const Bytes& blob, HCRYPTKEY exchangeKey = 0) {
    HCRYPTKEY key = 0;
    EXPECT_EQ("true",
              Result(CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), exchangeKey, 0, &key)));
    return key;
  }
  HCRYPTKEY UserKey(DWORD spec) {
    HCRYPTKEY key = 0;
    EXPECT_EQ("true", Result(CryptGetUserKey(Handle(), spec, &key)));
    return key;
  }
  HCRYPTKEY GenerateTheirs(ALG_ID algorithm) {
    HCRYPTKEY key = 0;
    EXPECT_EQ("true", Result(CryptGenKey(m_other.Handle(), algorithm, CRYPT_EXPORTABLE, &key)));
    return key;
  }

  // The container's pair encrypts, decrypts and signs; the system's provider verifies the signature with `wrapping`,
  // the pair's public key.
  void ExpectPairWorks(HCRYPTKEY exchange, HCRYPTKEY wrapping) {
    const std::string text = "for the container's pair";
    Bytes data(text.begin(), text.end());
    data.resize(256);
    auto length = static_cast<DWORD>(text.size());
    ASSERT_EQ("true", Result(CryptEncrypt(exchange, 0, TRUE, 0, data.data(), &length, 256)));
    ASSERT_EQ(256u, length);
    data = Reversed(data);  // big-endian out, little-endian in
    ASSERT_EQ("true", Result(CryptDecrypt(exchange, 0, TRUE, 0, data.data(), &length)));
    EXPECT_EQ(text, std::string(data.begin(), data.begin() + length));

    const Bytes signature = Sign(HashOf(Message(), CALG_SHA_256));
    const HCRYPTHASH theirHash = HashOf(m_other.Handle(), Message(), CALG_SHA_256);
    EXPECT_EQ("true", Result(CryptVerifySignatureA(theirHash, signature.data(), static_cast<DWORD>(signature.size()),
                                                   wrapping, nullptr, 0)));
    CryptDestroyHash(theirHash);
  }
  void ExpectImportWorks(HCRYPTKEY exchange, HCRYPTKEY wrapping) {
    const HCRYPTKEY theirs = GenerateTheirs(CALG_AES_128);
    CryptDestroyKey(Import(Handle(), Export(theirs, wrapping, SIMPLEBLOB), exchange));
    CryptDestroyKey(theirs);
  }

  const OtherProvider m_other{MS_ENH_RSA_AES_PROV_A, PROV_RSA_AES};
};

TEST_F(KeyExchangeTest, AnImportedPublicKeyVerifiesTheSystemProvidersSignature) {
  HCRYPTKEY pair = 0;
  ASSERT_EQ("true", Result(CryptGenKey(m_other.Handle(), AT_KEYEXCHANGE, 2048U << 16U, &pair)));
  const HCRYPTKEY imported = Import(Handle(), Export(pair, 0, PUBLICKEYBLOB));
  Bytes signature = [&] {
    const HCRYPTHASH hash = HashOf(m_other.Handle(), Message(), CALG_SHA_256);
    return Sign(hash);
  }();
  const auto verify = [&] {
    const HCRYPTHASH hash = HashOf(Message(), CALG_SHA_256);
    const std::string result = Result(
        CryptVerifySignatureA(hash, signature.data(), static_cast<DWORD>(signature.size()), imported, nullptr, 0));
    CryptDestroyHash(hash);
    return result;
  };
  EXPECT_EQ("true", verify());
  signature[0] ^= 1U;
  EXPECT_EQ("80090006", verify());
  CryptDestroyKey(imported);
  CryptDestroyKey(pair);
}

TEST_F(KeyExchangeTest, TheExchangeKeySurvivesExportAndImport) {
  const HCRYPTKEY exchange = UserKey(AT_KEYEXCHANGE);
  const Bytes blob = Export(exchange, 0, PUBLICKEYBLOB);
  const HCRYPTKEY imported = Import(m_other.Handle(), blob);
  EXPECT_EQ(blob, Export(imported, 0, PUBLICKEYBLOB));
  const HCRYPTKEY back = Import(Handle(), blob);
  Bytes expected = blob;
  expected[5] = 0x24;  // an imported key is exported as a signature key
  EXPECT_EQ(expected, Export(back, 0, PUBLICKEYBLOB));
  for (const HCRYPTKEY key : {back, exchange}) CryptDestroyKey(key);
  CryptDestroyKey(imported);
}

TEST_F(KeyExchangeTest, TheSignatureKeysBlobIsRefused) {
  const HCRYPTKEY signature = UserKey(AT_SIGNATURE);
  const Bytes blob = Export(signature, 0, PUBLICKEYBLOB);
  HCRYPTKEY imported = 0;
  EXPECT_EQ("80090008",
            Result(CryptImportKey(Handle(), blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &imported)));
  CryptDestroyKey(signature);
}

TEST_F(KeyExchangeTest, TheHandleStillWorksAfterALengthQuery) {
  const HCRYPTKEY exchange = UserKey(AT_KEYEXCHANGE);
  const HCRYPTKEY wrapping = Import(m_other.Handle(), Export(exchange, 0, PUBLICKEYBLOB));
  for (const DWORD size : {0u, 5u}) {
    DWORD length = size;
    EXPECT_EQ("true", Result(CryptEncrypt(exchange, 0, TRUE, 0, nullptr, &length, 0)));
    EXPECT_EQ(256u, length);
    ExpectPairWorks(exchange, wrapping);
  }
  DWORD length = 5;
  EXPECT_EQ("true", Result(CryptEncrypt(exchange, 0, TRUE, 0, nullptr, &length, 0)));
  ExpectImportWorks(exchange, wrapping);
  for (const HCRYPTKEY key : {exchange, wrapping}) CryptDestroyKey(key);
}

TEST_F(KeyExchangeTest, TheHandleStillWorksAfterAFailure) {
  const HCRYPTKEY exchange = UserKey(AT_KEYEXCHANGE);
  const HCRYPTKEY wrapping = Import(m_other.Handle(), Export(exchange, 0, PUBLICKEYBLOB));
  Bytes data(300);
  DWORD length = 246;  // one more than the padding leaves room for
  EXPECT_EQ("80090020", Result(CryptEncrypt(exchange, 0, TRUE, 0, data.data(), &length, 300)));
  length = 255;
  EXPECT_EQ("80090020", Result(CryptDecrypt(exchange, 0, TRUE, 0, data.data(), &length)));
  ExpectPairWorks(exchange, wrapping);
  ExpectImportWorks(exchange, wrapping);
  for (const HCRYPTKEY key : {exchange, wrapping}) CryptDestroyKey(key);
}

// --- Session keys

struct Cipher {
  const char* name;
  ALG_ID algorithm;
  DWORD mode;
  std::size_t block;
};

const Cipher kCiphers[] = {
    {"DesCbc", CALG_DES, CRYPT_MODE_CBC, 8},
    {"DesEcb", CALG_DES, CRYPT_MODE_ECB, 8},
    {"TwoKeyTripleDesCbc", CALG_3DES_112, CRYPT_MODE_CBC, 8},
    {"TwoKeyTripleDesEcb", CALG_3DES_112, CRYPT_MODE_ECB, 8},
    {"ThreeKeyTripleDesCbc", CALG_3DES, CRYPT_MODE_CBC, 8},
    {"ThreeKeyTripleDesEcb", CALG_3DES, CRYPT_MODE_ECB, 8},
    {"Aes128Cbc", CALG_AES_128, CRYPT_MODE_CBC, 16},
    {"Aes128Ecb", CALG_AES_128, CRYPT_MODE_ECB, 16},
};

class SessionKeyTest : public KeyExchangeTest, public ::testing::WithParamInterface<Cipher> {
 protected:
  static void Use(HCRYPTKEY key) {
    DWORD mode = GetParam().mode;
    EXPECT_EQ("true", Result(CryptSetKeyParam(key, KP_MODE, reinterpret_cast<BYTE*>(&mode), 0)));
    if (mode != CRYPT_MODE_CBC) return;
    const Bytes iv(GetParam().block, 0x5A);
    EXPECT_EQ("true", Result(CryptSetKeyParam(key, KP_IV, iv.data(), 0)));
  }
};

INSTANTIATE_TEST_SUITE_P(With, SessionKeyTest, ::testing::ValuesIn(kCiphers),
                         [](const auto& item) { return item.param.name; });

TEST_P(SessionKeyTest, DataEncryptedByTheSystemsProviderIsDecryptedHere) {
  const HCRYPTKEY exchange = UserKey(AT_KEYEXCHANGE);
  const HCRYPTKEY wrapping = Import(m_other.Handle(), Export(exchange, 0, PUBLICKEYBLOB));
  const HCRYPTKEY theirs = GenerateTheirs(GetParam().algorithm);
  const HCRYPTKEY ours = Import(Handle(), Export(theirs, wrapping, SIMPLEBLOB), exchange);
  Use(theirs);
  Use(ours);

  const std::string text = "A message of no whole number of blocks, whatever the cipher.";
  Bytes data(text.begin(), text.end());
  DWORD length = static_cast<DWORD>(data.size());
  data.resize(data.size() + 32);
  ASSERT_EQ("true", Result(CryptEncrypt(theirs, 0, TRUE, 0, data.data(), &length, static_cast<DWORD>(data.size()))));
  EXPECT_EQ((text.size() / GetParam().block + 1) * GetParam().block, length);
  EXPECT_NE(text, std::string(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(text.size())));
  ASSERT_EQ("true", Result(CryptDecrypt(ours, 0, TRUE, 0, data.data(), &length)));
  EXPECT_EQ(text, std::string(data.begin(), data.begin() + length));

  for (const HCRYPTKEY key : {ours, exchange, theirs, wrapping}) CryptDestroyKey(key);
}

TEST_P(SessionKeyTest, TheHandleStillWorksAfterALengthQuery) {
  const HCRYPTKEY exchange = UserKey(AT_KEYEXCHANGE);
  const HCRYPTKEY wrapping = Import(m_other.Handle(), Export(exchange, 0, PUBLICKEYBLOB));
  const HCRYPTKEY theirs = GenerateTheirs(GetParam().algorithm);
  const HCRYPTKEY ours = Import(Handle(), Export(theirs, wrapping, SIMPLEBLOB), exchange);
  Use(theirs);
  Use(ours);

  const std::string text = "Four blocks of sixteen bytes, which is eight blocks of eight....";
  const auto whole = static_cast<DWORD>(text.size());
  const auto ask = [&](DWORD inputLength) {
    DWORD length = 0;
    EXPECT_EQ("true", Result(CryptEncrypt(ours, 0, FALSE, 0, nullptr, &length, inputLength)));
    EXPECT_EQ(inputLength, length);
  };
  ask(0);
  ask(whole);
  Bytes data(text.begin(), text.end());
  DWORD length = whole;
  ASSERT_EQ("true", Result(CryptEncrypt(ours, 0, FALSE, 0, data.data(), &length, whole)));
  EXPECT_EQ(whole, length);
  Bytes judged = data;
  ASSERT_EQ("true", Result(CryptDecrypt(theirs, 0, FALSE, 0, judged.data(), &length)));
  EXPECT_EQ(text, std::string(judged.begin(), judged.end()));

  Use(ours);
  ask(whole);
  ASSERT_EQ("true", Result(CryptDecrypt(ours, 0, FALSE, 0, data.data(), &length)));
  EXPECT_EQ(text, std::string(data.begin(), data.end()));
  Use(ours);  // a decryption drops the IV
  ask(0);
  ExpectPairWorks(exchange, wrapping);
  ask(0);
  ExpectImportWorks(exchange, wrapping);
  for (const HCRYPTKEY key : {ours, exchange, theirs, wrapping}) CryptDestroyKey(key);
}

}  // namespace

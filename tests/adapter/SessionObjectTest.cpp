// Session keys and imported public keys. The adapter holds them, and computes with them itself.
#include "AdapterTest.h"
#include "RsaKeyPair.h"
#include "softtoken/ProviderTemplates.h"

namespace adapter::testing {
namespace {

class SessionObjectTest : public AdapterTest {
 protected:
  void SetUp() override {
    Start();
    session = Open();
    module.TakeCalls();
  }
  template <typename T>
  CK_OBJECT_HANDLE Create(T made) {
    CK_OBJECT_HANDLE object = 0;
    EXPECT_EQ(CKR_OK, Call<&Adapter::C_CreateObject>(session, made.Data(), made.Count(), &object));
    return object;
  }
  CK_OBJECT_HANDLE CreateKey(CK_KEY_TYPE type, const std::string& value) {
    return Create(softtoken::testing::ProviderSecretKey(type, value));
  }
  // Calls `Do` of an operation that was started.
  template <auto Do>
  CK_RV Work(std::string in, std::string& out, CK_ULONG room = 1000) {
    out.assign(1000, '\0');
    const CK_RV result = Call<Do>(session, reinterpret_cast<CK_BYTE*>(in.data()), static_cast<CK_ULONG>(in.size()),
                                  reinterpret_cast<CK_BYTE*>(out.data()), &room);
    out.resize(room);
    return result;
  }

  CK_SESSION_HANDLE session = 0;
};

TEST_F(SessionObjectTest, EncryptsAndDecryptsWithoutALoginAndWithoutTheModule) {
  const CK_OBJECT_HANDLE key = CreateKey(CKK_DES3, "0123456789abcdefFEDCBA98");
  CK_BYTE iv[8] = {1, 2, 3};
  CK_MECHANISM mechanism = {CKM_DES3_CBC_PAD, iv, sizeof iv};
  std::string encrypted, plain;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_EncryptInit>(session, &mechanism, key));
  ASSERT_EQ(CKR_OK, (Work<&Adapter::C_Encrypt>("a message", encrypted)));
  EXPECT_EQ(16U, encrypted.size());
  ASSERT_EQ(CKR_OK, Login(session));
  ASSERT_EQ(CKR_OK, Logout(session));
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_DecryptInit>(session, &mechanism, key));
  ASSERT_EQ(CKR_OK, (Work<&Adapter::C_Decrypt>(encrypted, plain)));
  EXPECT_EQ("a message", plain);
  EXPECT_EQ(0, module.Count("C_CreateObject"));
}

TEST_F(SessionObjectTest, KeepsAResultIfTheBufferWasTooSmall) {
  const CK_OBJECT_HANDLE key = CreateKey(CKK_AES, "0123456789abcdef");
  CK_BYTE iv[16] = {};
  CK_MECHANISM mechanism = {CKM_AES_CBC_PAD, iv, sizeof iv};
  std::string encrypted, plain;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_EncryptInit>(session, &mechanism, key));
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, (Work<&Adapter::C_Encrypt>("message", encrypted, 15)));
  EXPECT_EQ(16U, encrypted.size());
  ASSERT_EQ(CKR_OK, (Work<&Adapter::C_Encrypt>("message", encrypted)));
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_DecryptInit>(session, &mechanism, key));
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, (Work<&Adapter::C_Decrypt>(encrypted, plain, 3)));
  EXPECT_EQ(7U, plain.size());
  ASSERT_EQ(CKR_OK, (Work<&Adapter::C_Decrypt>(encrypted, plain, 7)));
  EXPECT_EQ("message", plain);
}

TEST_F(SessionObjectTest, WorksInParts) {
  const CK_OBJECT_HANDLE key = CreateKey(CKK_DES, "01234567");
  CK_MECHANISM mechanism = {CKM_DES_ECB, nullptr, 0};
  std::string first, second, whole;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_EncryptInit>(session, &mechanism, key));
  ASSERT_EQ(CKR_OK, (Work<&Adapter::C_EncryptUpdate>("0123456789", first)));
  ASSERT_EQ(CKR_OK, (Work<&Adapter::C_EncryptUpdate>("abcdef", second)));
  CK_ULONG rest = 0;
  CK_BYTE none[8] = {};
  rest = sizeof none;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_EncryptFinal>(session, none, &rest));
  EXPECT_EQ(0U, rest);
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_EncryptInit>(session, &mechanism, key));
  ASSERT_EQ(CKR_OK, (Work<&Adapter::C_Encrypt>("0123456789abcdef", whole)));
  EXPECT_EQ(whole, first + second);
}

TEST_F(SessionObjectTest, DigestsDataAndKeys) {
  const CK_OBJECT_HANDLE key = CreateKey(CKK_DES, "abc");
  CK_MECHANISM mechanism = {CKM_SHA_1, nullptr, 0};
  const Bytes expected = FromHex("a9993e364706816aba3e25717850c26c9cd0d89d");
  std::string digest;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_DigestInit>(session, &mechanism));
  ASSERT_EQ(CKR_OK, (Work<&Adapter::C_Digest>("abc", digest)));
  EXPECT_EQ(std::string(expected.begin(), expected.end()), digest);
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_DigestInit>(session, &mechanism));
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_DigestKey>(session, key));
  CK_ULONG length = 20;
  digest.assign(20, '\0');
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_DigestFinal>(session, reinterpret_cast<CK_BYTE*>(digest.data()), &length));
  EXPECT_EQ(std::string(expected.begin(), expected.end()), digest);
  EXPECT_TRUE(module.calls.empty());
}

TEST_F(SessionObjectTest, EncryptsAndVerifiesWithAnImportedPublicKey) {
  const RsaKeyPair pair(1024);
  const auto numbers = pair.Public();
  const CK_OBJECT_HANDLE key = Create(softtoken::testing::ProviderImportedKey(
      {numbers.modulus.begin(), numbers.modulus.end()}, {numbers.exponent.begin(), numbers.exponent.end()}));
  EXPECT_EQ(Number(1024), Read(session, key, CKA_MODULUS_BITS));
  CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
  std::string encrypted;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_EncryptInit>(session, &mechanism, key));
  ASSERT_EQ(CKR_OK, (Work<&Adapter::C_Encrypt>("key", encrypted)));
  EXPECT_EQ(BytesOf("key"), pair.Decrypt(BytesOf(encrypted)));

  const Bytes message = BytesOf("message");
  Bytes signature = pair.Sign("SHA256", message);
  CK_MECHANISM byDigest = {CKM_SHA256_RSA_PKCS, nullptr, 0};
  const auto verify = [&] {
    EXPECT_EQ(CKR_OK, Call<&Adapter::C_VerifyInit>(session, &byDigest, key));
    return Call<&Adapter::C_Verify>(session, const_cast<CK_BYTE*>(message.data()),
                                    static_cast<CK_ULONG>(message.size()), signature.data(),
                                    static_cast<CK_ULONG>(signature.size()));
  };
  EXPECT_EQ(CKR_OK, verify());
  signature[5] ^= 1U;
  EXPECT_EQ(CKR_SIGNATURE_INVALID, verify());
}

TEST_F(SessionObjectTest, ShowsItsValueOnlyIfItIsNotSensitive) {
  EXPECT_EQ("01234567", Read(session, CreateKey(CKK_DES, "01234567"), CKA_VALUE));
  const CK_OBJECT_HANDLE hidden = Create(Template(Attributes{{CKA_CLASS, Number(CKO_SECRET_KEY)},
                                                             {CKA_KEY_TYPE, Number(CKK_DES)},
                                                             {CKA_SENSITIVE, Flag(true)},
                                                             {CKA_VALUE, "01234567"}}));
  EXPECT_EQ("?", Read(session, hidden, CKA_VALUE));
}

TEST_F(SessionObjectTest, EndsWithItsSession) {
  const CK_SESSION_HANDLE other = Open();
  const CK_OBJECT_HANDLE key = CreateKey(CKK_DES, "01234567");
  EXPECT_EQ(1U, Find(other).size());
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_CloseSession>(session));
  EXPECT_TRUE(Find(other).empty());
  CK_MECHANISM mechanism = {CKM_DES_ECB, nullptr, 0};
  EXPECT_EQ(CKR_KEY_HANDLE_INVALID, Call<&Adapter::C_EncryptInit>(other, &mechanism, key));
}

TEST_F(SessionObjectTest, IsRefusedForAPrivateKey) {
  Template made(Attributes{{CKA_CLASS, Number(CKO_PRIVATE_KEY)}, {CKA_KEY_TYPE, Number(CKK_RSA)}});
  CK_OBJECT_HANDLE object = 0;
  EXPECT_EQ(CKR_TEMPLATE_INCONSISTENT, Call<&Adapter::C_CreateObject>(session, made.Data(), made.Count(), &object));
}

TEST_F(SessionObjectTest, IsGenerated) {
  Template wanted(Attributes{{CKA_EXTRACTABLE, Flag(true)}, {CKA_SENSITIVE, Flag(false)}});
  CK_MECHANISM mechanism = {CKM_DES3_KEY_GEN, nullptr, 0};
  CK_OBJECT_HANDLE first = 0, second = 0;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_GenerateKey>(session, &mechanism, wanted.Data(), wanted.Count(), &first));
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_GenerateKey>(session, &mechanism, wanted.Data(), wanted.Count(), &second));
  EXPECT_EQ(24U, Read(session, first, CKA_VALUE).size());
  EXPECT_NE(Read(session, first, CKA_VALUE), Read(session, second, CKA_VALUE));
}

TEST_F(SessionObjectTest, RandomBytesComeFromTheModuleOrElseFromTheAdapter) {
  CK_BYTE bytes[32] = {};
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_GenerateRandom>(session, bytes, CK_ULONG{32}));
  EXPECT_EQ(0x55, bytes[31]);
  module.randomAnswer = CKR_FUNCTION_FAILED;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_GenerateRandom>(session, bytes, CK_ULONG{32}));
  EXPECT_NE(Bytes(32, 0x55), Bytes(bytes, bytes + 32));
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_SeedRandom>(session, bytes, CK_ULONG{32}));
}

}  // namespace
}  // namespace adapter::testing

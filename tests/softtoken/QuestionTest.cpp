// After a query for the length of a result, another operation may start.
#include "ProviderTemplates.h"
#include "TokenTest.h"

namespace softtoken::testing {
namespace {

class QuestionTest : public LoggedInTokenTest {
 protected:
  void SetUp() override {
    LoggedInTokenTest::SetUp();
    pair = GenerateKeyPair(session, 1024);
  }

  void QuerySignatureLength() {
    ASSERT_EQ(CKR_OK, f.C_SignInit(session, &rsa, pair.privateKey));
    CK_ULONG length = 0;
    ASSERT_EQ(CKR_OK, f.C_Sign(session, BytesOf(data), data.size(), nullptr, &length));
    EXPECT_EQ(128, length);
  }

  KeyPair pair;
  CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
  std::string data = "what is signed";
  std::string out = std::string(256, '\0');
  CK_ULONG outLength = 256;
};

TEST_F(QuestionTest, AnotherSignatureMayFollowALengthQuery) {
  QuerySignatureLength();
  EXPECT_EQ(128, Sign(session, rsa, pair.privateKey, data).size());
}

TEST_F(QuestionTest, TheQueriedOperationContinues) {
  QuerySignatureLength();
  EXPECT_EQ(CKR_OK, f.C_Sign(session, BytesOf(data), data.size(), BytesOf(out), &outLength));
}

TEST_F(QuestionTest, ADigestMayFollowALengthQuery) {
  QuerySignatureLength();
  CK_MECHANISM sha1 = {CKM_SHA_1, nullptr, 0};
  EXPECT_EQ(CKR_OK, f.C_DigestInit(session, &sha1));
  EXPECT_EQ(CKR_OK, f.C_Digest(session, BytesOf(data), data.size(), BytesOf(out), &outLength));
}

TEST_F(QuestionTest, ATooSmallBufferCountsAsALengthQuery) {
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &rsa, pair.privateKey));
  outLength = 127;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, f.C_Sign(session, BytesOf(data), data.size(), BytesOf(out), &outLength));
  EXPECT_EQ(128, Sign(session, rsa, pair.privateKey, data).size());
}

TEST_F(QuestionTest, AMechanismThatTakesPartsMayBeQueriedToo) {
  CK_MECHANISM hashing = {CKM_SHA256_RSA_PKCS, nullptr, 0};
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &hashing, pair.privateKey));
  ASSERT_EQ(CKR_OK, f.C_Sign(session, BytesOf(data), data.size(), nullptr, &outLength));
  EXPECT_EQ(128, Sign(session, hashing, pair.privateKey, data).size());
}

TEST_F(QuestionTest, AfterTheResultASecondInitIsRefusedAgain) {
  QuerySignatureLength();
  ASSERT_EQ(CKR_OK, f.C_Sign(session, BytesOf(data), data.size(), BytesOf(out), &outLength));
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &rsa, pair.privateKey));
  EXPECT_EQ(CKR_OPERATION_ACTIVE, f.C_SignInit(session, &rsa, pair.privateKey));
}

TEST_F(QuestionTest, RsaCiphersRunAfterTheirLengthQueries) {
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &rsa, pair.publicKey));
  ASSERT_EQ(CKR_OK, f.C_Encrypt(session, BytesOf(data), data.size(), nullptr, &outLength));
  std::string encrypted = Encrypt(session, rsa, pair.publicKey, data);
  ASSERT_EQ(CKR_OK, f.C_DecryptInit(session, &rsa, pair.privateKey));
  ASSERT_EQ(CKR_OK, f.C_Decrypt(session, BytesOf(encrypted), encrypted.size(), nullptr, &outLength));
  EXPECT_EQ(data, Decrypt(session, rsa, pair.privateKey, encrypted));
}

TEST_F(QuestionTest, SessionKeysWorkAfterTheirLengthQueries) {
  const CK_OBJECT_HANDLE key = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  std::string iv(16, 'i');
  CK_MECHANISM cbc = {CKM_AES_CBC, iv.data(), iv.size()};
  std::string plain(32, 'p');
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &cbc, key));
  ASSERT_EQ(CKR_OK, f.C_Encrypt(session, BytesOf(plain), plain.size(), nullptr, &outLength));
  std::string encrypted = Encrypt(session, cbc, key, plain);
  ASSERT_EQ(CKR_OK, f.C_DecryptInit(session, &cbc, key));
  ASSERT_EQ(CKR_OK, f.C_Decrypt(session, BytesOf(encrypted), encrypted.size(), nullptr, &outLength));
  EXPECT_EQ(plain, Decrypt(session, cbc, key, encrypted));
}

}  // namespace
}  // namespace softtoken::testing

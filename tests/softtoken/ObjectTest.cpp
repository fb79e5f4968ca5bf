// Who may see, make and use which objects.
#include "ProviderTemplates.h"
#include "TokenTest.h"

namespace softtoken::testing {
namespace {

using Handles = std::vector<CK_OBJECT_HANDLE>;

// A key pair on the card. The login that made it has ended.
class LoggedOutTest : public LoggedInTokenTest {
 protected:
  void SetUp() override {
    LoggedInTokenTest::SetUp();
    pair = GenerateKeyPair(session);
    ASSERT_EQ(CKR_OK, f.C_Logout(session));
  }

  KeyPair pair;
  CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
};

TEST_F(LoggedOutTest, PrivateObjectsAreSeenAndKeepTheirHandles) {
  const Handles loggedOut = Find(session, {});
  EXPECT_EQ((Handles{pair.publicKey, pair.privateKey}), loggedOut);
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(loggedOut, Find(session, {}));
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  EXPECT_EQ(loggedOut, Find(session, {}));
}

TEST_F(LoggedOutTest, PrivateObjectsAreSeenBeforeAnyLogin) {
  Restart();
  session = Open();
  const Handles found = Find(session, {});
  ASSERT_EQ(2u, found.size());
  EXPECT_EQ("container", Read(session, found[1], CKA_LABEL));
  EXPECT_EQ(CKO_PRIVATE_KEY, ReadNumber(session, found[1], CKA_CLASS));
}

TEST_F(LoggedOutTest, APrivateKeyCannotBeUsed) {
  CK_OBJECT_HANDLE made = 0;
  Template secret;
  secret.Number(CKA_CLASS, CKO_SECRET_KEY).Number(CKA_KEY_TYPE, CKK_AES);
  CK_BYTE wrapped[128] = {};
  CK_ULONG length = sizeof wrapped;
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_SignInit(session, &rsa, pair.privateKey));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_SignRecoverInit(session, &rsa, pair.privateKey));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_DecryptInit(session, &rsa, pair.privateKey));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN,
            f.C_UnwrapKey(session, &rsa, pair.privateKey, wrapped, length, secret.Data(), secret.Count(), &made));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN,
            f.C_DeriveKey(session, &rsa, pair.privateKey, secret.Data(), secret.Count(), &made));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_WrapKey(session, &rsa, pair.publicKey, pair.privateKey, wrapped, &length));
  CK_MECHANISM sha = {CKM_SHA_1, nullptr, 0};
  ASSERT_EQ(CKR_OK, f.C_DigestInit(session, &sha));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_DigestKey(session, pair.privateKey));
}

TEST_F(LoggedOutTest, TheSecurityOfficerCannotUseAPrivateKeyEither) {
  ASSERT_EQ(CKR_OK, Login(session, kSoPin, CKU_SO));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_SignInit(session, &rsa, pair.privateKey));
}

TEST_F(LoggedOutTest, APrivateKeyCannotBeCopiedIntoTheSession) {
  CK_OBJECT_HANDLE copy = 0;
  Template inSession;
  inSession.Flag(CKA_TOKEN, false);
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN,
            f.C_CopyObject(session, pair.privateKey, inSession.Data(), inSession.Count(), &copy));
}

TEST_F(LoggedOutTest, APublicKeyCanBeUsed) {
  EXPECT_EQ(128u, Encrypt(session, rsa, pair.publicKey, "message").size());
  EXPECT_EQ(CKR_OK, f.C_VerifyInit(session, &rsa, pair.publicKey));
}

TEST_F(LoggedOutTest, TheCardCannotBeChanged) {
  Template label;
  label.Bytes(CKA_LABEL, "new");
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_SetAttributeValue(session, pair.publicKey, label.Data(), label.Count()));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_DestroyObject(session, pair.publicKey));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_DestroyObject(session, pair.privateKey));

  CK_OBJECT_HANDLE made = 0, other = 0;
  Template certificate = ProviderCertificate("c", "id", "value");
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_CreateObject(session, certificate.Data(), certificate.Count(), &made));
  Template publicKey = ProviderPublicKey(1024, "x"), privateKey = ProviderPrivateKey(1024, "x");
  CK_MECHANISM generate = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_GenerateKeyPair(session, &generate, publicKey.Data(), publicKey.Count(),
                                                        privateKey.Data(), privateKey.Count(), &made, &other));
  Template aes;
  aes.Flag(CKA_TOKEN, true).Number(CKA_VALUE_LEN, 16);
  CK_MECHANISM generateAes = {CKM_AES_KEY_GEN, nullptr, 0};
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_GenerateKey(session, &generateAes, aes.Data(), aes.Count(), &made));
  EXPECT_EQ(2u, Find(session, {}).size());
}

TEST_F(LoggedOutTest, ASecondTokenFlagIsNotMissed) {
  Template sneaky;
  sneaky.Number(CKA_CLASS, CKO_DATA).Flag(CKA_TOKEN, false).Flag(CKA_TOKEN, true);
  CK_OBJECT_HANDLE made = 0;
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_CreateObject(session, sneaky.Data(), sneaky.Count(), &made));
}

TEST_F(LoggedOutTest, SessionObjectsNeedNoLogin) {
  const std::string value = FromHex("000102030405060708090a0b0c0d0e0f");
  const CK_OBJECT_HANDLE aes = Create(session, ProviderSecretKey(CKK_AES, value));
  CK_MECHANISM ecb = {CKM_AES_ECB, nullptr, 0};
  const std::string encrypted = Encrypt(session, ecb, aes, std::string(16, 'x'));
  EXPECT_EQ(std::string(16, 'x'), Decrypt(session, ecb, aes, encrypted));
  EXPECT_EQ(CKR_OK, f.C_DestroyObject(session, aes));

  const KeyPair own = GenerateSessionKeyPair(session);
  const std::string signature = Sign(session, rsa, own.privateKey, "message");
  EXPECT_EQ(CKR_OK, Verify(session, rsa, own.publicKey, "message", signature));
}

TEST_F(LoggedOutTest, ACopyOfASessionObjectStaysInTheSession) {
  const CK_OBJECT_HANDLE aes = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  CK_OBJECT_HANDLE copy = 0;
  Template label, toCard;
  label.Bytes(CKA_LABEL, "copy");
  EXPECT_EQ(CKR_OK, f.C_CopyObject(session, aes, label.Data(), label.Count(), &copy));
  EXPECT_EQ(std::string(16, 'k'), Read(session, copy, CKA_VALUE));
  toCard.Flag(CKA_TOKEN, true);
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_CopyObject(session, aes, toCard.Data(), toCard.Count(), &copy));
}

TEST_F(LoggedOutTest, SessionKeysSurviveALogout) {
  ASSERT_EQ(CKR_OK, Login(session));
  const CK_OBJECT_HANDLE aes = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  const std::string before = Encrypt(session, {CKM_AES_ECB, nullptr, 0}, aes, std::string(16, 'x'));
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  EXPECT_EQ(before, Encrypt(session, {CKM_AES_ECB, nullptr, 0}, aes, std::string(16, 'x')));
}

TEST_F(LoggedOutTest, APrivateSecretKeyOfTheCardCannotBeUsedEither) {
  ASSERT_EQ(CKR_OK, Login(session));
  Template attributes;
  attributes.Number(CKA_CLASS, CKO_SECRET_KEY).Number(CKA_KEY_TYPE, CKK_AES).Flag(CKA_TOKEN, true);
  attributes.Flag(CKA_PRIVATE, true).Flag(CKA_ENCRYPT, true).Bytes(CKA_VALUE, std::string(16, 'k'));
  const CK_OBJECT_HANDLE aes = Create(session, attributes);
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  CK_MECHANISM ecb = {CKM_AES_ECB, nullptr, 0};
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_EncryptInit(session, &ecb, aes));
}

TEST_F(LoggedOutTest, AnUnknownKeyIsReportedAsAnInvalidHandle) {
  EXPECT_EQ(CKR_OBJECT_HANDLE_INVALID, f.C_SignInit(session, &rsa, 4711));
  EXPECT_EQ(CKR_OBJECT_HANDLE_INVALID, f.C_DestroyObject(session, 4711));
}

using ObjectTest = LoggedInTokenTest;

TEST_F(ObjectTest, AReadOnlySessionCannotChangeTheCard) {
  const CK_SESSION_HANDLE readOnly = Open(kReadOnly);
  Template certificate = ProviderCertificate("c", "id", "value");
  CK_OBJECT_HANDLE made = 0;
  EXPECT_EQ(CKR_SESSION_READ_ONLY, f.C_CreateObject(readOnly, certificate.Data(), certificate.Count(), &made));
}

TEST_F(ObjectTest, LabelsOfKeysCanBeChanged) {
  const KeyPair pair = GenerateKeyPair(session);
  for (const CK_OBJECT_HANDLE key : {pair.publicKey, pair.privateKey}) {
    Template label;
    label.Bytes(CKA_LABEL, "another label");
    EXPECT_EQ(CKR_OK, f.C_SetAttributeValue(session, key, label.Data(), label.Count()));
    EXPECT_EQ("another label", Read(session, key, CKA_LABEL));
  }
}

TEST_F(ObjectTest, ObjectsOfTheCardSurviveARestart) {
  const KeyPair pair = GenerateKeyPair(session);
  const std::string modulus = Read(session, pair.publicKey, CKA_MODULUS);
  Restart();
  session = Open();
  const Handles found = Find(session, {});
  ASSERT_EQ(2u, found.size());
  EXPECT_EQ(modulus, Read(session, found[0], CKA_MODULUS));
  EXPECT_EQ(modulus, Read(session, found[1], CKA_MODULUS));
}

TEST_F(ObjectTest, ADestroyedObjectIsGone) {
  const KeyPair pair = GenerateKeyPair(session);
  EXPECT_EQ(CKR_OK, f.C_DestroyObject(session, pair.privateKey));
  EXPECT_EQ(Handles{pair.publicKey}, Find(session, {}));
}

TEST_F(ObjectTest, SessionObjectsEndWithTheirSession) {
  const CK_SESSION_HANDLE other = Open();
  Create(other, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  EXPECT_EQ(1u, Find(session, {}).size());
  ASSERT_EQ(CKR_OK, f.C_CloseSession(other));
  EXPECT_EQ(0u, Find(session, {}).size());
}

TEST_F(ObjectTest, ObjectsAreListedInAFixedOrder) {
  for (const char* name : {"c", "a", "d", "b"}) Create(session, ProviderCertificate(name, name, "value"));
  Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  std::string order;
  for (const CK_OBJECT_HANDLE object : Find(session, {})) order += Read(session, object, CKA_LABEL).substr(0, 1);
  EXPECT_EQ(std::string("abcd\0", 5), order) << "first the card's, by class, label and identifier, then the session's";
}

TEST_F(ObjectTest, ASearchReturnsItsResultsInPieces) {
  for (const char* name : {"a", "b", "c"}) Create(session, ProviderCertificate(name, name, "value"));
  const Handles all = Find(session, {});
  ASSERT_EQ(CKR_OK, f.C_FindObjectsInit(session, nullptr, 0));
  EXPECT_EQ(CKR_OPERATION_ACTIVE, f.C_FindObjectsInit(session, nullptr, 0));
  CK_OBJECT_HANDLE piece[2] = {};
  CK_ULONG count = 0;
  EXPECT_EQ(CKR_OK, f.C_FindObjects(session, piece, 2, &count));
  EXPECT_EQ(2u, count);
  EXPECT_EQ(all[1], piece[1]);
  EXPECT_EQ(CKR_OK, f.C_FindObjects(session, piece, 2, &count));
  EXPECT_EQ(1u, count);
  EXPECT_EQ(all[2], piece[0]);
  EXPECT_EQ(CKR_OK, f.C_FindObjects(session, piece, 2, &count));
  EXPECT_EQ(0u, count);
  EXPECT_EQ(CKR_OK, f.C_FindObjectsFinal(session));
  EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_FindObjectsFinal(session));
  EXPECT_EQ(CKR_OPERATION_NOT_INITIALIZED, f.C_FindObjects(session, piece, 2, &count));
}

TEST_F(ObjectTest, AttributesAreReadAndOperationsStartedDuringASearch) {
  const KeyPair pair = GenerateKeyPair(session);
  ASSERT_EQ(CKR_OK, f.C_FindObjectsInit(session, nullptr, 0));
  EXPECT_EQ("container", Read(session, pair.publicKey, CKA_ID));
  EXPECT_EQ(128u, Sign(session, {CKM_RSA_PKCS, nullptr, 0}, pair.privateKey, "message").size());
}

TEST_F(ObjectTest, MoreObjectsThanFitInOnePieceAreFound) {
  for (int i = 0; i < 70; ++i) {
    Template data;
    data.Number(CKA_CLASS, CKO_DATA).Flag(CKA_TOKEN, false).Flag(CKA_PRIVATE, false);
    Create(session, data.Bytes(CKA_LABEL, std::to_string(1000 + i)));
  }
  const Handles found = Find(session, {});
  ASSERT_EQ(70u, found.size());
  EXPECT_EQ("1069", Read(session, found[69], CKA_LABEL));
}

TEST_F(ObjectTest, BadTemplatesAreRefusedBeforeSoftHsmReadsThem) {
  CK_OBJECT_HANDLE object = 0;
  CK_ATTRIBUTE withoutValue = {CKA_CLASS, nullptr, sizeof(CK_OBJECT_CLASS)};
  EXPECT_EQ(CKR_ATTRIBUTE_VALUE_INVALID, f.C_CreateObject(session, &withoutValue, 1, &object));
  EXPECT_EQ(CKR_ATTRIBUTE_VALUE_INVALID, f.C_FindObjectsInit(session, &withoutValue, 1));
  CK_ATTRIBUTE endless = {CKA_LABEL, &object, CK_UNAVAILABLE_INFORMATION};
  EXPECT_EQ(CKR_ATTRIBUTE_VALUE_INVALID, f.C_CreateObject(session, &endless, 1, &object));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_CreateObject(session, nullptr, 1, &object));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_GetAttributeValue(session, object, nullptr, 1));
  EXPECT_EQ(CKR_TEMPLATE_INCOMPLETE, f.C_CreateObject(session, nullptr, 0, &object));
}

}  // namespace
}  // namespace softtoken::testing

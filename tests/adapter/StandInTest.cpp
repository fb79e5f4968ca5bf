// Private keys that the module hides until a login, and handles that outlive the module's.
#include "AdapterTest.h"
#include "Certificates.h"

namespace adapter::testing {
namespace {

class StandInTest : public AdapterTest {
 protected:
  void Begin() {
    Start();
    session = Open();
  }
  CK_OBJECT_HANDLE FindKey(const std::string& id) {
    return FindOne(session, Attributes{{CKA_CLASS, Number(CKO_PRIVATE_KEY)}, {CKA_ID, id}});
  }
  void AddCertificate(const std::string& id, const std::string& label, const std::string& usage = "") {
    module.Add({{CKA_CLASS, Number(CKO_CERTIFICATE)},
                {CKA_TOKEN, Flag(true)},
                {CKA_ID, id},
                {CKA_LABEL, label},
                {CKA_VALUE, MakeCertificate(TestKey(), usage)}});
  }

  CK_SESSION_HANDLE session = 0;
};

TEST_F(StandInTest, ForAPublicKeyHasItsLabelAndNumbers) {
  AddPublicKey("1", "Anna");
  AddPrivateKey("1", "Anna");
  Begin();
  const CK_OBJECT_HANDLE key = FindKey("1");
  ASSERT_NE(0U, key);
  EXPECT_EQ("Anna", Read(session, key, CKA_LABEL));
  EXPECT_EQ(kModulus, Read(session, key, CKA_MODULUS));
  EXPECT_EQ(std::string("\1\0\1", 3), Read(session, key, CKA_PUBLIC_EXPONENT));
  EXPECT_EQ(Number(1024), Read(session, key, CKA_MODULUS_BITS));
  EXPECT_EQ(Number(CKK_RSA), Read(session, key, CKA_KEY_TYPE));
  EXPECT_EQ(Flag(true), Read(session, key, CKA_SENSITIVE));
}

TEST_F(StandInTest, ForACertificateHasTheNumbersOfItsKey) {
  AddCertificate("7", "Mail");
  Begin();
  const CK_OBJECT_HANDLE key = FindKey("7");
  ASSERT_NE(0U, key);
  EXPECT_EQ("Mail", Read(session, key, CKA_LABEL));
  EXPECT_EQ(TestKey().modulus, Read(session, key, CKA_MODULUS));
  EXPECT_EQ(std::string("\1\0\1", 3), Read(session, key, CKA_PUBLIC_EXPONENT));
}

TEST_F(StandInTest, HasTheUsesThatItsCertificateAllows) {
  AddCertificate("7", "Mail", "digitalSignature");
  AddCertificate("8", "Files", "keyEncipherment");
  Begin();
  EXPECT_EQ(Flag(true), Read(session, FindKey("7"), CKA_SIGN));
  EXPECT_EQ(Flag(false), Read(session, FindKey("7"), CKA_DECRYPT));
  EXPECT_EQ(Flag(false), Read(session, FindKey("8"), CKA_SIGN));
  EXPECT_EQ(Flag(true), Read(session, FindKey("8"), CKA_DECRYPT));
}

TEST_F(StandInTest, IsMadeOnceForAPublicKeyAndItsCertificate) {
  AddPublicKey("7", "Pair");
  AddCertificate("7", "Mail");
  Begin();
  EXPECT_NE(0U, FindKey("7"));
}

TEST_F(StandInTest, IsNotMadeWithoutAnIdentifier) {
  AddPublicKey("");
  Begin();
  EXPECT_TRUE(Find(session, Attributes{{CKA_CLASS, Number(CKO_PRIVATE_KEY)}}).empty());
}

TEST_F(StandInTest, BecomesTheRealKeyAfterALogin) {
  AddPublicKey("1", "Anna");
  AddPrivateKey("1", "Anna's key");
  Begin();
  const CK_OBJECT_HANDLE key = FindKey("1");
  ASSERT_EQ(CKR_OK, Login(session));
  std::string signature;
  EXPECT_EQ(CKR_OK, Sign(session, key, "data", signature));
  EXPECT_EQ("signed:data", signature.substr(signature.size() - 11));
  EXPECT_EQ(key, FindKey("1"));
  EXPECT_EQ("Anna's key", Read(session, key, CKA_LABEL));
}

// The certificate of an authority has no private key on the token. That is known after a login.
TEST_F(StandInTest, IsRemovedAfterALoginIfThereIsNoSuchKey) {
  AddCertificate("7", "Authority");
  AddPublicKey("1");
  AddPrivateKey("1");
  Begin();
  EXPECT_NE(0U, FindKey("7"));
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(0U, FindKey("7"));
  ASSERT_EQ(CKR_OK, Logout(session));
  EXPECT_EQ(0U, FindKey("7"));
  EXPECT_NE(0U, FindKey("1"));
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_CloseSession>(session));
  session = Open();
  EXPECT_EQ(0U, FindKey("7"));
  EXPECT_NE(0U, FindKey("1"));
}

TEST_F(StandInTest, WithoutARealKeyCannotSign) {
  AddCertificate("7", "Authority");
  Begin();
  const CK_OBJECT_HANDLE key = FindKey("7");
  ASSERT_EQ(CKR_OK, Login(session));
  std::string signature;
  EXPECT_EQ(CKR_KEY_HANDLE_INVALID, Sign(session, key, "data", signature));
}

TEST_F(StandInTest, KeepsItsHandleWhileTheModulesHandlesChange) {
  settings.keepLogin = false;
  module.privateKeysDie = true;
  AddPublicKey("1");
  AddPrivateKey("1");
  AddPublicKey("2");
  AddPrivateKey("2");
  Begin();
  const CK_OBJECT_HANDLE first = FindKey("1"), second = FindKey("2");
  for (int round = 0; round < 3; ++round) {
    ASSERT_EQ(CKR_OK, Login(session));
    std::string signature;
    ASSERT_EQ(CKR_OK, Sign(session, second, "data", signature));
    EXPECT_EQ("2", module.objects[module.key][CKA_ID]);
    EXPECT_EQ(first, FindKey("1"));
    EXPECT_EQ(second, FindKey("2"));
    ASSERT_EQ(CKR_OK, Logout(session));
    EXPECT_EQ(first, FindKey("1"));
    EXPECT_EQ(second, FindKey("2"));
  }
}

// Another process may log out and in between two calls, and this one does not notice.
TEST_F(StandInTest, IsLookedUpAgainWhenTheModulesHandleIsInvalid) {
  AddPublicKey("1");
  const CK_OBJECT_HANDLE lower = AddPrivateKey("1");
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  const CK_OBJECT_HANDLE key = FindKey("1");
  std::string signature;
  ASSERT_EQ(CKR_OK, Sign(session, key, "data", signature));
  module.Add(module.objects[lower]);
  module.objects.erase(lower);
  EXPECT_EQ(CKR_OK, Sign(session, key, "data", signature));
}

TEST_F(StandInTest, HasANonzeroHandleOf32Bits) {
  module.nextHandle = 0;
  module.handleStep = 0x100000000;
  module.nextSession = 0x500000000;
  AddPrivateKey("1");
  AddPublicKey("1");
  Begin();
  ASSERT_EQ(CKR_OK, Login(session));
  for (const CK_OBJECT_HANDLE object : Find(session)) {
    EXPECT_NE(0U, object);
    EXPECT_LE(object, 0xFFFFFFFFU);
  }
  EXPECT_LE(session, 0xFFFFFFFFU);
  std::string signature;
  EXPECT_EQ(CKR_OK, Sign(session, FindKey("1"), "data", signature));
  EXPECT_EQ(0U, module.key);
}

TEST_F(StandInTest, IsNotMadeForAnEllipticCurve) {
  module.Add({{CKA_CLASS, Number(CKO_PUBLIC_KEY)}, {CKA_KEY_TYPE, Number(CKK_EC)}, {CKA_ID, "1"}});
  Begin();
  EXPECT_TRUE(Find(session).empty());
}

}  // namespace
}  // namespace adapter::testing

// Objects of the token: their attributes, how they are made, changed and destroyed.
#include "AdapterTest.h"
#include "Certificates.h"
#include "softtoken/ProviderTemplates.h"

namespace adapter::testing {
namespace {

class ObjectsTest : public AdapterTest {
 protected:
  void Begin(bool loggedIn = false) {
    Start();
    session = Open();
    if (!loggedIn) return;
    ASSERT_EQ(CKR_OK, Login(session));
  }
  CK_RV GeneratePair(CK_OBJECT_HANDLE& publicKey, CK_OBJECT_HANDLE& privateKey) {
    auto forPublic = softtoken::testing::ProviderPublicKey(1024, "box");
    auto forPrivate = softtoken::testing::ProviderPrivateKey(1024, "box");
    CK_MECHANISM mechanism = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    return Call<&Adapter::C_GenerateKeyPair>(session, &mechanism, forPublic.Data(), forPublic.Count(),
                                             forPrivate.Data(), forPrivate.Count(), &publicKey, &privateKey);
  }
  CK_OBJECT_HANDLE OfClass(CK_OBJECT_CLASS objectClass) {
    return FindOne(session, Attributes{{CKA_CLASS, Number(objectClass)}});
  }

  CK_SESSION_HANDLE session = 0;
};

TEST_F(ObjectsTest, CertificatesHaveTheAttributesThatTheProviderReads) {
  settings.defaultCertificate = "Mail";
  const std::string der = MakeCertificate(TestKey(), "digitalSignature");
  module.Add({{CKA_CLASS, Number(CKO_CERTIFICATE)}, {CKA_LABEL, "Mail  "}, {CKA_VALUE, der}});
  module.Add({{CKA_CLASS, Number(CKO_CERTIFICATE)}, {CKA_LABEL, "Other"}, {CKA_VALUE, "no certificate"}});
  Begin();
  const CK_OBJECT_HANDLE mail = FindOne(session, Attributes{{CKA_DEFAULT_CERT, Flag(true)}});
  ASSERT_NE(0U, mail);
  EXPECT_EQ(der, Read(session, mail, CKA_VALUE));
  EXPECT_EQ(Flag(true), Read(session, mail, CKA_VERIFY));
  EXPECT_EQ(Flag(false), Read(session, mail, CKA_ENCRYPT));
  EXPECT_EQ(Number(CKC_X_509), Read(session, mail, CKA_CERTIFICATE_TYPE));
  EXPECT_EQ("", Read(session, mail, CKA_ID));
  const CK_OBJECT_HANDLE other = FindOne(session, Attributes{{CKA_DEFAULT_CERT, Flag(false)}});
  ASSERT_NE(0U, other);
  EXPECT_EQ(Flag(true), Read(session, other, CKA_VERIFY));
  EXPECT_EQ(Flag(true), Read(session, other, CKA_ENCRYPT));
}

TEST_F(ObjectsTest, KeysHaveTheAttributesThatTheProviderReads) {
  AddPublicKey("1");
  AddPrivateKey("1");
  Begin(true);
  for (const CK_ATTRIBUTE_TYPE type : {CKA_WRAP, CKA_VERIFY_RECOVER, CKA_LOCAL, CKA_MODIFIABLE}) {
    EXPECT_NE("?", Read(session, OfClass(CKO_PUBLIC_KEY), type)) << type;
  }
  const CK_ATTRIBUTE_TYPE ofPrivate[] = {CKA_UNWRAP,           CKA_DECRYPT,           CKA_SIGN,  CKA_SIGN_RECOVER,
                                         CKA_ALWAYS_SENSITIVE, CKA_NEVER_EXTRACTABLE, CKA_LOCAL, CKA_SENSITIVE,
                                         CKA_EXTRACTABLE,      CKA_MODIFIABLE};
  for (const CK_ATTRIBUTE_TYPE type : ofPrivate) {
    EXPECT_EQ(1U, Read(session, OfClass(CKO_PRIVATE_KEY), type).size()) << type;
    EXPECT_NE("?", Read(session, OfClass(CKO_PRIVATE_KEY), type)) << type;
  }
  EXPECT_EQ(Number(1024), Read(session, OfClass(CKO_PRIVATE_KEY), CKA_MODULUS_BITS));
  EXPECT_EQ(Number(CK_UNAVAILABLE_INFORMATION), Read(session, OfClass(CKO_PRIVATE_KEY), CKA_KEY_GEN_MECHANISM));
}

// The modules of NSS and OpenSC list such objects, and fail when their names are read.
TEST_F(ObjectsTest, ObjectsOfUnknownClassesAreHidden) {
  module.Add({{CKA_CLASS, Number(CKO_VENDOR_DEFINED + 7)}});
  module.Add({{CKA_CLASS, Number(CKO_HW_FEATURE)}, {CKA_LABEL, "clock"}});
  module.Add({{CKA_LABEL, "no class"}});
  AddPublicKey("1");
  Begin();
  EXPECT_NE(0U, OfClass(CKO_PUBLIC_KEY));
  EXPECT_EQ(2U, Find(session).size());  // with the stand-in
}

TEST_F(ObjectsTest, PrivateDataIsHiddenWhileTheProviderIsLoggedOut) {
  module.Add({{CKA_CLASS, Number(CKO_DATA)}, {CKA_PRIVATE, Flag(true)}, {CKA_LABEL, "secret"}, {CKA_VALUE, "text"}});
  Begin(true);
  const CK_OBJECT_HANDLE data = OfClass(CKO_DATA);
  ASSERT_NE(0U, data);
  EXPECT_EQ("text", Read(session, data, CKA_VALUE));
  ASSERT_EQ(CKR_OK, Logout(session));
  ASSERT_TRUE(module.loggedIn);
  EXPECT_EQ("?", Read(session, data, CKA_VALUE));
  EXPECT_TRUE(Find(session).empty());
}

TEST_F(ObjectsTest, AreListedByLabelAndIdentifier) {
  AddPublicKey("2", "B");
  AddPublicKey("1", "B");
  AddPublicKey("3", "A");
  Begin();
  std::vector<std::string> ids;
  for (const CK_OBJECT_HANDLE object : Find(session, Attributes{{CKA_CLASS, Number(CKO_PUBLIC_KEY)}})) {
    ids.push_back(Read(session, object, CKA_ID));
  }
  EXPECT_EQ((std::vector<std::string>{"3", "1", "2"}), ids);
}

TEST_F(ObjectsTest, AnswerLengthQueriesAndMarkShortBuffers) {
  AddPublicKey("abc");
  Begin();
  const CK_OBJECT_HANDLE key = OfClass(CKO_PUBLIC_KEY);
  CK_BYTE room[2] = {};
  CK_ATTRIBUTE attributes[] = {{CKA_ID, nullptr, 0}, {CKA_ID, room, sizeof room}, {CKA_PRIME_1, nullptr, 0}};
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, Call<&Adapter::C_GetAttributeValue>(session, key, attributes, CK_ULONG{3}));
  EXPECT_EQ(3U, attributes[0].ulValueLen);
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, attributes[1].ulValueLen);
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, attributes[2].ulValueLen);
}

TEST_F(ObjectsTest, HideTheSecretPartsOfAKey) {
  const CK_OBJECT_HANDLE lower = AddPrivateKey("1");
  module.objects[lower][CKA_PRIVATE_EXPONENT] = "secret";
  Begin(true);
  CK_ATTRIBUTE attribute = {CKA_PRIVATE_EXPONENT, nullptr, 0};
  EXPECT_EQ(CKR_ATTRIBUTE_SENSITIVE,
            Call<&Adapter::C_GetAttributeValue>(session, OfClass(CKO_PRIVATE_KEY), &attribute, CK_ULONG{1}));
}

TEST_F(ObjectsTest, AttributesAreReadOneByOneIfTheModuleFailsAWholeRead) {
  module.stopsAtBadAttribute = true;
  AddPublicKey("1", "Anna");
  Begin();
  EXPECT_EQ("Anna", Read(session, OfClass(CKO_PUBLIC_KEY), CKA_LABEL));
}

TEST_F(ObjectsTest, PairsAreGeneratedFromACleanedTemplate) {
  Begin(true);
  CK_OBJECT_HANDLE publicKey = 0, privateKey = 0;
  ASSERT_EQ(CKR_OK, GeneratePair(publicKey, privateKey));
  EXPECT_EQ("box", Read(session, publicKey, CKA_LABEL));
  EXPECT_EQ("box", Read(session, privateKey, CKA_ID));
  EXPECT_EQ(Number(1024), Read(session, privateKey, CKA_MODULUS_BITS));
  for (const auto& [handle, attributes] : module.objects) {
    for (const CK_ATTRIBUTE_TYPE type : {CKA_VERIFY_RECOVER, CKA_SIGN_RECOVER, CKA_LOCAL, CKA_ALWAYS_SENSITIVE}) {
      EXPECT_EQ(0U, attributes.count(type)) << type;
    }
  }
  std::string signature;
  EXPECT_EQ(CKR_OK, Sign(session, privateKey, "data", signature));
  ASSERT_EQ(CKR_OK, Logout(session));
  EXPECT_EQ(privateKey, OfClass(CKO_PRIVATE_KEY));
}

TEST_F(ObjectsTest, AFailedPairLeavesNoObjects) {
  AddPublicKey("box", "box");
  module.leavesOrphan = true;
  Begin(true);
  CK_OBJECT_HANDLE publicKey = 0, privateKey = 0;
  EXPECT_EQ(CKR_DEVICE_MEMORY, GeneratePair(publicKey, privateKey));
  EXPECT_EQ(1U, module.objects.size());
}

TEST_F(ObjectsTest, ANewCertificateGetsItsType) {
  Begin(true);
  auto made = softtoken::testing::ProviderCertificate("Mail", "1", MakeCertificate(TestKey()));
  CK_OBJECT_HANDLE object = 0;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_CreateObject>(session, made.Data(), made.Count(), &object));
  EXPECT_EQ(Number(CKC_X_509), module.objects.begin()->second[CKA_CERTIFICATE_TYPE]);
  EXPECT_EQ("Mail", Read(session, object, CKA_LABEL));
  EXPECT_EQ(object, OfClass(CKO_CERTIFICATE));
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_DestroyObject>(session, object));
  EXPECT_TRUE(module.objects.empty());
  EXPECT_EQ(CKR_OBJECT_HANDLE_INVALID, Call<&Adapter::C_DestroyObject>(session, object));
}

TEST_F(ObjectsTest, KeepTheirHandleWhenTheirLabelIsSet) {
  AddPublicKey("1", "old");
  Begin(true);
  const CK_OBJECT_HANDLE key = OfClass(CKO_PUBLIC_KEY);
  Template label(Attributes{{CKA_LABEL, "new"}});
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_SetAttributeValue>(session, key, label.Data(), label.Count()));
  EXPECT_EQ("new", Read(session, key, CKA_LABEL));
  EXPECT_EQ(key, OfClass(CKO_PUBLIC_KEY));
  Template own(Attributes{{CKA_MODULUS_BITS, Number(1)}});
  AddPrivateKey("1");
  EXPECT_EQ(CKR_ATTRIBUTE_READ_ONLY,
            Call<&Adapter::C_SetAttributeValue>(session, OfClass(CKO_PRIVATE_KEY), own.Data(), own.Count()));
}

TEST_F(ObjectsTest, AreNotChangedThroughAReadOnlySession) {
  AddPublicKey("1");
  Start();
  session = Open(kReadOnly);
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(CKR_SESSION_READ_ONLY, Call<&Adapter::C_DestroyObject>(session, OfClass(CKO_PUBLIC_KEY)));
}

}  // namespace
}  // namespace adapter::testing

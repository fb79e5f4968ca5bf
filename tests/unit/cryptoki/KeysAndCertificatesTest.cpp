// The five classes of objects: what each reads, and what its Update stores.
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "cryptoki/Certificate.h"
#include "cryptoki/Data.h"
#include "cryptoki/PrivateKey.h"
#include "cryptoki/PublicKey.h"
#include "cryptoki/SecretKey.h"
#include "cryptoki/Session.h"
#include "fixtures/Expect.h"
#include "fixtures/LogFile.h"
#include "module/ScriptedModule.h"

namespace {

using List = std::list<Attribute>;

class ObjectClassTest : public LogTest {
 protected:
  ObjectClassTest() : m_module(boost::make_shared<ScriptedModule>()), m_token(m_module->InsertToken("Reader A")) {
    CK_SESSION_HANDLE handle = 0;
    m_module->C_OpenSession(0, 6, nullptr, nullptr, &handle);
    m_session = Session(handle);
    m_session.SetCryptoki(m_module);
    m_module->ForgetCalls();
  }

  template <typename Object>
  Object Bound(const ScriptedObject& scripted) {
    Object object;
    object.Bind(m_session, m_token.Add(scripted));
    return object;
  }

  template <typename Object>
  Object Read(const ScriptedObject& scripted) {
    Object object = Bound<Object>(scripted);
    object.Retrieve();
    return object;
  }

  boost::shared_ptr<ScriptedModule> m_module;
  ScriptedToken& m_token;
  Session m_session;
};

TEST_F(ObjectClassTest, DataReadsItsApplication) {
  Data data = Read<Data>(DataObject({1, 2}, "An application"));
  EXPECT_EQ("An application", data.GetApplication());
  EXPECT_EQ(
      (Calls{"C_GetAttributeValue(1, 1, {CKA_APPLICATION?})", "C_GetAttributeValue(1, 1, {CKA_APPLICATION[14]})"}),
      m_module->TakeCalls());
}

TEST_F(ObjectClassTest, DataIsIdentifiedByItsObjectId) {
  Data data = Bound<Data>(DataObject({1, 2}, "app"));
  data.CryptokiObject::Retrieve();
  CK_ULONG length = 0;
  data.GetID(nullptr, &length);
  EXPECT_EQ(CK_ULONG{2}, length);
}

TEST_F(ObjectClassTest, DataUpdateStoresTheApplication) {
  Data data = Read<Data>(DataObject({1, 2}, "app"));
  data.Update({MakeAttribute(CKA_APPLICATION, Text("other"))});
  EXPECT_EQ("other", data.GetApplication());
}

TEST_F(ObjectClassTest, SecretKeyReadsItsFieldsInOneCall) {
  const SecretKey key = Read<SecretKey>(SecretKeyObject(CKK_DES2, Counting(16, 0)));
  EXPECT_EQ(Calls{"C_GetAttributeValue(1, 1, {CKA_KEY_TYPE[number], CKA_DERIVE[1], CKA_WRAP[1], "
                  "CKA_UNWRAP[1], CKA_ENCRYPT[1], "
                  "CKA_DECRYPT[1], CKA_SIGN[1], CKA_VERIFY[1], CKA_SENSITIVE[1], CKA_EXTRACTABLE[1]})"},
            m_module->TakeCalls());
  EXPECT_EQ(CKK_DES2, key.GetKeyType());
  EXPECT_EQ("Triple DES 16-byte Key", key.GetKeyTypeName());
  EXPECT_TRUE(key.CanEncrypt() && key.CanDecrypt() && key.IsExtractable());
  EXPECT_FALSE(key.CanDerive() || key.CanWrap() || key.CanUnwrap() || key.CanSign() || key.CanVerify() ||
               key.IsSensitive());
}

TEST_F(ObjectClassTest, AnRsaKeyTypeOnASecretKeyIsUnknown) {
  EXPECT_EQ("Unknown Key Type", Read<SecretKey>(SecretKeyObject(CKK_RSA, {1})).GetKeyTypeName());
}

TEST_F(ObjectClassTest, AVendorsKeyTypeLeavesNoName) {
  EXPECT_EQ("", Read<SecretKey>(SecretKeyObject(0x80000005, {1})).GetKeyTypeName());
}

TEST_F(ObjectClassTest, SecretKeyUpdateStoresTheFirstByteOfEachFlagAndTheName) {
  SecretKey key = Read<SecretKey>(SecretKeyObject(CKK_DES2, Counting(16, 0)));
  key.Update({MakeAttribute(CKA_KEY_TYPE, Number(CKK_AES)), MakeAttribute(CKA_ENCRYPT, {0}),
              MakeAttribute(CKA_DECRYPT, {0}), MakeAttribute(CKA_WRAP, {2}), MakeAttribute(CKA_UNWRAP, {1}),
              MakeAttribute(CKA_SIGN, {1}), MakeAttribute(CKA_VERIFY, {1}), MakeAttribute(CKA_DERIVE, {1})});
  EXPECT_EQ("AES Key", key.GetKeyTypeName());
  EXPECT_FALSE(key.CanEncrypt() || key.CanDecrypt());
  EXPECT_TRUE(key.CanWrap() && key.CanUnwrap() && key.CanSign() && key.CanVerify() && key.CanDerive());
}

TEST_F(ObjectClassTest, UpdateToAVendorsKeyTypeClearsTheName) {
  SecretKey key = Read<SecretKey>(SecretKeyObject(CKK_AES, Counting(16, 0)));
  key.Update({MakeAttribute(CKA_KEY_TYPE, Number(0x80000005))});
  EXPECT_EQ(CK_KEY_TYPE{0x80000005}, key.GetKeyType());
  EXPECT_EQ("", key.GetKeyTypeName());
}

TEST_F(ObjectClassTest, APublicKeyThatWasNotReadHasNoBits) { EXPECT_EQ(CK_ULONG{0}, PublicKey().GetModulusBits()); }

TEST_F(ObjectClassTest, PublicKeyReadsItsFieldsAndThenItsValues) {
  PublicKey key = Read<PublicKey>(PublicKeyObject({1}, Counting(64, 0x81)));
  EXPECT_EQ((Calls{"C_GetAttributeValue(1, 1, {CKA_KEY_TYPE[number], CKA_WRAP[1], CKA_ENCRYPT[1], CKA_VERIFY[1], "
                   "CKA_VERIFY_RECOVER[1], CKA_LOCAL[1], CKA_MODULUS_BITS[number], CKA_KEY_GEN_MECHANISM[number]})",
                   "C_GetAttributeValue(1, 1, {CKA_MODULUS?, CKA_PUBLIC_EXPONENT?, CKA_ID?})",
                   "C_GetAttributeValue(1, 1, {CKA_MODULUS[64], CKA_PUBLIC_EXPONENT[3], CKA_ID[1]})"}),
            m_module->TakeCalls());
  EXPECT_EQ(CK_ULONG{512}, key.GetModulusBits());
  EXPECT_EQ(CKK_RSA, key.GetKeyType());
  EXPECT_EQ(CKM_RSA_PKCS_KEY_PAIR_GEN, key.GetKeyGenMechanism().GetType());
  EXPECT_TRUE(key.CanWrap() && key.CanEncrypt() && key.CanVerify() && key.IsLocal());
  EXPECT_FALSE(key.CanVerifyRecover() || key.HasCertificate());
}

TEST_F(ObjectClassTest, PublicKeyStoresAlwaysSensitiveAndNeverExtractableOnlyInUpdate) {
  PublicKey key = Read<PublicKey>(
      PublicKeyObject({1}, Counting(64, 0x81)).With(CKA_ALWAYS_SENSITIVE, {1}).With(CKA_NEVER_EXTRACTABLE, {1}));
  EXPECT_FALSE(key.IsAlwaysSensitive() || key.IsNeverExtractable());
  key.Update({MakeAttribute(CKA_ALWAYS_SENSITIVE, {1}), MakeAttribute(CKA_NEVER_EXTRACTABLE, {1})});
  EXPECT_TRUE(key.IsAlwaysSensitive() && key.IsNeverExtractable());
}

TEST_F(ObjectClassTest, PublicKeyUpdateStoresItsFields) {
  PublicKey key = Read<PublicKey>(PublicKeyObject({1}, Counting(64, 0x81)));
  key.Update({MakeAttribute(CKA_KEY_TYPE, Number(CKK_DSA)), MakeAttribute(CKA_ENCRYPT, {0}),
              MakeAttribute(CKA_WRAP, {0}), MakeAttribute(CKA_VERIFY, {0}), MakeAttribute(CKA_VERIFY_RECOVER, {1}),
              MakeAttribute(CKA_MODULUS_BITS, Number(1024)), MakeAttribute(CKA_LOCAL, {0}),
              MakeAttribute(CKA_KEY_GEN_MECHANISM, Number(CKM_DSA_KEY_PAIR_GEN))});
  EXPECT_EQ(CKK_DSA, key.GetKeyType());
  EXPECT_FALSE(key.CanEncrypt() || key.CanWrap() || key.CanVerify() || key.IsLocal());
  EXPECT_TRUE(key.CanVerifyRecover());
  EXPECT_EQ(CK_ULONG{1024}, key.GetModulusBits());
  EXPECT_EQ(CKM_DSA_KEY_PAIR_GEN, key.GetKeyGenMechanism().GetType());
}

TEST_F(ObjectClassTest, PrivateKeyReadsItsFieldsAndThenItsValues) {
  PrivateKey key = Read<PrivateKey>(PrivateKeyObject({1}, Counting(64, 0x81)));
  EXPECT_EQ((Calls{"C_GetAttributeValue(1, 1, {CKA_KEY_TYPE[number], CKA_UNWRAP[1], CKA_DECRYPT[1], CKA_SIGN[1], "
                   "CKA_SIGN_RECOVER[1], CKA_ALWAYS_SENSITIVE[1], CKA_NEVER_EXTRACTABLE[1], CKA_LOCAL[1], "
                   "CKA_MODULUS_BITS[number], CKA_KEY_GEN_MECHANISM[number], CKA_SENSITIVE[1], CKA_EXTRACTABLE[1]})",
                   "C_GetAttributeValue(1, 1, {CKA_MODULUS?, CKA_PUBLIC_EXPONENT?, CKA_ID?})",
                   "C_GetAttributeValue(1, 1, {CKA_MODULUS[64], CKA_PUBLIC_EXPONENT[3], CKA_ID[1]})"}),
            m_module->TakeCalls());
  EXPECT_TRUE(key.CanDecrypt() && key.CanSign() && key.IsAlwaysSensitive() && key.IsLocal() && key.IsSensitive());
  EXPECT_FALSE(key.CanUnwrap() || key.CanSignRecover() || key.IsNeverExtractable() || key.IsExtractable());
  EXPECT_EQ(CK_ULONG{512}, key.GetModulusBits());
}

TEST_F(ObjectClassTest, BothKeysReadTheMechanismThatMadeThem) {
  const Bytes mechanism = Number(CKM_DSA_KEY_PAIR_GEN);
  const auto publicKey =
      Read<PublicKey>(PublicKeyObject({1}, Counting(64, 0x81)).With(CKA_KEY_GEN_MECHANISM, mechanism));
  EXPECT_EQ(CKM_DSA_KEY_PAIR_GEN, publicKey.GetKeyGenMechanism().GetType());
  const auto privateKey =
      Read<PrivateKey>(PrivateKeyObject({2}, Counting(64, 0x81)).With(CKA_KEY_GEN_MECHANISM, mechanism));
  EXPECT_EQ(CKM_DSA_KEY_PAIR_GEN, privateKey.GetKeyGenMechanism().GetType());
}

TEST_F(ObjectClassTest, PrivateKeyUpdateStoresItsFields) {
  PrivateKey key = Read<PrivateKey>(PrivateKeyObject({1}, Counting(64, 0x81)));
  key.Update({MakeAttribute(CKA_KEY_TYPE, Number(CKK_DSA)), MakeAttribute(CKA_DECRYPT, {0}),
              MakeAttribute(CKA_UNWRAP, {1}), MakeAttribute(CKA_SIGN, {0}), MakeAttribute(CKA_SIGN_RECOVER, {1}),
              MakeAttribute(CKA_MODULUS_BITS, Number(1024)), MakeAttribute(CKA_LOCAL, {0}),
              MakeAttribute(CKA_NEVER_EXTRACTABLE, {1}), MakeAttribute(CKA_ALWAYS_SENSITIVE, {0}),
              MakeAttribute(CKA_KEY_GEN_MECHANISM, Number(CKM_DSA_KEY_PAIR_GEN))});
  EXPECT_EQ(CKK_DSA, key.GetKeyType());
  EXPECT_FALSE(key.CanDecrypt() || key.CanSign() || key.IsLocal() || key.IsAlwaysSensitive());
  EXPECT_TRUE(key.CanUnwrap() && key.CanSignRecover() && key.IsNeverExtractable());
  EXPECT_EQ(CK_ULONG{1024}, key.GetModulusBits());
  EXPECT_EQ(CKM_DSA_KEY_PAIR_GEN, key.GetKeyGenMechanism().GetType());
}

TEST_F(ObjectClassTest, UpdateOfAPrivateKeyLogsItsTwoLinesFirst) {
  PrivateKey key = Read<PrivateKey>(PrivateKeyObject({1}, Counting(64, 0x81)));
  key.SetAttributes({MakeAttribute(CKA_ID, {1})});
  TakeLog();
  key.Update({MakeAttribute(CKA_SIGN, {0})});
  EXPECT_EQ(Line("PrivateKey::Update - Entry") + Line("PrivateKey::Update - Try....Update") +
                Line("CryptokiObject::Update - Entry") + Line("CryptokiObject::Update - SetAttributeValue") +
                Line("CryptokiObject::Update - AfterSetAttributeValue") + Line("CryptokiObject::Update - for 1") +
                Line("CryptokiObject::Update - for 2") + Line("CryptokiObject::Update - Exit"),
            TakeLog());
}

TEST_F(ObjectClassTest, ARefusedUpdateOfAPrivateKeyIsLoggedAndRethrown) {
  PrivateKey key = Read<PrivateKey>(PrivateKeyObject({1}, Counting(64, 0x81)));
  TakeLog();
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, key.Update({}));
  EXPECT_EQ(Line("PrivateKey::Update - Entry") + Line("PrivateKey::Update - Try....Update") +
                Line("CryptokiObject::Update - Entry") + Line("CryptokiObject::Update - attrList.size() == 0") +
                Line("PrivateKey::Update - Catch...."),
            TakeLog());
}

TEST_F(ObjectClassTest, ARefusedUpdateStoresNothing) {
  PublicKey publicKey = Read<PublicKey>(PublicKeyObject({1}, Counting(64, 0x81)));
  Certificate certificate = Read<Certificate>(CertificateObject({1}, "c", {1}));
  SecretKey secretKey = Read<SecretKey>(SecretKeyObject(CKK_DES2, Counting(16, 0)));
  Data data = Read<Data>(DataObject({1}, "app"));
  m_module->FailAlways("C_SetAttributeValue", CKR_ATTRIBUTE_READ_ONLY);
  const List list = {MakeAttribute(CKA_ENCRYPT, {0}), MakeAttribute(CKA_APPLICATION, Text("other"))};
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_READ_ONLY, publicKey.Update(list));
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_READ_ONLY, certificate.Update(list));
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_READ_ONLY, secretKey.Update(list));
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_READ_ONLY, data.Update(list));
  EXPECT_TRUE(publicKey.CanEncrypt() && certificate.CanEncrypt() && secretKey.CanEncrypt());
  EXPECT_EQ("app", data.GetApplication());
}

TEST_F(ObjectClassTest, AFieldUpdatedWithAShorterValueIsFilledUpWithZeros) {
  PublicKey key = Read<PublicKey>(PublicKeyObject({1}, Counting(64, 0x81)));
  key.Update({MakeAttribute(CKA_MODULUS_BITS, {0x34})});
  EXPECT_EQ(CK_ULONG{0x34}, key.GetModulusBits());
}

TEST_F(ObjectClassTest, CertificateReadsItsFieldsAndThenItsValue) {
  Certificate certificate = Read<Certificate>(CertificateObject({1}, "c", Counting(50, 0)));
  EXPECT_EQ((Calls{"C_GetAttributeValue(1, 1, {CKA_ENCRYPT[1], CKA_VERIFY[1], CKA_CERTIFICATE_TYPE[number]})",
                   "C_GetAttributeValue(1, 1, {CKA_VALUE?})", "C_GetAttributeValue(1, 1, {CKA_VALUE[50]})"}),
            m_module->TakeCalls());
  EXPECT_TRUE(certificate.CanEncrypt() && certificate.CanVerify());
  EXPECT_EQ(CKC_X_509, certificate.GetCertificateType());
  EXPECT_FALSE(certificate.HasPrivateKey() || certificate.HasPublicKey());
  EXPECT_EQ("", certificate.GetSubject() + certificate.GetIssuer());
}

TEST_F(ObjectClassTest, CertificateUpdateStoresItsFields) {
  Certificate certificate = Read<Certificate>(CertificateObject({1}, "c", {1}));
  certificate.Update({MakeAttribute(CKA_CERTIFICATE_TYPE, Number(CKC_X_509_ATTR_CERT)), MakeAttribute(CKA_ENCRYPT, {0}),
                      MakeAttribute(CKA_VERIFY, {0})});
  EXPECT_EQ(CKC_X_509_ATTR_CERT, certificate.GetCertificateType());
  EXPECT_FALSE(certificate.CanEncrypt() || certificate.CanVerify());
}

TEST_F(ObjectClassTest, TheDerivedReadsDoNotMakeTheBaseRead) {
  const ScriptedObject withoutClass = CertificateObject({1}, "c", {1}).Without(CKA_CLASS);
  EXPECT_NO_THROW(Read<Certificate>(withoutClass));
}

TEST_F(ObjectClassTest, TheDerivedReadsNeedHandlesAndModule) {
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Data().Retrieve());
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, SecretKey().Retrieve());
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, PublicKey().Retrieve());
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, PrivateKey().Retrieve());
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Certificate().Retrieve());
}

TEST_F(ObjectClassTest, AReadThatFailsPartWayKeepsWhatWasRead) {
  PublicKey key = Bound<PublicKey>(PublicKeyObject({1}, Counting(64, 0x81)));
  m_module->FailOnCall("C_GetAttributeValue", 3, CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, key.Retrieve());
  EXPECT_EQ(8U, key.GetAttributes().size());
}

// --- GetModulus of both kinds of keys

template <typename Key>
class ModulusTest : public ObjectClassTest {
 protected:
  static ScriptedObject Scripted(const PublicKey*) { return PublicKeyObject({1}, Counting(64, 0x81)); }
  static ScriptedObject Scripted(const PrivateKey*) { return PrivateKeyObject({1}, Counting(64, 0x81)); }

  Key ReadKey() {
    Key key = this->template Read<Key>(Scripted(static_cast<const Key*>(nullptr)));
    this->TakeLog();
    return key;
  }

  const std::string m_begin = Line("GetModulus - Entry") + Line("GetModulus - Check attrList.size()");
  const std::string m_found =
      m_begin + Line("GetModulus - Iterating through attribute list") + Line("GetModulus - ATTR_MODULUS Found");
};

using Keys = ::testing::Types<PublicKey, PrivateKey>;
TYPED_TEST_SUITE(ModulusTest, Keys);

TYPED_TEST(ModulusTest, ANullBufferAsksForTheLength) {
  const TypeParam key = this->ReadKey();
  CK_ULONG length = 0;
  key.GetModulus(nullptr, &length);
  EXPECT_EQ(CK_ULONG{64}, length);
  EXPECT_EQ(this->m_found + Line("GetModulus - pModulus is NULL, returning ulModulusLen") + Line("GetModulus - Exit"),
            this->TakeLog());
}

TYPED_TEST(ModulusTest, ALargeEnoughBufferGetsTheBytesAndTheLengthIsUnchanged) {
  const TypeParam key = this->ReadKey();
  BYTE modulus[80] = {};
  CK_ULONG length = sizeof(modulus);
  key.GetModulus(modulus, &length);
  EXPECT_EQ(CK_ULONG{80}, length);
  EXPECT_EQ(Counting(64, 0x81), Bytes(modulus, modulus + 64));
  EXPECT_EQ(this->m_found + Line("GetModulus - Trying to get Modulus") + Line("GetModulus - Copying modulus") +
                Line("GetModulus - Exit: pModulus retrieved"),
            this->TakeLog());
}

TYPED_TEST(ModulusTest, ATooSmallBufferReturnsTheNeededLength) {
  const TypeParam key = this->ReadKey();
  BYTE modulus[63] = {};
  CK_ULONG length = sizeof(modulus);
  EXPECT_CRYPTOKI_ERROR(CKR_BUFFER_TOO_SMALL, key.GetModulus(modulus, &length));
  EXPECT_EQ(CK_ULONG{64}, length);
  EXPECT_EQ(this->m_found + Line("GetModulus - Trying to get Modulus") +
                Line("GetModulus - ulModulusLen is too small. Getting proper length") +
                Line("GetModulus - Exit: CKR_BUFFER_TOO_SMALL"),
            this->TakeLog());
}

TYPED_TEST(ModulusTest, WithoutAnyAttributesItIsABadArgument) {
  CK_ULONG length = 0;
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, TypeParam().GetModulus(nullptr, &length));
  EXPECT_EQ(this->m_begin + Line("GetModulus - Exit: CKR_ARGUMENTS_BAD"), this->TakeLog());
}

TYPED_TEST(ModulusTest, WithoutAModulusItIsAnInvalidType) {
  TypeParam key;
  key.SetAttributes({MakeAttribute(CKA_ID, {1})});
  CK_ULONG length = 0;
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_TYPE_INVALID, key.GetModulus(nullptr, &length));
  EXPECT_EQ(this->m_begin + Line("GetModulus - Iterating through attribute list") +
                Line("GetModulus - Exit: CKR_ATTRIBUTE_TYPE_INVALID"),
            this->TakeLog());
}

}  // namespace

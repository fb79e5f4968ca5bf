#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "cryptoki/Session.h"
#include "cryptoki/Token.h"
#include "fixtures/Expect.h"
#include "fixtures/LogFile.h"
#include "module/ScriptedModule.h"

namespace {

using List = std::list<Attribute>;

class SessionTest : public LogTest {
 protected:
  SessionTest() : m_module(boost::make_shared<ScriptedModule>()), m_token(m_module->InsertToken("Reader A")) {
    Token token(0);
    token.SetCryptoki(m_module);
    m_session = token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr);
    m_module->ForgetCalls();
  }

  template <typename Key>
  Key Bound(CK_OBJECT_HANDLE handle) {
    Key key;
    key.Bind(m_session, handle);
    return key;
  }

  static List SomeAttributes() { return {MakeAttribute(CKA_LABEL, Text("new")), MakeAttribute(CKA_ID, {7})}; }

  void LogIn() {
    m_session.Login(CKU_USER, m_pin, 4);
    m_module->ForgetCalls();
  }

  boost::shared_ptr<ScriptedModule> m_module;
  ScriptedToken& m_token;
  Session m_session;
  BYTE m_pin[4] = {'1', '2', '3', '4'};
  BYTE m_iv[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  BYTE m_in[3] = {'a', 'b', 'c'};
  BYTE m_out[64] = {};
  CK_ULONG m_outLength = sizeof(m_out);
  Mechanism m_withParameter{CK_MECHANISM{CKM_DES3_CBC, m_iv, sizeof(m_iv)}};
};

TEST_F(SessionTest, DefaultIsClosed) { EXPECT_EQ(CK_SESSION_HANDLE{0}, Session().GetSessionHandle()); }

TEST_F(SessionTest, IsConstructedFromAHandleAndCanBeAssignedOne) {
  Session session(5);
  EXPECT_EQ(CK_SESSION_HANDLE{5}, session.GetSessionHandle());
  session = CK_SESSION_HANDLE{6};
  EXPECT_EQ(CK_SESSION_HANDLE{6}, session.GetSessionHandle());
  session.SetSessionHandle(7);
  EXPECT_EQ(CK_SESSION_HANDLE{7}, session.GetSessionHandle());
}

TEST_F(SessionTest, InformationComesFromTheModule) {
  const CK_SESSION_INFO info = m_session.GetSessionInfo();
  EXPECT_EQ(CK_SLOT_ID{0}, +info.slotID);
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, +info.state);
  EXPECT_EQ(CK_FLAGS{6}, m_session.GetFlags());
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, m_session.GetState());
  EXPECT_EQ((Calls{"C_GetSessionInfo(1)", "C_GetSessionInfo(1)", "C_GetSessionInfo(1)"}), m_module->TakeCalls());
}

TEST_F(SessionTest, IsValidReturnsWhetherTheModuleKnowsIt) {
  EXPECT_TRUE(m_session.IsValid());
  m_module->RemoveToken("Reader A");
  EXPECT_FALSE(m_session.IsValid());
}

TEST_F(SessionTest, IsValidIsFalseForAClosedSessionAndThrowsWithoutAModule) {
  m_session.Close();
  EXPECT_FALSE(m_session.IsValid());
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Session().IsValid());
}

TEST_F(SessionTest, IsLoggedInReadsTheFlagsAndNotTheState) {
  LogIn();
  EXPECT_EQ(CKS_RW_USER_FUNCTIONS, m_session.GetState());
  EXPECT_FALSE(m_session.IsLoggedIn());
}

TEST_F(SessionTest, IsLoggedInIsTrueOnlyForFlagsZeroAndTwo) {
  Token token(0);
  token.SetCryptoki(m_module);
  EXPECT_TRUE(token.OpenSession(0, nullptr, nullptr).IsLoggedIn());
  EXPECT_TRUE(token.OpenSession(2, nullptr, nullptr).IsLoggedIn());
  EXPECT_FALSE(token.OpenSession(4, nullptr, nullptr).IsLoggedIn());
}

TEST_F(SessionTest, LoginUsesTheTokenFamilysOwnEntry) {
  m_session.Login(CKU_USER, m_pin, 4);
  EXPECT_EQ(Calls{"C_LoginExtended(1, user 1, 1234)"}, m_module->TakeCalls());
}

TEST_F(SessionTest, LoginWithoutAPinMakesNoCall) {
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.Login(CKU_USER, m_pin, 0));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.Login(CKU_USER, nullptr, 4));
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(SessionTest, AWrongPinThrowsTheModulesResult) {
  BYTE wrong[] = {'0'};
  EXPECT_CRYPTOKI_ERROR(2, m_session.Login(CKU_USER, wrong, 1));
  EXPECT_EQ(CK_ULONG{2}, +m_session.GetSessionInfo().ulDeviceError);
  m_module->wrongPin = ScriptedModule::WrongPin::kPinIncorrect;
  EXPECT_CRYPTOKI_ERROR(CKR_PIN_INCORRECT, m_session.Login(CKU_USER, wrong, 1));
  EXPECT_CRYPTOKI_ERROR(CKR_PIN_LOCKED, m_session.Login(CKU_USER, wrong, 1));
}

TEST_F(SessionTest, PinOperationsCheckTheirArgumentsFirst) {
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.SetPIN(nullptr, 4, m_pin, 4));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.SetPIN(m_pin, 0, m_pin, 4));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.SetPIN(m_pin, 4, nullptr, 4));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.SetPIN(m_pin, 4, m_pin, 0));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.InitPIN(nullptr, 4));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.InitPIN(m_pin, 0));
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(SessionTest, PinOperationsCallTheModule) {
  BYTE fresh[] = {'5', '6', '7', '8'};
  m_session.SetPIN(m_pin, 4, fresh, 4);
  m_session.InitPIN(m_pin, 4);
  m_session.Login(CKU_USER, m_pin, 4);
  m_session.Logout();
  EXPECT_EQ((Calls{"C_SetPIN(1, 1234, 5678)", "C_InitPIN(1, 1234)", "C_LoginExtended(1, user 1, 1234)", "C_Logout(1)"}),
            m_module->TakeCalls());
}

TEST_F(SessionTest, FindAllObjectsOfAnEmptyTokenAsksOnce) {
  EXPECT_TRUE(m_session.FindAllObjects().GetObjects().empty());
  EXPECT_EQ((Calls{"C_FindObjectsInit(1, null of 0)", "C_FindObjects(1, 1)", "C_FindObjectsFinal(1)"}),
            m_module->TakeCalls());
}

TEST_F(SessionTest, FindAllObjectsReadsObjectsAsTheyAreFoundInTheModulesOrder) {
  m_token.Add(CertificateObject({1}, "cert", {9}));
  m_token.Add(DataObject({2}, "app"));
  const CryptokiObjects objects = m_session.FindAllObjects();
  ASSERT_EQ(2U, objects.GetObjects().size());
  EXPECT_EQ(CKO_CERTIFICATE, objects.GetObjects().front().GetClass());
  EXPECT_EQ(CKO_DATA, objects.GetObjects().back().GetClass());
  const std::string fields = "{CKA_CLASS[number], CKA_MODIFIABLE[1], CKA_PRIVATE[1], CKA_TOKEN[1]})";
  EXPECT_EQ((Calls{"C_FindObjectsInit(1, null of 0)", "C_FindObjects(1, 1)", "C_GetAttributeValue(1, 1, " + fields,
                   "C_GetAttributeValue(1, 1, {CKA_ID?, CKA_LABEL?})",
                   "C_GetAttributeValue(1, 1, {CKA_ID[1], CKA_LABEL[4]})", "C_FindObjects(1, 1)",
                   "C_GetAttributeValue(1, 2, " + fields, "C_GetAttributeValue(1, 2, {CKA_OBJECT_ID?, CKA_LABEL?})",
                   "C_GetAttributeValue(1, 2, {CKA_OBJECT_ID[1], CKA_LABEL[5]})", "C_FindObjects(1, 1)",
                   "C_FindObjectsFinal(1)"}),
            m_module->TakeCalls());
}

TEST_F(SessionTest, FindObjectsPassesTheTemplateOn) {
  m_token.Add(CertificateObject({1}, "cert", {9}));
  m_token.Add(CertificateObject({2}, "cert", {9}));
  const CryptokiObjects objects = m_session.FindObjects({MakeAttribute(CKA_ID, {2})});
  ASSERT_EQ(1U, objects.GetObjects().size());
  EXPECT_EQ(CK_OBJECT_HANDLE{2}, objects.GetObjects().front().GetHandle());
  EXPECT_EQ("C_FindObjectsInit(1, {CKA_ID=02})", m_module->TakeCalls().front());
}

TEST_F(SessionTest, FindObjectsWithAnEmptyListFindsNothingWithoutACall) {
  m_token.Add(CertificateObject({1}, "cert", {9}));
  EXPECT_TRUE(m_session.FindObjects({}).GetObjects().empty());
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Session().FindObjects({}));
}

TEST_F(SessionTest, ASearchThatFailsIsLeftOpenInTheModule) {
  m_module->FailNext("C_FindObjectsInit", CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_session.FindAllObjects());
  EXPECT_EQ(Calls{"C_FindObjectsInit"}, m_module->TakeCallNames());
  m_module->FailNext("C_FindObjects", CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_session.FindAllObjects());
  EXPECT_EQ((Calls{"C_FindObjectsInit", "C_FindObjects"}), m_module->TakeCallNames());
  EXPECT_CRYPTOKI_ERROR(CKR_OPERATION_ACTIVE, m_session.FindAllObjects());
}

TEST_F(SessionTest, AnObjectThatCannotBeReadEndsTheSearchWithoutFindObjectsFinal) {
  m_token.Add(CertificateObject({1}, "cert", {9}).Without(CKA_LABEL));
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_TYPE_INVALID, m_session.FindAllObjects());
  EXPECT_EQ((Calls{"C_FindObjectsInit", "C_FindObjects", "C_GetAttributeValue", "C_GetAttributeValue"}),
            m_module->TakeCallNames());
}

TEST_F(SessionTest, AFailingFindObjectsFinalIsIgnored) {
  m_module->FailNext("C_FindObjectsFinal", CKR_DEVICE_ERROR);
  EXPECT_NO_THROW(m_session.FindAllObjects());
}

TEST_F(SessionTest, AnEndlessSearchIsStoppedAtAHundredThousandObjects) {
  // A data object is cheap to read; the module returns the same one again and again.
  class EndlessModule : public ScriptedModule {
   public:
    CK_RV C_FindObjects(CK_SESSION_HANDLE, CK_OBJECT_HANDLE_PTR object, CK_ULONG, CK_ULONG_PTR count) override {
      *object = 1;
      *count = ++found <= limit ? 1 : 0;
      return CKR_OK;
    }
    CK_RV C_GetAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR items, CK_ULONG count) override {
      for (CK_ULONG i = 0; i < count; ++i) items[i].ulValueLen = 0;
      return CKR_OK;
    }
    std::size_t found = 0;
    std::size_t limit = 100000;
  };
  const auto endless = boost::make_shared<EndlessModule>();
  endless->InsertToken("Reader");
  CK_SESSION_HANDLE handle = 0;
  endless->C_OpenSession(0, 6, nullptr, nullptr, &handle);
  Session session(handle);
  session.SetCryptoki(endless);
  EXPECT_EQ(100000U, session.FindAllObjects().GetObjects().size());
  endless->limit = endless->found + 100001;
  EXPECT_CRYPTOKI_ERROR(CKR_GENERAL_ERROR, session.FindAllObjects());
}

TEST_F(SessionTest, CreateObjectPassesTheListOnAndReadsNothingBack) {
  CryptokiObject created = m_session.CreateObject(SomeAttributes());
  EXPECT_EQ(Calls{"C_CreateObject(1, {CKA_LABEL=6E6577, CKA_ID=07})"}, m_module->TakeCalls());
  EXPECT_EQ(CK_OBJECT_HANDLE{1}, created.GetHandle());
  EXPECT_EQ(CK_SESSION_HANDLE{1}, created.GetSessionHandle());
  EXPECT_EQ(m_module, created.GetCryptoki());
  EXPECT_TRUE(created.GetAttributes().empty());
  EXPECT_EQ(Line("List is empty") + Line("Iterating Attributes") + Line("Checking Cert Attributes") +
                Line("Create Object") + Line("Create Object Done") + Line("Setting Protected Data"),
            TakeLog());
}

TEST_F(SessionTest, CreateObjectWithAnEmptyListIsABufferTooSmall) {
  try {
    m_session.CreateObject(List());
    FAIL();
  } catch (const CryptokiError& error) {
    EXPECT_EQ(0x150U, error.GetCode());
    EXPECT_EQ("The output of the function is too large to fit in the supplied buffer.", error.GetText());
  }
  EXPECT_EQ(Line("List is empty1"), TakeLog());
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(SessionTest, ACreateObjectThatTheModuleRefusesIsLogged) {
  m_module->FailNext("C_CreateObject", CKR_TEMPLATE_INCOMPLETE);
  EXPECT_CRYPTOKI_ERROR(CKR_TEMPLATE_INCOMPLETE, m_session.CreateObject(SomeAttributes()));
  EXPECT_EQ(Line("List is empty") + Line("Iterating Attributes") + Line("Checking Cert Attributes") +
                Line("Create Object") + Line("Create Object Done") + Line("Create Object Error"),
            TakeLog());
}

TEST_F(SessionTest, CreateObjectWithoutAModuleLogsOnlyItsFirstLine) {
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Session().CreateObject(SomeAttributes()));
  EXPECT_EQ(Line("List is empty"), TakeLog());
}

TEST_F(SessionTest, CreateObjectFromAnObjectTakesItsAttributes) {
  CryptokiObject object;
  object.SetAttributes(SomeAttributes());
  m_session.CreateObject(object);
  EXPECT_EQ(Calls{"C_CreateObject(1, {CKA_LABEL=6E6577, CKA_ID=07})"}, m_module->TakeCalls());
}

TEST_F(SessionTest, GenerateKeyReadsTheNewKey) {
  const List attributes = {MakeAttribute(CKA_KEY_TYPE, Number(CKK_AES)), MakeAttribute(CKA_ENCRYPT, Flag(true))};
  const SecretKey key = m_session.GenerateKey(m_withParameter, attributes);
  EXPECT_EQ("AES Key", key.GetKeyTypeName());
  EXPECT_TRUE(key.CanEncrypt());
  EXPECT_EQ("C_GenerateKey(1, CKM_DES3_CBC, {CKA_KEY_TYPE=31, CKA_ENCRYPT=true})", m_module->TakeCalls().front());
}

TEST_F(SessionTest, AFailedGenerationIsReportedByTheReadThatFollows) {
  m_module->FailNext("C_GenerateKey", CKR_DEVICE_MEMORY);
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.GenerateKey(Mechanism(CKM_AES_KEY_GEN), SomeAttributes()));
  EXPECT_EQ(Calls{"C_GenerateKey"}, m_module->TakeCallNames());
}

TEST_F(SessionTest, KeyOperationsRefuseAnEmptyListAndAMissingModule) {
  PublicKey publicKey;
  PrivateKey privateKey;
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.GenerateKey(m_withParameter, List()));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Session().GenerateKey(m_withParameter, SomeAttributes()));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.UnwrapKey(m_withParameter, SecretKey(), m_in, 3, List()));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD,
                        Session().UnwrapKey(m_withParameter, SecretKey(), m_in, 3, SomeAttributes()));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD,
                        m_session.GenerateKeyPair(m_withParameter, List(), SomeAttributes(), publicKey, privateKey));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD,
                        m_session.GenerateKeyPair(m_withParameter, SomeAttributes(), List(), publicKey, privateKey));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Session().GenerateKeyPair(m_withParameter, SomeAttributes(),
                                                                     SomeAttributes(), publicKey, privateKey));
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(SessionTest, GenerateKeyPairReadsBothKeys) {
  PublicKey publicKey;
  PrivateKey privateKey;
  const List publicAttributes = {MakeAttribute(CKA_MODULUS_BITS, Number(512))};
  m_session.GenerateKeyPair(m_withParameter, publicAttributes, SomeAttributes(), publicKey, privateKey);
  EXPECT_EQ(CK_ULONG{512}, publicKey.GetModulusBits());
  EXPECT_EQ(CK_ULONG{512}, privateKey.GetModulusBits());
  const Calls calls = m_module->TakeCalls();
  ASSERT_EQ(7U, calls.size());
  EXPECT_EQ(
      "C_GenerateKeyPair(1, CKM_DES3_CBC, public {CKA_MODULUS_BITS=512}, private {CKA_LABEL=6E6577, "
      "CKA_ID=07})",
      calls[0]);
  EXPECT_EQ("C_GetAttributeValue(1, 1, {CKA_MODULUS[64], CKA_PUBLIC_EXPONENT[3], CKA_ID[0]})", calls[3]);
  EXPECT_EQ("C_GetAttributeValue(1, 2, {CKA_MODULUS[64], CKA_PUBLIC_EXPONENT[3], CKA_ID[1]})", calls[6]);
}

TEST_F(SessionTest, AFailedReadOfTheFirstKeyLeavesTheSecondUnfilledAndThePairOnTheToken) {
  PublicKey publicKey;
  PrivateKey privateKey;
  m_module->FailNext("C_GetAttributeValue", CKR_DEVICE_ERROR);
  const List publicAttributes = {MakeAttribute(CKA_MODULUS_BITS, Number(512))};
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_session.GenerateKeyPair(m_withParameter, publicAttributes, SomeAttributes(),
                                                                    publicKey, privateKey));
  EXPECT_EQ(CK_OBJECT_HANDLE{1}, publicKey.GetHandle());
  EXPECT_EQ(CK_OBJECT_HANDLE{0}, privateKey.GetHandle());
  EXPECT_EQ(2U, m_token.objects.size());
}

TEST_F(SessionTest, GenerateKeyPairThatTheModuleRefusesFillsNothing) {
  PublicKey publicKey;
  PrivateKey privateKey;
  m_module->FailNext("C_GenerateKeyPair", CKR_USER_NOT_LOGGED_IN);
  EXPECT_CRYPTOKI_ERROR(CKR_USER_NOT_LOGGED_IN, m_session.GenerateKeyPair(m_withParameter, SomeAttributes(),
                                                                          SomeAttributes(), publicKey, privateKey));
  EXPECT_EQ(CK_OBJECT_HANDLE{0}, publicKey.GetHandle());
}

TEST_F(SessionTest, OnlyEncryptionAndDecryptionPassTheParameterOn) {
  const CK_OBJECT_HANDLE secret = m_token.Add(SecretKeyObject(CKK_DES3, Counting(24, 1)));
  const CK_OBJECT_HANDLE privateHandle = m_token.Add(PrivateKeyObject({1}, Counting(32, 0x81)));
  const CK_OBJECT_HANDLE publicHandle = m_token.Add(PublicKeyObject({1}, Counting(32, 0x81)));
  LogIn();
  const Mechanism digest(CK_MECHANISM{CKM_SHA_1, m_iv, sizeof(m_iv)});
  m_session.EncryptInit(m_withParameter, Bound<SecretKey>(secret));
  m_session.DecryptInit(m_withParameter, Bound<SecretKey>(secret));
  m_session.DigestInit(digest);
  m_session.SignInit(m_withParameter, Bound<PrivateKey>(privateHandle));
  m_session.SignRecoverInit(m_withParameter, Bound<PrivateKey>(privateHandle));
  m_session.VerifyInit(m_withParameter, Bound<PublicKey>(publicHandle));
  m_session.VerifyRecoverInit(m_withParameter, Bound<PublicKey>(publicHandle));
  m_session.WrapKey(m_withParameter, Bound<SecretKey>(secret), Bound<SecretKey>(secret), m_out, &m_outLength);
  m_session.WrapKey(m_withParameter, Bound<PublicKey>(publicHandle), Bound<SecretKey>(secret), nullptr, &m_outLength);
  EXPECT_EQ((Calls{"C_EncryptInit(1, CKM_DES3_CBC with 0102030405060708, 1)",
                   "C_DecryptInit(1, CKM_DES3_CBC with 0102030405060708, 1)", "C_DigestInit(1, CKM_SHA_1)",
                   "C_SignInit(1, CKM_DES3_CBC, 2)", "C_SignRecoverInit(1, CKM_DES3_CBC, 2)",
                   "C_VerifyInit(1, CKM_DES3_CBC, 3)", "C_VerifyRecoverInit(1, CKM_DES3_CBC, 3)",
                   "C_WrapKey(1, CKM_DES3_CBC, 1, 1, room 64)", "C_WrapKey(1, CKM_DES3_CBC, 3, 1, null)"}),
            m_module->TakeCalls());
  EXPECT_EQ(CK_ULONG{24}, m_outLength);
}

TEST_F(SessionTest, UnwrapKeyReadsTheNewKey) {
  const CK_OBJECT_HANDLE secret = m_token.Add(SecretKeyObject(CKK_DES3, Counting(24, 1)));
  const SecretKey key = m_session.UnwrapKey(m_withParameter, Bound<SecretKey>(secret), m_in, 3, SomeAttributes());
  EXPECT_EQ(CK_OBJECT_HANDLE{2}, key.GetHandle());
  EXPECT_EQ("C_UnwrapKey(1, CKM_DES3_CBC, 1, 3 bytes, {CKA_LABEL=6E6577, CKA_ID=07})", m_module->TakeCalls().front());
  m_module->FailNext("C_UnwrapKey", CKR_WRAPPED_KEY_INVALID);
  EXPECT_CRYPTOKI_ERROR(CKR_WRAPPED_KEY_INVALID,
                        m_session.UnwrapKey(m_withParameter, Bound<PrivateKey>(secret), m_in, 3, SomeAttributes()));
}

TEST_F(SessionTest, LengthQueriesGoToTheModuleUnchanged) {
  m_session.DigestInit(Mechanism(CKM_SHA_1));
  m_session.Digest(m_in, 3, nullptr, &m_outLength);
  EXPECT_EQ(CK_ULONG{20}, m_outLength);
  m_outLength = 19;
  EXPECT_CRYPTOKI_ERROR(CKR_BUFFER_TOO_SMALL, m_session.Digest(m_in, 3, m_out, &m_outLength));
  m_session.Digest(m_in, 3, m_out, &m_outLength);
  EXPECT_EQ('a', m_out[4]);
  EXPECT_EQ((Calls{"C_DigestInit(1, CKM_SHA_1)", "C_Digest(1, 3 bytes, null)", "C_Digest(1, 3 bytes, room 19)",
                   "C_Digest(1, 3 bytes, room 20)"}),
            m_module->TakeCalls());
}

TEST_F(SessionTest, SignAndVerifyReachTheirEntries) {
  const CK_OBJECT_HANDLE privateHandle = m_token.Add(PrivateKeyObject({1}, Counting(32, 0x81)));
  const CK_OBJECT_HANDLE publicHandle = m_token.Add(PublicKeyObject({1}, Counting(32, 0x81)));
  LogIn();
  const Mechanism rsa(CKM_RSA_PKCS);
  m_session.SignInit(rsa, Bound<PrivateKey>(privateHandle));
  m_session.Sign(m_in, 3, m_out, &m_outLength);
  EXPECT_EQ(CK_ULONG{32}, m_outLength);
  m_session.VerifyInit(rsa, static_cast<const CryptokiObject&>(Bound<PublicKey>(publicHandle)));
  EXPECT_NO_THROW(m_session.Verify(m_in, 3, m_out, m_outLength));
  m_out[0] = 0;
  m_session.VerifyInit(rsa, Bound<PublicKey>(publicHandle));
  EXPECT_CRYPTOKI_ERROR(CKR_SIGNATURE_INVALID, m_session.Verify(m_in, 3, m_out, m_outLength));
  EXPECT_EQ((Calls{"C_SignInit(1, CKM_RSA_PKCS, 1)", "C_Sign(1, 3 bytes, room 64)", "C_VerifyInit(1, CKM_RSA_PKCS, 2)",
                   "C_Verify(1, 3 bytes, signature 32 bytes)", "C_VerifyInit(1, CKM_RSA_PKCS, 2)",
                   "C_Verify(1, 3 bytes, signature 32 bytes)"}),
            m_module->TakeCalls());
}

TEST_F(SessionTest, EncryptAndDecryptReachTheirEntries) {
  const CK_OBJECT_HANDLE privateHandle = m_token.Add(PrivateKeyObject({1}, Counting(32, 0x81)));
  const CK_OBJECT_HANDLE publicHandle = m_token.Add(PublicKeyObject({1}, Counting(32, 0x81)));
  LogIn();
  const Mechanism rsa(CKM_RSA_PKCS);
  m_session.EncryptInit(rsa, Bound<PublicKey>(publicHandle));
  m_session.Encrypt(m_in, 3, m_out, &m_outLength);
  m_session.DecryptInit(rsa, Bound<PrivateKey>(privateHandle));
  BYTE plain[32] = {};
  CK_ULONG plainLength = sizeof(plain);
  m_session.Decrypt(m_out, m_outLength, plain, &plainLength);
  EXPECT_EQ((Bytes{'a', 'b', 'c'}), Bytes(plain, plain + plainLength));
  EXPECT_EQ((Calls{"C_EncryptInit(1, CKM_RSA_PKCS, 2)", "C_Encrypt(1, 3 bytes, room 64)",
                   "C_DecryptInit(1, CKM_RSA_PKCS, 1)", "C_Decrypt(1, 32 bytes, room 32)"}),
            m_module->TakeCalls());
}

TEST_F(SessionTest, MultiPartOperationsReachTheirEntries) {
  const CK_OBJECT_HANDLE secret = m_token.Add(SecretKeyObject(CKK_DES3, Counting(24, 1)));
  const CK_OBJECT_HANDLE privateHandle = m_token.Add(PrivateKeyObject({1}, Counting(32, 0x81)));
  LogIn();
  BYTE block[8] = {};
  m_session.DigestInit(Mechanism(CKM_SHA_1));
  m_session.DigestUpdate(m_in, 3);
  m_session.DigestFinal(m_out, &m_outLength);
  m_session.EncryptInit(Mechanism(CKM_DES3_ECB), Bound<SecretKey>(secret));
  m_session.EncryptUpdate(block, 8, m_out, &m_outLength);
  m_outLength = 64;
  m_session.EncryptFinal(m_out, &m_outLength);
  m_session.DecryptInit(Mechanism(CKM_DES3_ECB), Bound<SecretKey>(secret));
  m_session.DecryptUpdate(block, 8, m_out, &m_outLength);
  m_outLength = 64;
  m_session.DecryptFinal(m_out, &m_outLength);
  m_session.SignInit(Mechanism(CKM_RSA_PKCS), Bound<PrivateKey>(privateHandle));
  m_session.SignUpdate(m_in, 3);
  m_outLength = 64;
  m_session.SignFinal(m_out, &m_outLength);
  m_session.VerifyInit(Mechanism(CKM_RSA_PKCS), static_cast<const CryptokiObject&>(Bound<PrivateKey>(privateHandle)));
  m_session.VerifyUpdate(m_in, 3);
  m_session.VerifyFinal(m_out, m_outLength);
  EXPECT_EQ(
      (Calls{"C_DigestInit(1, CKM_SHA_1)", "C_DigestUpdate(1, 3 bytes)", "C_DigestFinal(1, room 64)",
             "C_EncryptInit(1, CKM_DES3_ECB, 1)", "C_EncryptUpdate(1, 8 bytes)", "C_EncryptFinal(1, room 64)",
             "C_DecryptInit(1, CKM_DES3_ECB, 1)", "C_DecryptUpdate(1, 8 bytes)", "C_DecryptFinal(1, room 64)",
             "C_SignInit(1, CKM_RSA_PKCS, 2)", "C_SignUpdate(1, 3 bytes)", "C_SignFinal(1, room 64)",
             "C_VerifyInit(1, CKM_RSA_PKCS, 2)", "C_VerifyUpdate(1, 3 bytes)", "C_VerifyFinal(1, signature 32 bytes)"}),
      m_module->TakeCalls());
}

TEST_F(SessionTest, SignatureWithRecoveryReachesItsEntries) {
  const CK_OBJECT_HANDLE privateHandle = m_token.Add(PrivateKeyObject({1}, Counting(32, 0x81)));
  LogIn();
  const Mechanism rsa(CKM_RSA_PKCS);
  m_session.SignRecoverInit(rsa, Bound<PrivateKey>(privateHandle));
  m_session.SignRecover(m_in, 3, m_out, &m_outLength);
  m_session.VerifyRecoverInit(rsa, Bound<PrivateKey>(privateHandle));
  BYTE data[32] = {};
  CK_ULONG dataLength = sizeof(data);
  m_session.VerifyRecover(m_out, m_outLength, data, &dataLength);
  EXPECT_EQ((Bytes{'a', 'b', 'c'}), Bytes(data, data + dataLength));
}

TEST_F(SessionTest, RandomOperationsCheckTheModuleBeforeTheArguments) {
  m_session.GenerateRandom(m_out, 5);
  EXPECT_EQ(5, m_out[4]);
  m_session.SeedRandom(m_in, 3);
  EXPECT_EQ((Calls{"C_GenerateRandom(1, room 5)", "C_SeedRandom(1, 3 bytes)"}), m_module->TakeCalls());
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.GenerateRandom(nullptr, 5));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.GenerateRandom(m_out, 0));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.SeedRandom(nullptr, 3));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_session.SeedRandom(m_in, 0));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Session().GenerateRandom(m_out, 5));
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(SessionTest, CloseTwiceClosesOnceAndACopyKeepsItsHandle) {
  Session copy = m_session;
  m_session.Close();
  m_session.Close();
  EXPECT_EQ(Calls{"C_CloseSession(1)"}, m_module->TakeCalls());
  EXPECT_EQ(CK_SESSION_HANDLE{0}, m_session.GetSessionHandle());
  EXPECT_EQ(CK_SESSION_HANDLE{1}, copy.GetSessionHandle());
  EXPECT_CRYPTOKI_ERROR(CKR_SESSION_HANDLE_INVALID, copy.GetSessionInfo());
}

TEST_F(SessionTest, AFailingCloseIsIgnored) {
  m_module->FailNext("C_CloseSession", CKR_DEVICE_ERROR);
  EXPECT_NO_THROW(m_session.Close());
  EXPECT_EQ(CK_SESSION_HANDLE{0}, m_session.GetSessionHandle());
}

TEST_F(SessionTest, CloseWithoutAModuleKeepsTheHandle) {
  Session session(5);
  session.Close();
  EXPECT_EQ(CK_SESSION_HANDLE{5}, session.GetSessionHandle());
}

TEST_F(SessionTest, CallsOfAClosedSessionReachTheModuleWithHandleZero) {
  m_session.Close();
  m_module->ForgetCalls();
  EXPECT_CRYPTOKI_ERROR(CKR_SESSION_HANDLE_INVALID, m_session.Logout());
  EXPECT_EQ(Calls{"C_Logout(0)"}, m_module->TakeCalls());
}

TEST_F(SessionTest, DestructionClosesNothing) {
  { const Session copy = m_session; }
  EXPECT_EQ(1U, m_module->OpenSessions());
}

// Each operation that makes a module call and throws when it fails.
struct SessionCall {
  const char* name;
  const char* entry;
  void (*call)(Session& session);
};

CK_UTF8CHAR g_pin[] = {'1', '2', '3', '4'};
BYTE g_in[3] = {'a', 'b', 'c'};
BYTE g_out[64] = {};
CK_ULONG g_outLength = sizeof(g_out);

List OneAttribute() { return {MakeAttribute(CKA_LABEL, Text("new"))}; }

void GeneratePair(Session& session) {
  PublicKey publicKey;
  PrivateKey privateKey;
  session.GenerateKeyPair(Mechanism(), OneAttribute(), OneAttribute(), publicKey, privateKey);
}

const SessionCall kSessionCalls[] = {
    {"GetSessionInfo", "C_GetSessionInfo", [](Session& s) { s.GetSessionInfo(); }},
    {"GetFlags", "C_GetSessionInfo", [](Session& s) { s.GetFlags(); }},
    {"GetState", "C_GetSessionInfo", [](Session& s) { s.GetState(); }},
    {"IsLoggedIn", "C_GetSessionInfo", [](Session& s) { s.IsLoggedIn(); }},
    {"Login", "C_LoginExtended", [](Session& s) { s.Login(CKU_USER, g_pin, 4); }},
    {"Logout", "C_Logout", [](Session& s) { s.Logout(); }},
    {"SetPIN", "C_SetPIN", [](Session& s) { s.SetPIN(g_pin, 4, g_pin, 4); }},
    {"InitPIN", "C_InitPIN", [](Session& s) { s.InitPIN(g_pin, 4); }},
    {"FindObjects", "C_FindObjectsInit", [](Session& s) { s.FindObjects(OneAttribute()); }},
    {"FindObjectsNext", "C_FindObjects", [](Session& s) { s.FindObjects(OneAttribute()); }},
    {"FindAllObjects", "C_FindObjectsInit", [](Session& s) { s.FindAllObjects(); }},
    {"CreateObject", "C_CreateObject", [](Session& s) { s.CreateObject(OneAttribute()); }},
    {"DigestInit", "C_DigestInit", [](Session& s) { s.DigestInit(Mechanism()); }},
    {"Digest", "C_Digest", [](Session& s) { s.Digest(g_in, 3, g_out, &g_outLength); }},
    {"DigestUpdate", "C_DigestUpdate", [](Session& s) { s.DigestUpdate(g_in, 3); }},
    {"DigestFinal", "C_DigestFinal", [](Session& s) { s.DigestFinal(g_out, &g_outLength); }},
    {"EncryptInitPublic", "C_EncryptInit", [](Session& s) { s.EncryptInit(Mechanism(), PublicKey()); }},
    {"EncryptInitSecret", "C_EncryptInit", [](Session& s) { s.EncryptInit(Mechanism(), SecretKey()); }},
    {"Encrypt", "C_Encrypt", [](Session& s) { s.Encrypt(g_in, 3, g_out, &g_outLength); }},
    {"EncryptUpdate", "C_EncryptUpdate", [](Session& s) { s.EncryptUpdate(g_in, 3, g_out, &g_outLength); }},
    {"EncryptFinal", "C_EncryptFinal", [](Session& s) { s.EncryptFinal(g_out, &g_outLength); }},
    {"DecryptInitPrivate", "C_DecryptInit", [](Session& s) { s.DecryptInit(Mechanism(), PrivateKey()); }},
    {"DecryptInitSecret", "C_DecryptInit", [](Session& s) { s.DecryptInit(Mechanism(), SecretKey()); }},
    {"Decrypt", "C_Decrypt", [](Session& s) { s.Decrypt(g_in, 3, g_out, &g_outLength); }},
    {"DecryptUpdate", "C_DecryptUpdate", [](Session& s) { s.DecryptUpdate(g_in, 3, g_out, &g_outLength); }},
    {"DecryptFinal", "C_DecryptFinal", [](Session& s) { s.DecryptFinal(g_out, &g_outLength); }},
    {"SignInit", "C_SignInit", [](Session& s) { s.SignInit(Mechanism(), PrivateKey()); }},
    {"Sign", "C_Sign", [](Session& s) { s.Sign(g_in, 3, g_out, &g_outLength); }},
    {"SignUpdate", "C_SignUpdate", [](Session& s) { s.SignUpdate(g_in, 3); }},
    {"SignFinal", "C_SignFinal", [](Session& s) { s.SignFinal(g_out, &g_outLength); }},
    {"SignRecoverInit", "C_SignRecoverInit", [](Session& s) { s.SignRecoverInit(Mechanism(), PrivateKey()); }},
    {"SignRecover", "C_SignRecover", [](Session& s) { s.SignRecover(g_in, 3, g_out, &g_outLength); }},
    {"VerifyInit", "C_VerifyInit", [](Session& s) { s.VerifyInit(Mechanism(), CryptokiObject()); }},
    {"VerifyInitPublic", "C_VerifyInit", [](Session& s) { s.VerifyInit(Mechanism(), PublicKey()); }},
    {"Verify", "C_Verify", [](Session& s) { s.Verify(g_in, 3, g_out, 32); }},
    {"VerifyUpdate", "C_VerifyUpdate", [](Session& s) { s.VerifyUpdate(g_in, 3); }},
    {"VerifyFinal", "C_VerifyFinal", [](Session& s) { s.VerifyFinal(g_out, 32); }},
    {"VerifyRecoverInit", "C_VerifyRecoverInit", [](Session& s) { s.VerifyRecoverInit(Mechanism(), PublicKey()); }},
    {"VerifyRecover", "C_VerifyRecover", [](Session& s) { s.VerifyRecover(g_in, 3, g_out, &g_outLength); }},
    {"WrapKeyPublic", "C_WrapKey",
     [](Session& s) { s.WrapKey(Mechanism(), PublicKey(), SecretKey(), g_out, &g_outLength); }},
    {"WrapKeySecret", "C_WrapKey",
     [](Session& s) { s.WrapKey(Mechanism(), SecretKey(), SecretKey(), g_out, &g_outLength); }},
    {"UnwrapKeyPrivate", "C_UnwrapKey",
     [](Session& s) { s.UnwrapKey(Mechanism(), PrivateKey(), g_in, 3, OneAttribute()); }},
    {"UnwrapKeySecret", "C_UnwrapKey",
     [](Session& s) { s.UnwrapKey(Mechanism(), SecretKey(), g_in, 3, OneAttribute()); }},
    {"GenerateKeyPair", "C_GenerateKeyPair", GeneratePair},
    {"SeedRandom", "C_SeedRandom", [](Session& s) { s.SeedRandom(g_in, 3); }},
    {"GenerateRandom", "C_GenerateRandom", [](Session& s) { s.GenerateRandom(g_out, 5); }},
};

class SessionCallTest : public SessionTest, public ::testing::WithParamInterface<SessionCall> {};

TEST_P(SessionCallTest, ThrowsTheModulesResult) {
  m_module->FailNext(GetParam().entry, CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(0x32, GetParam().call(m_session));
  EXPECT_EQ(GetParam().entry, m_module->TakeCallNames().back());
}

TEST_P(SessionCallTest, WithoutAModuleIsABadArgument) {
  Session none;
  EXPECT_CRYPTOKI_ERROR(7, GetParam().call(none));
}

INSTANTIATE_TEST_SUITE_P(Operations, SessionCallTest, ::testing::ValuesIn(kSessionCalls),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace

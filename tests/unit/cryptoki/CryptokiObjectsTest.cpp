// From a flat list of objects to certificates with their keys.
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "cryptoki/CryptokiObjects.h"
#include "cryptoki/Session.h"
#include "fixtures/Expect.h"
#include "fixtures/LogFile.h"
#include "module/ScriptedModule.h"

namespace {

const Bytes kModulus = Counting(64, 0x81);
const Bytes kOtherModulus = Counting(64, 0x91);

class CryptokiObjectsTest : public LogTest {
 protected:
  CryptokiObjectsTest() : m_module(boost::make_shared<ScriptedModule>()), m_token(m_module->InsertToken("Reader A")) {
    CK_SESSION_HANDLE handle = 0;
    m_module->C_OpenSession(0, 6, nullptr, nullptr, &handle);
    m_session = Session(handle);
    m_session.SetCryptoki(m_module);
  }

  // What a search finds. Journal and log are empty afterwards.
  CryptokiObjects Found() {
    CryptokiObjects objects = m_session.FindAllObjects();
    m_module->ForgetCalls();
    TakeLog();
    return objects;
  }

  // An object of that class, as a search returns it.
  CryptokiObject ObjectOf(CK_OBJECT_CLASS objectClass) {
    CryptokiObject object;
    object.Bind(m_session, m_token.Add(DataObject({1}, "app").With(CKA_CLASS, Number(objectClass)).With(CKA_ID, {1})));
    object.Retrieve();
    return object;
  }

  void AddCertificate(const Bytes& id, const std::string& label = "cert") {
    m_token.Add(CertificateObject(id, label, {9}));
  }
  void AddPrivateKey(const Bytes& id, const Bytes& modulus = kModulus) { m_token.Add(PrivateKeyObject(id, modulus)); }
  void AddPublicKey(const Bytes& id, const Bytes& modulus = kModulus) { m_token.Add(PublicKeyObject(id, modulus)); }

  // The only certificate, linked.
  Certificate OnlyCertificate() {
    std::list<Certificate> certificates = Found().GetCertificates(false);
    EXPECT_EQ(1U, certificates.size());
    return certificates.front();
  }

  boost::shared_ptr<ScriptedModule> m_module;
  ScriptedToken& m_token;
  Session m_session;
};

TEST_F(CryptokiObjectsTest, ATokenWithoutObjectsGivesThreeEmptyLists) {
  CryptokiObjects objects = Found();
  EXPECT_TRUE(objects.GetCertificates(false).empty());
  EXPECT_TRUE(objects.GetPrivateKeys(false).empty());
  EXPECT_TRUE(objects.GetPublicKeys(false).empty());
}

TEST_F(CryptokiObjectsTest, ACertificateIsLinkedWithItsPrivateAndItsPublicKey) {
  AddCertificate({1});
  AddPrivateKey({1});
  AddPublicKey({1});
  const Certificate certificate = OnlyCertificate();
  ASSERT_TRUE(certificate.HasPrivateKey());
  ASSERT_TRUE(certificate.HasPublicKey());
  BYTE privateModulus[64] = {};
  BYTE publicModulus[64] = {};
  CK_ULONG length = 64;
  certificate.GetPrivateKey().GetModulus(privateModulus, &length);
  certificate.GetPublicKey().GetModulus(publicModulus, &length);
  EXPECT_EQ(kModulus, Bytes(privateModulus, privateModulus + 64));
  EXPECT_EQ(kModulus, Bytes(publicModulus, publicModulus + 64));
}

TEST_F(CryptokiObjectsTest, OnlyBaseAndModulusBitsOfTheLinkedPrivateKeyAreCopied) {
  AddCertificate({1});
  AddPrivateKey({1});
  const PrivateKey key = OnlyCertificate().GetPrivateKey();
  EXPECT_EQ(CK_OBJECT_HANDLE{2}, key.GetHandle());
  EXPECT_EQ(CK_SESSION_HANDLE{1}, key.GetSessionHandle());
  EXPECT_EQ(m_module, key.GetCryptoki());
  EXPECT_EQ(CK_ULONG{512}, key.GetModulusBits());
  EXPECT_EQ(CKO_PRIVATE_KEY, key.GetClass());
  EXPECT_TRUE(key.IsPrivate());
  EXPECT_FALSE(key.CanSign() || key.HasCertificate());
}

TEST_F(CryptokiObjectsTest, TheLinkedPublicKeyIsCopiedWithoutItsCertificate) {
  AddCertificate({1});
  AddPrivateKey({1});
  AddPublicKey({1});
  const PublicKey key = OnlyCertificate().GetPublicKey();
  EXPECT_EQ(CK_OBJECT_HANDLE{3}, key.GetHandle());
  EXPECT_TRUE(key.CanVerify());
  EXPECT_EQ(CK_ULONG{512}, key.GetModulusBits());
  EXPECT_FALSE(key.HasCertificate());
  EXPECT_EQ(CK_OBJECT_HANDLE{0}, key.GetCertificate().GetHandle());
}

TEST_F(CryptokiObjectsTest, ThePublicKeyIsFoundByTheModulusAndNotByItsIdentifier) {
  AddCertificate({1});
  AddPrivateKey({1});
  AddPublicKey({1}, kOtherModulus);
  AddPublicKey({99});
  const Certificate certificate = OnlyCertificate();
  ASSERT_TRUE(certificate.HasPublicKey());
  EXPECT_EQ(CK_OBJECT_HANDLE{4}, certificate.GetPublicKey().GetHandle());
}

TEST_F(CryptokiObjectsTest, ACertificateWithOnlyAPublicKeyIsLinkedWithNoKey) {
  AddCertificate({1});
  AddPublicKey({1});
  const Certificate certificate = OnlyCertificate();
  EXPECT_FALSE(certificate.HasPrivateKey());
  EXPECT_FALSE(certificate.HasPublicKey());
}

TEST_F(CryptokiObjectsTest, APrivateKeyWithAnEmptyIdentifierMatchesNothing) {
  AddCertificate({});
  AddPrivateKey({});
  EXPECT_FALSE(OnlyCertificate().HasPrivateKey());
  EXPECT_FALSE(Found().GetPrivateKeys(false).front().HasCertificate());
}

TEST_F(CryptokiObjectsTest, AnIdentifierMatchesALongerOneThatStartsWithIt) {
  AddCertificate({1, 2, 3, 4});
  AddPrivateKey({1, 2, 3, 4, 5, 6});
  EXPECT_TRUE(OnlyCertificate().HasPrivateKey());
}

TEST_F(CryptokiObjectsTest, AnIdentifierMatchesAShorterOneThatItStartsWith) {
  AddCertificate({1, 2, 3, 4, 5, 6});
  AddPrivateKey({1, 2, 3, 4});
  EXPECT_TRUE(OnlyCertificate().HasPrivateKey());
}

TEST_F(CryptokiObjectsTest, TwoCertificatesOfOneIdentifierGetTheSameFirstKey) {
  AddCertificate({1}, "first");
  AddCertificate({1}, "second");
  AddPrivateKey({1});
  AddPrivateKey({1}, kOtherModulus);
  std::list<Certificate> certificates = Found().GetCertificates(false);
  ASSERT_EQ(2U, certificates.size());
  EXPECT_EQ(CK_OBJECT_HANDLE{3}, certificates.front().GetPrivateKey().GetHandle());
  EXPECT_EQ(CK_OBJECT_HANDLE{3}, certificates.back().GetPrivateKey().GetHandle());
}

TEST_F(CryptokiObjectsTest, KeysAreLinkedWithTheFirstCertificateOfTheirIdentifier) {
  AddPrivateKey({1});
  AddPublicKey({1});
  AddCertificate({1}, "first");
  AddCertificate({1}, "second");
  CryptokiObjects objects = Found();
  const PrivateKey privateKey = objects.GetPrivateKeys(false).front();
  ASSERT_TRUE(privateKey.HasCertificate());
  EXPECT_EQ(CK_OBJECT_HANDLE{3}, privateKey.GetCertificate().GetHandle());
  const PublicKey publicKey = objects.GetPublicKeys(false).front();
  ASSERT_TRUE(publicKey.HasCertificate());
  EXPECT_EQ(CK_OBJECT_HANDLE{3}, publicKey.GetCertificate().GetHandle());
}

TEST_F(CryptokiObjectsTest, OrphansAreKeptOrDroppedAsAsked) {
  AddCertificate({1});
  AddPrivateKey({1});
  AddPrivateKey({2});
  AddPublicKey({1});
  AddPublicKey({2});
  CryptokiObjects objects = Found();
  EXPECT_EQ(2U, objects.GetPrivateKeys(false).size());
  EXPECT_FALSE(objects.GetPrivateKeys(false).back().HasCertificate());
  EXPECT_EQ(1U, objects.GetPrivateKeys(true).size());
  EXPECT_EQ(2U, objects.GetPublicKeys(false).size());
  EXPECT_EQ(1U, objects.GetPublicKeys(true).size());
}

TEST_F(CryptokiObjectsTest, EachKeyIsReadTwiceAndHoldsItsAttributesTwice) {
  AddPrivateKey({1});
  CryptokiObjects objects = Found();
  std::list<PrivateKey> keys = objects.GetPrivateKeys(false);
  EXPECT_EQ(6U, m_module->TakeCalls().size());
  EXPECT_EQ(6U + 2U * 15U, keys.front().GetAttributes().size());
  AddPublicKey({1});
  m_token.objects.erase(1);
  std::list<PublicKey> publicKeys = Found().GetPublicKeys(false);
  EXPECT_EQ(6U + 2U * 11U, publicKeys.front().GetAttributes().size());
}

TEST_F(CryptokiObjectsTest, AFullEnumerationReadsKeysTwiceAndCertificatesThreeTimes) {
  AddCertificate({1});
  AddPrivateKey({1});
  AddPublicKey({1});
  CryptokiObjects objects = Found();
  objects.GetCertificates(false);
  const Calls calls = m_module->TakeCalls();
  const auto readsOf = [&calls](const std::string& begin) {
    return std::count_if(calls.begin(), calls.end(),
                         [&](const std::string& call) { return call.rfind(begin, 0) == 0; });
  };
  EXPECT_EQ(3, readsOf("C_GetAttributeValue(1, 1, {CKA_ENCRYPT[1]"));
  EXPECT_EQ(2, readsOf("C_GetAttributeValue(1, 2, {CKA_KEY_TYPE[number]"));
  EXPECT_EQ(2, readsOf("C_GetAttributeValue(1, 3, {CKA_KEY_TYPE[number]"));
  EXPECT_EQ(3 * 3 + 2 * 3 + 2 * 3, static_cast<int>(calls.size()));
}

TEST_F(CryptokiObjectsTest, SecretKeysAreReadAndTheListIsRebuiltByEachCall) {
  m_token.Add(SecretKeyObject(CKK_AES, Counting(16, 0)));
  AddCertificate({1});
  CryptokiObjects objects = Found();
  EXPECT_EQ(1U, objects.GetSecretKeys().size());
  EXPECT_EQ("AES Key", objects.GetSecretKeys().front().GetKeyTypeName());
  EXPECT_EQ(2U, m_module->TakeCalls().size());
}

TEST_F(CryptokiObjectsTest, DataObjectsAreNotReadFurther) {
  m_token.Add(DataObject({1}, "app"));
  CryptokiObjects objects = Found();
  EXPECT_EQ(1U, objects.GetDataObjects().size());
  EXPECT_EQ(1U, objects.GetDataObjects().size());
  EXPECT_EQ("", objects.GetDataObjects().front().GetApplication());
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(CryptokiObjectsTest, ACopyHasTheObjectsAndNotTheLists) {
  m_token.Add(DataObject({1}, "app"));
  CryptokiObjects objects = Found();
  objects.GetDataObjects();
  const CryptokiObjects copy = objects;
  CryptokiObjects assigned;
  assigned = objects;
  EXPECT_EQ(1U, copy.GetObjects().size());
  EXPECT_EQ(1U, assigned.GetObjects().size());
}

TEST_F(CryptokiObjectsTest, ACertificateWithoutAnIdentifierEndsTheEnumeration) {
  AddCertificate({1});
  const CryptokiObjects found = Found();
  CryptokiObject object = found.GetObjects().front();
  object.GetAttributes().remove_if([](const Attribute& attribute) { return attribute.GetType() == CKA_ID; });
  CryptokiObjects objects;
  objects.Add(object);
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_TYPE_INVALID, objects.GetCertificates(false));
  const std::string end = Line("GetCertificates - Get bare info") +
                          Line("GetCertificates - Getting certificate ID length") +
                          Line("GetCertificates - Failed. An error occured");
  const std::string log = TakeLog();
  EXPECT_EQ(end, log.substr(log.size() - end.size()));
  EXPECT_NO_THROW(objects.GetCertificates(true));
}

TEST_F(CryptokiObjectsTest, AnObjectThatCannotBeReadEndsTheEnumeration) {
  AddCertificate({1});
  CryptokiObjects objects = Found();
  m_module->FailNext("C_GetAttributeValue", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, objects.GetCertificates(true));
  EXPECT_EQ(Line("GetCertificates - Entry") + Line("GetCertificates - iteration begins") + Value("Iteration: ", "1") +
                Line("GetCertificates - Enter") + Line("GetCertificates - Failed. An error occured"),
            TakeLog());
}

TEST_F(CryptokiObjectsTest, AKeyThatCannotBeReadEndsTheEnumeration) {
  AddPrivateKey({1});
  CryptokiObjects objects = Found();
  m_module->FailNext("C_GetAttributeValue", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, objects.GetPrivateKeys(false));
  AddPublicKey({1});
  m_token.objects.erase(1);
  objects = Found();
  m_module->FailNext("C_GetAttributeValue", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, objects.GetPublicKeys(false));
}

TEST_F(CryptokiObjectsTest, ASecretKeyThatCannotBeReadEndsItsList) {
  m_token.Add(SecretKeyObject(CKK_AES, Counting(16, 0)));
  CryptokiObjects objects = Found();
  m_module->FailNext("C_GetAttributeValue", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, objects.GetSecretKeys());
}

TEST_F(CryptokiObjectsTest, AFailureToReadAKeyIsNotLoggedAsOneOfTheCertificates) {
  AddPrivateKey({1});
  CryptokiObjects objects = Found();
  m_module->FailNext("C_GetAttributeValue", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, objects.GetCertificates(false));
  EXPECT_EQ(Line("GetCertificates - Entry") + Line("GetCertificates - Entry") +
                Line("GetCertificates - iteration begins") + Value("Iteration: ", "1") +
                Value("Object is not certificate. Object class: ", "3") + Line("GetCertificates - Exit") +
                Line("GetPrivateKeys::Iterating through objects") + Value("Iteration: ", "1"),
            TakeLog());
}

TEST_F(CryptokiObjectsTest, AnEnumerationAfterAFailedOneSucceeds) {
  AddCertificate({1});
  AddPrivateKey({1});
  CryptokiObjects objects = Found();
  m_module->FailOnCall("C_GetAttributeValue", 12, CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, objects.GetCertificates(false));
  EXPECT_TRUE(objects.GetCertificates(false).front().HasPrivateKey());
}

TEST_F(CryptokiObjectsTest, BareCertificatesAreLoggedStepByStep) {
  AddPublicKey({1});
  AddCertificate({1});
  CryptokiObjects objects = Found();
  objects.GetCertificates(true);
  EXPECT_EQ(Line("GetCertificates - Entry") + Line("GetCertificates - iteration begins") + Value("Iteration: ", "1") +
                Value("Object is not certificate. Object class: ", "2") + Value("Iteration: ", "2") +
                Line("GetCertificates - Enter") + Line("GetCertificates - Get bare info") +
                Line("GetCertificates - Exit"),
            TakeLog());
}

TEST_F(CryptokiObjectsTest, AFullEnumerationLogsPrivateAndPublicKeysFirst) {
  CryptokiObjects objects = Found();
  objects.GetCertificates(false);
  const std::string bare =
      Line("GetCertificates - Entry") + Line("GetCertificates - iteration begins") + Line("GetCertificates - Exit");
  const std::string keys = bare + Line("GetPrivateKeys::Iterating through objects");
  EXPECT_EQ(Line("GetCertificates - Entry") + keys + keys + Line("GetCertificates - iteration begins") +
                Line("GetCertificates - Exit"),
            TakeLog());
}

TEST_F(CryptokiObjectsTest, IterationsAreLoggedInDecimalAndClassesInHexadecimal) {
  CryptokiObjects objects;
  for (int i = 0; i < 10; ++i) objects.Add(ObjectOf(CKO_VENDOR_DEFINED + 0x1A));
  TakeLog();
  objects.GetCertificates(true);
  const std::string end = Value("Iteration: ", "10") + Value("Object is not certificate. Object class: ", "8000001A") +
                          Line("GetCertificates - Exit");
  const std::string log = TakeLog();
  EXPECT_EQ(end, log.substr(log.size() - end.size()));
}

TEST_F(CryptokiObjectsTest, KeysAreLoggedStepByStep) {
  AddPrivateKey({1});
  CryptokiObjects objects = Found();
  objects.GetPrivateKeys(false);
  const std::string bare = Line("GetCertificates - Entry") + Line("GetCertificates - iteration begins") +
                           Value("Iteration: ", "1") + Value("Object is not certificate. Object class: ", "3") +
                           Line("GetCertificates - Exit");
  EXPECT_EQ(bare + Line("GetPrivateKeys::Iterating through objects") + Value("Iteration: ", "1") +
                Line("Trying to get ID length") + Line("Trying to get ID") +
                Line("Trying to find matching ID from certificate list") + Line("Cert does not exist"),
            TakeLog());
}

TEST_F(CryptokiObjectsTest, TheLineForAMissingCertificateIsWrittenForAFoundOneToo) {
  AddCertificate({1});
  AddPublicKey({1});
  CryptokiObjects objects = Found();
  objects.GetPublicKeys(false);
  const std::string end = Line("GetPrivateKeys::Iterating through objects") + Value("Iteration: ", "1") +
                          Value("Iteration: ", "2") + Line("Trying to get ID length") + Line("Trying to get ID") +
                          Line("Trying to find matching ID from certificate list") +
                          Line("Object found. Certificate exists") + Line("Cert does not exist");
  const std::string log = TakeLog();
  EXPECT_EQ(end, log.substr(log.size() - end.size()));
}

class LinkLogTest : public CryptokiObjectsTest {
 protected:
  // The log of a full enumeration from the start of its own loop.
  std::string LoopLog() {
    Found().GetCertificates(false);
    const std::string log = TakeLog();
    return log.substr(log.rfind("GetCertificates - iteration begins"));
  }

  const std::string m_begin = Line("GetCertificates - iteration begins") + Value("Iteration: ", "1") +
                              Line("GetCertificates - Enter") + Line("GetCertificates - Get bare info") +
                              Line("GetCertificates - Getting certificate ID length") +
                              Line("GetCertificates - Getting certificate ID length") +
                              Line("GetCertificates - Trying to find matching private key");
  const std::string m_modulus =
      Line("\nPrivate key exist for this Certificate") + Line("GetCertificates - Getting private key modulus length") +
      Line("GetModulus - Entry") + Line("GetModulus - Check attrList.size()") +
      Line("GetModulus - Iterating through attribute list") + Line("GetModulus - ATTR_MODULUS Found") +
      Line("GetModulus - pModulus is NULL, returning ulModulusLen") + Line("GetModulus - Exit") +
      Line("GetCertificates - Getting private key modulus") + Line("GetModulus - Entry") +
      Line("GetModulus - Check attrList.size()") + Line("GetModulus - Iterating through attribute list") +
      Line("GetModulus - ATTR_MODULUS Found") + Line("GetModulus - Trying to get Modulus") +
      Line("GetModulus - Copying modulus") + Line("GetModulus - Exit: pModulus retrieved") +
      Line("GetCertificates - Trying to find matching public key");
};

TEST_F(LinkLogTest, OfACertificateWithBothKeys) {
  AddCertificate({1});
  AddPrivateKey({1});
  AddPublicKey({1});
  EXPECT_EQ(m_begin + m_modulus + Line("\nPublic key exist for this Certificate") + Value("Iteration: ", "2") +
                Value("Object is not certificate. Object class: ", "3") + Value("Iteration: ", "3") +
                Value("Object is not certificate. Object class: ", "2") + Line("GetCertificates - Exit"),
            LoopLog());
}

TEST_F(LinkLogTest, OfACertificateWithAPrivateKeyOnly) {
  AddCertificate({1});
  AddPrivateKey({1});
  EXPECT_EQ(m_begin + m_modulus + Value("Iteration: ", "2") + Value("Object is not certificate. Object class: ", "3") +
                Line("GetCertificates - Exit"),
            LoopLog());
}

TEST_F(LinkLogTest, OfACertificateWithoutKeys) {
  AddCertificate({1});
  EXPECT_EQ(m_begin + Line("GetCertificates - Trying to find matching public key") + Line("GetCertificates - Exit"),
            LoopLog());
}

// --- The match itself

TEST(MatchesTest, NeedsTheSameType) {
  EXPECT_FALSE(Matches(MakeAttribute(CKA_ID, {1}), MakeAttribute(CKA_LABEL, {1})));
}

TEST(MatchesTest, ComparesAsManyBytesAsTheShorterHas) {
  EXPECT_TRUE(Matches(MakeAttribute(CKA_ID, {1, 2}), MakeAttribute(CKA_ID, {1, 2})));
  EXPECT_TRUE(Matches(MakeAttribute(CKA_ID, {1}), MakeAttribute(CKA_ID, {1, 2})));
  EXPECT_TRUE(Matches(MakeAttribute(CKA_ID, {1, 2}), MakeAttribute(CKA_ID, {1})));
  EXPECT_FALSE(Matches(MakeAttribute(CKA_ID, {1, 3}), MakeAttribute(CKA_ID, {1, 2})));
}

TEST(MatchesTest, AnEmptyValueNeverMatches) {
  EXPECT_FALSE(Matches(MakeAttribute(CKA_ID, {}), MakeAttribute(CKA_ID, {})));
  EXPECT_FALSE(Matches(MakeAttribute(CKA_ID, {}), MakeAttribute(CKA_ID, {1})));
  EXPECT_FALSE(Matches(MakeAttribute(CKA_ID, {1}), MakeAttribute(CKA_ID, {})));
}

TEST(MatchesTest, ALengthWithoutBytesIsNotRead) {
  const Attribute lengthOnly(CK_ATTRIBUTE{CKA_ID, nullptr, 10});
  EXPECT_FALSE(Matches(lengthOnly, MakeAttribute(CKA_ID, {1})));
}

}  // namespace

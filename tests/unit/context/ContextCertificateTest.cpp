// Writing a certificate to the token, and where its attributes come from.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include "dialogs/ScriptedDialogs.h"
#include "fixtures/ContextTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/OpenContext.h"
#include "log/Logs.h"
#include "module/DerCertificate.h"
#include "module/SampleCertificates.h"
#include "platform/ScriptedCertStore.h"

namespace {

using ::testing::AnyOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

// The handles of a container that AddContainer made, and the next one.
constexpr CK_OBJECT_HANDLE kOldCertificate = 1;
constexpr CK_OBJECT_HANDLE kPublic = 2;
constexpr CK_OBJECT_HANDLE kPrivate = 3;
constexpr CK_OBJECT_HANDLE kNewCertificate = 4;

const char kLogin[] = "C_LoginExtended(1, user 1, 1234)";
const char kLabelPrivateKey[] = "C_SetAttributeValue(1, 3, {CKA_LABEL=486F6C646572})";
const char kLabelPublicKey[] = "C_SetAttributeValue(1, 2, {CKA_LABEL=486F6C646572})";
const char kDestroy[] = "C_DestroyObject(1, 1)";
const char kCreate[] =
    "C_CreateObject(1, {CKA_TOKEN=true, "
    "CKA_ISSUER=3011310F300D06035504030C06497373756572, "
    "CKA_SUBJECT=302F310B30090603... (49 bytes), "
    "CKA_SERIAL_NUMBER=030201, "
    "CKA_LABEL=486F6C646572, "
    "CKA_CLASS=1, "
    "CKA_ID=6F6E65, "
    "CKA_VALUE=3082012B3081D602... (303 bytes)})";

class ContextCertificateTest : public ContextTest {
 protected:
  ContextCertificateTest() : m_token(m_module.InsertToken("Reader A")) {}

  void Bind(DWORD flags = 0) {
    m_open.Initialize("\\\\.\\Reader A\\one", flags, m_cryptoki, 1);
    const BYTE pin[] = {'1', '2', '3', '4'};
    m_open.LoginWithPIN(pin, sizeof(pin));
    m_module.ForgetCalls();
    m_stores.created = 0;
    m_stores.freed = 0;
    TakeLog();
  }
  // A container with a certificate and a key pair.
  void BindContainer() {
    AddContainer(m_token, Text("one"));
    Bind();
  }
  void BindKeyPair() {
    AddKeyPair(m_token, Text("one"));
    Bind();
  }

  void Write(const Bytes& der = kHolderCertificate) {
    m_open.WriteCertificate(der.data(), static_cast<DWORD>(der.size()));
  }
  // Certificate contexts of the platform that were not freed.
  int Leaked() const { return m_stores.created - m_stores.freed; }
  const Bytes& OnToken(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    return m_token.objects.at(object).attributes.at(type);
  }
  // The label that GetCertLabel returns for a certificate.
  std::string LabelOf(const Bytes& der) {
    const PCCERT_CONTEXT certificate = Context(der);
    const Attribute label = m_open.GetCertLabel(certificate);
    CertFreeCertificateContext(certificate);
    EXPECT_EQ(CKA_LABEL, label.GetType());
    const char* const value = reinterpret_cast<const char*>(label.GetValue());
    return value != nullptr ? std::string(value, label.GetReadableLength()) : "no value";
  }
  static PCCERT_CONTEXT Context(const Bytes& der) {
    return CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
  }
  static Bytes ValueOf(const Attribute& attribute) {
    return Bytes(attribute.GetValue(), attribute.GetValue() + attribute.GetReadableLength());
  }

  // The log lines of each step.
  static std::string LoggedIn() {
    return Line("Login") + Line("\nInitializing PIN cache") + Value("cardSerial:\t", "01 23 45 67 89 AB CD EF") +
           Value("strReaderName:\t", "Reader A") + Line("Retrieving PIN cache") + Line("PIN Cache is set") +
           Line("Login") + Line("Error in logging in to card") + Line("User already logged in") +
           Line("Checking Private Key");
  }
  static std::string PrivateKeyRead() { return Line("Get Private Key ID 1") + Line("Get Private Key ID 2"); }
  static std::string AttributesMade() {
    return Line("Create Certificate Context") + Line("SetAttribute") + Line("GetCertIssuer") + Line("Issuer: ") +
           Line("GetCertSubject") + Line("GetCertSerialNumber") + Line("GetCertLabel");
  }
  static std::string PrivateKeyLabelled() { return Line("Is Private Key Exist") + Line("Try....Update"); }
  static std::string PublicKeyLabelled() {
    return Line("Check Public Key") + Line("Is Public Key Exist") + Line("Try....Update");
  }
  static std::string Completed() {
    return Line("SetAttribute - CKA_CLASS....") + Line("SetAttribute - CKA_ID....") +
           Line("SetAttribute - CKA_VALUE....") + Line("Try....");
  }
  static std::string BeforeCreation() {
    return LoggedIn() + PrivateKeyRead() + AttributesMade() + PrivateKeyLabelled() + PublicKeyLabelled() + Completed();
  }
  static std::string Destroying() { return Line("Cert Exist....") + Line("Destroy Cert...."); }
  static std::string Created() { return Line("Creating Certificate") + Line("Creating Certificate Success"); }

  ScriptedCertStore m_stores;
  ScriptedToken& m_token;
  OpenContext m_open;
};

// --- WriteCertificate

TEST_F(ContextCertificateTest, TheCertificateIsDecodedWithBothEncodingTypes) {
  BindContainer();
  Write();
  EXPECT_EQ(0x10001U, m_stores.encoding);
}

TEST_F(ContextCertificateTest, TheOldCertificateIsDestroyedBeforeTheNewOneIsCreated) {
  BindContainer();
  Write();
  EXPECT_EQ((Calls{kLogin, kLabelPrivateKey, kLabelPublicKey, kDestroy, kCreate}), m_module.TakeCalls());
  EXPECT_EQ(BeforeCreation() + Destroying() + Created(), TakeLog());
  EXPECT_EQ(0U, m_token.objects.count(kOldCertificate));
  EXPECT_EQ(1U, m_open.HasCertificate());
  EXPECT_EQ(1, m_stores.created);
  EXPECT_EQ(0, Leaked());
}

TEST_F(ContextCertificateTest, EachAttributeOfTheCertificateIsWritten) {
  BindContainer();
  Write();
  EXPECT_EQ(Flag(true), OnToken(kNewCertificate, CKA_TOKEN));
  EXPECT_EQ((Bytes{0x30, 0x11, 0x31, 0x0F, 0x30, 0x0D, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0C, 0x06, 'I', 's', 's', 'u',
                   'e', 'r'}),
            OnToken(kNewCertificate, CKA_ISSUER));
  EXPECT_EQ((Bytes{0x30, 0x2F, 0x31, 0x0B, 0x30, 0x09, 0x06, 0x03, 0x55, 0x04, 0x06, 0x13, 0x02, 'X', 'X', 0x31, 0x0F,
                   0x30, 0x0D, 0x06, 0x03, 0x55, 0x04, 0x0A, 0x0C, 0x06, 'O',  'f',  'f',  'i',  'c', 'e', 0x31, 0x0F,
                   0x30, 0x0D, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0C, 0x06, 'H',  'o',  'l',  'd',  'e', 'r'}),
            OnToken(kNewCertificate, CKA_SUBJECT));
  EXPECT_EQ((Bytes{3, 2, 1}), OnToken(kNewCertificate, CKA_SERIAL_NUMBER));
  EXPECT_EQ(Text("Holder"), OnToken(kNewCertificate, CKA_LABEL));
  EXPECT_EQ(Number(1), OnToken(kNewCertificate, CKA_CLASS));
  EXPECT_EQ(Text("one"), OnToken(kNewCertificate, CKA_ID));
  EXPECT_EQ(kHolderCertificate, OnToken(kNewCertificate, CKA_VALUE));
}

TEST_F(ContextCertificateTest, WithoutAnOldCertificateNoneIsDestroyed) {
  BindKeyPair();
  Write();
  EXPECT_EQ((Calls{"C_LoginExtended", "C_SetAttributeValue", "C_SetAttributeValue", "C_CreateObject"}),
            m_module.TakeCallNames());
  EXPECT_EQ(BeforeCreation() + Created(), TakeLog());
  EXPECT_EQ(1U, m_open.HasCertificate());
}

TEST_F(ContextCertificateTest, TheKeysGetTheLabelOfTheCertificate) {
  BindContainer();
  Write();
  EXPECT_EQ(Text("Holder"), OnToken(kPrivate, CKA_LABEL));
  EXPECT_EQ(Text("Holder"), OnToken(kPublic, CKA_LABEL));
}

TEST_F(ContextCertificateTest, TheNewCertificateIsReadFromTheToken) {
  BindContainer();
  Write();
  m_module.ForgetCalls();
  EXPECT_EQ(kHolderCertificate, ValueOf(m_open.GetDefaultCertificate()->GetAttribute(CKA_VALUE)));
  EXPECT_EQ((Calls{"C_GetAttributeValue(1, 4, {CKA_VALUE?})", "C_GetAttributeValue(1, 4, {CKA_VALUE[303]})"}),
            m_module.TakeCalls());
}

TEST_F(ContextCertificateTest, AWrittenCertificateIsReplacedByTheNext) {
  BindContainer();
  Write();
  m_module.ForgetCalls();
  Write(kFirstCertificate);
  EXPECT_EQ(
      (Calls{"C_LoginExtended", "C_SetAttributeValue", "C_SetAttributeValue", "C_DestroyObject", "C_CreateObject"}),
      m_module.TakeCallNames());
  EXPECT_EQ(0U, m_token.objects.count(kNewCertificate));
  EXPECT_EQ(kFirstCertificate, OnToken(kNewCertificate + 1, CKA_VALUE));
}

TEST_F(ContextCertificateTest, TheListOfCertificatesDoesNotChange) {
  BindContainer();
  Write();
  ASSERT_EQ(1U, m_open.m_certificates.size());
  EXPECT_EQ((Bytes{0x30, 0x00}), ValueOf(m_open.m_certificates.front().GetAttribute(CKA_VALUE)));
}

TEST_F(ContextCertificateTest, ACertificateOfAnotherKeyIsWrittenWithoutAWarning) {
  BindContainer();
  Write(DerCertificate(DerName({{kCommonName, "Stranger"}})));
  EXPECT_EQ(Text("one"), OnToken(kNewCertificate, CKA_ID));
  EXPECT_EQ(BeforeCreation() + Destroying() + Created(), TakeLog());
}

TEST_F(ContextCertificateTest, ALargeCertificateIsWrittenWhole) {
  BindContainer();
  const Bytes der = DerCertificate(DerName({{kCommonName, "Long"}}), 70000);
  Write(der);
  EXPECT_EQ(der, OnToken(kNewCertificate, CKA_VALUE));
}

TEST_F(ContextCertificateTest, ANullOrEmptyCertificateIsIgnored) {
  BindContainer();
  m_open.WriteCertificate(nullptr, 5);
  m_open.WriteCertificate(kHolderCertificate.data(), 0);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  EXPECT_EQ("", TakeLog());
}

TEST_F(ContextCertificateTest, BytesThatAreNoCertificateAreWrittenWithEmptyAttributes) {
  BindContainer();
  Write({0x30, 0x00});
  EXPECT_EQ((Calls{kLogin, "C_SetAttributeValue(1, 3, {CKA_CLASS=null of 0})",
                   "C_SetAttributeValue(1, 2, {CKA_CLASS=null of 0})", kDestroy,
                   "C_CreateObject(1, {CKA_TOKEN=true, CKA_CLASS=null of 0, CKA_CLASS=null of 0, CKA_CLASS=null of 0, "
                   "CKA_CLASS=null of 0, CKA_CLASS=1, CKA_ID=6F6E65, CKA_VALUE=3000})"}),
            m_module.TakeCalls());
  EXPECT_THAT(TakeLog(), Not(HasSubstr(Line("Issuer: "))));
  EXPECT_EQ(0, m_stores.created);
  EXPECT_EQ(0, m_stores.freed);
}

TEST_F(ContextCertificateTest, AnEmptyIdentifierIsWrittenWithoutAValue) {
  AddKeyPair(m_token, {});
  m_open.Initialize("\\\\.\\Reader A\\", 0, m_cryptoki, 1);
  const BYTE pin[] = {'1', '2', '3', '4'};
  m_open.LoginWithPIN(pin, sizeof(pin));
  ASSERT_EQ(1U, m_open.HasPrivateKey());
  m_module.ForgetCalls();
  Write();
  EXPECT_THAT(m_module.TakeCalls().back(), HasSubstr("CKA_CLASS=1, CKA_ID=null of 0, CKA_VALUE="));
}

// --- Failures on the way

TEST_F(ContextCertificateTest, WithoutAPrivateKeyReadingTheIdentifierFails) {
  m_token.Add(PublicKeyObject(Text("one"), Counting(16, 0x81)));
  Bind();
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Write());
  EXPECT_EQ(LoggedIn() + Line("Get Public Key ID 1") + Line("Get Public Key ID 2"), TakeLog());
  EXPECT_EQ(Calls{kLogin}, m_module.TakeCalls());
}

TEST_F(ContextCertificateTest, WithoutAnyKeyReadingTheIdentifierFails) {
  m_token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
  Bind();
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Write());
  EXPECT_EQ(LoggedIn() + Line("Get Public Key ID 1"), TakeLog());
  EXPECT_EQ(Calls{kLogin}, m_module.TakeCalls());
  EXPECT_EQ(1U, m_open.HasCertificate());
}

TEST_F(ContextCertificateTest, ADestroyedPrivateKeyStillProvidesItsIdentifier) {
  AddKeyPair(m_token, Text("one"));
  Bind(0x10);
  m_module.FailOnCall("C_DestroyObject", 2, CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, m_open.DeleteContainer());
  ASSERT_EQ(0U, m_open.HasPrivateKey());
  m_module.ForgetCalls();
  TakeLog();
  Write();
  EXPECT_THAT(m_module.TakeCalls().back(), HasSubstr("CKA_CLASS=1, CKA_ID=6F6E65, CKA_VALUE="));
  EXPECT_EQ(LoggedIn() + Line("Get Public Key ID 1") + Line("Get Public Key ID 2") + AttributesMade() +
                Line("Check Public Key") + Completed() + Created(),
            TakeLog());
}

TEST_F(ContextCertificateTest, APrivateKeyThatRefusesTheLabelDoesNotStopTheWrite) {
  BindContainer();
  m_module.FailNext("C_SetAttributeValue", CKR_ATTRIBUTE_READ_ONLY);
  Write();
  EXPECT_EQ(LoggedIn() + PrivateKeyRead() + AttributesMade() + PrivateKeyLabelled() + Line("Catch....") +
                PublicKeyLabelled() + Completed() + Destroying() + Created(),
            TakeLog());
  EXPECT_EQ(Text("label"), OnToken(kPrivate, CKA_LABEL));
  EXPECT_EQ(Text("Holder"), OnToken(kPublic, CKA_LABEL));
}

TEST_F(ContextCertificateTest, APublicKeyThatRefusesTheLabelDoesNotStopTheWrite) {
  BindContainer();
  m_module.FailOnCall("C_SetAttributeValue", 2, CKR_ATTRIBUTE_READ_ONLY);
  Write();
  EXPECT_EQ(LoggedIn() + PrivateKeyRead() + AttributesMade() + PrivateKeyLabelled() + PublicKeyLabelled() +
                Line("Catch....") + Completed() + Destroying() + Created(),
            TakeLog());
}

TEST_F(ContextCertificateTest, AnExceptionWhileLabellingDoesNotStopTheWrite) {
  BindContainer();
  m_module.BeforeNext("C_SetAttributeValue", [] { throw std::runtime_error("any"); });
  Write();
  EXPECT_EQ(1U, m_open.HasCertificate());
  EXPECT_THAT(TakeLog(), HasSubstr(PrivateKeyLabelled() + Line("Catch....") + PublicKeyLabelled() + Completed()));
}

TEST_F(ContextCertificateTest, ARefusedCreationLeavesTheContainerWithoutACertificate) {
  BindContainer();
  m_module.FailNext("C_CreateObject", CKR_DEVICE_MEMORY);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_MEMORY, Write());
  EXPECT_EQ(BeforeCreation() + Destroying() + Line("Creating Certificate") + Line("Catch...."), TakeLog());
  EXPECT_EQ(0U, m_open.HasCertificate());
  EXPECT_EQ(0U, m_token.objects.count(kOldCertificate));
  EXPECT_EQ(1, m_stores.created);
  EXPECT_EQ(0, Leaked());
}

TEST_F(ContextCertificateTest, TheKeysGetTheLabelEvenWhenTheCreationFails) {
  BindContainer();
  m_module.FailNext("C_CreateObject", CKR_DEVICE_MEMORY);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_MEMORY, Write());
  EXPECT_EQ(Text("Holder"), OnToken(kPrivate, CKA_LABEL));
  EXPECT_EQ(Text("Holder"), OnToken(kPublic, CKA_LABEL));
}

TEST_F(ContextCertificateTest, AnOldCertificateThatCannotBeDestroyedStopsTheWrite) {
  BindContainer();
  m_module.FailNext("C_DestroyObject", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, Write());
  EXPECT_EQ(BeforeCreation() + Destroying() + Line("Catch...."), TakeLog());
  EXPECT_EQ(0U, m_open.HasCertificate());
  EXPECT_EQ(1U, m_token.objects.count(kOldCertificate));
  EXPECT_EQ(0, Leaked());
}

TEST_F(ContextCertificateTest, AfterARefusedCreationTheNextWriteDestroysNothing) {
  BindContainer();
  m_module.FailNext("C_CreateObject", CKR_DEVICE_MEMORY);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_MEMORY, Write());
  TakeLog();
  Write();
  EXPECT_EQ(BeforeCreation() + Created(), TakeLog());
}

TEST_F(ContextCertificateTest, AnUncaughtExceptionLeaksNoCertificateContext) {
  BindContainer();
  m_module.BeforeNext("C_CreateObject", [] { throw std::runtime_error("any"); });
  EXPECT_THROW(Write(), std::runtime_error);
  EXPECT_THAT(TakeLog(), EndsWith(Line("Creating Certificate")));
  EXPECT_EQ(1, m_stores.created);
  EXPECT_EQ(0, Leaked());
}

TEST_F(ContextCertificateTest, AFailedLoginStopsTheWrite) {
  AddContainer(m_token, Text("one"));
  m_open.Initialize("\\\\.\\Reader A\\one", 0x40, m_cryptoki, 1);
  m_module.ForgetCalls();
  TakeLog();
  EXPECT_CONTEXT_ERROR(Code(NTE_SILENT_CONTEXT),
                       "User is not logged in, No PIN Cache found and the current context is Silent", Write());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  EXPECT_THAT(TakeLog(), EndsWith(Line("PIN Cache not found")));
}

TEST_F(ContextCertificateTest, ACancelledDialogStopsTheWrite) {
  AddContainer(m_token, Text("one"));
  m_open.Initialize("\\\\.\\Reader A\\one", 0, m_cryptoki, 1);
  m_module.ForgetCalls();
  ScriptedDialogs dialogs;
  dialogs.OnNext(CancelDialog());
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), "User Interface cancelled by user", Write());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ContextCertificateTest, AContextForVerificationCannotWrite) {
  OpenContext context;
  context.Initialize(nullptr, 0xF0000000, m_cryptoki, 1);
  EXPECT_CONTEXT_ERROR(
      Code(NTE_FAIL), "The Smart Card is not properly initialized",
      context.WriteCertificate(kHolderCertificate.data(), static_cast<DWORD>(kHolderCertificate.size())));
}

TEST_F(ContextCertificateTest, TwoContextsMayWriteAtOnce) {
  BindContainer();
  ScriptedToken& second = m_module.InsertToken("Reader B");
  AddContainer(second, Text("two"));
  OpenContext other;
  other.Initialize("\\\\.\\Reader B\\two", 0, m_cryptoki, 1);
  const BYTE pin[] = {'1', '2', '3', '4'};
  other.LoginWithPIN(pin, sizeof(pin));
  Silence(g_contextLog);
  const auto write = [](OpenContext& context) {
    for (int i = 0; i < 20; ++i) {
      context.WriteCertificate(kHolderCertificate.data(), static_cast<DWORD>(kHolderCertificate.size()));
    }
  };
  std::thread thread([&] { write(other); });
  write(m_open);
  thread.join();
  EXPECT_EQ(3U, m_token.objects.size());
  EXPECT_EQ(3U, second.objects.size());
}

// --- The attributes

TEST_F(ContextCertificateTest, WithoutACertificateEachAttributeIsEmpty) {
  for (const Attribute& attribute : {m_open.GetCertIssuer(nullptr), m_open.GetCertSerialNumber(nullptr),
                                     m_open.GetCertSubject(nullptr), m_open.GetCertLabel(nullptr)}) {
    EXPECT_EQ(0U, attribute.GetType());
    EXPECT_EQ(nullptr, attribute.GetValue());
    EXPECT_EQ(0U, attribute.GetLength());
  }
  EXPECT_EQ("", TakeLog());
}

TEST_F(ContextCertificateTest, IssuerAndSubjectAreTheDerOfTheCertificate) {
  const PCCERT_CONTEXT certificate = Context(kFirstCertificate);
  const Attribute issuer = m_open.GetCertIssuer(certificate);
  EXPECT_EQ(Line("Issuer: "), TakeLog());
  const Attribute subject = m_open.GetCertSubject(certificate);
  EXPECT_EQ("", TakeLog());
  CertFreeCertificateContext(certificate);
  EXPECT_EQ(CKA_ISSUER, issuer.GetType());
  EXPECT_EQ((Bytes{0x30, 0x0F, 0x31, 0x0D, 0x30, 0x0B, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0C, 0x04, 'R', 'o', 'o', 't'}),
            ValueOf(issuer));
  EXPECT_EQ(CKA_SUBJECT, subject.GetType());
  EXPECT_EQ((Bytes{0x30, 0x0E, 0x31, 0x0C, 0x30, 0x0A, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0C, 0x03, 'O', 'n', 'e'}),
            ValueOf(subject));
}

TEST_F(ContextCertificateTest, TheSerialNumberIsReversedInACopy) {
  Bytes platformOrder = {1, 2, 3};
  CERT_INFO info = {};
  info.SerialNumber.cbData = 3;
  info.SerialNumber.pbData = platformOrder.data();
  CERT_CONTEXT certificate = {};
  certificate.pCertInfo = &info;
  const Attribute serial = m_open.GetCertSerialNumber(&certificate);
  EXPECT_EQ(CKA_SERIAL_NUMBER, serial.GetType());
  EXPECT_EQ((Bytes{3, 2, 1}), ValueOf(serial));
  EXPECT_EQ((Bytes{1, 2, 3}), platformOrder);
  EXPECT_EQ("", TakeLog());
}

TEST_F(ContextCertificateTest, TheLabelIsTheCommonName) {
  EXPECT_EQ("Holder", LabelOf(kHolderCertificate));
  EXPECT_EQ("", TakeLog());
}

TEST_F(ContextCertificateTest, WithoutACommonNameTheLabelIsTheNextBestName) {
  EXPECT_EQ("Unit", LabelOf(DerCertificate(DerName({{kCountry, "XX"}, {kOrganisation, "Office"}, {kUnit, "Unit"}}))));
  EXPECT_EQ("Office", LabelOf(DerCertificate(DerName({{kEMail, "a@b"}, {kOrganisation, "Office"}}))));
  EXPECT_EQ("a@b", LabelOf(DerCertificate(DerName({{kLocality, "Town"}, {kEMail, "a@b"}}))));
}

TEST_F(ContextCertificateTest, WithoutANameTheLabelHasNoValue) {
  EXPECT_EQ("no value", LabelOf(DerCertificate(DerName({}))));
}

TEST_F(ContextCertificateTest, ALabelOf255BytesIsWhole) {
  EXPECT_EQ(std::string(255, 'n'), LabelOf(DerCertificate(DerName({{kCommonName, std::string(255, 'n')}}))));
}

// The host cuts such a label. Wine returns none.
TEST_F(ContextCertificateTest, ALongerLabelIsCutToItsBufferOrMissing) {
  EXPECT_THAT(LabelOf(DerCertificate(DerName({{kCommonName, std::string(256, 'n')}}))),
              AnyOf(std::string(255, 'n'), "no value"));
}

TEST_F(ContextCertificateTest, WhenThePlatformReturnsNoNameTheLabelIsTelvo) {
  m_stores.Refuse("CertGetNameStringA", 5);
  EXPECT_EQ("TELVO", LabelOf(kHolderCertificate));
}

}  // namespace

// How the name and flags of CPAcquireContext lead to a token. Calls are compared by name where their arguments do not
// matter.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "context/ObjectID.h"
#include "dialogs/ScriptedDialogs.h"
#include "fixtures/ContextTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "log/Logs.h"
#include "module/SampleCertificates.h"
#include "module/WaitingLogin.h"
#include "platform/ScriptedWinSCard.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr DWORD kVerify = 0xF0000000;
constexpr DWORD kNew = 0x8;
constexpr DWORD kDelete = 0x10;
constexpr DWORD kMachine = 0x20;

class ContextInitializeTest : public ContextTest {
 protected:
  // Three digits, 1 or 0: whether the context has a certificate, a public key, a private key.
  std::string Found() const {
    return std::to_string(m_context.HasCertificate()) + std::to_string(m_context.HasPublicKey()) +
           std::to_string(m_context.HasPrivateKey());
  }

  // Initializes the context twice. Returns whether another thread has to wait while the second run reads its last
  // attribute.
  bool IsLockHeldToTheLastAttribute(const char* name) {
    int reads = 0;
    m_module.falsify = [&](CK_ATTRIBUTE&) { ++reads; };
    Initialize(name, 0);
    const int last = reads;
    WaitingLogin login;
    reads = 0;
    m_module.falsify = [&](CK_ATTRIBUTE&) {
      if (++reads == last) login.Ask();
    };
    Initialize(name, 0);
    m_module.falsify = nullptr;
    EXPECT_EQ(last, reads);
    return login.HadToWait();
  }
};

const char kNothingFound[] = "000";
const char kNotFound[] = "80090016: The requested certificate/private key was not found";
const char kExists[] = "8009000F: CRYPT_NEWKEYSET is set but the container already exists";

std::string Named(const std::string& reader, const std::string& container) {
  return "\\\\.\\" + reader + "\\" + container;
}

// What adding certificate "one" to a store logs. The last line is logged although this succeeds.
std::string Propagated() {
  return Value("\nContainer Name to Add: ", "one") + Line("\nChecking Certificate Store") +
         Line("\nBefore CertAddCertificateContextToStore ") + Line("\nAfter CertAddCertificateContextToStore ") +
         Line("\nAdd Cert To Store Failed ");
}

// --- The module and the arguments

TEST_F(ContextInitializeTest, WithoutAModuleItFails) {
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Module Name should be present",
                       m_context.Initialize("name", 0, boost::shared_ptr<Cryptoki>(), 1));
  EXPECT_EQ("", TakeLog());
}

TEST_F(ContextInitializeTest, BadFlagsAreRefusedBeforeTheModuleIsCalled) {
  EXPECT_EQ("80090009: dwFlags contains an unsupported flag", InitializeError("name", 1));
  EXPECT_EQ(Line("\nInitialize Base Class"), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ContextInitializeTest, BadFlagsAreRefusedBeforeTheNameIsParsed) {
  EXPECT_EQ("80090009: dwFlags contains an unsupported flag", InitializeError("SmartcardLogon-one", 1));
  EXPECT_EQ(Line("\nInitialize Base Class"), TakeLog());
}

TEST_F(ContextInitializeTest, AnErrorOfTheSlotListIsThrownUnchanged) {
  m_module.FailNext("C_GetSlotList", CKR_DEVICE_ERROR);
  EXPECT_EQ("module 30", InitializeError("name", 0));
}

TEST_F(ContextInitializeTest, AnErrorOfTheListOfAllSlotsOrOfTheSecondListIsThrownUnchanged) {
  m_module.AddEmptyReader("Reader A");
  m_module.FailOnCall("C_GetSlotList", 2, CKR_DEVICE_ERROR);
  EXPECT_EQ("module 30", InitializeError("name", 0));
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("\nGet All Slots")));
  m_module.FailOnCall("C_GetSlotList", 4, CKR_DEVICE_ERROR);
  EXPECT_EQ("module 30", InitializeError("name", 0));
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("\nRetrieve Active Slot List")));
}

// --- A named reader

TEST_F(ContextInitializeTest, ANamedReaderIsOpenedAndItsContainerFound) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  Initialize(Named("Reader A", "one").c_str(), 0);
  EXPECT_EQ("111", Found());
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_EQ("one", m_context.GetContainerName());
  EXPECT_EQ(1024U, m_context.GetKeyBits());
  EXPECT_EQ(Line("\nInitialize Base Class") + Line("\nGet Active Slot List") + Value("\nSlots Found: ", "1") +
                Line("\nIterating thru Readers") + Line("Reader A") + Line("Reader Name found") +
                Line("Retrieving Session") + Line("\nRetrieving Token") + Line("\nOpening Session") +
                Line("\nRetrieving Objects") + Line("\nObjects Retrieved") + Line("\nRetrieving Certificates") +
                Line("Retrieving Certificate") + Line("\nChecking the Cert iterator") +
                Line("GetCert() - Container name found, Exit") + Line("Retrieving Public Key") +
                Line("Retrieving Private Key") + Line("\nSlot List Loop done") +
                Value("Token Label: ", "TELVO Token                     ") + Line("\nAddUnplugThread ") +
                Line("\nInitialization Finished"),
            TakeLog());
}

TEST_F(ContextInitializeTest, TheModuleIsCalledInOrder) {
  m_module.InsertToken("Reader A");
  Initialize(Named("Reader A", "").c_str(), 0);
  EXPECT_EQ((Calls{"C_GetSlotList(with token, null)", "C_GetSlotList(with token, room 1)", "C_GetSlotInfo(0)",
                   "C_OpenSession(0, flags 6)", "C_FindObjectsInit(1, null of 0)", "C_FindObjects(1, 1)",
                   "C_FindObjectsFinal(1)", "C_GetTokenInfo(0)"}),
            m_module.TakeCalls());
}

TEST_F(ContextInitializeTest, WhitespaceAfterTheReadersNameIsIgnored) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  Initialize(Named("Reader A  \t", "one").c_str(), 0);
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_EQ("111", Found());
}

TEST_F(ContextInitializeTest, AReaderOtherThanTheNamedOneIsSkippedWithoutASession) {
  m_module.InsertToken("Reader A");
  AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  Initialize(Named("Reader B", "one").c_str(), 0);
  EXPECT_EQ("Reader B", m_context.GetReaderName());
  EXPECT_EQ(1U, m_module.OpenSessions());
}

TEST_F(ContextInitializeTest, ACertificateWithoutKeysCountsAsTheContainer) {
  m_module.InsertToken("Reader A").Add(CertificateObject(Text("one"), "label", kFirstCertificate));
  Initialize(Named("Reader A", "one").c_str(), 0);
  EXPECT_EQ("100", Found());
  EXPECT_THAT(TakeLog(), HasSubstr(Line("\nPublic Key Does not exist") + Line("Propagate Certificate") + Propagated() +
                                   Line("\nSlot List Loop done")));
}

TEST_F(ContextInitializeTest, AKeyPairWithoutACertificateIsFoundInANamedReader) {
  AddKeyPair(m_module.InsertToken("Reader A"), Text("one"));
  Initialize(Named("Reader A", "one").c_str(), 0);
  EXPECT_EQ("011", Found());
  EXPECT_THAT(TakeLog(), HasSubstr(Line("Retrieving Certificate") + Line("Retrieving Private Key 2") +
                                   Line("Retrieving Public Key 2") + Line("\nSlot List Loop done")));
}

TEST_F(ContextInitializeTest, APublicKeyAloneCountsAsTheContainerInANamedReader) {
  m_module.InsertToken("Reader A").Add(PublicKeyObject(Text("one"), Counting(128, 0x81)));
  Initialize(Named("Reader A", "one").c_str(), kMachine);
  EXPECT_EQ("010", Found());
  EXPECT_EQ(1024U, m_context.GetKeyBits());
  EXPECT_THAT(TakeLog(), HasSubstr(Line("Retrieving Private Key 2") + Line("No Private Key Found") +
                                   Line("Retrieving Public Key 3") + Line("\nSlot List Loop done")));
}

TEST_F(ContextInitializeTest, WithANamedReaderNoOtherReaderIsTried) {
  m_module.InsertToken("Reader A");
  AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  Initialize(Named("Reader A", "one").c_str(), 0);
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_EQ(kNothingFound, Found());
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("\nSlot List Loop done") +
                                             Value("Token Label: ", "TELVO Token                     ") +
                                             Line("\nAddUnplugThread ") + Line("\nInitialization Finished")));
}

TEST_F(ContextInitializeTest, ATokenWhoseInformationCannotBeReadIsUsedAnyway) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  m_module.FailNext("C_GetTokenInfo", CKR_DEVICE_ERROR);
  Initialize(Named("Reader A", "one").c_str(), 0);
  EXPECT_EQ("111", Found());
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("\nSlot List Loop done") + Line("Failed to get token info") +
                                             Line("\nAddUnplugThread ") + Line("\nInitialization Finished")));
}

TEST_F(ContextInitializeTest, AFailingTokenInANamedReaderIsFatal) {
  m_module.InsertToken("Reader A");
  m_module.FailAlways("C_OpenSession", CKR_TOKEN_NOT_RECOGNIZED);
  SetLastError(0);
  const std::string error = InitializeError(Named("Reader A", "one").c_str(), 0);
  EXPECT_EQ("80090020: " + ErrorText(CKR_TOKEN_NOT_RECOGNIZED), error);
  EXPECT_EQ(static_cast<DWORD>(CKR_TOKEN_NOT_RECOGNIZED), GetLastError());
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("\nOpening Session") + Line(ErrorText(CKR_TOKEN_NOT_RECOGNIZED))));
}

TEST_F(ContextInitializeTest, AFailedSearchInANamedReaderIsFatal) {
  m_module.InsertToken("Reader A");
  m_module.FailNext("C_FindObjectsInit", CKR_DEVICE_REMOVED);
  EXPECT_EQ("80090020: " + ErrorText(CKR_DEVICE_REMOVED), InitializeError(Named("Reader A", "").c_str(), 0));
}

TEST_F(ContextInitializeTest, AFailedReadOfACertificateInANamedReaderIsFatal) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  m_module.FailOnCall("C_GetAttributeValue", 10, CKR_DEVICE_REMOVED);
  EXPECT_EQ("80090020: " + ErrorText(CKR_DEVICE_REMOVED), InitializeError(Named("Reader A", "one").c_str(), 0));
}

TEST_F(ContextInitializeTest, AReaderThatDoesNotExistFailsWithoutASession) {
  m_module.InsertToken("Reader A");
  EXPECT_EQ("80090020: The context has no session", InitializeError(Named("Reader X", "one").c_str(), 0));
  EXPECT_EQ(0U, m_module.OpenSessions());
  EXPECT_THAT(TakeLog(),
              ::testing::EndsWith(Line("\nIterating thru Readers") + Line("Reader A") + Line("\nSlot List Loop done") +
                                  Line("Failed to get token info") + Line("\nSlot List at end node")));
}

TEST_F(ContextInitializeTest, WithALowFlagAReaderThatDoesNotExistIsNotFound) {
  m_module.InsertToken("Reader A");
  EXPECT_EQ(kNotFound, InitializeError(Named("Reader X", "one").c_str(), CRYPT_SILENT));
}

TEST_F(ContextInitializeTest, AnEmptySlotDescriptionMatchesAMissingReaderName) {
  AddContainer(m_module.InsertToken(std::string(1, '\0')), Text("one"));
  Initialize("one", 0);
  EXPECT_THAT(TakeLog(), HasSubstr(Line("\nIterating thru Readers") + Line("") + Line("Reader Name found")));
  EXPECT_EQ("111", Found());
}

// --- No reader named

TEST_F(ContextInitializeTest, WithoutAReaderTheContainerIsFoundOnTheOnlyToken) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  Initialize("one", 0);
  EXPECT_EQ("111", Found());
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_EQ(Line("\nInitialize Base Class") + Line("\nGet Active Slot List") + Value("\nSlots Found: ", "1") +
                Line("\nIterating thru Readers") + Line("Reader A") + Line("\nNo Reader name Provided") +
                Line("\nRetrieving Token") + Line("\nStarting Session") + Line("\nRetrieving objects") +
                Line("\nGetting Certs") + Line("\nGetting Default Certificate") + Line("\nChecking the Cert iterator") +
                Line("GetCert() - Container name found, Exit") + Line("\nGetting Default Public Key") +
                Line("\nGetting Default Private Key") + Line("\nSlot List Loop done") +
                Value("Token Label: ", "TELVO Token                     ") + Line("\nAddUnplugThread ") +
                Line("\nInitialization Finished"),
            TakeLog());
}

TEST_F(ContextInitializeTest, TheFirstTokenThatHoldsTheContainerIsUsed) {
  AddContainer(m_module.InsertToken("Reader A"), Text("other"));
  AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  AddContainer(m_module.InsertToken("Reader C"), Text("one"));
  Initialize("one", 0);
  EXPECT_EQ("Reader B", m_context.GetReaderName());
  // The session on the token that was passed over stays open.
  EXPECT_EQ(2U, m_module.OpenSessions());
}

TEST_F(ContextInitializeTest, AKeyPairWithoutACertificateIsFoundWithoutAReader) {
  AddKeyPair(m_module.InsertToken("Reader A"), Text("one"));
  Initialize("one", kMachine);
  EXPECT_EQ("011", Found());
  EXPECT_THAT(TakeLog(),
              HasSubstr(Line("\nGetting Default Certificate") + Line("\nCert not found, searching for Private Key") +
                        Line("\nCert not found, searching for Public Key") + Line("\nSlot List Loop done")));
}

TEST_F(ContextInitializeTest, ACertificateWithoutAPrivateKeyIsPropagatedToATemporaryStore) {
  m_module.InsertToken("Reader A").Add(CertificateObject(Text("one"), "label", kFirstCertificate));
  Initialize("one", kMachine);
  EXPECT_EQ("100", Found());
  EXPECT_THAT(TakeLog(),
              HasSubstr(Line("\nGetting Default Private Key") + Propagated() + Line("\nSlot List Loop done")));
}

TEST_F(ContextInitializeTest, APublicKeyAloneIsKeptButTheSearchGoesOn) {
  m_module.InsertToken("Reader A").Add(PublicKeyObject(Text("one"), Counting(128, 0x81)));
  Initialize("one", 0);
  EXPECT_EQ("010", Found());
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_THAT(TakeLog(),
              HasSubstr(Line("\nCert and Private Key not found, searching for Public Key") +
                        Line("\nSlot List Loop done") + Value("Token Label: ", "TELVO Token                     ") +
                        Line("\nSlot List at end node") + Line("\nAddUnplugThread ")));
}

TEST_F(ContextInitializeTest, WithALowFlagAPublicKeyAloneIsNoContainer) {
  m_module.InsertToken("Reader A").Add(PublicKeyObject(Text("one"), Counting(128, 0x81)));
  EXPECT_EQ(kNotFound, InitializeError("one", kMachine));
}

TEST_F(ContextInitializeTest, AfterAPublicKeyAloneOnlyReadersOfTheSameNameAreSearched) {
  m_module.InsertToken("Reader A").Add(PublicKeyObject(Text("one"), Counting(128, 0x81)));
  AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  Initialize("one", 0);
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_EQ("010", Found());
  EXPECT_EQ(1U, m_module.OpenSessions());
}

TEST_F(ContextInitializeTest, ATokenThatFailsIsPassedOver) {
  m_module.InsertToken("Reader A");
  AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  m_module.FailNext("C_FindObjectsInit", CKR_DEVICE_REMOVED);
  DWORD errorAfterTheFirst = 0;
  m_module.BeforeNext("C_OpenSession",
                      [&] { m_module.BeforeNext("C_OpenSession", [&] { errorAfterTheFirst = GetLastError(); }); });
  Initialize("one", 0);
  EXPECT_EQ("Reader B", m_context.GetReaderName());
  EXPECT_EQ(static_cast<DWORD>(CKR_DEVICE_REMOVED), errorAfterTheFirst);
  EXPECT_THAT(TakeLog(), HasSubstr(Line("\nRetrieving objects") + Line(ErrorText(CKR_DEVICE_REMOVED)) +
                                   Line("\nIterating thru Readers") + Line("Reader B")));
}

TEST_F(ContextInitializeTest, ATokenWhoseSessionDoesNotOpenIsPassedOver) {
  m_module.InsertToken("Reader A");
  AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  // The eleven attempts on the first token.
  for (int attempt = 1; attempt <= 11; ++attempt) m_module.FailOnCall("C_OpenSession", attempt, CKR_DEVICE_ERROR);
  Initialize("one", 0);
  EXPECT_EQ("Reader B", m_context.GetReaderName());
}

TEST_F(ContextInitializeTest, APrivateKeyWithoutItsPublicKeyIsKeptButNotTheReadersName) {
  m_module.InsertToken("Reader A").Add(PrivateKeyObject(Text("one"), Counting(128, 0x81)));
  Initialize("one", 0);
  EXPECT_EQ("001", Found());
  EXPECT_EQ(1024U, m_context.GetKeyBits());
  EXPECT_EQ("", m_context.GetReaderName());
  EXPECT_THAT(TakeLog(), HasSubstr(Line("\nCert not found, searching for Private Key") +
                                   Line("\nCert not found, searching for Public Key") + Line("No Public Key Found") +
                                   Line("\nCert and Private Key not found, searching for Public Key") +
                                   Line("No Public Key Found") + Line("\nSlot List Loop done")));
}

TEST_F(ContextInitializeTest, APrivateKeyWithoutItsPublicKeyDoesNotOutliveTheSessionOfItsToken) {
  m_module.InsertToken("Reader A").Add(PrivateKeyObject(Text("one"), Counting(128, 0x81)));
  m_module.InsertToken("Reader B");
  Initialize("one", 0);
  EXPECT_EQ(kNothingFound, Found());
  EXPECT_EQ("", m_context.GetReaderName());
  EXPECT_CONTEXT_ERROR(NTE_NO_KEY, "Key Pair does not exist", m_context.GetKeyBits());
}

// In the session of the second token the handle would name another object.
TEST_F(ContextInitializeTest, APublicKeyDoesNotOutliveItsSessionEvenInAReaderOfTheSameName) {
  m_module.AddReader("Reader A").Add(PublicKeyObject(Text("one"), Counting(128, 0x81)));
  m_module.AddReader("Reader A").Add(PublicKeyObject(Text("other"), Counting(128, 0x81)));
  Initialize("one", 0);
  EXPECT_EQ(2U, m_module.OpenSessions());
  EXPECT_EQ(kNothingFound, Found());
  EXPECT_EQ("Reader A", m_context.GetReaderName());
}

TEST_F(ContextInitializeTest, AfterAPublicKeyAloneAReaderOfTheSameNameIsUsed) {
  m_module.AddReader("Reader A").Add(PublicKeyObject(Text("one"), Counting(128, 0x81)));
  AddContainer(m_module.AddReader("Reader A"), Text("one"));
  Initialize("one", 0);
  EXPECT_EQ("111", Found());
}

// --- Other threads

TEST_F(ContextInitializeTest, NoOtherThreadDestroysAnObjectWhileThoseOfATokenAreRead) {
  AddKeyPair(m_module.InsertToken("Reader A"), Text("one"));
  for (const std::string& name : {std::string("one"), Named("Reader A", "one")}) {
    WaitingLogin login(m_module, "C_OpenSession");
    Initialize(name.c_str(), 0);
    EXPECT_TRUE(login.HadToWait()) << name;
    // Looking up the keys reads them again.
    EXPECT_TRUE(IsLockHeldToTheLastAttribute(name.c_str())) << name;
  }
}

TEST_F(ContextInitializeTest, OtherThreadsWaitWhileOneTokenIsReadButNotForTheWholeSearch) {
  m_module.InsertToken("Reader A");
  AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  for (const char* entry : {"C_GetSlotList", "C_GetTokenInfo"}) {
    WaitingLogin login(m_module, entry);
    Initialize("one", 0);
    EXPECT_FALSE(login.HadToWait()) << entry;
  }
}

TEST_F(ContextInitializeTest, WithoutTheContainerTheCertificatesOfTheLastTokenAreEnumerated) {
  AddContainer(m_module.InsertToken("Reader A"), Text("other"));
  AddContainer(m_module.InsertToken("Reader B"), Text("another"));
  Initialize("one", 0);
  Certificate* const certificate = m_context.NextCertificate(true);
  ASSERT_NE(nullptr, certificate);
  EXPECT_EQ("another", ContainerNameOf(*certificate));
  EXPECT_EQ(nullptr, m_context.NextCertificate(false));
}

TEST_F(ContextInitializeTest, TheCertificatesOfATokenStayWhenTheNextTokenDoesNotOpen) {
  AddContainer(m_module.InsertToken("Reader A"), Text("other"));
  m_module.InsertToken("Reader B");
  for (int attempt = 2; attempt <= 12; ++attempt) m_module.FailOnCall("C_OpenSession", attempt, CKR_DEVICE_ERROR);
  Initialize("one", 0);
  ASSERT_NE(nullptr, m_context.GetSession());
  EXPECT_EQ(1U, m_context.GetSession()->GetSessionHandle());
  Certificate* const certificate = m_context.NextCertificate(true);
  ASSERT_NE(nullptr, certificate);
  EXPECT_EQ("other", ContainerNameOf(*certificate));
}

TEST_F(ContextInitializeTest, WithoutFlagsAMissingContainerIsASuccess) {
  AddContainer(m_module.InsertToken("Reader A"), Text("other"));
  AddContainer(m_module.InsertToken("Reader B"), Text("another"));
  Initialize("one", 0);
  EXPECT_EQ(kNothingFound, Found());
  EXPECT_EQ("", m_context.GetReaderName());
  EXPECT_EQ("one", m_context.GetContainerName());
  ASSERT_NE(nullptr, m_context.GetSession());
  // The session is that of the token visited last. Without a reader there is no watcher.
  EXPECT_EQ(2U, m_context.GetSession()->GetSessionHandle());
  const std::string log = TakeLog();
  EXPECT_THAT(log, ::testing::EndsWith(Line("\nSlot List at end node") + Line("\nInitialization Finished")));
  EXPECT_THAT(log, Not(HasSubstr("AddUnplugThread")));
}

TEST_F(ContextInitializeTest, WhenEveryTokenFailsInitializeSucceedsWithoutASession) {
  m_module.InsertToken("Reader A");
  m_module.FailAlways("C_OpenSession", CKR_DEVICE_ERROR);
  Initialize("one", 0);
  EXPECT_EQ(nullptr, m_context.GetSession());
  BYTE random[4] = {};
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "The context has no session", m_context.GenerateRandom(random, 4));
}

TEST_F(ContextInitializeTest, WithEachLowFlagAMissingContainerIsNotFound) {
  AddContainer(m_module.InsertToken("Reader A"), Text("other"));
  for (const DWORD flags : {kDelete, kMachine, DWORD{CRYPT_SILENT}, DWORD{0x80}})
    EXPECT_EQ(kNotFound, InitializeError("one", flags));
}

TEST_F(ContextInitializeTest, InANamedReaderAMissingContainerIsASuccessEvenWithALowFlag) {
  m_module.InsertToken("Reader A");
  for (const DWORD flags : {DWORD{0}, kDelete, kMachine, DWORD{CRYPT_SILENT}}) {
    EXPECT_EQ("nothing", InitializeError(Named("Reader A", "one").c_str(), flags));
    EXPECT_EQ(kNothingFound, Found());
    EXPECT_EQ("Reader A", m_context.GetReaderName());
  }
}

// --- A new container

TEST_F(ContextInitializeTest, ANewContainerThatExistsIsRefused) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  EXPECT_EQ(kExists, InitializeError("one", kNew));
  EXPECT_EQ(kExists, InitializeError(Named("Reader A", "one").c_str(), kNew));
}

TEST_F(ContextInitializeTest, AKeyPairAloneIsAnExistingContainer) {
  AddKeyPair(m_module.InsertToken("Reader A"), Text("one"));
  EXPECT_EQ(kExists, InitializeError("one", kNew));
}

TEST_F(ContextInitializeTest, APublicKeyAloneIsAnExistingContainerOnlyInANamedReader) {
  m_module.InsertToken("Reader A").Add(PublicKeyObject(Text("one"), Counting(128, 0x81)));
  EXPECT_EQ(kExists, InitializeError(Named("Reader A", "one").c_str(), kNew));
  EXPECT_EQ("nothing", InitializeError("one", kNew));
}

TEST_F(ContextInitializeTest, ANewContainerOnTheOnlyTokenKeepsItsName) {
  m_module.InsertToken("Reader A");
  Initialize("one", kNew);
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_EQ("one", m_context.GetContainerName());
  const std::string log = TakeLog();
  EXPECT_THAT(
      log, HasSubstr(Line("\nCert and Private Key not found, searching for Public Key") + Line("No Public Key Found") +
                     Line("\nSet iterator to SlotList end") + Line("\nSlot List Loop done")));
  EXPECT_THAT(log, Not(HasSubstr("Slot List at end node")));
}

TEST_F(ContextInitializeTest, ANewContainerInANamedReaderKeepsItsName) {
  m_module.InsertToken("Reader A");
  m_module.InsertToken("Reader B");
  Initialize(Named("Reader B", "one").c_str(), kNew);
  EXPECT_EQ("Reader B", m_context.GetReaderName());
  EXPECT_EQ("one", m_context.GetContainerName());
}

TEST_F(ContextInitializeTest, APrivateKeyWithoutItsPublicKeyIsNoExistingContainerAndIsKept) {
  m_module.InsertToken("Reader A").Add(PrivateKeyObject(Text("one"), Counting(128, 0x81)));
  Initialize("one", kNew);
  EXPECT_EQ("001", Found());
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_EQ(1U, Acquire(Named("Reader A", "one").c_str(), kNew)->HasPrivateKey());
}

TEST_F(ContextInitializeTest, ANewContainerWithoutANameIsNamedWith32HexadecimalDigits) {
  m_module.InsertToken("Reader A");
  Initialize(nullptr, kNew);
  EXPECT_EQ("0102030405060708090A0B0C0D0E0F10", m_context.GetContainerName());
}

TEST_F(ContextInitializeTest, AnErrorOfTheRandomBytesForANameIsThrownUnchanged) {
  m_module.InsertToken("Reader A");
  m_module.FailNext("C_GenerateRandom", CKR_DEVICE_ERROR);
  EXPECT_EQ("module 30", InitializeError(nullptr, kNew));
}

TEST_F(ContextInitializeTest, ANewContainerWithoutANameExistsIfTheTokenHoldsAnything) {
  ScriptedToken& token = m_module.InsertToken("Reader A");
  AddKeyPair(token, Text("other"));
  EXPECT_EQ(kExists, InitializeError(nullptr, kNew));
  token.Add(CertificateObject(Text("other"), "label", {0x30, 0x00}));
  EXPECT_EQ(kExists, InitializeError(nullptr, kNew));
}

TEST_F(ContextInitializeTest, ASilentNewContainerThatDoesNotExistIsNotFound) {
  m_module.InsertToken("Reader A");
  EXPECT_EQ(kNotFound, InitializeError("one", kNew | CRYPT_SILENT));
}

TEST_F(ContextInitializeTest, WhenEveryTokenFailsANewContainerFails) {
  m_module.InsertToken("Reader A");
  m_module.FailAlways("C_OpenSession", CKR_DEVICE_ERROR);
  EXPECT_EQ("80090020: The context has no session", InitializeError(nullptr, kNew));
  EXPECT_EQ("80090020: The context has no session", InitializeError("one", kNew));
}

TEST_F(ContextInitializeTest, WhenTheSearchFailsANewContainerHasTheTrimmedReaderName) {
  m_module.InsertToken("Reader A\t");
  m_module.FailNext("C_FindObjectsInit", CKR_DEVICE_ERROR);
  Initialize("one", kNew);
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_EQ("one", m_context.GetContainerName());
  EXPECT_NE(nullptr, m_context.GetSession());
}

// --- Verification

TEST_F(ContextInitializeTest, VerificationTouchesNoToken) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  Initialize(nullptr, kVerify);
  EXPECT_EQ(nullptr, m_context.GetSession());
  EXPECT_EQ(kNothingFound, Found());
  EXPECT_EQ((Calls{"C_GetSlotList", "C_GetSlotList", "C_GetSlotInfo"}), m_module.TakeCallNames());
  EXPECT_EQ(Line("\nInitialize Base Class") + Line("\nGet Active Slot List") + Value("\nSlots Found: ", "1") +
                Line("\nSlot List Loop done") + Line("\nInitialization Finished"),
            TakeLog());
}

TEST_F(ContextInitializeTest, VerificationSucceedsWithoutAToken) {
  m_module.AddEmptyReader("Reader A");
  Initialize(nullptr, kVerify);
  EXPECT_EQ(Line("\nInitialize Base Class") + Line("\nGet Active Slot List") + Line("\nNo Active Slot found") +
                Line("\nGet All Slots") + Value("\nSlots Found: ", "1") + Line("\nRetrieve Active Slot List") +
                Line("\nSlot List Loop done") + Line("\nSlot List at end node") + Line("\nInitialization Finished"),
            TakeLog());
}

TEST_F(ContextInitializeTest, VerificationWithALowFlagAndNoSlotIsNotFound) {
  EXPECT_EQ(kNotFound, InitializeError(nullptr, kVerify | CRYPT_SILENT));
}

TEST_F(ContextInitializeTest, VerificationOfANewContainerReportsThatItExistsAndTouchesNoToken) {
  m_module.InsertToken("Reader A");
  for (const DWORD flags : {0xF0000028U, 0xF0000048U}) {
    EXPECT_EQ(kExists, InitializeError(nullptr, flags)) << flags;
    EXPECT_EQ((Calls{"C_GetSlotList", "C_GetSlotList", "C_GetSlotInfo"}), m_module.TakeCallNames());
    EXPECT_EQ(Line("\nInitialize Base Class") + Line("\nGet Active Slot List") + Value("\nSlots Found: ", "1") +
                  Line("\nSlot List Loop done"),
              TakeLog());
  }
  EXPECT_EQ(kExists, InitializeError("one", 0xF0000048));
}

TEST_F(ContextInitializeTest, VerificationOfANewContainerWithoutATokenIsNotFound) {
  m_module.AddEmptyReader("Reader A");
  for (const DWORD flags : {0xF0000028U, 0xF0000048U}) EXPECT_EQ(kNotFound, InitializeError(nullptr, flags)) << flags;
  EXPECT_EQ("80090020: No Active Slot found", InitializeError("one", 0xF0000048));
}

TEST_F(ContextInitializeTest, ASilentVerificationWithAReaderGetsNoWatcher) {
  m_module.InsertToken("Reader A");
  Initialize(Named("Reader A", "one").c_str(), kVerify | CRYPT_SILENT);
  EXPECT_EQ(nullptr, m_context.GetSession());
  EXPECT_EQ("Reader A", m_context.GetReaderName());
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("\nSlot List Loop done") + Line("Failed to get token info") +
                                             Line("\nInitialization Finished")));
}

TEST_F(ContextInitializeTest, AVerificationWithANameAndNoTokenFails) {
  m_module.AddEmptyReader("Reader A");
  EXPECT_EQ("80090020: No Active Slot found", InitializeError("one", kVerify | CRYPT_SILENT));
}

// --- Several tokens, or none

TEST_F(ContextInitializeTest, ASilentContextTakesTheFirstTokenThatHoldsAContainer) {
  m_module.InsertToken("Reader A");
  AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  Initialize(nullptr, CRYPT_SILENT);
  EXPECT_EQ("Reader B", m_context.GetReaderName());
  EXPECT_EQ("one", m_context.GetContainerName());
}

TEST_F(ContextInitializeTest, ASilentContextWithoutATokenNeedsTheUser) {
  m_module.AddEmptyReader("Reader A");
  EXPECT_EQ("80090022: CSP needs UI to operate but CRYPT_SILENT flag is set", InitializeError(nullptr, CRYPT_SILENT));
}

TEST_F(ContextInitializeTest, ASilentContextWithANameAndWithoutATokenFails) {
  m_module.AddEmptyReader("Reader A");
  EXPECT_EQ("80090020: No Active Slot found", InitializeError("one", CRYPT_SILENT));
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("\nRetrieve Active Slot List")));
}

TEST_F(ContextInitializeTest, WithoutATokenAContainerNameFailsAndTheUserIsNotAsked) {
  m_module.AddEmptyReader("Reader A");
  EXPECT_EQ("80090020: No Active Slot found", InitializeError("one", 0));
}

TEST_F(ContextInitializeTest, ACardInsertedAfterTheFirstSlotListIsSeen) {
  m_module.AddEmptyReader("Reader A");
  // The first list is empty and takes one call. The list of all slots takes two.
  int lists = 0;
  m_module.BeforeNext("C_GetSlotList", [&] {
    ++lists;
    m_module.BeforeNext("C_GetSlotList", [&] {
      m_module.BeforeNext("C_GetSlotList", [&] {
        m_module.BeforeNext("C_GetSlotList", [&] { AddContainer(m_module.InsertToken("Reader A"), Text("one")); });
      });
    });
  });
  Initialize("one", 0);
  EXPECT_EQ(1, lists);
  EXPECT_EQ("111", Found());
}

// --- The reader dialog

class ReaderChoiceTest : public ContextInitializeTest {
 protected:
  ReaderChoiceTest() {
    m_pcsc.AddReader("Reader A");
    m_pcsc.AddReader("Reader B");
  }

  // The user chooses a row of the sorted list.
  static ScriptedDialogs::Script Choose(int row) {
    return [row](ScriptedDialog& dialog) {
      EXPECT_EQ(124, dialog.GetResource());
      dialog.Choose(1094, row);
      dialog.Click(1);
    };
  }

  ScriptedWinSCard m_pcsc;
  ScriptedDialogs m_dialogs;
};

TEST_F(ReaderChoiceTest, WithTwoTokensAndNoNameTheUserIsAsked) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  AddContainer(m_module.InsertToken("Reader B"), Text("two"));
  m_dialogs.OnNext(Choose(1));
  Initialize(nullptr, 0);
  EXPECT_EQ("Reader B", m_context.GetReaderName());
  EXPECT_EQ("two", m_context.GetContainerName());
  EXPECT_THAT(TakeLog(), HasSubstr(Value("\nSlots Found: ", "2") + Line("\nShow Select Reader UI") +
                                   Value("UI Dlg reader name: ", "Reader B") + Line("\nIterating thru Readers")));
}

TEST_F(ReaderChoiceTest, WithoutAnyCardTheUserIsAskedUnlessAContainerIsNamed) {
  m_module.AddEmptyReader("Reader A");
  m_dialogs.OnNext(CancelDialog());
  EXPECT_EQ("8010006E: The operation was cancelled by the user", InitializeError(nullptr, 0));
  m_dialogs.OnNext(CancelDialog());
  EXPECT_EQ("8010006E: The operation was cancelled by the user", InitializeError("one", kNew));
  EXPECT_EQ("80090020: No Active Slot found", InitializeError("one", 0));
  EXPECT_EQ("80090020: No Active Slot found", InitializeError("\\\\.\\Reader A\\", 0));
  EXPECT_EQ(2, m_dialogs.ShownCount());
}

TEST_F(ReaderChoiceTest, WithOneTokenTheUserIsNotAsked) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  m_module.AddEmptyReader("Reader B");
  Initialize(nullptr, 0);
  EXPECT_EQ(0, m_dialogs.ShownCount());
  EXPECT_EQ("Reader A", m_context.GetReaderName());
}

TEST_F(ReaderChoiceTest, ForANewContainerTheUserIsAskedEvenIfItHasAName) {
  m_module.InsertToken("Reader A");
  m_module.InsertToken("Reader B");
  m_dialogs.OnNext(Choose(1));
  Initialize("one", kNew);
  EXPECT_EQ("Reader B", m_context.GetReaderName());
}

TEST_F(ReaderChoiceTest, WhenTheSearchFailsANewContainerHasTheReaderOfTheFirstSlot) {
  m_module.InsertToken("Reader A");
  m_module.InsertToken("Reader B");
  m_module.FailAlways("C_FindObjectsInit", CKR_DEVICE_ERROR);
  m_dialogs.OnNext([](ScriptedDialog& dialog) { dialog.End(1); });  // without a choice
  Initialize("one", kNew);
  EXPECT_EQ("Reader A", m_context.GetReaderName());
}

TEST_F(ReaderChoiceTest, ForAContainerNameAloneTheUserIsNotAsked) {
  m_module.InsertToken("Reader A");
  AddContainer(m_module.InsertToken("Reader B"), Text("one"));
  Initialize("one", 0);
  EXPECT_EQ(0, m_dialogs.ShownCount());
}

TEST_F(ReaderChoiceTest, ForANamedReaderWithoutAContainerTheUserIsNotAsked) {
  m_module.InsertToken("Reader A");
  m_module.InsertToken("Reader B");
  Initialize("\\\\.\\Reader B\\", 0);
  EXPECT_EQ(0, m_dialogs.ShownCount());
}

TEST_F(ReaderChoiceTest, ACancelledChoiceIsReportedAsCancelled) {
  m_module.InsertToken("Reader A");
  m_module.InsertToken("Reader B");
  m_dialogs.OnNext(CancelDialog());
  EXPECT_EQ("8010006E: The operation was cancelled by the user", InitializeError(nullptr, 0));
}

TEST_F(ReaderChoiceTest, ACardInsertedWhileTheDialogIsOpenIsUsed) {
  m_module.AddEmptyReader("Reader A");
  m_dialogs.OnNext([this](ScriptedDialog& dialog) {
    AddContainer(m_module.InsertToken("Reader A"), Text("one"));
    Choose(0)(dialog);
  });
  Initialize(nullptr, 0);
  EXPECT_EQ("111", Found());
  EXPECT_THAT(TakeLog(), HasSubstr(Value("UI Dlg reader name: ", "Reader A") + Line("\nRetrieve Active Slot List") +
                                   Line("\nIterating thru Readers")));
}

TEST_F(ReaderChoiceTest, AChoiceWithoutACardFails) {
  m_module.AddEmptyReader("Reader A");
  m_dialogs.OnNext(Choose(0));
  EXPECT_EQ("80090020: No Active Slot found", InitializeError(nullptr, 0));
}

TEST_F(ReaderChoiceTest, AnErrorOfTheReaderListIsThrownUnchanged) {
  m_module.InsertToken("Reader A");
  m_module.InsertToken("Reader B");
  m_pcsc.FailNext("SCardListReadersA", Code(SCARD_E_NO_SERVICE));
  m_dialogs.OnNext([](ScriptedDialog&) { ADD_FAILURE(); });
  try {
    Initialize(nullptr, 0);
    ADD_FAILURE() << "no exception was thrown";
  } catch (const std::exception& error) {
    EXPECT_STREQ("SCardListReaders Failed: 0x8010001D", error.what());
  }
}

}  // namespace

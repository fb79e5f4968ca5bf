// CryptAcquireContext with every kind of name and flags, on one and on two cards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProviderTest.h"
#include "fixtures/LogLines.h"

namespace {

using ::testing::HasSubstr;

constexpr DWORD kVerify = 0xF0000000;
constexpr DWORD kNew = 0x8;
constexpr DWORD kDelete = 0x10;

const char kExists[] = "8009000F";
const char kNotFound[] = "80090016";

class AcquireTest : public ProviderTest {
 protected:
  // The last reader that was visited, according to the log. The context is bound to it.
  std::string VisitedLast() {
    const std::string log = TakeLog();
    const std::string mark = "\nIterating thru Readers   \n";
    const std::size_t place = log.rfind(mark);
    if (place == std::string::npos) return "none";
    return log.substr(place + mark.size(), log.find("   \n", place + mark.size()) - place - mark.size());
  }
};

class OneCardTest : public AcquireTest {
 protected:
  OneCardTest() { m_cardB.Remove(); }
};

class NoCardTest : public AcquireTest {
 protected:
  NoCardTest() {
    m_cardA.Remove();
    m_cardB.Remove();
  }
};

using TwoCardsTest = AcquireTest;

// --- Without flags

TEST_F(OneCardTest, AContainerIsAcquiredByItsName) {
  m_cardA.AddContainer("one");
  EXPECT_EQ("true", AcquireResult("one", 0));
  EXPECT_EQ(kReaderA, VisitedLast());
}

TEST_F(OneCardTest, AContainerIsAcquiredByReaderAndName) {
  m_cardA.AddContainer("one");
  EXPECT_EQ("true", AcquireResult(Named(kReaderA, "one").c_str(), 0));
}

TEST_F(OneCardTest, WithoutANameTheCardsContainerIsAcquiredWithoutADialog) {
  m_cardA.AddContainer("one");
  EXPECT_EQ("true", AcquireResult(nullptr, 0));
  EXPECT_THAT(TakeLog(), HasSubstr(Value("\nContainer: ", "one")));
}

TEST_F(OneCardTest, AMissingContainerIsAcquiredAnyway) {
  EXPECT_EQ("true", AcquireResult("one", 0));
  EXPECT_EQ("true", AcquireResult(Named(kReaderA, "one").c_str(), 0));
}

TEST_F(TwoCardsTest, TheFirstCardWithTheContainerIsTaken) {
  m_cardA.AddContainer("other");
  m_cardB.AddContainer("one");
  EXPECT_EQ("true", AcquireResult("one", CRYPT_SILENT));
  EXPECT_EQ(kReaderB, VisitedLast());
}

TEST_F(TwoCardsTest, ANamedReaderIsUsedEvenIfTheOtherCardHasTheContainer) {
  m_cardB.AddContainer("one");
  EXPECT_EQ("true", AcquireResult(Named(kReaderA, "one").c_str(), 0));
  EXPECT_EQ(kReaderA, VisitedLast());
}

TEST_F(TwoCardsTest, ASilentContextWithoutANameTakesTheFirstCardWithAContainer) {
  m_cardB.AddContainer("one");
  EXPECT_EQ("true", AcquireResult(nullptr, CRYPT_SILENT));
  EXPECT_EQ(kReaderB, VisitedLast());
}

TEST_F(TwoCardsTest, APublicKeyAloneIsAContainerOnlyInANamedReader) {
  m_cardA.AddPublicKey("one");
  EXPECT_EQ("true", AcquireResult("one", 0));
  EXPECT_EQ(kNotFound, AcquireResult("one", DWORD{CRYPT_MACHINE_KEYSET}));
  EXPECT_EQ("true", AcquireResult(Named(kReaderA, "one").c_str(), DWORD{CRYPT_MACHINE_KEYSET}));
  EXPECT_EQ(kExists, AcquireResult(Named(kReaderA, "one").c_str(), kNew));
}

// --- Low flags

TEST_F(TwoCardsTest, AMissingContainerIsNotFoundWithALowFlag) {
  m_cardA.AddContainer("other");
  for (const DWORD flags : {kDelete, DWORD{CRYPT_SILENT}, DWORD{CRYPT_MACHINE_KEYSET}})
    EXPECT_EQ(kNotFound, AcquireResult("one", flags)) << flags;
}

TEST_F(TwoCardsTest, InANamedReaderAMissingContainerIsAcquiredEvenWithALowFlag) {
  for (const DWORD flags : {DWORD{CRYPT_SILENT}, DWORD{CRYPT_MACHINE_KEYSET}}) {
    EXPECT_EQ("true", AcquireResult(Named(kReaderB, "one").c_str(), flags)) << flags;
  }
}

TEST_F(OneCardTest, AnUnsupportedFlagIsRefused) { EXPECT_EQ("80090009", AcquireResult("one", 0x100)); }

// --- New containers

TEST_F(OneCardTest, ANewContainerIsAcquired) {
  EXPECT_EQ("true", AcquireResult("one", kNew));
  EXPECT_EQ("true", AcquireResult(Named(kReaderA, "one").c_str(), kNew));
}

TEST_F(OneCardTest, ANewContainerIsRefusedIfItExists) {
  m_cardA.AddContainer("one");
  EXPECT_EQ(kExists, AcquireResult("one", kNew));
  EXPECT_EQ(kExists, AcquireResult(Named(kReaderA, "one").c_str(), kNew));
  EXPECT_EQ(kExists, AcquireResult(nullptr, kNew));
}

TEST_F(TwoCardsTest, ANewContainerInANamedReaderIsAcquired) {
  m_cardA.AddContainer("one");
  EXPECT_EQ("true", AcquireResult(Named(kReaderB, "one").c_str(), kNew));
}

TEST_F(OneCardTest, ASilentNewContainerIsNotFound) { EXPECT_EQ(kNotFound, AcquireResult("one", kNew | CRYPT_SILENT)); }

TEST_F(OneCardTest, NewAndDeleteTogetherAreRefusedUnlessAnotherFlagIsSet) {
  EXPECT_EQ("80090009", AcquireResult("one", kNew | kDelete));
  EXPECT_EQ(kNotFound, AcquireResult("one", kNew | kDelete | CRYPT_SILENT));
}

// --- Deleted containers

TEST_F(OneCardTest, AContainerIsDeletedWhenTheCardAllowsIt) {
  m_cardA.AddContainer("one");
  Session login = m_cardA.LogIn();
  EXPECT_EQ("true", AcquireResult("one", kDelete));
  EXPECT_EQ(0U, m_cardA.CountObjects());
  login.Close();
}

TEST_F(OneCardTest, ADeletionRefusedByTheCardSucceedsWithAHandle) {
  m_cardA.AddContainer("one");
  EXPECT_EQ("true", AcquireResult("one", kDelete));
  EXPECT_EQ(3U, m_cardA.CountObjects());
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("\nCPAcquireContext Success")));
}

// --- Verification

TEST_F(TwoCardsTest, VerificationNeedsNoNameAndRefusesOneUnlessSilent) {
  EXPECT_EQ("true", AcquireResult(nullptr, kVerify));
  EXPECT_EQ("80090009", AcquireResult("one", kVerify));
  EXPECT_EQ("true", AcquireResult("one", kVerify | CRYPT_SILENT));
  EXPECT_EQ("true", AcquireResult(Named(kReaderA, "one").c_str(), kVerify | CRYPT_SILENT));
}

TEST_F(NoCardTest, VerificationNeedsNoCard) { EXPECT_EQ("true", AcquireResult(nullptr, kVerify)); }

// --- No card

TEST_F(NoCardTest, ASilentContextWithoutANameIsRefused) { EXPECT_EQ("80090022", AcquireResult(nullptr, CRYPT_SILENT)); }

TEST_F(NoCardTest, ANamedContainerFails) {
  EXPECT_EQ("80090020", AcquireResult("one", CRYPT_SILENT));
  EXPECT_EQ("80090020", AcquireResult("one", 0));
  EXPECT_EQ("80090020", AcquireResult(Named(kReaderA, "one").c_str(), 0));
}

// --- The library's own functions, without the system's CryptoAPI

using AcquireFunction = BOOL(WINAPI*)(HCRYPTPROV*, LPCSTR, DWORD, void*);
using ReleaseFunction = BOOL(WINAPI*)(HCRYPTPROV, DWORD);

TEST_F(OneCardTest, ANullHandlePointerIsInvalid) {
  EXPECT_FALSE(Export<AcquireFunction>("CPAcquireContext")(nullptr, "one", 0, nullptr));
  EXPECT_EQ(6U, GetLastError());
}

TEST_F(OneCardTest, AFailureClearsTheHandleAndADeletionLeavesItUnchanged) {
  const auto acquire = Export<AcquireFunction>("CPAcquireContext");
  HCRYPTPROV handle = 0x1122334455667788;
  EXPECT_FALSE(acquire(&handle, "one", CRYPT_MACHINE_KEYSET, nullptr));
  EXPECT_EQ(0U, handle);

  m_cardA.AddCertificate("one");
  Session login = m_cardA.LogIn();
  handle = 0x1122334455667788;
  EXPECT_TRUE(acquire(&handle, "one", kDelete, nullptr));
  EXPECT_EQ(0x1122334455667788U, handle);
  login.Close();
}

TEST_F(OneCardTest, TwoContextsOfTheSameSecondHaveDifferentHandles) {
  const auto acquire = Export<AcquireFunction>("CPAcquireContext");
  const auto release = Export<ReleaseFunction>("CPReleaseContext");
  HCRYPTPROV first = 0;
  HCRYPTPROV second = 0;
  ASSERT_TRUE(acquire(&first, nullptr, kVerify, nullptr));
  ASSERT_TRUE(acquire(&second, nullptr, kVerify, nullptr));
  EXPECT_NE(first, second);
  EXPECT_EQ(0U, (first | second) >> 32U);
  EXPECT_TRUE(release(first, 0));
  EXPECT_TRUE(release(second, 0));
}

// --- The log, byte for byte

std::string Opening(const std::string& container, const std::string& flags) {
  char program[1000] = {};
  GetModuleFileNameA(nullptr, program, sizeof(program));
  return Value("\tNOTE: Using module: ", program) +
         Value("\tNOTE: Process Id: ", std::to_string(GetCurrentProcessId())) +
         Line("\n================================================================================") +
         Line("\nCPAcquireContext") + Value("\tContainer Name: ", container) + Value("\tdwFlags: \t", flags);
}

TEST_F(OneCardTest, ASuccessfulAcquisitionIsLogged) {
  // Listing the keys lists the certificates first.
  const std::string keysOfAnEmptyCard = Line("GetCertificates - Entry") + Line("GetCertificates - iteration begins") +
                                        Line("GetCertificates - Exit") +
                                        Line("GetPrivateKeys::Iterating through objects");
  ASSERT_EQ("true", AcquireResult(Named(kReaderA, "one").c_str(), 0));
  EXPECT_EQ(Opening("\\\\.\\TELVO Reader A\\one", "00000000") + Line("\nRetrieving Crypto Wrapper") +
                Line("\nInitializing Context") + Line("\nInitialize Base Class") + Line("\nGet Active Slot List") +
                Value("\nSlots Found: ", "1") + Line("\nIterating thru Readers") + Line("TELVO Reader A") +
                Line("Reader Name found") + Line("Retrieving Session") + Line("\nRetrieving Token") +
                Line("\nOpening Session") + Line("\nRetrieving Objects") + Line("\nObjects Retrieved") +
                Line("\nRetrieving Certificates") + Line("GetCertificates - Entry") + keysOfAnEmptyCard +
                keysOfAnEmptyCard + Line("GetCertificates - iteration begins") + Line("GetCertificates - Exit") +
                Line("Retrieving Certificate") + Line("Retrieving Private Key 2") + keysOfAnEmptyCard +
                Line("No Private Key Found") + Line("Retrieving Public Key 3") + keysOfAnEmptyCard +
                Line("No Public Key Found") + Line("\nSlot List Loop done") +
                Value("Token Label: ", "Card A                          ") + Line("\nAddUnplugThread ") +
                Line("\nInitialization Finished") + Line("\nCPAcquireContext Success"),
            TakeLog());
}

TEST_F(NoCardTest, AFailedAcquisitionIsLogged) {
  ASSERT_EQ("80090020", AcquireResult("one", 0));
  EXPECT_EQ(Opening("one", "00000000") + Line("\nRetrieving Crypto Wrapper") + Line("\nInitializing Context") +
                Line("\nInitialize Base Class") + Line("\nGet Active Slot List") + Line("\nNo Active Slot found") +
                Line("\nGet All Slots") + Value("\nSlots Found: ", "2") + Line("\nRetrieve Active Slot List") +
                Line("No Active Slot found"),
            TakeLog());
}

}  // namespace

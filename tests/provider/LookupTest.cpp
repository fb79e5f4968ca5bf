// Container names through CryptAcquireContext, on a card with real objects. With CRYPT_MACHINE_KEYSET a container
// that is found is acquired, and one that is not found is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProviderTest.h"
#include "fixtures/LogLines.h"

namespace {

using ::testing::HasSubstr;

class LookupTest : public ProviderTest {
 protected:
  LookupTest() { m_cardB.Remove(); }

  bool Finds(const std::string& container) { return Acquire(container.c_str(), CRYPT_MACHINE_KEYSET); }
};

// --- Names in requests

TEST_F(LookupTest, TheSystemsLogonPrefixesAreRemoved) {
  m_cardA.AddCertificate("1234");
  m_cardA.AddCertificate("ABCX");
  EXPECT_TRUE(Finds(Named(kReaderA, "SmartcardLogon-1234")));
  EXPECT_TRUE(Finds("smartcarduser-1234"));
  EXPECT_TRUE(Finds("ABCSmartcardUser-X"));
  EXPECT_FALSE(Finds("SmartcardLogon-SmartcardLogon-1234"));
}

TEST_F(LookupTest, TextBetweenTheReaderAndTheLastBackslashIsIgnored) {
  m_cardA.AddCertificate("b");
  EXPECT_TRUE(Finds("\\\\.\\TELVO Reader A\\a\\b"));
}

TEST_F(LookupTest, AReaderWithoutAContainerTakesTheCardsFirstContainer) {
  m_cardA.AddCertificate("one");
  EXPECT_TRUE(Finds("\\\\.\\TELVO Reader A\\"));
  EXPECT_TRUE(Finds("\\\\.\\TELVO Reader A"));
}

TEST_F(LookupTest, ANameOf260CharactersPassesAndOneOf261DoesNot) {
  EXPECT_FALSE(Finds(std::string(260, 'n')));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET), GetLastError());
  EXPECT_FALSE(Finds(std::string(261, 'n')));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET_PARAM), GetLastError());
}

TEST_F(LookupTest, AnEmptyNameCountsAsANameForVerification) {
  EXPECT_FALSE(Acquire("", 0xF0000000));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_FLAGS), GetLastError());
  EXPECT_TRUE(Acquire("", 0xF0000040));
}

TEST_F(LookupTest, OneTopBitIsEnoughForVerification) {
  EXPECT_TRUE(Acquire(nullptr, 0x10000000));
  EXPECT_FALSE(Acquire("one", 0x10000000));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_FLAGS), GetLastError());
}

// --- Identifiers on the card

TEST_F(LookupTest, ACertificateIsFoundByTextAndByHexadecimal) {
  m_cardA.AddCertificate("ABC");
  EXPECT_TRUE(Finds("ABC"));
  EXPECT_TRUE(Finds("414243"));
  EXPECT_FALSE(Finds("abc"));
}

TEST_F(LookupTest, AKeyPairWithAPrintableIdentifierIsFoundOnlyByText) {
  m_cardA.AddKeyPair("ABC");
  EXPECT_TRUE(Finds("ABC"));
  EXPECT_FALSE(Finds("414243"));
}

TEST_F(LookupTest, AnIdentifierWithASpaceIsFoundBothWays) {
  m_cardA.AddCertificate("A C");
  EXPECT_TRUE(Finds("412043"));
  EXPECT_TRUE(Finds("A C"));
}

TEST_F(LookupTest, AnIdentifierWithAZeroByteIsFoundByTheTextBeforeIt) {
  m_cardA.AddCertificate(std::string("A\0B", 3));
  EXPECT_TRUE(Finds("A"));
  EXPECT_TRUE(Finds("410042"));
  EXPECT_TRUE(Acquire(nullptr, 0));
  EXPECT_THAT(TakeLog(), HasSubstr(Value("\nContainer: ", "A")));
}

TEST_F(LookupTest, AnIdentifierThatStartsWithAZeroByteIsHexadecimal) {
  m_cardA.AddCertificate(std::string("\0A", 2));
  EXPECT_TRUE(Finds("0041"));
  EXPECT_TRUE(Acquire(nullptr, 0));
  EXPECT_THAT(TakeLog(), HasSubstr(Value("\nContainer: ", "0041")));
}

// --- Which certificate

TEST_F(LookupTest, WithoutADefaultTheFirstCertificateIsTaken) {
  for (const char* id : {"one", "two", "three"}) m_cardA.AddCertificate(id);
  EXPECT_TRUE(Acquire(nullptr, 0));
  // The card sorts its certificates by label and identifier.
  EXPECT_THAT(TakeLog(), HasSubstr(Line("\nRetrieving the very first container") + Value("\nContainer: ", "one")));
}

TEST_F(LookupTest, TheCertificateMarkedAsDefaultIsTaken) {
  m_cardA.AddCertificate("one", "A");
  m_cardA.AddCertificate("two", "Default");
  m_cardA.AddCertificate("three", "Z");
  EXPECT_TRUE(Acquire(nullptr, 0));
  EXPECT_THAT(TakeLog(), HasSubstr(Line("\nCKA_DEFAULT_CERT TRUE") + Value("\nContainer: ", "two")));
}

}  // namespace

// A card with the same serial number in another reader: a copy, a card that was moved, or cards whose maker gives all
// of them the same number. A PIN is cached for a reader and a card.
#include <gtest/gtest.h>

#include "BadLuckTest.h"
#include "entry/CCSPContextList.h"

namespace {

class SameSerialTest : public BadLuckTest {
 protected:
  SameSerialTest() : m_cardA(InsertCard("Reader A")), m_cardB(InsertCard("Reader B")) { m_cardB.pin = "9999"; }

  std::string ReaderOf(HCRYPTPROV provider) { return g_contextList.FindContext(provider)->GetReaderName(); }

  ScriptedToken& m_cardA;
  ScriptedToken& m_cardB;
};

TEST_F(SameSerialTest, ThePINOfOneReaderIsNotOfferedInTheOther) {
  HCRYPTPROV inA = 0;
  HCRYPTPROV inB = 0;
  ASSERT_EQ("done", Acquire("\\\\.\\Reader A\\one", CRYPT_SILENT, inA));
  ASSERT_EQ("done", Acquire("\\\\.\\Reader B\\one", CRYPT_SILENT, inB));
  EXPECT_EQ("done", GivePIN(inA, "1234"));
  EXPECT_EQ("done", SignDigest(inA));
  EXPECT_EQ("80090022", SignDigest(inB));
  EXPECT_EQ(m_cardB.tries, m_cardB.triesLeft);
}

TEST_F(SameSerialTest, EachReaderKeepsThePINOfItsCard) {
  HCRYPTPROV inA = 0;
  HCRYPTPROV inB = 0;
  ASSERT_EQ("done", Acquire("\\\\.\\Reader A\\one", CRYPT_SILENT, inA));
  ASSERT_EQ("done", Acquire("\\\\.\\Reader B\\one", CRYPT_SILENT, inB));
  EXPECT_EQ("done", GivePIN(inA, "1234"));
  EXPECT_EQ("done", GivePIN(inB, "9999"));
  EXPECT_EQ("done", SignDigest(inA));
  EXPECT_EQ("done", SignDigest(inB));
}

TEST_F(SameSerialTest, AContainerOnBothCardsIsTakenFromTheModulesFirstReader) {
  HCRYPTPROV provider = 0;
  ASSERT_EQ("done", Acquire("one", CRYPT_SILENT, provider));
  EXPECT_EQ("Reader A", ReaderOf(provider));
  m_module.RemoveToken("Reader A");
  ASSERT_EQ("done", Acquire("one", CRYPT_SILENT, provider));
  EXPECT_EQ("Reader B", ReaderOf(provider));
}

TEST_F(SameSerialTest, ThePINOfACardThatIsMovedIsAskedForAgain) {
  HCRYPTPROV provider = 0;
  ASSERT_EQ("done", Acquire("one", CRYPT_SILENT, provider));
  EXPECT_EQ("done", GivePIN(provider, "1234"));
  m_module.RemoveToken("Reader A");
  m_cardB.pin = "1234";
  ASSERT_EQ("done", Acquire("one", CRYPT_SILENT, provider));
  EXPECT_EQ("80090022", SignDigest(provider));
  EXPECT_EQ(m_cardB.tries, m_cardB.triesLeft);
}

}  // namespace

// The machine sleeps, and another card is in the reader when it wakes up. The provider gets no event. What it knows
// about the first card, above all its PIN, must not reach the other one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BadLuckTest.h"
#include "dialogs/ScriptedDialogs.h"
#include "entry/CCSPContextList.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

class ExchangedCardTest : public BadLuckTest {
 protected:
  // Opens a context on the first card, logs in and signs.
  ExchangedCardTest() : m_card(InsertCard("Reader A", "1111111111111111")) {
    EXPECT_EQ("done", Acquire("\\\\.\\Reader A\\one", 0, m_first));
    EXPECT_EQ("done", GivePIN(m_first, "1234"));
    EXPECT_EQ("done", Sign(m_first));
    m_module.ForgetCalls();
  }

  // The other card has a container with another name, another PIN, and all its tries left.
  void Exchange() {
    m_module.RemoveToken("Reader A");
    m_card.serial = "2222222222222222";
    m_card.pin = "9999";
    m_card.objects.clear();
    AddContainer(m_card, Text("two"));
    m_module.InsertToken("Reader A");
  }
  bool HasAllTries() const { return m_card.triesLeft == m_card.tries; }

  ScriptedToken& m_card;
  HCRYPTPROV m_first = 0;
};

// --- The context that was opened on the first card

TEST_F(ExchangedCardTest, AContextOfTheFirstCardFails) {
  Exchange();
  EXPECT_EQ("80090020", Sign(m_first));        // fails at the token's digest
  EXPECT_EQ("8010006F", SignDigest(m_first));  // fails at the login
  EXPECT_TRUE(HasAllTries());
  EXPECT_FALSE(m_card.loggedIn);
}

TEST_F(ExchangedCardTest, ThePINOfTheFirstCardIsStillAcceptedByItsContext) {
  Exchange();
  EXPECT_EQ("done", GivePIN(m_first, "1234"));
  EXPECT_EQ("80090020", GivePIN(m_first, "9999"));
  EXPECT_TRUE(HasAllTries());
}

// --- A context that is opened afterwards

TEST_F(ExchangedCardTest, TheUserIsAskedForThePINOfTheOtherCard) {
  Exchange();
  HCRYPTPROV second = 0;
  ASSERT_EQ("done", Acquire("\\\\.\\Reader A\\two", 0, second));
  ScriptedDialogs dialogs;
  dialogs.OnNext(EnterPIN("9999"));
  EXPECT_EQ("done", SignDigest(second));
  EXPECT_EQ(1, dialogs.ShownCount());
  EXPECT_THAT(m_module.TakeCalls(), Not(Contains(HasSubstr("1234"))));
}

TEST_F(ExchangedCardTest, ASilentContextOfTheOtherCardFailsWithoutUsingATry) {
  Exchange();
  HCRYPTPROV second = 0;
  ASSERT_EQ("done", Acquire("\\\\.\\Reader A\\two", CRYPT_SILENT, second));
  EXPECT_EQ("80090022", SignDigest(second));
  EXPECT_TRUE(HasAllTries());
  EXPECT_THAT(m_module.TakeCalls(), Not(Contains(HasSubstr("1234"))));
}

TEST_F(ExchangedCardTest, TheContainerOfTheFirstCardIsNotFound) {
  Exchange();
  HCRYPTPROV second = 0;
  EXPECT_EQ("80090016", Acquire("one", CRYPT_SILENT, second));
}

// A reader has one cached PIN. The contexts of the two cards replace each other's, so the user is asked again.
TEST_F(ExchangedCardTest, UsingAContextOfTheFirstCardForgetsThePINOfTheOtherCard) {
  Exchange();
  HCRYPTPROV second = 0;
  ASSERT_EQ("done", Acquire("\\\\.\\Reader A\\two", CRYPT_SILENT, second));
  EXPECT_EQ("done", GivePIN(second, "9999"));
  EXPECT_EQ("done", SignDigest(second));
  ScriptedDialogs dialogs;
  dialogs.OnNext(CancelDialog());
  EXPECT_EQ("8010006E", SignDigest(m_first));
  EXPECT_EQ("80090022", SignDigest(second));
  EXPECT_TRUE(HasAllTries());
}

// --- A module that is restarted because no session can be opened. Many modules number their sessions from 1 again.

class SessionNumberTest : public ExchangedCardTest {
 protected:
  // The new session then has the number of the first context's dead session.
  void OpenAfterRestart(const std::string& container) {
    m_module.FailNext("C_OpenSession", CKR_DEVICE_REMOVED);
    HCRYPTPROV second = 0;
    ASSERT_EQ("done", Acquire(container, CRYPT_SILENT, second));
    SessionOf(m_first).SetSessionHandle(SessionOf(second).GetSessionHandle());
    m_module.ForgetCalls();
  }

 private:
  static Session& SessionOf(HCRYPTPROV provider) { return *g_contextList.FindContext(provider)->GetSession(); }
};

TEST_F(SessionNumberTest, ThePINOfTheFirstCardIsNotOfferedToTheOtherOne) {
  Exchange();
  OpenAfterRestart("\\\\.\\Reader A\\two");
  EXPECT_EQ("8010006F", SignDigest(m_first));
  EXPECT_TRUE(HasAllTries());
  EXPECT_EQ((Calls{"C_Logout(0)", "C_LoginExtended(0, user 1, 1234)"}), m_module.TakeCalls());  // 0: no session
}

TEST_F(SessionNumberTest, ThePINOfAnApplicationIsNotOfferedToTheOtherCard) {
  Exchange();
  OpenAfterRestart("\\\\.\\Reader A\\two");
  EXPECT_EQ("80090020", GivePIN(m_first, "4321"));
  EXPECT_TRUE(HasAllTries());
}

TEST_F(SessionNumberTest, ThePINThatTheUserEntersIsNotOfferedToTheOtherCard) {
  Exchange();
  OpenAfterRestart("\\\\.\\Reader A\\two");
  g_pinCacheManager.GetPINCache("Reader A")->ClearPINCache();
  ScriptedDialogs dialogs;
  dialogs.OnNext(EnterPIN("1234"));
  EXPECT_EQ("80090020", SignDigest(m_first));
  EXPECT_TRUE(HasAllTries());
}

TEST_F(SessionNumberTest, ThePINOfOneReaderIsNotOfferedInAnother) {
  ScriptedToken& other = InsertCard("Reader B", "2222222222222222");
  other.pin = "9999";
  OpenAfterRestart("\\\\.\\Reader B\\one");
  EXPECT_EQ("8010006F", SignDigest(m_first));
  EXPECT_EQ(other.tries, other.triesLeft);
}

}  // namespace

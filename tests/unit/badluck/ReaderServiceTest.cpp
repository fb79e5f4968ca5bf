// The smart card service dies and is restarted. The watchers of a process do not recover: the one context in which they
// wait died with the service.
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <gtest/gtest.h>
#include <stdexcept>

#include "BadLuckTest.h"
#include "context/UnplugThreadManager.h"
#include "dialogs/ScriptedDialogs.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Renew.h"
#include "platform/ScriptedWinSCard.h"

namespace {

class ReaderServiceTest : public BadLuckTest {
 protected:
  ReaderServiceTest() {
    m_pcsc.refuse = [this](const std::string& function) { return Refusal(function); };
    InsertCard("Reader A");
    m_pcsc.InsertCard("Reader A");
    Renew(g_unplugThreadManager);
    EXPECT_EQ("done", Acquire("\\\\.\\Reader A\\one", CRYPT_SILENT, m_provider));
    EXPECT_EQ("done", GivePIN(m_provider, "1234"));
    EXPECT_TRUE(m_pcsc.AwaitWaits("Reader A", 1));
  }
  // The watchers end before the scripted service in which they wait, and the renewed manager gets no context from it.
  ~ReaderServiceTest() override {
    m_isDead = true;
    Renew(g_unplugThreadManager);
  }

  // Ends the current wait as well.
  void Die() {
    m_hasDied = true;
    m_pcsc.AnswerNextWait("Reader A", Code(SCARD_E_NO_SERVICE), 0, [this] { m_isDead = true; });
    AwaitLog(Value("SCardGetStatusChange: ", "8010001D"));
  }
  // A restarted service does not know the earlier contexts.
  void ComeBack() {
    m_isDead = false;
    AwaitLog(Value("SCardGetStatusChange: ", "80100003"));
  }

  void AwaitLog(const std::string& text) {
    while (TakeLog().find(text) == std::string::npos) Sleep(1);
  }
  // How many contexts were requested since the calls were last taken.
  std::ptrdiff_t ContextsAskedFor() {
    const std::vector<std::string> calls = m_pcsc.TakeCalls();
    return std::count(calls.begin(), calls.end(), "SCardEstablishContext(0)");
  }

  ScriptedWinSCard m_pcsc;
  HCRYPTPROV m_provider = 0;

 private:
  DWORD Refusal(const std::string& function) {
    if (m_isDead) return Code(SCARD_E_NO_SERVICE);
    return m_hasDied && function == "SCardGetStatusChangeA" ? Code(SCARD_E_INVALID_HANDLE) : 0;
  }

  std::atomic<bool> m_isDead{false};
  std::atomic<bool> m_hasDied{false};
};

TEST_F(ReaderServiceTest, ADeadServiceChangesNoResultAndThePINIsKept) {
  Die();
  EXPECT_EQ("done", Sign(m_provider));
  HCRYPTPROV another = 0;
  EXPECT_EQ("done", Acquire("one", CRYPT_SILENT, another));
  EXPECT_EQ("done", Sign(another));
  EXPECT_TRUE(KeepsPIN("Reader A"));
}

TEST_F(ReaderServiceTest, AfterARestartOfTheServiceTheWatcherDoesNotRecover) {
  Die();
  ComeBack();
  m_pcsc.TakeCalls();
  HCRYPTPROV another = 0;
  EXPECT_EQ("done", Acquire("\\\\.\\Reader A\\one", CRYPT_SILENT, another));
  EXPECT_NE(std::string::npos, TakeLog().find(Line("\nA thread for this reader is already running")));
  EXPECT_EQ(0, ContextsAskedFor());
}

// So a card that is pulled and inserted again signs without its PIN until the program is restarted.
TEST_F(ReaderServiceTest, ThePINOfACardThatIsPulledAfterwardsIsKept) {
  Die();
  ComeBack();
  m_pcsc.RemoveCard("Reader A");
  m_module.RemoveToken("Reader A");
  AwaitLog(Value("SCardGetStatusChange: ", "80100003"));
  EXPECT_TRUE(KeepsPIN("Reader A"));
  m_module.InsertToken("Reader A");
  HCRYPTPROV another = 0;
  EXPECT_EQ("done", Acquire("one", CRYPT_SILENT, another));
  EXPECT_EQ("done", Sign(another));
}

TEST_F(ReaderServiceTest, TheReaderDialogFailsWithoutTheServiceAndWorksAfterItsRestart) {
  InsertCard("Reader B", "FEDCBA9876543210");
  m_pcsc.InsertCard("Reader B");
  ScriptedDialogs dialogs;
  HCRYPTPROV another = 0;
  Die();
  dialogs.OnNext([](ScriptedDialog& /*dialog*/) { ADD_FAILURE() << "the dialog was shown"; });
  EXPECT_THROW(CPAcquireContext(&another, nullptr, 0, nullptr), std::runtime_error);
  ComeBack();
  dialogs.OnNext([](ScriptedDialog& dialog) {
    EXPECT_EQ((std::vector<std::string>{"Reader A", "Reader B"}), dialog.GetItems(1094));
    dialog.Choose(1094, 1);
    dialog.Click(IDOK);
  });
  EXPECT_TRUE(CPAcquireContext(&another, nullptr, 0, nullptr));
}

}  // namespace

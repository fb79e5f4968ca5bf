// A reader whose name contains characters other than ASCII. The module returns the name in UTF-8. The ANSI functions of
// PC/SC return it in the system's code page, with a question mark for each character that the code page lacks. The name
// used here contains characters that are not in code page 1252. The provider compares bytes, and so takes the two names
// for different readers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BadLuckTest.h"
#include "context/UnplugThreadManager.h"
#include "dialogs/ScriptedDialogs.h"
#include "entry/CCSPContextList.h"
#include "fixtures/Renew.h"
#include "platform/ScriptedWinSCard.h"

namespace {

using ::testing::HasSubstr;

const std::string kModuleName = "\xC4\x8C\x74\x65\xC4\x8D\x6B\x61 00";  // a reader's name in Czech, in UTF-8
const std::string kSystemName = "?te?ka 00";

class ReaderNameTest : public BadLuckTest {
 protected:
  ReaderNameTest() : m_card(InsertCard(kModuleName)) {}

  ScriptedToken& m_card;
  HCRYPTPROV m_provider = 0;
};

TEST_F(ReaderNameTest, TheContainerIsFoundByItsName) {
  EXPECT_EQ("done", Acquire("one", CRYPT_SILENT, m_provider));
  EXPECT_EQ(kModuleName, g_contextList.FindContext(m_provider)->GetReaderName());
  EXPECT_EQ("done", GivePIN(m_provider, "1234"));
  EXPECT_EQ("done", Sign(m_provider));
  EXPECT_TRUE(KeepsPIN(kModuleName));
}

TEST_F(ReaderNameTest, TheReaderIsFoundByTheModulesBytes) {
  EXPECT_EQ("done", Acquire("\\\\.\\" + kModuleName + "\\one", CRYPT_SILENT, m_provider));
}

TEST_F(ReaderNameTest, TheLogHasTheModulesBytes) {
  EXPECT_EQ("done", Acquire("one", CRYPT_SILENT, m_provider));
  EXPECT_THAT(TakeLog(), HasSubstr(Line(kModuleName)));
}

TEST_F(ReaderNameTest, TheReaderIsNotFoundByTheNameThatTheSystemReturns) {
  const std::string name = "\\\\.\\" + kSystemName + "\\one";
  EXPECT_EQ("80090020", Acquire(name, 0, m_provider));
  EXPECT_EQ("80090016", Acquire(name, CRYPT_SILENT, m_provider));
  InsertCard("Leser \xC3\xA4");
  EXPECT_EQ("80090016", Acquire("\\\\.\\Leser \xE4\\one", CRYPT_SILENT, m_provider));  // in code page 1252
}

// Two cards, so that the dialog appears. It offers the system's names.
TEST_F(ReaderNameTest, TheReaderThatIsChosenInTheDialogIsNotFound) {
  InsertCard("Reader B");
  ScriptedWinSCard pcsc;
  pcsc.InsertCard(kSystemName);
  pcsc.InsertCard("Reader B");
  ScriptedDialogs dialogs;
  dialogs.OnNext([](ScriptedDialog& dialog) {
    EXPECT_EQ(kSystemName, dialog.GetText(1094));
    dialog.Click(IDOK);
  });
  EXPECT_EQ("80090020", Acquire("", 0, m_provider));
}

// The provider uses only 32 bytes of a name, even if a character is cut in the middle.
TEST_F(ReaderNameTest, ALongNameIsCutWithinACharacterAndFoundByTheRemainingBytes) {
  const std::string part = "A reader of very long words: \xC4\x8C\xC4";
  ASSERT_EQ(32U, part.size());
  InsertCard(part + "\x8D and more");
  EXPECT_EQ("done", Acquire("\\\\.\\" + part + "\\one", CRYPT_SILENT, m_provider));
  EXPECT_EQ(part, g_contextList.FindContext(m_provider)->GetReaderName());
}

// The watcher uses the module's bytes. The system does not know a reader of that name, so the removal is not seen.
TEST_F(ReaderNameTest, TheWatcherDoesNotSeeThatTheCardIsPulled) {
  ScriptedWinSCard pcsc;
  pcsc.InsertCard(kSystemName);
  Renew(g_unplugThreadManager);
  EXPECT_EQ("done", Acquire("one", CRYPT_SILENT, m_provider));
  EXPECT_EQ("done", GivePIN(m_provider, "1234"));
  pcsc.RemoveCard(kSystemName);
  while (TakeLog().find(Value("SCardGetStatusChange: ", "80100009")) == std::string::npos) Sleep(1);
  EXPECT_TRUE(KeepsPIN(kModuleName));
  pcsc.FailNext("SCardEstablishContext", static_cast<DWORD>(SCARD_E_NO_SERVICE));
  Renew(g_unplugThreadManager);
}

}  // namespace

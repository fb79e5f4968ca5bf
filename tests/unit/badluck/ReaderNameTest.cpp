// A reader whose name has other characters than ASCII. The module tells it in UTF-8; the ANSI functions of PC/SC tell
// it in the code page of the system, with a question mark for each character that it does not have: these tests' name
// is not in code page 1252. The provider compares bytes, and so takes the two for different readers.
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

TEST_F(ReaderNameTest, TheReaderIsFoundByTheBytesOfTheModule) {
  EXPECT_EQ("done", Acquire("\\\\.\\" + kModuleName + "\\one", CRYPT_SILENT, m_provider));
}

TEST_F(ReaderNameTest, TheLogHasTheBytesOfTheModule) {
  EXPECT_EQ("done", Acquire("one", CRYPT_SILENT, m_provider));
  EXPECT_THAT(TakeLog(), HasSubstr(Line(kModuleName)));
}

TEST_F(ReaderNameTest, TheReaderIsNotFoundByTheNameOfTheSystem) {
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

// A cut in the middle of a character is one of bytes, too: a name of 32 bytes is all that the provider takes.
TEST_F(ReaderNameTest, ALongNameIsCutInTheMiddleOfACharacterAndFoundByThatPart) {
  const std::string part = "A reader of very long words: \xC4\x8C\xC4";
  ASSERT_EQ(32U, part.size());
  InsertCard(part + "\x8D and more");
  EXPECT_EQ("done", Acquire("\\\\.\\" + part + "\\one", CRYPT_SILENT, m_provider));
  EXPECT_EQ(part, g_contextList.FindContext(m_provider)->GetReaderName());
}

// The watcher asks for the module's bytes, which the system does not know: so it does not see that the card is pulled.
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

// The reader dialog as a real window, with scripted readers.
#include <gtest/gtest.h>

#include "dialogs/CSelectCard.h"
#include "dialogs/DialogDriver.h"
#include "fixtures/ErrorCodes.h"
#include "platform/ScriptedWinSCard.h"

namespace {

constexpr int kReaders = 1094;

class ReaderDialogTest : public testing::Test {
 protected:
  INT_PTR Show(const std::function<void(DialogDriver&)>& user) {
    return DialogDriver::Run([&] { return m_dialog.DoModal(); }, user);
  }
  INT_PTR ShowUntilItEnds(const std::function<void(DialogDriver&)>& user) {
    return Show([&](DialogDriver& driver) {
      user(driver);
      DialogDriver::WaitFor("the end of the dialog", [&] { return IsWindow(driver.Window()) == FALSE; });
    });
  }

  std::string Chosen() const {
    std::string name;
    m_dialog.GetReaderName(&name);
    return name;
  }

  ScriptedWinSCard m_pcsc;
  CSelectCard m_dialog;
};

std::string Row(const DialogDriver& user, WPARAM row) {
  char text[128] = {};
  SendMessageA(user.Control(kReaders), CB_GETLBTEXT, row, reinterpret_cast<LPARAM>(text));
  return text;
}

TEST_F(ReaderDialogTest, OneReaderIsPreselectedAndWaitsForOk) {
  m_pcsc.AddReader("TELVO Reader A");
  EXPECT_EQ(1, ShowUntilItEnds([](DialogDriver& user) {
              EXPECT_EQ("Brenholt Devices CSP", user.Title());
              EXPECT_EQ("TELVO Reader A", user.Text(kReaders));
              user.Click(IDOK);
            }));
  EXPECT_EQ("TELVO Reader A", Chosen());
}

TEST_F(ReaderDialogTest, ThreeReadersAreSortedAndTheFirstIsPreselected) {
  for (const char* reader : {"Reader C", "Reader A", "Reader B"}) m_pcsc.AddReader(reader);
  EXPECT_EQ(1, ShowUntilItEnds([](DialogDriver& user) {
              EXPECT_EQ(3, SendMessageA(user.Control(kReaders), CB_GETCOUNT, 0, 0));
              EXPECT_EQ("Reader A", Row(user, 0));
              EXPECT_EQ("Reader B", Row(user, 1));
              EXPECT_EQ("Reader C", Row(user, 2));
              EXPECT_EQ("Reader A", user.Text(kReaders));
              user.Click(IDOK);
            }));
  EXPECT_EQ("Reader A", Chosen());
}

TEST_F(ReaderDialogTest, AnotherReaderCanBeChosenWithTheKeyboard) {
  for (const char* reader : {"Reader C", "Reader A", "Reader B"}) m_pcsc.AddReader(reader);
  EXPECT_EQ(1, ShowUntilItEnds([](DialogDriver& user) {
              user.PressKey(VK_TAB);
              user.PressKey(VK_TAB);
              user.PressKey(VK_DOWN);
              user.PressKey(VK_RETURN);
            }));
  EXPECT_EQ("Reader B", Chosen());
}

TEST_F(ReaderDialogTest, CancelEscapeAndTheCloseBoxChooseNothing) {
  m_pcsc.AddReader("TELVO Reader A");
  EXPECT_EQ(2, ShowUntilItEnds([](DialogDriver& user) { user.Click(IDCANCEL); }));
  EXPECT_EQ(2, ShowUntilItEnds([](DialogDriver& user) { user.PressKey(VK_ESCAPE); }));
  EXPECT_EQ(2, ShowUntilItEnds([](DialogDriver& user) { user.CloseBox(); }));
  EXPECT_EQ("", Chosen());
}

TEST_F(ReaderDialogTest, AFailingReaderListEndsTheDialogBeforeItIsShown) {
  m_pcsc.FailNext("SCardListReadersA", Code(SCARD_E_NO_READERS_AVAILABLE));
  try {
    m_dialog.DoModal();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::exception& error) {
    EXPECT_STREQ("SCardListReaders Failed: 0x8010002E", error.what());
  }
}

}  // namespace

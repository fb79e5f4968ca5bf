#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "dialogs/CSelectCard.h"
#include "dialogs/ScriptedDialogs.h"
#include "fixtures/ErrorCodes.h"
#include "platform/ScriptedWinSCard.h"

namespace {

constexpr int kReaders = 1094;

class CSelectCardTest : public ::testing::Test {
 protected:
  // The message of the exception that the run throws.
  std::string Failure(CSelectCard& dialog) {
    m_dialogs.OnNext([](ScriptedDialog& /*shown*/) { ADD_FAILURE() << "the dialog was shown"; });
    try {
      dialog.DoModal();
    } catch (const std::exception& error) {
      return error.what();
    }
    return "nothing was thrown";
  }

  static std::string NameOf(const CSelectCard& dialog) {
    std::string name = "untouched";
    dialog.GetReaderName(&name);
    return name;
  }

  ScriptedWinSCard m_pcsc;
  ScriptedDialogs m_dialogs;
};

TEST_F(CSelectCardTest, OneReaderIsPreselectedAndStillHasToBeConfirmed) {
  m_pcsc.AddReader("TELVO Reader A");
  CSelectCard dialog;
  m_dialogs.OnNext([&](ScriptedDialog& shown) {
    EXPECT_EQ(124, shown.GetResource());
    EXPECT_EQ("Brenholt Devices CSP", shown.GetTitle());
    EXPECT_EQ(112, shown.GetSmallIcon());
    EXPECT_EQ(std::vector<std::string>{"TELVO Reader A"}, shown.GetItems(kReaders));
    EXPECT_EQ(0, shown.GetSelectedItem(kReaders));
    EXPECT_FALSE(shown.HasEnded());
    EXPECT_EQ("", NameOf(dialog));
    shown.Click(1);
  });
  EXPECT_EQ(1, dialog.DoModal());
  EXPECT_EQ("TELVO Reader A", NameOf(dialog));
}

TEST_F(CSelectCardTest, WatchesNoInput) { EXPECT_FALSE(CSelectCard().WatchesInput(kReaders)); }

TEST_F(CSelectCardTest, ReadersOfAllGroupsAreListed) {
  m_pcsc.AddReader("TELVO Reader A");
  CSelectCard dialog;
  m_dialogs.OnNext([](ScriptedDialog& shown) { shown.Click(2); });
  dialog.DoModal();
  EXPECT_EQ((std::vector<std::string>{"SCardEstablishContext(0)", "SCardListReadersA(1)"}), m_pcsc.TakeCalls());
}

TEST_F(CSelectCardTest, ReadersAreSortedAndTheFirstIsPreselected) {
  for (const char* reader : {"Reader C", "Reader A", "Reader B"}) m_pcsc.AddReader(reader);
  CSelectCard dialog;
  m_dialogs.OnNext([](ScriptedDialog& shown) {
    EXPECT_EQ((std::vector<std::string>{"Reader A", "Reader B", "Reader C"}), shown.GetItems(kReaders));
    EXPECT_EQ("Reader A", shown.GetText(kReaders));
    shown.Click(1);
  });
  EXPECT_EQ(1, dialog.DoModal());
  EXPECT_EQ("Reader A", NameOf(dialog));
}

TEST_F(CSelectCardTest, TheReaderThatTheUserChoosesIsTheResult) {
  for (const char* reader : {"Reader A", "Reader B"}) m_pcsc.AddReader(reader);
  CSelectCard dialog;
  m_dialogs.OnNext([](ScriptedDialog& shown) {
    shown.Choose(kReaders, 1);
    shown.Click(1);
  });
  EXPECT_EQ(1, dialog.DoModal());
  EXPECT_EQ("Reader B", NameOf(dialog));
}

TEST_F(CSelectCardTest, NamesArePassedOnByteForByte) {
  m_pcsc.AddReader("Leser \xE4 00 00");
  CSelectCard dialog;
  m_dialogs.OnNext([](ScriptedDialog& shown) { shown.Click(1); });
  dialog.DoModal();
  EXPECT_EQ("Leser \xE4 00 00", NameOf(dialog));
}

TEST_F(CSelectCardTest, CancelAndTheSystemMenuReturnTwoAndNoName) {
  m_pcsc.AddReader("Reader A");
  for (const bool systemMenu : {false, true}) {
    CSelectCard dialog;
    m_dialogs.OnNext([&](ScriptedDialog& shown) { systemMenu ? shown.Cancel() : void(shown.Click(2)); });
    EXPECT_EQ(2, dialog.DoModal());
    EXPECT_EQ("", NameOf(dialog));
  }
}

TEST_F(CSelectCardTest, ANullTargetForTheNameThrows) {
  const CSelectCard dialog;
  try {
    dialog.GetReaderName(nullptr);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::exception& error) {
    EXPECT_STREQ("Reader name is NULL", error.what());
  }
}

TEST_F(CSelectCardTest, AContextThatCannotBeEstablishedThrowsWithItsCode) {
  m_pcsc.FailNext("SCardEstablishContext", Code(SCARD_E_NO_SERVICE));
  {
    CSelectCard dialog;
    EXPECT_EQ("SCardEstablishContext Failed: 0x8010001D", Failure(dialog));
  }
  EXPECT_EQ(std::vector<std::string>{"SCardEstablishContext(0)"}, m_pcsc.TakeCalls());
}

TEST_F(CSelectCardTest, AReaderListThatFailsThrowsWithItsCodeInEightDigits) {
  m_pcsc.FailNext("SCardListReadersA", 0x6);
  CSelectCard dialog;
  EXPECT_EQ("SCardListReaders Failed: 0x00000006", Failure(dialog));
}

TEST_F(CSelectCardTest, WithoutAnyReaderTheListFails) {
  CSelectCard dialog;
  EXPECT_EQ("SCardListReaders Failed: 0x8010002E", Failure(dialog));
}

TEST_F(CSelectCardTest, AFirstReaderNameOfOneCharacterCountsAsNoReader) {
  m_pcsc.AddReader("X");
  m_pcsc.AddReader("Reader A");
  CSelectCard dialog;
  EXPECT_EQ("No cards/tokens were detected.", Failure(dialog));
}

TEST_F(CSelectCardTest, ALaterReaderNameOfOneCharacterIsListed) {
  m_pcsc.AddReader("Reader A");
  m_pcsc.AddReader("X");
  CSelectCard dialog;
  m_dialogs.OnNext([](ScriptedDialog& shown) {
    EXPECT_EQ(2U, shown.GetItems(kReaders).size());
    shown.Cancel();
  });
  dialog.DoModal();
}

TEST_F(CSelectCardTest, TheContextIsReleasedWithTheDialogAndTheListIsNotFreed) {
  m_pcsc.AddReader("Reader A");
  {
    CSelectCard dialog;
    m_dialogs.OnNext([](ScriptedDialog& shown) { shown.Click(1); });
    dialog.DoModal();
    EXPECT_EQ((std::vector<std::string>{"SCardEstablishContext(0)", "SCardListReadersA(1)"}), m_pcsc.TakeCalls());
  }
  EXPECT_EQ(std::vector<std::string>{"SCardReleaseContext(1)"}, m_pcsc.TakeCalls());
}

TEST_F(CSelectCardTest, TheContextIsReleasedAfterAFailedList) {
  {
    CSelectCard dialog;
    Failure(dialog);
    m_pcsc.TakeCalls();
  }
  EXPECT_EQ(std::vector<std::string>{"SCardReleaseContext(1)"}, m_pcsc.TakeCalls());
}

TEST_F(CSelectCardTest, ADialogThatIsNotRunReleasesNothing) {
  { const CSelectCard dialog; }
  EXPECT_EQ(std::vector<std::string>{}, m_pcsc.TakeCalls());
}

TEST_F(CSelectCardTest, ASecondRunReplacesTheNameAndTheContext) {
  for (const char* reader : {"Reader A", "Reader B"}) m_pcsc.AddReader(reader);
  {
    CSelectCard dialog;
    m_dialogs.OnNext([](ScriptedDialog& shown) { shown.Click(1); });
    dialog.DoModal();
    m_dialogs.OnNext([](ScriptedDialog& shown) {
      shown.Choose(kReaders, 1);
      shown.Click(1);
    });
    dialog.DoModal();
    EXPECT_EQ("Reader B", NameOf(dialog));
  }
  EXPECT_EQ((std::vector<std::string>{"SCardEstablishContext(0)", "SCardListReadersA(1)", "SCardReleaseContext(1)",
                                      "SCardEstablishContext(0)", "SCardListReadersA(2)", "SCardReleaseContext(2)"}),
            m_pcsc.TakeCalls());
}

}  // namespace

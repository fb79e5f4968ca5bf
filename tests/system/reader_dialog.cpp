// The reader dialog on the system's own PC/SC. WithReadersTest needs readers; TELVO_READERS lists the readers that the
// dialog must offer, sorted by name and separated by semicolons. WithoutReadersTest needs a system without PC/SC.
#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>

#include "dialogs/CSelectCard.h"
#include "dialogs/DialogDriver.h"
#include "dialogs/PictureStand.h"

namespace {

constexpr int kReaders = 1094;

std::vector<std::string> ExpectedReaders() {
  const char* const names = std::getenv("TELVO_READERS");
  std::istringstream list(names != nullptr ? names : "");
  std::vector<std::string> readers;
  for (std::string name; std::getline(list, name, ';');) readers.push_back(name);
  return readers;
}

std::vector<std::string> Rows(const DialogDriver& user) {
  std::vector<std::string> rows;
  const LRESULT count = SendMessageA(user.Control(kReaders), CB_GETCOUNT, 0, 0);
  for (LRESULT row = 0; row < count; ++row) {
    char text[256] = {};
    SendMessageA(user.Control(kReaders), CB_GETLBTEXT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(text));
    rows.emplace_back(text);
  }
  return rows;
}

INT_PTR Show(CSelectCard& dialog, const std::function<void(DialogDriver&)>& user) {
  return DialogDriver::Run([&] { return dialog.DoModal(); }, user);
}

std::string Chosen(const CSelectCard& dialog) {
  std::string name;
  dialog.GetReaderName(&name);
  return name;
}

TEST(WithoutReadersTest, TheDialogThrowsAnExceptionWithTheCode) {
  CSelectCard dialog;
  try {
    dialog.DoModal();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::exception& error) {
    const std::string text = error.what();
    EXPECT_EQ(0u, text.rfind("SCardEstablishContext Failed: 0x80100", 0)) << text;
    EXPECT_EQ(std::string("SCardEstablishContext Failed: 0x80100001").size(), text.size()) << text;
  }
}

TEST(WithReadersTest, ReadersAreListedByNameAndTheFirstIsPreselected) {
  const std::vector<std::string> readers = ExpectedReaders();
  ASSERT_FALSE(readers.empty());
  CSelectCard dialog;
  EXPECT_EQ(1, Show(dialog, [&](DialogDriver& user) {
              EXPECT_EQ(readers, Rows(user));
              EXPECT_EQ(readers.front(), user.Text(kReaders));
              user.Click(IDOK);
            }));
  EXPECT_EQ(readers.front(), Chosen(dialog));
}

TEST(WithReadersTest, TheLastReaderCanBeChosen) {
  const std::vector<std::string> readers = ExpectedReaders();
  ASSERT_FALSE(readers.empty());
  CSelectCard dialog;
  EXPECT_EQ(1, Show(dialog, [&](DialogDriver& user) {
              SendMessageA(user.Control(kReaders), WM_KEYDOWN, VK_END, 1);
              user.Click(IDOK);
            }));
  EXPECT_EQ(readers.back(), Chosen(dialog));
}

TEST(WithReadersTest, CancelChoosesNothing) {
  CSelectCard dialog;
  EXPECT_EQ(2, Show(dialog, [](DialogDriver& user) { user.Click(IDCANCEL); }));
  EXPECT_EQ("", Chosen(dialog));
}

// Run by scripts/pictures.
TEST(ReaderPicture, Stands) {
  CSelectCard dialog;
  EXPECT_EQ(2, Show(dialog, [](DialogDriver& /*user*/) { StandForAPicture(); }));
}

}  // namespace

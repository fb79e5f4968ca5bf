// The login dialog with the on-screen keyboard as a real window.
#include <gtest/gtest.h>

#include "dialogs/DialogDriver.h"
#include "dialogs/unreached/CCLoginDlg.h"

namespace {

constexpr int kPin = 1002;

INT_PTR Show(const std::function<void(DialogDriver&)>& user) {
  CCLoginDlg dialog;
  dialog.SetTokenLabel("Anna's card");
  return DialogDriver::Run([&] { return dialog.DoModal(); }, user);
}

TEST(KeyboardDialogTest, OpensWithTheKeyboardHidden) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              EXPECT_EQ("Enter PIN for Anna's card", user.Title());
              RECT client = {};
              GetClientRect(user.Window(), &client);
              RECT key = {};
              GetWindowRect(user.Control(1010), &key);
              MapWindowPoints(nullptr, user.Window(), reinterpret_cast<POINT*>(&key), 2);
              EXPECT_GE(key.top, client.bottom);
              EXPECT_FALSE(user.IsVisible(1003));
              EXPECT_FALSE(user.IsVisible(1006));
              EXPECT_TRUE(user.IsEnabled(1007));
            }));
}

TEST(KeyboardDialogTest, OnScreenKeysTypeAsterisksAndDeleteThem) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.Click(1024);
              user.Click(1039);
              user.Click(1064);
              user.Click(1061);
              EXPECT_EQ("***", user.Text(kPin));
              EXPECT_TRUE(user.IsEnabled(1001));
              user.Click(1023);
              EXPECT_EQ("**", user.Text(kPin));
              user.Click(1050);
              EXPECT_EQ(std::make_pair(DWORD{0}, DWORD{0}), user.Selection(kPin));
              user.Click(1037);
              EXPECT_EQ("*", user.Text(kPin));
              user.Click(1062);
              EXPECT_EQ(std::make_pair(DWORD{1}, DWORD{1}), user.Selection(kPin));
            }));
}

TEST(KeyboardDialogTest, ItsOwnCancelButtonCancels) {
  EXPECT_EQ(2, Show([](DialogDriver& user) { user.Click(1000); }));
}

}  // namespace

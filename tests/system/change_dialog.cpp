// The dialogs that change a PIN as users see them: real windows, a session on a token, a user at the keyboard.
#include "TokenDialogTest.h"
#include "cryptoki/CryptokiError.h"
#include "dialogs/ChangePIN.h"
#include "dialogs/PictureStand.h"
#include "dialogs/unreached/CCLoginDlg.h"

namespace {

constexpr int kOK = 1;
constexpr int kCancel = 2;
constexpr int kClear = 1067;
constexpr int kCurrent = 1068;
constexpr int kNew = 1069;
constexpr int kRepeated = 1071;
constexpr int kStatus = 1076;
constexpr int kWord = 1079;

class ChangeDialogTest : public TokenDialogTest {
 protected:
  // The dialog's result. A dialog that `user` leaves open is cancelled.
  INT_PTR Show(const std::function<void(DialogDriver&)>& user) {
    return DialogDriver::Run([&] { return ChangePIN(&m_session, m_cache, "Anna's card"); }, user);
  }

  // Replaces the fields' contents, and clicks OK.
  static void Try(const DialogDriver& user, const std::string& current, const std::string& fresh) {
    user.Click(kClear);
    user.Type(kCurrent, current);
    user.Type(kNew, fresh);
    user.Type(kRepeated, fresh);
    user.Click(kOK);
  }

  // The result of a login, 0 for success. A wrong PIN returns the tries left.
  DWORD LogIn(std::string pin) {
    try {
      m_session.Login(CKU_USER, reinterpret_cast<BYTE*>(pin.data()), static_cast<DWORD>(pin.size()));
      return 0;
    } catch (const CryptokiError& error) {
      return error.GetCode();
    }
  }
};

TEST_F(ChangeDialogTest, ThePinIsChangedCachedAndUsedToLogIn) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              EXPECT_EQ("Change PIN for Anna's card", user.Title());
              Try(user, "123456", "Quill-42");
            }));
  EXPECT_TRUE(IsLoggedIn());
  EXPECT_EQ("Quill-42", CachedPin());
  EXPECT_EQ(2u, LogIn("123456"));
  EXPECT_EQ(0u, LogIn("Quill-42"));
}

TEST_F(ChangeDialogTest, AWrongPinShowsTheTriesLeftAndTheRightOneStillWorks) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              Try(user, "000000", "Quill-42");
              EXPECT_EQ("Incorrect Current PIN, 2 trials left", user.Text(kStatus));
              EXPECT_GT(RedPixels(user, kStatus), 200);
              EXPECT_TRUE(user.HasFocus(kCurrent));
              Try(user, "123456", "Quill-42");
            }));
  EXPECT_EQ(0u, LogIn("Quill-42"));
}

TEST_F(ChangeDialogTest, TheLastTryLocksThePinAndTheDialogCanOnlyBeClosed) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              Try(user, "000000", "Quill-42");
              Try(user, "000000", "Quill-42");
              EXPECT_EQ("Incorrect Current PIN, 1 trials left", user.Text(kStatus));
              Try(user, "000000", "Quill-42");
              EXPECT_EQ("PIN Locked", user.Text(kStatus));
              for (const int control : {kOK, kClear, kCurrent, kNew, kRepeated}) {
                EXPECT_FALSE(user.IsEnabled(control)) << control;
              }
              user.PressKey(VK_ESCAPE);
              DialogDriver::WaitFor("the end of the dialog", [&] { return IsWindow(user.Window()) == FALSE; });
            }));
  EXPECT_EQ(0, m_cache->IsPINSet());
  EXPECT_EQ(DWORD{CKR_PIN_LOCKED}, LogIn("123456"));
}

TEST_F(ChangeDialogTest, APinThatTheTokenRejectsIsRefusedWithItsErrorText) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              Try(user, "123456", "1");
              EXPECT_EQ("The specified PIN is either too long or too short", user.Text(kStatus));
              Try(user, "123456", "Quill-42");
            }));
  EXPECT_EQ("Quill-42", CachedPin());
}

TEST_F(ChangeDialogTest, ACancelledDialogLeavesThePinUnchanged) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.Type(kCurrent, "123456");
              user.Click(kCancel);
            }));
  EXPECT_EQ(0u, LogIn("123456"));
  EXPECT_EQ(0, m_cache->IsPINSet());
}

TEST_F(ChangeDialogTest, TheLargerLoginDialogChangesThePinAfterItsLogin) {
  CCLoginDlg dialog;
  dialog.SetSession(&m_session);
  dialog.SetTokenLabel("Anna's card");
  dialog.AttachPINCache(m_cache);
  EXPECT_EQ(1, DialogDriver::Run([&] { return dialog.DoModal(); },
                                 [](DialogDriver& user) {
                                   user.Click(1005);
                                   user.Type(1002, "123456");
                                   const DialogDriver change = user.Open(1001);
                                   EXPECT_FALSE(change.IsEnabled(kCurrent));
                                   EXPECT_EQ("******", change.Text(kCurrent));
                                   change.Type(kNew, "Quill-42");
                                   change.Type(kRepeated, "Quill-42");
                                   change.Click(kOK);
                                   DialogDriver::WaitFor("the end of both dialogs",
                                                         [&] { return IsWindow(user.Window()) == FALSE; });
                                 }));
  EXPECT_EQ("Quill-42", CachedPin());
  EXPECT_EQ(0u, LogIn("Quill-42"));
}

// --- Run by scripts/pictures

class ChangePicture : public ChangeDialogTest {};

TEST_F(ChangePicture, Stands) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.Type(kCurrent, "123456");
              user.Type(kNew, "Quill-42");
              user.Type(kRepeated, "Quill");
              EXPECT_EQ("Value of New PIN does not Match!", user.Text(kStatus));
              EXPECT_EQ("Strong", user.Text(kWord));
              StandForAPicture();
            }));
}

}  // namespace

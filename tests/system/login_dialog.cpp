// The login dialog as users see it: a real window, a session on a token, a user at the keyboard.
#include "TokenDialogTest.h"
#include "dialogs/CLoginEX.h"
#include "dialogs/PictureStand.h"
#include "fixtures/Expect.h"

namespace {

constexpr int kLogin = 1001;
constexpr int kPin = 1002;
constexpr int kCancel = 1087;
constexpr int kStatus = 1092;

class LoginDialogTest : public TokenDialogTest {
 protected:
  // The dialog's result. A dialog that `user` leaves open is cancelled.
  INT_PTR Show(const std::function<void(DialogDriver&)>& user) {
    CLoginEX dialog;
    dialog.SetSession(&m_session);
    dialog.SetTokenLabel("Anna's card");
    dialog.SetTokenFlags(0);
    dialog.AttachPINCache(m_cache);
    dialog.SetPINLimits(4, 16);
    return DialogDriver::Run([&] { return dialog.DoModal(); }, user);
  }

  // Replaces the field's contents with a PIN, and clicks Login.
  static void Try(const DialogDriver& user, const std::string& pin) {
    while (!user.Text(kPin).empty()) user.Type(kPin, "\b");
    user.Type(kPin, pin);
    user.Click(kLogin);
  }
};

TEST_F(LoginDialogTest, OpensWithTheTokensNameAnEmptyStatusAndTheFocusOnThePin) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              EXPECT_EQ("Enter PIN for Anna's card", user.Title());
              EXPECT_EQ("", user.Text(kStatus));
              EXPECT_EQ("", user.Text(kPin));
              EXPECT_TRUE(user.HasFocus(kPin));
              EXPECT_FALSE(user.IsEnabled(kLogin));
              EXPECT_TRUE(user.IsEnabled(kCancel));
            }));
}

TEST_F(LoginDialogTest, ThePinOfOneContextIsUsedByASilentSecondOne) {
  TELVOCSPContext first(nullptr);
  first.Initialize("\\\\.\\TELVO Reader A\\", 0, m_cryptoki, 1);
  DialogDriver::Run(
      [&]() -> INT_PTR {
        first.Login();
        return 0;
      },
      [](DialogDriver& user) {
        EXPECT_EQ("Enter PIN for Anna's card", user.Title().substr(0, 25));
        Try(user, "123456");
      });
  TELVOCSPContext second(nullptr);
  second.Initialize("\\\\.\\TELVO Reader A\\", CRYPT_SILENT, m_cryptoki, 1);
  second.Login();
  EXPECT_TRUE(IsLoggedIn());
}

TEST_F(LoginDialogTest, CancellingTheDialogCancelsTheLogin) {
  TELVOCSPContext context(nullptr);
  context.Initialize(nullptr, 0, m_cryptoki, 1);
  EXPECT_CONTEXT_ERROR(0x8010006E, "User Interface cancelled by user",
                       DialogDriver::Run(
                           [&]() -> INT_PTR {
                             context.Login();
                             return 0;
                           },
                           [](DialogDriver& user) { user.Click(kCancel); }));
}

TEST_F(LoginDialogTest, TheRightPinReturns1AndFillsTheCache) {
  EXPECT_EQ(1, Show([](DialogDriver& user) { Try(user, "123456"); }));
  EXPECT_TRUE(IsLoggedIn());
  EXPECT_EQ(1, m_cache->IsPINSet());
  EXPECT_EQ("123456", CachedPin());
}

TEST_F(LoginDialogTest, ThePinCanBeTypedOnTheKeyboardAndConfirmedWithEnter) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              for (BYTE digit = '1'; digit <= '6'; ++digit) user.PressKey(digit);
              user.PressKey(VK_RETURN);
              DialogDriver::WaitFor("the end of the dialog", [&] { return IsWindow(user.Window()) == FALSE; });
            }));
  EXPECT_EQ("123456", CachedPin());
}

TEST_F(LoginDialogTest, AfterACharacterIsTypedAndDeletedLoginAsksForThePin) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.Type(kPin, "1");
              EXPECT_TRUE(user.IsEnabled(kLogin));
              user.Type(kPin, "\b");
              EXPECT_EQ("", user.Text(kPin));
              EXPECT_TRUE(user.IsEnabled(kLogin));
              user.Click(kLogin);
              EXPECT_EQ("Please Enter PIN Value!", user.Text(kStatus));
              EXPECT_TRUE(user.HasFocus(kPin));
            }));
  EXPECT_EQ(0, m_cache->IsPINSet());
}

TEST_F(LoginDialogTest, AWrongPinShowsTheTriesLeftInRedAndBold) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              EXPECT_EQ(0, RedPixels(user, kStatus));
              Try(user, "000000");
              EXPECT_EQ("Incorrect PIN, 2 trials left", user.Text(kStatus));
              EXPECT_GT(RedPixels(user, kStatus), 200);
              EXPECT_EQ(16, user.Font(kStatus).lfHeight);
              EXPECT_EQ(700, user.Font(kStatus).lfWeight);
              EXPECT_STREQ("Arial", user.Font(kStatus).lfFaceName);
              EXPECT_TRUE(user.IsEnabled(kPin));
              EXPECT_TRUE(user.IsEnabled(kLogin));
            }));
  EXPECT_FALSE(IsLoggedIn());
  EXPECT_EQ(0, m_cache->IsPINSet());
}

TEST_F(LoginDialogTest, TheRightPinWorksAfterAWrongOne) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              Try(user, "654321");
              EXPECT_EQ("Incorrect PIN, 2 trials left", user.Text(kStatus));
              Try(user, "123456");
            }));
  EXPECT_EQ("123456", CachedPin());
}

TEST_F(LoginDialogTest, TheLastTryLocksThePinAndLeavesOnlyCancel) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              Try(user, "000000");
              Try(user, "000000");
              EXPECT_EQ("Incorrect PIN, 1 trials left", user.Text(kStatus));
              Try(user, "000000");
              EXPECT_EQ("PIN Locked", user.Text(kStatus));
              EXPECT_FALSE(user.IsEnabled(kPin));
              EXPECT_FALSE(user.IsEnabled(kLogin));
              EXPECT_TRUE(user.IsEnabled(kCancel));
              user.Click(kCancel);
            }));
}

TEST_F(LoginDialogTest, ALockedDialogCanBeClosedWithTheKeyboard) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              for (int i = 0; i < 3; ++i) Try(user, "000000");
              EXPECT_EQ("PIN Locked", user.Text(kStatus));
              user.PressKey(VK_ESCAPE);
              DialogDriver::WaitFor("the end of the dialog", [&] { return IsWindow(user.Window()) == FALSE; });
            }));
}

TEST_F(LoginDialogTest, CancelAndEscapeReturn2) {
  EXPECT_EQ(2, Show([](DialogDriver& user) { user.Click(kCancel); }));
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.PressKey(VK_ESCAPE);
              DialogDriver::WaitFor("the end of the dialog", [&] { return IsWindow(user.Window()) == FALSE; });
            }));
  EXPECT_EQ(0, m_cache->IsPINSet());
}

TEST_F(LoginDialogTest, NineCharactersEndTheDialogWithAnInternalError) {
  EXPECT_EQ(INT_PTR{0x8009002D}, Show([](DialogDriver& user) { Try(user, "123456789"); }));
  EXPECT_EQ(0, m_cache->IsPINSet());
}

TEST_F(LoginDialogTest, AfterNineCharactersTheOperationFailsWithoutALogin) {
  TELVOCSPContext context(nullptr);
  context.Initialize("\\\\.\\TELVO Reader A\\new", CRYPT_NEWKEYSET, m_cryptoki, 1);
  DWORD key = 0;
  EXPECT_CRYPTOKI_ERROR(CKR_USER_NOT_LOGGED_IN, DialogDriver::Run(
                                                    [&]() -> INT_PTR {
                                                      context.GenerateKeyPair(AT_SIGNATURE, 1024U << 16U, &key,
                                                                              nullptr);
                                                      return 0;
                                                    },
                                                    [](DialogDriver& user) { Try(user, "123456789"); }));
  EXPECT_FALSE(IsLoggedIn());
}

// Typing after a wrong PIN adds to its asterisks instead of replacing them.
TEST_F(LoginDialogTest, TheAsterisksOfAWrongPinSpoilTheNextOneUnlessTheyAreDeleted) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              Try(user, "12");
              EXPECT_EQ("Incorrect PIN, 2 trials left", user.Text(kStatus));
              EXPECT_EQ("**", user.Text(kPin));
              user.Key(kPin, VK_END);
              user.Type(kPin, "123456");
              EXPECT_EQ("********", user.Text(kPin));
              user.Click(kLogin);
              EXPECT_EQ("Incorrect PIN, 1 trials left", user.Text(kStatus));
              Try(user, "123456");
            }));
}

TEST_F(LoginDialogTest, TheFieldAcceptsAsManyCharactersAsTheTokensLongestPin) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.Type(kPin, "01234567890123456789");
              EXPECT_EQ("****************", user.Text(kPin));
            }));
}

TEST_F(LoginDialogTest, TheFieldOnlyEverShowsAsterisks) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              std::string expected;
              for (const char character : std::string("12x3456")) {
                user.Type(kPin, std::string(1, character));
                expected += '*';
                EXPECT_EQ(expected, user.Text(kPin));
              }
              for (int i = 0; i < 4; ++i) user.Key(kPin, VK_LEFT);
              user.Type(kPin, "\b");
              EXPECT_EQ("******", user.Text(kPin));
              user.Click(kLogin);
            }));
  EXPECT_EQ("123456", CachedPin());
}

TEST_F(LoginDialogTest, CharactersAreInsertedAndDeletedAtTheCaret) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              user.Type(kPin, "246");
              user.Key(kPin, VK_HOME);
              user.Type(kPin, "1");
              user.Key(kPin, VK_RIGHT);
              user.Type(kPin, "39");
              user.Key(kPin, VK_LEFT);
              user.Key(kPin, VK_DELETE);
              user.Key(kPin, VK_RIGHT);
              user.Type(kPin, "5");
              EXPECT_EQ("******", user.Text(kPin));
              EXPECT_EQ(std::make_pair(DWORD{5}, DWORD{5}), user.Selection(kPin));
              user.Click(kLogin);
            }));
  EXPECT_EQ("123456", CachedPin());
}

TEST_F(LoginDialogTest, ShiftWithEndOrHomeEmptiesTheField) {
  for (const BYTE key : {BYTE{VK_END}, BYTE{VK_HOME}}) {
    EXPECT_EQ(1, Show([&](DialogDriver& user) {
                user.Type(kPin, "98765");
                user.HoldKey(VK_SHIFT);
                user.PressKey(key);
                user.ReleaseKey(VK_SHIFT);
                DialogDriver::WaitFor("an empty field", [&] { return user.Text(kPin).empty(); });
                user.Type(kPin, "123456");
                user.Click(kLogin);
              }));
  }
  EXPECT_EQ("123456", CachedPin());
}

TEST_F(LoginDialogTest, ADoubleClickSelectsNothing) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              user.Type(kPin, "12345");
              user.DoubleClick(kPin);
              const auto selection = user.Selection(kPin);
              EXPECT_EQ(selection.first, selection.second);
              user.Key(kPin, VK_END);
              user.Type(kPin, "6");
              EXPECT_EQ("******", user.Text(kPin));
              user.Click(kLogin);
            }));
  EXPECT_EQ("123456", CachedPin());
}

TEST_F(LoginDialogTest, SelectionsByMouseOrShiftAndArrowsAreDropped) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.Type(kPin, "12345");
              const HWND edit = user.Control(kPin);
              SendMessageA(edit, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(2, 6));
              SendMessageA(edit, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(60, 6));
              EXPECT_EQ(user.Selection(kPin).first, user.Selection(kPin).second);
              SendMessageA(edit, WM_LBUTTONUP, 0, MAKELPARAM(60, 6));
              EXPECT_EQ(user.Selection(kPin).first, user.Selection(kPin).second);
              user.HoldKey(VK_SHIFT);
              user.PressKey(VK_LEFT);
              user.ReleaseKey(VK_SHIFT);
              SendMessageA(edit, WM_NULL, 0, 0);
              EXPECT_EQ(user.Selection(kPin).first, user.Selection(kPin).second);
              EXPECT_EQ("*****", user.Text(kPin));
            }));
}

TEST_F(LoginDialogTest, OnlyAsterisksAreCopied) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.Type(kPin, "123456");
              SendMessageA(user.Control(kPin), EM_SETSEL, 0, -1);
              char text[16] = {};
              SendMessageA(user.Control(kPin), WM_GETTEXT, sizeof(text), reinterpret_cast<LPARAM>(text));
              EXPECT_STREQ("******", text);
            }));
}

// Run by login_dialog.sh, alone and without a screen.
class NoScreenTest : public LoginDialogTest {};

TEST_F(NoScreenTest, TheResultIsMinusOne) {
  CLoginEX dialog;
  dialog.SetSession(&m_session);
  EXPECT_EQ(-1, dialog.DoModal());
}

// Run by scripts/pictures.
class LoginPicture : public LoginDialogTest {};

TEST_F(LoginPicture, Stands) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              Try(user, "000000");
              Try(user, "1234567");
              EXPECT_EQ("Incorrect PIN, 1 trials left", user.Text(kStatus));
              StandForAPicture();
            }));
}

}  // namespace

// The Change PIN dialog as a real window, on a session without a token.
#include <algorithm>
#include <gtest/gtest.h>

#include "dialogs/CChangePINDlg.h"
#include "dialogs/DialogDriver.h"
#include "dialogs/unreached/CCLoginDlg.h"
#include "module/AnsweringSession.h"

namespace {

constexpr int kOK = 1;
constexpr int kCancel = 2;
constexpr int kClear = 1067;
constexpr int kCurrent = 1068;
constexpr int kNew = 1069;
constexpr int kShowKeyboard = 1070;
constexpr int kRepeated = 1071;
constexpr int kReveal = 1072;
constexpr int kStatus = 1076;
constexpr int kBar = 1077;
constexpr int kWord = 1079;

const std::vector<int> kDigitRow = {1020, 1011, 1012, 1013, 1014, 1015, 1016, 1017, 1018, 1019};

bool IsKey(int control) { return control >= 1010 && control <= 1064; }

boost::shared_array<BYTE> Bytes(const std::string& text) {
  boost::shared_array<BYTE> bytes(new BYTE[text.size()]);
  std::copy(text.begin(), text.end(), bytes.get());
  return bytes;
}

RECT PlaceOf(const DialogDriver& user, HWND control) {
  RECT frame = {};
  GetWindowRect(control, &frame);
  MapWindowPoints(nullptr, user.Window(), reinterpret_cast<POINT*>(&frame), 2);
  return frame;
}

void Enter(const DialogDriver& user, const std::string& current, const std::string& fresh) {
  user.Type(kCurrent, current);
  user.Type(kNew, fresh);
  user.Type(kRepeated, fresh);
}

// Moves the focus from the repeated PIN, where a mismatch puts it, back to the new PIN.
void TabBack(const DialogDriver& user) {
  user.HoldKey(VK_SHIFT);
  user.PressKey(VK_TAB);
  user.ReleaseKey(VK_SHIFT);
  DialogDriver::WaitFor("the focus", [&] { return user.HasFocus(kNew); });
}

void WaitForTheEnd(const DialogDriver& user) {
  DialogDriver::WaitFor("the end of the dialog", [&] { return IsWindow(user.Window()) == FALSE; });
}

class ChangePINDialogTest : public testing::Test {
 protected:
  ChangePINDialogTest() {
    m_dialog.SetSession(&m_session);
    m_dialog.SetTokenLabel("Anna's card");
  }

  INT_PTR Show(const std::function<void(DialogDriver&)>& user) {
    return DialogDriver::Run([&] { return m_dialog.DoModal(); }, user);
  }

  AnsweringSession m_session;
  CChangePINDlg m_dialog;
};

TEST_F(ChangePINDialogTest, OpensOnTheCurrentPinWithTheKeyboardHidden) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              EXPECT_EQ("Change PIN for Anna's card", user.Title());
              EXPECT_TRUE(user.HasFocus(kCurrent));
              EXPECT_FALSE(user.IsEnabled(kOK));
              EXPECT_TRUE(user.IsEnabled(kClear));
              EXPECT_FALSE(user.IsEnabled(kShowKeyboard));
              EXPECT_TRUE(user.IsVisible(kShowKeyboard));
              EXPECT_FALSE(user.IsVisible(kReveal));
              EXPECT_FALSE(user.IsVisible(kBar));
              RECT client = {};
              GetClientRect(user.Window(), &client);
              for (HWND child = GetWindow(user.Window(), GW_CHILD); child != nullptr;
                   child = GetWindow(child, GW_HWNDNEXT)) {
                const RECT place = PlaceOf(user, child);
                const int id = GetDlgCtrlID(child);
                if (IsKey(id)) {
                  EXPECT_GE(place.top, client.bottom) << id;
                } else {
                  EXPECT_LE(place.bottom, client.bottom) << id;
                  EXPECT_LE(place.right, client.right) << id;
                }
              }
            }));
}

TEST_F(ChangePINDialogTest, ChangesThePin) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              Enter(user, "1234", "567890");
              for (const int edit : {kCurrent, kNew, kRepeated}) {
                EXPECT_EQ(std::string::npos, user.Text(edit).find_first_not_of('*')) << edit;
              }
              EXPECT_TRUE(user.IsEnabled(kOK));
              user.Click(kOK);
            }));
  EXPECT_EQ(std::vector<std::string>{"1234 to 567890"}, m_session.changes);
  EXPECT_EQ(std::vector<std::string>{"567890"}, m_session.pins);
}

TEST_F(ChangePINDialogTest, CanBeUsedWithTheKeyboardAlone) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              user.PressKey('1');
              user.PressKey(VK_TAB);
              user.PressKey('2');
              user.PressKey(VK_TAB);
              user.PressKey('2');
              DialogDriver::WaitFor("OK", [&] { return user.IsEnabled(kOK); });
              user.PressKey(VK_RETURN);
              WaitForTheEnd(user);
            }));
  EXPECT_EQ(std::vector<std::string>{"1 to 2"}, m_session.changes);
}

TEST_F(ChangePINDialogTest, TabbingIntoAFieldKeepsItsText) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              Enter(user, "12", "34");
              TabBack(user);
              user.PressKey(VK_END);
              user.PressKey('5');
              DialogDriver::WaitFor("the key", [&] { return user.Text(kNew) == "***"; });
              user.Type(kRepeated, "5");
              user.Click(kOK);
            }));
  EXPECT_EQ(std::vector<std::string>{"12 to 345"}, m_session.changes);
}

TEST_F(ChangePINDialogTest, TheBarAndTheWordShowTheStrength) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.Type(kNew, "Aa1!Aa1!");
              EXPECT_TRUE(user.IsVisible(kBar));
              EXPECT_EQ(88, user.Position(kBar));
              EXPECT_EQ(std::make_pair(0, 100), user.Range(kBar));
              EXPECT_EQ("Very Strong", user.Text(kWord));
            }));
}

TEST_F(ChangePINDialogTest, TheStatusIsRedAndBold) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.Type(kNew, "1");
              user.Type(kRepeated, "2");
              EXPECT_EQ("Value of New PIN does not Match!", user.Text(kStatus));
              const std::vector<COLORREF> pixels = user.Pixels(kStatus);
              EXPECT_GT(std::count_if(pixels.begin(), pixels.end(),
                                      [](COLORREF color) {
                                        return GetRValue(color) > 180 && GetGValue(color) < 100 &&
                                               GetBValue(color) < 100;
                                      }),
                        200);
              EXPECT_EQ(16, user.Font(kStatus).lfHeight);
              EXPECT_EQ(700, user.Font(kStatus).lfWeight);
            }));
}

TEST_F(ChangePINDialogTest, TheLongestErrorTextOfATokenFitsIntoTheStatus) {
  m_session.FailChange(0x105);
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              Enter(user, "1234", "5");
              user.Click(kOK);
              const std::string text = user.Text(kStatus);
              EXPECT_EQ(
                  "An attempt was made to have more distinct users simultaneously logged into the token than the token "
                  "and/or library permits.",
                  text);
              const HWND status = user.Control(kStatus);
              RECT room = {};
              GetClientRect(status, &room);
              RECT need = {0, 0, room.right, 0};
              const HDC context = GetDC(status);
              SelectObject(context, reinterpret_cast<HFONT>(SendMessageA(status, WM_GETFONT, 0, 0)));
              DrawTextA(context, text.c_str(), -1, &need, DT_CALCRECT | DT_WORDBREAK);
              ReleaseDC(status, context);
              EXPECT_LE(need.bottom, room.bottom);
            }));
}

TEST_F(ChangePINDialogTest, ItsCheckBoxShowsTheKeyboard) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              RECT before = {};
              GetWindowRect(user.Window(), &before);
              EnableWindow(user.Control(kShowKeyboard), TRUE);
              user.Click(kShowKeyboard);
              RECT after = {};
              GetWindowRect(user.Window(), &after);
              EXPECT_EQ(before.bottom + 200, after.bottom);
              EXPECT_TRUE(user.HasFocus(kCurrent));
              RECT client = {};
              GetClientRect(user.Window(), &client);
              for (HWND child = GetWindow(user.Window(), GW_CHILD); child != nullptr;
                   child = GetWindow(child, GW_HWNDNEXT)) {
                EXPECT_LE(PlaceOf(user, child).bottom, client.bottom) << GetDlgCtrlID(child);
              }
            }));
}

TEST_F(ChangePINDialogTest, TheDigitKeysTypeTheDigitsTheyShow) {
  std::string shown;
  EXPECT_EQ(1, Show([&](DialogDriver& user) {
              for (const int key : kDigitRow) shown += user.Text(key).back();
              user.Type(kCurrent, "1");
              for (const int edit : {kNew, kRepeated}) {
                user.Type(edit, "x");
                for (const int key : kDigitRow) user.Click(key);
              }
              user.Click(kOK);
            }));
  EXPECT_EQ(std::vector<std::string>{"1 to x" + shown}, m_session.changes);
}

TEST_F(ChangePINDialogTest, AKeyTypesIntoTheFieldThatHadTheFocusLast) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.PressKey(VK_TAB);
              DialogDriver::WaitFor("the focus", [&] { return user.HasFocus(kNew); });
              user.Click(1024);
              user.Click(1025);
              EXPECT_EQ("", user.Text(kCurrent));
              EXPECT_EQ("**", user.Text(kNew));
            }));
}

TEST_F(ChangePINDialogTest, WithAPinHandedOverTheFocusStartsOnTheNewPin) {
  m_dialog.HandOverPIN(Bytes("1234"), 4);
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              EXPECT_EQ("****", user.Text(kCurrent));
              EXPECT_FALSE(user.IsEnabled(kCurrent));
              EXPECT_TRUE(user.HasFocus(kNew));
              user.PressKey('5');
              DialogDriver::WaitFor("the key", [&] { return user.Text(kNew) == "*"; });
              user.Type(kRepeated, "5");
              user.Click(kOK);
            }));
  EXPECT_EQ(std::vector<std::string>{"1234 to 5"}, m_session.changes);
}

TEST_F(ChangePINDialogTest, ClearEmptiesTheFieldsAndRestoresTheFocus) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              Enter(user, "12", "345");
              TabBack(user);
              user.Click(kClear);
              for (const int edit : {kCurrent, kNew, kRepeated}) EXPECT_EQ("", user.Text(edit)) << edit;
              EXPECT_TRUE(user.HasFocus(kNew));
              EXPECT_FALSE(user.IsEnabled(kOK));
              EXPECT_FALSE(user.IsVisible(kBar));
            }));
}

TEST_F(ChangePINDialogTest, RevealShowsThePinsAndHidesThemAgain) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              ShowWindow(user.Control(kReveal), SW_SHOW);
              EnableWindow(user.Control(kReveal), TRUE);
              Enter(user, "12", "345");
              user.Click(kReveal);
              EXPECT_EQ("12", user.Text(kCurrent));
              EXPECT_EQ("345", user.Text(kNew));
              EXPECT_EQ(std::make_pair(DWORD{3}, DWORD{3}), user.Selection(kRepeated));
              user.Click(kReveal);
              EXPECT_EQ("**", user.Text(kCurrent));
              EXPECT_EQ("***", user.Text(kRepeated));
              user.Click(kOK);
            }));
  EXPECT_EQ(std::vector<std::string>{"12 to 345"}, m_session.changes);
}

TEST_F(ChangePINDialogTest, ALockedDialogCanBeClosedWithTheKeyboard) {
  m_session.FailChange(CKR_PIN_LOCKED);
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              Enter(user, "1234", "5");
              user.Click(kOK);
              EXPECT_EQ("PIN Locked", user.Text(kStatus));
              for (const int control : {kReveal, kClear, kOK, kCurrent, kNew, kRepeated}) {
                EXPECT_FALSE(user.IsEnabled(control)) << control;
              }
              EXPECT_TRUE(user.IsEnabled(kCancel));
              user.PressKey(VK_ESCAPE);
              WaitForTheEnd(user);
            }));
}

TEST_F(ChangePINDialogTest, CancelEscapeAndTheCloseBoxReturnTwo) {
  EXPECT_EQ(2, Show([](DialogDriver& user) { user.Click(kCancel); }));
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.PressKey(VK_ESCAPE);
              WaitForTheEnd(user);
            }));
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.CloseBox();
              WaitForTheEnd(user);
            }));
}

// --- Opened from the login dialog

TEST_F(ChangePINDialogTest, IsModalOverTheLoginDialogThatOpensIt) {
  CCLoginDlg login;
  login.SetSession(&m_session);
  login.SetTokenLabel("Anna's card");
  EXPECT_EQ(2, DialogDriver::Run([&] { return login.DoModal(); },
                                 [](DialogDriver& user) {
                                   const DialogDriver change = user.Open(1007);
                                   EXPECT_EQ("Change PIN for Anna's card", change.Title());
                                   EXPECT_FALSE(IsWindowEnabled(user.Window()));
                                   EXPECT_EQ(user.Window(), GetWindow(change.Window(), GW_OWNER));
                                   change.Click(kCancel);
                                   WaitForTheEnd(change);
                                   DialogDriver::WaitFor("the login dialog enabled",
                                                         [&] { return IsWindowEnabled(user.Window()) != FALSE; });
                                 }));
}

TEST_F(ChangePINDialogTest, AChangeAlsoEndsTheLoginDialog) {
  CCLoginDlg login;
  login.SetSession(&m_session);
  EXPECT_EQ(1, DialogDriver::Run([&] { return login.DoModal(); },
                                 [](DialogDriver& user) {
                                   const DialogDriver change = user.Open(1007);
                                   Enter(change, "1234", "567890");
                                   change.Click(kOK);
                                   WaitForTheEnd(user);
                                 }));
  EXPECT_EQ(std::vector<std::string>{"1234 to 567890"}, m_session.changes);
}

}  // namespace

// The windows of the dialogs, with controllers that check one thing each.
#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>

#include "dialogs/DialogDriver.h"
#include "fixtures/ErrorCodes.h"
#include "resources/DialogIds.h"
#include "ui/DialogHost.h"

namespace {

using Events = std::vector<std::string>;

// A controller made of functions. Without a `command`, a click ends the dialog with the control's id.
class Probe : public DialogController {
 public:
  explicit Probe(int resource) : m_resource(resource) {}

  int GetResource() const override { return m_resource; }
  void OnOpen(DialogView& view) override {
    if (open) open(view);
  }
  void OnCommand(DialogView& view, int control, UINT notification) override {
    if (command) return command(view, control, notification);
    if (notification == BN_CLICKED) view.End(control);
  }
  bool GetTextColor(int control, COLORREF& color) const override {
    if (control != colored) return false;
    color = RGB(250, 0, 0);
    return true;
  }
  bool GetTextFont(int control, DialogFont& font) const override {
    if (control != colored) return false;
    font = {16, 700, "Arial"};
    return true;
  }
  bool WatchesInput(int control) const override { return control == watched; }
  void BeforeInput(DialogView& view, int control, UINT message, WPARAM key) override {
    if (before) before(view, control, message, key);
  }
  void AfterInput(DialogView& view, int control, UINT message, WPARAM key) override {
    if (after) after(view, control, message, key);
  }

  std::function<void(DialogView&)> open;
  std::function<void(DialogView&, int, UINT)> command;
  std::function<void(DialogView&, int, UINT, WPARAM)> before;
  std::function<void(DialogView&, int, UINT, WPARAM)> after;
  int colored = 0;
  int watched = 0;

 private:
  int m_resource;
};

INT_PTR Show(DialogController& controller, const std::function<void(DialogDriver&)>& user) {
  return DialogDriver::Run([&] { return GetDialogHost().Run(controller); }, user);
}

INT_PTR ShowUntilItEnds(DialogController& controller, const std::function<void(DialogDriver&)>& user) {
  return Show(controller, [&](DialogDriver& driver) {
    user(driver);
    DialogDriver::WaitFor("the end of the dialog", [&] { return IsWindow(driver.Window()) == FALSE; });
  });
}

bool IsRed(COLORREF color) { return GetRValue(color) > 180 && GetGValue(color) < 100 && GetBValue(color) < 100; }

std::ptrdiff_t RedPixels(const DialogDriver& user, int control) {
  const std::vector<COLORREF> pixels = user.Pixels(control);
  return std::count_if(pixels.begin(), pixels.end(), IsRed);
}

TEST(DialogWindowTest, EscapeCancelsADialogWithoutACancelButton) {
  Probe probe(IDD_LOGIN);
  EXPECT_EQ(2, ShowUntilItEnds(probe, [](DialogDriver& user) { user.PressKey(VK_ESCAPE); }));
}

TEST(DialogWindowTest, TheCloseBoxCancels) {
  Probe probe(IDD_SELECT_CARD);
  EXPECT_EQ(2, ShowUntilItEnds(probe, [](DialogDriver& user) { user.CloseBox(); }));
}

TEST(DialogWindowTest, EnterClicksTheDefaultButton) {
  Probe probe(IDD_LOGIN);
  probe.open = [](DialogView& view) { view.Focus(IDC_PIN_EDIT); };
  EXPECT_EQ(1001, ShowUntilItEnds(probe, [](DialogDriver& user) { user.PressKey(VK_RETURN); }));
}

TEST(DialogWindowTest, EnterDoesNotClickADisabledDefaultButton) {
  Probe probe(IDD_LOGIN);
  int clicks = 0;
  probe.open = [](DialogView& view) {
    view.Enable(IDC_LOGIN, false);
    view.Focus(IDC_PIN_EDIT);
  };
  probe.command = [&](DialogView& view, int control, UINT notification) {
    if (notification == BN_CLICKED) ++clicks;
    if (control == IDCANCEL) view.End(2);
  };
  EXPECT_EQ(2, ShowUntilItEnds(probe, [](DialogDriver& user) {
              user.PressKey(VK_RETURN);
              user.PressKey(VK_ESCAPE);
            }));
  EXPECT_EQ(1, clicks);
}

TEST(DialogWindowTest, AResultWithTheTopBitSetIsReturnedUnchanged) {
  Probe probe(IDD_LOGIN);
  probe.command = [](DialogView& view, int, UINT) { view.End(INT_PTR{Code(NTE_INTERNAL_ERROR)}); };
  EXPECT_EQ(INT_PTR{Code(NTE_INTERNAL_ERROR)},
            ShowUntilItEnds(probe, [](DialogDriver& user) { user.Click(IDC_LOGIN); }));
}

TEST(DialogWindowTest, CallsAfterTheEndInTheSameEventStillTakeEffect) {
  Probe probe(IDD_LOGIN);
  std::string text;
  probe.command = [&](DialogView& view, int control, UINT) {
    if (control != IDC_LOGIN) return;
    view.End(1);
    view.SetText(IDC_LOGIN_STATUS, "still there");
    text = view.GetText(IDC_LOGIN_STATUS);
  };
  EXPECT_EQ(1, ShowUntilItEnds(probe, [](DialogDriver& user) { user.Click(IDC_LOGIN); }));
  EXPECT_EQ("still there", text);
}

TEST(DialogWindowTest, AMissingDialogResourceReturnsMinusOne) {
  Probe probe(999);
  EXPECT_EQ(-1, GetDialogHost().Run(probe));
}

TEST(DialogWindowTest, AnExceptionWhileOpeningIsRethrownByRun) {
  Probe probe(IDD_SELECT_CARD);
  probe.open = [](DialogView&) { throw std::runtime_error("No cards/tokens were detected."); };
  try {
    GetDialogHost().Run(probe);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::exception& error) {
    EXPECT_STREQ("No cards/tokens were detected.", error.what());
  }
}

TEST(DialogWindowTest, AnExceptionInACommandIsRethrownByRun) {
  Probe probe(IDD_LOGIN);
  probe.command = [](DialogView&, int, UINT) { throw std::runtime_error("command"); };
  EXPECT_THROW(ShowUntilItEnds(probe, [](DialogDriver& user) { user.Click(IDC_LOGIN); }), std::runtime_error);
}

TEST(DialogWindowTest, AnExceptionInAKeyHookIsRethrownByRun) {
  for (const bool isBefore : {true, false}) {
    Probe probe(IDD_LOGIN);
    probe.watched = IDC_PIN_EDIT;
    (isBefore ? probe.before : probe.after) = [](DialogView&, int, UINT, WPARAM) { throw std::runtime_error("key"); };
    EXPECT_THROW(ShowUntilItEnds(probe, [](DialogDriver& user) { user.Type(IDC_PIN_EDIT, "1"); }), std::runtime_error);
  }
}

TEST(DialogWindowTest, NoEventFollowsAnException) {
  Probe probe(IDD_LOGIN);
  Events events;
  probe.command = [&](DialogView& view, int control, UINT notification) {
    events.push_back(std::to_string(control) + " " + std::to_string(notification));
    if (control == IDC_PIN_EDIT) throw std::runtime_error("update");
    view.SetText(IDC_PIN_EDIT, "1");
    view.SetText(IDC_PIN_EDIT, "2");
  };
  EXPECT_THROW(ShowUntilItEnds(probe, [](DialogDriver& user) { user.Click(IDC_LOGIN); }), std::runtime_error);
  EXPECT_EQ((Events{"1001 0", "1002 " + std::to_string(EN_UPDATE)}), events);
}

TEST(DialogWindowTest, ADialogCanBeShownAgainAfterAnException) {
  Probe failing(IDD_LOGIN);
  failing.open = [](DialogView&) { throw std::runtime_error("open"); };
  EXPECT_THROW(GetDialogHost().Run(failing), std::runtime_error);
  Probe probe(IDD_LOGIN);
  EXPECT_EQ(1001, ShowUntilItEnds(probe, [](DialogDriver& user) { user.Click(IDC_LOGIN); }));
}

TEST(DialogWindowTest, TitleAndTextsAreShown) {
  Probe probe(IDD_LOGIN);
  probe.open = [](DialogView& view) {
    view.SetTitle("Enter PIN for Anna's card");
    view.SetText(IDC_LOGIN_STATUS, "");
  };
  Show(probe, [](DialogDriver& user) {
    EXPECT_EQ("Enter PIN for Anna's card", user.Title());
    EXPECT_EQ("", user.Text(IDC_LOGIN_STATUS));
    EXPECT_EQ("Login", user.Text(IDC_LOGIN));
  });
}

TEST(DialogWindowTest, TheSmallIconComesFromTheResources) {
  Probe probe(IDD_SELECT_CARD);
  probe.open = [](DialogView& view) { view.SetSmallIcon(IDI_PROVIDER); };
  Show(probe, [](DialogDriver& user) { EXPECT_NE(0, SendMessageA(user.Window(), WM_GETICON, ICON_SMALL, 0)); });
}

TEST(DialogWindowTest, ADialogIsCentredOnTheScreen) {
  Probe probe(IDD_LOGIN);
  Show(probe, [](DialogDriver& user) {
    RECT frame = {};
    GetWindowRect(user.Window(), &frame);
    EXPECT_NEAR(GetSystemMetrics(SM_CXSCREEN), frame.left + frame.right, 40);
    EXPECT_NEAR(GetSystemMetrics(SM_CYSCREEN), frame.top + frame.bottom, 80);
  });
}

TEST(DialogWindowTest, AWindowGrowsAndShrinksByPixels) {
  Probe probe(IDD_LOGIN_KEYBOARD);
  probe.command = [](DialogView& view, int control, UINT) {
    if (control == IDC_LOGIN) view.GrowBy(-200);
    if (control == IDC_CHANGE_PIN) view.GrowBy(200);
    if (control == IDCANCEL) view.End(2);
  };
  Show(probe, [](DialogDriver& user) {
    const auto height = [&] {
      RECT frame = {};
      GetWindowRect(user.Window(), &frame);
      return frame.bottom - frame.top;
    };
    const LONG atFirst = height();
    user.Click(IDC_LOGIN);
    EXPECT_EQ(atFirst - 200, height());
    user.Click(IDC_CHANGE_PIN);
    EXPECT_EQ(atFirst, height());
  });
}

TEST(DialogWindowTest, ShrinkingBy200PixelsHidesOnlyTheKeyboard) {
  Probe probe(IDD_LOGIN_KEYBOARD);
  probe.open = [](DialogView& view) { view.GrowBy(-200); };
  Show(probe, [](DialogDriver& user) {
    RECT client = {};
    GetClientRect(user.Window(), &client);
    for (HWND child = GetWindow(user.Window(), GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
      RECT frame = {};
      GetWindowRect(child, &frame);
      MapWindowPoints(nullptr, user.Window(), reinterpret_cast<POINT*>(&frame), 2);
      const int id = GetDlgCtrlID(child);
      if (id >= 1010 && id <= 1064) {
        EXPECT_GE(frame.top, client.bottom) << id;
      } else {
        EXPECT_LE(frame.bottom, client.bottom) << id;
      }
    }
  });
}

TEST(DialogWindowTest, ColourAndFontApplyToOneControl) {
  Probe probe(IDD_LOGIN);
  probe.colored = IDC_LOGIN_STATUS;
  probe.open = [](DialogView& view) { view.SetText(IDC_LOGIN_STATUS, "PIN Locked"); };
  Show(probe, [](DialogDriver& user) {
    EXPECT_GT(RedPixels(user, IDC_LOGIN_STATUS), 100);
    EXPECT_EQ(16, user.Font(IDC_LOGIN_STATUS).lfHeight);
    EXPECT_EQ(700, user.Font(IDC_LOGIN_STATUS).lfWeight);
    EXPECT_STREQ("Arial", user.Font(IDC_LOGIN_STATUS).lfFaceName);
    EXPECT_EQ(0, RedPixels(user, IDC_PIN_LABEL));
    EXPECT_EQ(400, user.Font(IDC_PIN_LABEL).lfWeight);
  });
}

TEST(DialogWindowTest, ATextInATallFontIsNotCutOff) {
  Probe probe(IDD_LOGIN);
  probe.colored = IDC_LOGIN_STATUS;
  Show(probe, [](DialogDriver& user) {
    RECT status = {};
    GetClientRect(user.Control(IDC_LOGIN_STATUS), &status);
    EXPECT_GE(status.bottom, 16);
    RECT label = {};
    GetClientRect(user.Control(IDC_PIN_LABEL), &label);
    EXPECT_EQ(13, label.bottom);
  });
}

TEST(DialogWindowTest, TextWithoutAColourIsNotRed) {
  Probe probe(IDD_LOGIN);
  Show(probe, [](DialogDriver& user) { EXPECT_EQ(0, RedPixels(user, IDC_LOGIN_STATUS)); });
}

TEST(DialogWindowTest, ATextChangeIsReportedBeforeAndAfterDrawing) {
  Probe probe(IDD_LOGIN);
  std::vector<UINT> notifications;
  probe.command = [&](DialogView& view, int control, UINT notification) {
    if (control == IDC_PIN_EDIT && (notification == EN_UPDATE || notification == EN_CHANGE)) {
      notifications.push_back(notification);
    }
    if (control == IDCANCEL) view.End(2);
  };
  Show(probe, [](DialogDriver& user) { user.Type(IDC_PIN_EDIT, "1"); });
  EXPECT_EQ((std::vector<UINT>{EN_UPDATE, EN_CHANGE}), notifications);
}

TEST(DialogWindowTest, TextSetDuringAnUpdateIsReportedWithinIt) {
  Probe probe(IDD_LOGIN);
  Events events;
  probe.command = [&](DialogView& view, int control, UINT notification) {
    if (control == IDCANCEL) view.End(2);
    if (control != IDC_PIN_EDIT || notification != EN_UPDATE) return;
    const std::string text = view.GetText(IDC_PIN_EDIT);
    events.push_back("update " + text);
    if (text == "1") view.SetText(IDC_PIN_EDIT, "*");
    events.push_back("done " + text);
  };
  Show(probe, [](DialogDriver& user) {
    user.Type(IDC_PIN_EDIT, "1");
    EXPECT_EQ("*", user.Text(IDC_PIN_EDIT));
  });
  EXPECT_EQ((Events{"update 1", "update *", "done *", "done 1"}), events);
}

TEST(DialogWindowTest, WatchedInputIsReportedBeforeAndAfterDefaultHandling) {
  Probe probe(IDD_LOGIN);
  probe.watched = IDC_PIN_EDIT;
  Events events;
  const auto note = [&](const char* when) {
    return [&events, when](DialogView& view, int control, UINT message, WPARAM key) {
      if (message != WM_CHAR) return;
      events.push_back(when + std::to_string(control) + " " + static_cast<char>(key) + " " + view.GetText(control));
    };
  };
  probe.before = note("before ");
  probe.after = note("behind ");
  Show(probe, [](DialogDriver& user) { user.Type(IDC_PIN_EDIT, "ab"); });
  EXPECT_EQ((Events{"before 1002 a ", "behind 1002 a a", "before 1002 b a", "behind 1002 b ab"}), events);
}

TEST(DialogWindowTest, OnlyKeysAndTheMouseCountAsInput) {
  Probe probe(IDD_LOGIN);
  probe.watched = IDC_PIN_EDIT;
  std::vector<UINT> messages;
  probe.before = [&](DialogView&, int, UINT message, WPARAM) {
    if (message != WM_MOUSEMOVE) messages.push_back(message);  // the pointer may be over the edit
  };
  Show(probe, [](DialogDriver& user) {
    user.Key(IDC_PIN_EDIT, VK_HOME);
    SendMessageA(user.Control(IDC_PIN_EDIT), WM_DEADCHAR, '^', 1);
    user.DoubleClick(IDC_PIN_EDIT);
    SendMessageA(user.Control(IDC_PIN_EDIT), WM_MBUTTONDBLCLK, 0, 0);
    SendMessageA(user.Control(IDC_PIN_EDIT), WM_SETTEXT, 0, reinterpret_cast<LPARAM>("x"));
    SendMessageA(user.Control(IDC_PIN_EDIT), EM_SETSEL, 0, 0);
  });
  EXPECT_EQ((std::vector<UINT>{WM_KEYDOWN, WM_KEYUP, WM_DEADCHAR, WM_LBUTTONDOWN, WM_LBUTTONUP, WM_LBUTTONDBLCLK,
                               WM_LBUTTONUP, WM_MBUTTONDBLCLK}),
            messages);
}

TEST(DialogWindowTest, AnEditThatIsNotWatchedIsNotReported) {
  Probe probe(IDD_LOGIN);
  probe.before = [](DialogView&, int, UINT, WPARAM) { ADD_FAILURE(); };
  Show(probe, [](DialogDriver& user) {
    user.Type(IDC_PIN_EDIT, "1");
    EXPECT_EQ("1", user.Text(IDC_PIN_EDIT));
  });
}

TEST(DialogWindowTest, AHeldKeyIsSeenAsDown) {
  Probe probe(IDD_LOGIN);
  probe.watched = IDC_PIN_EDIT;
  probe.open = [](DialogView& view) { view.Focus(IDC_PIN_EDIT); };
  Events events;
  probe.before = [&](DialogView& view, int, UINT message, WPARAM key) {
    if (message == WM_KEYDOWN && key == VK_END) events.emplace_back(view.IsKeyDown(VK_SHIFT) ? "shift" : "plain");
    if (message == WM_KEYUP && key == VK_SHIFT) events.emplace_back("released");
  };
  Show(probe, [&](DialogDriver& user) {
    user.PressKey(VK_END);
    user.HoldKey(VK_SHIFT);
    user.PressKey(VK_END);
    user.ReleaseKey(VK_SHIFT);
    // The release too: otherwise the key would still be down in this thread's next dialog.
    DialogDriver::WaitFor("the keys", [&] {
      SendMessageA(user.Window(), WM_NULL, 0, 0);
      return events.size() == 3;
    });
  });
  EXPECT_EQ((Events{"plain", "shift", "released"}), events);
}

TEST(DialogWindowTest, AViewReadsAndChangesAnEdit) {
  Probe probe(IDD_LOGIN);
  Events facts;
  probe.open = [&](DialogView& view) {
    view.SetText(IDC_PIN_EDIT, "12345");
    view.Select(IDC_PIN_EDIT, {1, 4});
    const TextSelection selection = view.GetSelection(IDC_PIN_EDIT);
    facts.push_back("selected " + std::to_string(selection.start) + " to " + std::to_string(selection.end));
    view.Select(IDC_PIN_EDIT, {2, 2});
    view.ScrollToCaret(IDC_PIN_EDIT);
    view.SendKey(IDC_PIN_EDIT, WM_CHAR, 'x');
    facts.push_back(view.GetText(IDC_PIN_EDIT));
    view.SendKey(IDC_PIN_EDIT, WM_KEYDOWN, VK_DELETE);
    facts.push_back(view.GetText(IDC_PIN_EDIT));
    facts.push_back("length " + std::to_string(view.GetTextLength(IDC_PIN_EDIT)));
  };
  Show(probe, [](DialogDriver&) {});
  EXPECT_EQ((Events{"selected 1 to 4", "12x345", "12x45", "length 5"}), facts);
}

TEST(DialogWindowTest, TypingStopsAtTheLimit) {
  Probe probe(IDD_LOGIN);
  probe.open = [](DialogView& view) { view.LimitText(IDC_PIN_EDIT, 4); };
  Show(probe, [](DialogDriver& user) {
    user.Type(IDC_PIN_EDIT, "123456");
    EXPECT_EQ("1234", user.Text(IDC_PIN_EDIT));
  });
}

TEST(DialogWindowTest, TheFocusIsWhereTheControllerPutsIt) {
  Probe probe(IDD_LOGIN);
  probe.open = [](DialogView& view) { view.Focus(IDC_PIN_EDIT); };
  Show(probe, [](DialogDriver& user) { EXPECT_TRUE(user.HasFocus(IDC_PIN_EDIT)); });
}

TEST(DialogWindowTest, OtherwiseTheFirstControlHasTheFocus) {
  Probe probe(IDD_SELECT_CARD);
  Show(probe, [](DialogDriver& user) { EXPECT_TRUE(user.HasFocus(IDOK)); });
}

TEST(DialogWindowTest, WhenTheFocusedControlIsDisabledTheFocusMovesOn) {
  Probe probe(IDD_LOGIN);
  probe.open = [](DialogView& view) { view.Focus(IDC_PIN_EDIT); };
  probe.command = [](DialogView& view, int control, UINT notification) {
    if (notification != BN_CLICKED) return;
    if (control == IDCANCEL) return view.End(2);
    view.Enable(IDC_PIN_EDIT, false);
    view.Enable(IDC_LOGIN, false);
  };
  EXPECT_EQ(2, ShowUntilItEnds(probe, [](DialogDriver& user) {
              user.PressKey(VK_RETURN);
              DialogDriver::WaitFor("the disabled button", [&] { return !user.IsEnabled(IDC_LOGIN); });
              EXPECT_FALSE(user.IsEnabled(IDC_PIN_EDIT));
              EXPECT_TRUE(user.HasFocus(IDC_CANCEL));
              user.PressKey(VK_ESCAPE);
            }));
}

TEST(DialogWindowTest, ControlsAreHiddenCheckedAndEnabled) {
  Probe probe(IDD_LOGIN_KEYBOARD);
  Events facts;
  probe.open = [&](DialogView& view) {
    view.Show(IDC_SHOW_KEYBOARD, false);
    view.Enable(IDC_CHANGE_PIN, false);
  };
  probe.command = [&](DialogView& view, int control, UINT notification) {
    if (control == IDCANCEL) return view.End(2);
    if (notification != BN_CLICKED) return;
    facts.push_back(std::to_string(control) + (view.IsChecked(control) ? " checked" : " unchecked"));
  };
  Show(probe, [](DialogDriver& user) {
    EXPECT_FALSE(user.IsVisible(IDC_SHOW_KEYBOARD));
    EXPECT_TRUE(user.IsVisible(IDC_REVEAL_PIN));
    EXPECT_FALSE(user.IsEnabled(IDC_CHANGE_PIN));
    user.Click(IDC_REVEAL_PIN);
    user.Click(IDC_REVEAL_PIN);
    user.Click(IDC_KEY_SHIFT);
  });
  EXPECT_EQ((Events{"1006 checked", "1006 unchecked", "1064 checked"}), facts);
}

TEST(DialogWindowTest, AListSortsItsItemsAndReturnsTheChosenOne) {
  Probe probe(IDD_SELECT_CARD);
  std::string chosen;
  probe.open = [](DialogView& view) {
    for (const char* name : {"Reader C", "Reader A", "Reader B"}) view.AddItem(IDC_READERS, name);
    view.SelectItem(IDC_READERS, 0);
  };
  probe.command = [&](DialogView& view, int control, UINT) {
    if (control != IDOK) return;
    EXPECT_EQ(8u, view.GetTextLength(IDC_READERS));
    chosen = view.GetText(IDC_READERS);
    view.End(IDOK);
  };
  EXPECT_EQ(IDOK, ShowUntilItEnds(probe, [](DialogDriver& user) {
              EXPECT_EQ("Reader A", user.Text(IDC_READERS));
              SendMessageA(user.Control(IDC_READERS), WM_KEYDOWN, VK_DOWN, 1);
              user.Click(IDOK);
            }));
  EXPECT_EQ("Reader B", chosen);
}

}  // namespace

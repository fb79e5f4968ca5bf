// ScriptedDialogs: dialogs without windows, for tests. While it lives it is the process's dialog host, and a test says
// what the user does in each dialog that will be shown:
//
//   ScriptedDialogs dialogs;
//   dialogs.OnNext([](ScriptedDialog& dialog) {
//     dialog.Type(1002, "1234");
//     dialog.Click(1001);
//     EXPECT_EQ("Incorrect PIN, 2 trials left", dialog.GetText(1092));
//     dialog.Cancel();
//   });
//   dialogs.OnNext(EnterPIN("1234"));
//
// The test fails on a dialog that nobody expected, on one whose script ends and leaves it open (both end with 2), on
// one that was expected and not shown, and on a control that the dialog's template does not have.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ui/DialogHost.h"

// One dialog while it is shown: what its user can do and see. The operations of the controller's side are
// DialogView's, and a script may read by them.
//
// What is done to a dialog that has ended has no effect.
class ScriptedDialog : public DialogView {
 public:
  explicit ScriptedDialog(DialogController& controller);

  // --- What the user does. Keys and mouse reach a control that is enabled and shown, and no other.

  // Each character as a key that is pressed and let go, at the caret; takes the focus.
  void Type(int control, const std::string& text);
  // One key: VK_BACK, VK_DELETE, VK_LEFT, VK_RIGHT, VK_HOME, VK_END.
  void Press(int control, int virtualKey);
  // Holds a key down from now on, or lets it go: VK_SHIFT, VK_LSHIFT, VK_RSHIFT. Any of them selects.
  void Hold(int virtualKey, bool down = true);
  // Selects everything, as an edit does with one word.
  void DoubleClick(int control);
  // Selects with the mouse from one place between characters to another. The button comes up at the end.
  void Drag(int control, std::size_t from, std::size_t to);
  // Any other key or mouse message, which does nothing by itself: WM_DEADCHAR, WM_RBUTTONUP ...
  void SendInput(int control, UINT message, WPARAM key = 0);
  // Puts the text in the place of the selection, as the Paste of a menu does.
  void Paste(int control, const std::string& text);
  // A button or a check box, which toggles. False, and nothing happens, when it cannot be clicked now.
  bool Click(int control);
  // Chooses a row of a drop-down list, counted from 0.
  void Choose(int control, int index);
  // The Escape key or the system menu's Close.
  void Cancel();

  // --- What the user sees

  int GetResource() const { return m_controller.GetResource(); }
  const std::string& GetTitle() const { return m_title; }
  int GetSmallIcon() const { return m_icon; }
  // By how many pixels the window is taller than its template.
  int GetGrowth() const { return m_growth; }
  int GetFocus() const { return m_focus; }
  bool IsEnabled(int control) const { return Find(control).enabled; }
  bool IsShown(int control) const { return Find(control).shown; }
  std::pair<int, int> GetRange(int control) const { return Find(control).range; }
  int GetPosition(int control) const { return Find(control).position; }
  DWORD GetTextLimit(int control) const { return Find(control).limit; }
  std::vector<std::string> GetItems(int control) const { return Find(control).items; }
  int GetSelectedItem(int control) const { return Find(control).selectedItem; }
  // How often the controller scrolled to the caret.
  int GetScrolls(int control) const { return Find(control).scrolls; }
  // Every text that could be seen in the control so far, in order, each once in a row.
  std::vector<std::string> GetShownTexts(int control) const { return Find(control).shownTexts; }
  // Whether all that could ever be seen in the control were asterisks.
  bool ShowedOnlyAsterisks(int control) const;
  bool HasEnded() const { return m_ended; }
  INT_PTR GetResult() const { return m_result; }

  // --- DialogView

  void SetTitle(const std::string& title) override { m_title = title; }
  void SetSmallIcon(int icon) override { m_icon = icon; }
  void GrowBy(int pixels) override { m_growth += pixels; }
  // The first end counts.
  void End(INT_PTR result) override;

  std::string GetText(int control) const override;
  void SetText(int control, const std::string& text) override;
  std::size_t GetTextLength(int control) const override { return GetText(control).size(); }
  void Enable(int control, bool enabled) override { Find(control).enabled = enabled; }
  void Show(int control, bool shown) override { Find(control).shown = shown; }
  void Focus(int control) override;
  bool IsChecked(int control) const override { return Find(control).checked; }
  void LimitText(int control, DWORD characters) override { Find(control).limit = characters; }
  TextSelection GetSelection(int control) const override;
  void Select(int control, TextSelection selection) override;
  void ScrollToCaret(int control) override { ++Find(control).scrolls; }
  void SendKey(int control, UINT message, WPARAM key) override;
  bool IsKeyDown(int virtualKey) const override;
  void SetRange(int control, int lowest, int highest) override { Find(control).range = {lowest, highest}; }
  void SetPosition(int control, int position) override { Find(control).position = position; }
  void AddItem(int control, const std::string& text) override;
  void SelectItem(int control, int index) override;

 private:
  friend class ScriptedDialogs;

  enum class Kind { kButton, kCheckBox, kEdit, kStatic, kProgressBar, kDropDown };
  struct Control {
    Kind kind = Kind::kStatic;
    std::string text;
    bool enabled = true;
    bool shown = true;
    bool checked = false;
    DWORD limit = 0;  // 0: none
    std::size_t anchor = 0;
    std::size_t caret = 0;  // the selection lies between the two
    int scrolls = 0;
    std::vector<std::string> shownTexts;
    std::pair<int, int> range = {0, 100};
    int position = 0;
    std::vector<std::string> items;
    int selectedItem = -1;
  };

  // Fails the test when the template has no such control.
  Control& Find(int control) const;
  void AddControls(Kind kind, int first, int last, const std::string& text);
  void BuildTemplate();
  void BuildChangePIN();
  void BuildKeyboard();

  // Calls the controller. What it throws ends the dialog, and is kept for the host.
  template <typename Event>
  void Tell(Event event);
  void Notify(int control, UINT notification);
  bool CanReach(int control) const;
  // An edit that has not got the focus yet reports that it has it now.
  void GiveFocus(int control);
  // A message through the controller's hooks and the default handling.
  void Input(int control, UINT message, WPARAM key, const std::function<void()>& defaultHandling);
  void HandleKeyDown(int control, WPARAM key);
  void HandleCharacter(int control, WPARAM character);
  void MoveCaret(Control& edit, std::size_t place) const;
  // Changes the text of an edit, and reports it.
  void Replace(int control, std::size_t start, std::size_t end, const std::string& text);
  void ReplaceSelection(int control, const std::string& text);
  void ReportChange(int control);
  static void RecordShown(Control& edit);

  DialogController& m_controller;
  mutable std::map<int, Control> m_controls;
  std::map<int, bool> m_keysDown;
  std::string m_title;
  int m_icon = 0;
  int m_growth = 0;
  int m_focus = 0;
  bool m_ended = false;
  INT_PTR m_result = IDCANCEL;
  std::exception_ptr m_failure;
};

class ScriptedDialogs : public DialogHost {
 public:
  using Script = std::function<void(ScriptedDialog&)>;

  ScriptedDialogs();
  ~ScriptedDialogs() override;

  // What the user does in the next dialog that has no script yet.
  void OnNext(Script script);
  // The same, by a user who cancels the dialog behind that if it is still open.
  void OnNextThenCancel(Script script);
  // What the user does in every dialog that has no script; a dialog that this leaves open is cancelled.
  void OnEvery(Script script);
  // How many dialogs were shown, and the template of the last one, 0 before the first.
  int ShownCount() const { return m_shownCount; }
  int LastResource() const { return m_lastResource; }
  // The template of the dialog that the last one was opened out of, 0 for none.
  int LastOwner() const { return m_lastOwner; }

  INT_PTR Run(DialogController& controller) override;
  INT_PTR RunOver(DialogView& owner, DialogController& controller) override;

 private:
  INT_PTR Show(DialogController& controller);

  DialogHost* m_before;
  std::deque<Script> m_scripts;
  Script m_everyScript;
  int m_shownCount = 0;
  int m_lastResource = 0;
  int m_lastOwner = 0;
};

// The common scripts of the login dialog: enters a PIN and clicks Login, which has to end the dialog; cancels.
ScriptedDialogs::Script EnterPIN(const std::string& pin);
ScriptedDialogs::Script CancelDialog();

// ScriptedDialogs: dialogs without windows, for tests. While it lives it is the process's dialog host, and a test
// scripts the user's actions in each dialog that will be shown:
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
// The test fails on an unexpected dialog, on a dialog that its script leaves open (both end with 2), on an expected
// dialog that is not shown, and on a control that the dialog's template does not have.
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

// One dialog while it is shown: what its user can do and see. The controller's operations are those of DialogView;
// a script may use them to read.
//
// Actions on a dialog that has ended have no effect.
class ScriptedDialog : public DialogView {
 public:
  explicit ScriptedDialog(DialogController& controller);

  // --- What the user does. Keys and the mouse reach only controls that are enabled and shown.

  // Presses and releases a key for each character, at the caret. The control takes the focus.
  void Type(int control, const std::string& text);
  // One key: VK_BACK, VK_DELETE, VK_LEFT, VK_RIGHT, VK_HOME, VK_END.
  void Press(int control, int virtualKey);
  // Holds a key down from now on, or releases it: VK_SHIFT, VK_LSHIFT, VK_RSHIFT. Each of them makes the caret keys
  // select.
  void Hold(int virtualKey, bool down = true);
  // Selects everything, as an edit does with one word.
  void DoubleClick(int control);
  // Selects with the mouse from one position between characters to another, and then releases the button.
  void Drag(int control, std::size_t from, std::size_t to);
  // Any other key or mouse message, which does nothing by itself: WM_DEADCHAR, WM_RBUTTONUP ...
  void SendInput(int control, UINT message, WPARAM key = 0);
  // Replaces the selection with the text, as a menu's Paste does.
  void Paste(int control, const std::string& text);
  // Clicks a button, or a check box, which toggles. Returns false and does nothing when it cannot be clicked now.
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
  // Every text that the control has shown so far, in order, without consecutive duplicates.
  std::vector<std::string> GetShownTexts(int control) const { return Find(control).shownTexts; }
  // Whether the control has only ever shown asterisks.
  bool ShowedOnlyAsterisks(int control) const;
  bool HasEnded() const { return m_ended; }
  INT_PTR GetResult() const { return m_result; }

  // --- DialogView

  void SetTitle(const std::string& title) override { m_title = title; }
  void SetSmallIcon(int icon) override { m_icon = icon; }
  void GrowBy(int pixels) override { m_growth += pixels; }
  // Only the first call counts.
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
    std::size_t caret = 0;  // the selection is between the two
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

  // Calls the controller. An exception ends the dialog and is kept for the host.
  template <typename Event>
  void Tell(Event event);
  void Notify(int control, UINT notification);
  bool CanReach(int control) const;
  // An edit that gains the focus reports it.
  void GiveFocus(int control);
  // Passes a message through the controller's hooks and the default handling.
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
  // The same, but the dialog is cancelled afterwards if it is still open.
  void OnNextThenCancel(Script script);
  // What the user does in every dialog that has no script. A dialog that is still open afterwards is cancelled.
  void OnEvery(Script script);
  // How many dialogs were shown, and the template of the last one, 0 before the first.
  int ShownCount() const { return m_shownCount; }
  int LastResource() const { return m_lastResource; }
  // The template of the dialog from which the last one was opened, 0 for none.
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

// Common scripts. EnterPIN enters a PIN in a login dialog and clicks Login, which must end the dialog.
ScriptedDialogs::Script EnterPIN(const std::string& pin);
ScriptedDialogs::Script CancelDialog();

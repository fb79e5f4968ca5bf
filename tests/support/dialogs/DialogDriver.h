// DialogDriver: a user of a real dialog. It works from a second thread on the dialog that the first one runs.
//
// Everything is seen from outside, as another program would: texts, states and pixels of windows, and keys and clicks
// sent to them. What does not come about within ten seconds fails the test.
#pragma once

#include "common/Platform.h"

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class DialogDriver {
 public:
  // Runs `dialog` on this thread and `user` on another one, from when the dialog is shown. A dialog that still stands
  // behind `user` is cancelled. Returns what `dialog` does; what it throws comes out.
  static INT_PTR Run(const std::function<INT_PTR()>& dialog, const std::function<void(DialogDriver&)>& user);

  // The dialog of that title, of any program; waits for it. The blanks that pad a token's label do not count. Nothing
  // when none comes up, which fails the test.
  static std::optional<DialogDriver> Titled(const std::string& title);

  HWND Window() const { return m_window; }
  HWND Control(int id) const { return GetDlgItem(m_window, id); }

  std::string Title() const;
  std::string Text(int id) const;
  bool IsEnabled(int id) const;
  bool IsVisible(int id) const;
  bool HasFocus(int id) const;
  std::pair<DWORD, DWORD> Selection(int id) const;
  LOGFONTA Font(int id) const;
  // Of a progress bar.
  int Position(int id) const;
  std::pair<int, int> Range(int id) const;
  // Every pixel of a control as it stands on the screen.
  std::vector<COLORREF> Pixels(int id) const;

  // Characters given to a control one by one, each of them handled when this returns.
  void Type(int id, const std::string& characters) const;
  // The press and release of a key, given to a control likewise.
  void Key(int id, WORD virtualKey) const;
  void DoubleClick(int id) const;
  void Click(int id) const;
  // Clicks a button that opens a dialog on top of this one, and waits for that.
  DialogDriver Open(int id) const;
  // Keys as the keyboard makes them: they go to what has the focus.
  void HoldKey(BYTE virtualKey) const;
  void ReleaseKey(BYTE virtualKey) const;
  void PressKey(BYTE virtualKey) const;
  // The box of the title bar.
  void CloseBox() const;

  // Waits until `condition` holds; a condition that does not come true fails the test under the name `what`.
  static bool WaitFor(const char* what, const std::function<bool()>& condition);

 private:
  explicit DialogDriver(HWND window) : m_window(window) {}

  HWND m_window;
};

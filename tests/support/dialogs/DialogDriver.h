// DialogDriver: a user of a real dialog. It runs on a second thread and operates the dialog that the first thread
// shows.
//
// It works from outside, as another program would: it reads the texts, states and pixels of windows, and sends them
// keys and clicks. A condition that is not met within ten seconds fails the test.
#pragma once

#include "common/Platform.h"

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class DialogDriver {
 public:
  // Runs `dialog` on this thread and, once the dialog is shown, `user` on another one. Cancels the dialog if it is
  // still open after `user`. Returns the result of `dialog` and passes on its exceptions.
  static INT_PTR Run(const std::function<INT_PTR()>& dialog, const std::function<void(DialogDriver&)>& user);

  // Waits for a dialog with that title, of any program. Spaces that pad a token's label are ignored. If none appears,
  // the test fails and the result is empty.
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
  // For a progress bar.
  int Position(int id) const;
  std::pair<int, int> Range(int id) const;
  // Every pixel of a control as it is on the screen.
  std::vector<COLORREF> Pixels(int id) const;

  // Sends characters to a control one by one. All of them are handled when this returns.
  void Type(int id, const std::string& characters) const;
  // Sends the press and the release of a key in the same way.
  void Key(int id, WORD virtualKey) const;
  void DoubleClick(int id) const;
  void Click(int id) const;
  // Clicks a button that opens a dialog on top of this one, and waits for that dialog.
  DialogDriver Open(int id) const;
  // Keys as the keyboard sends them: they go to the window with the focus.
  void HoldKey(BYTE virtualKey) const;
  void ReleaseKey(BYTE virtualKey) const;
  void PressKey(BYTE virtualKey) const;
  // Clicks the close box of the title bar.
  void CloseBox() const;

  // Waits until `condition` holds. If it never does, the test fails with a message that names `what`.
  static bool WaitFor(const char* what, const std::function<bool()>& condition);

 private:
  explicit DialogDriver(HWND window) : m_window(window) {}

  HWND m_window;
};

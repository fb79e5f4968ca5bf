// DialogView: what the logic of a dialog needs from its window. Controls are named by their resource ids. The windows
// of src/ui/windows implement it for users, a scripted view for tests.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <string>

// A typeface as the dialogs ask for it; everything else is the system's default.
struct DialogFont {
  int height = 0;  // logical units
  int weight = 0;  // 400 is normal, 700 bold
  const char* face = "";
};

// Characters from start up to, not including, end. The caret is at the end; start and end are equal without a
// selection.
struct TextSelection {
  std::size_t start = 0;
  std::size_t end = 0;
};

class DialogView {
 public:
  DialogView() = default;
  virtual ~DialogView() = default;
  DialogView(const DialogView&) = delete;
  DialogView& operator=(const DialogView&) = delete;

  virtual void SetTitle(const std::string& title) = 0;
  virtual void SetSmallIcon(int icon) = 0;
  // Makes the window taller by that many pixels; a negative number makes it shorter.
  virtual void GrowBy(int pixels) = 0;
  // Ends the dialog with this result. The current event still runs to its end.
  virtual void End(INT_PTR result) = 0;

  // The text of a control in the system's ANSI code page.
  virtual std::string GetText(int control) const = 0;
  virtual void SetText(int control, const std::string& text) = 0;
  virtual std::size_t GetTextLength(int control) const = 0;
  virtual void Enable(int control, bool enabled) = 0;
  // A control that the dialog's template does not have is left alone.
  virtual void Show(int control, bool shown) = 0;
  // Does nothing for a disabled control.
  virtual void Focus(int control) = 0;
  virtual bool IsChecked(int control) const = 0;

  // Edit controls.
  // At most that many characters can be typed.
  virtual void LimitText(int control, DWORD characters) = 0;
  virtual TextSelection GetSelection(int control) const = 0;
  virtual void Select(int control, TextSelection selection) = 0;
  virtual void ScrollToCaret(int control) = 0;
  // Sends the control WM_CHAR or WM_KEYDOWN, as if a key had been pressed.
  virtual void SendKey(int control, UINT message, WPARAM key) = 0;
  // Whether the key is held down: VK_SHIFT and similar keys.
  virtual bool IsKeyDown(int virtualKey) const = 0;

  // Progress bars.
  virtual void SetRange(int control, int lowest, int highest) = 0;
  virtual void SetPosition(int control, int position) = 0;

  // Drop-down lists.
  virtual void AddItem(int control, const std::string& text) = 0;
  virtual void SelectItem(int control, int index) = 0;
};

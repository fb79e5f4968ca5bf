// StatusLine: the red, bold line in which a dialog tells its user what went wrong.
#pragma once

#include "common/Platform.h"

#include <string>

#include "ui/DialogView.h"

class StatusLine {
 public:
  explicit StatusLine(int control) : m_control(control) {}

  void Show(DialogView& view, const std::string& text) const { view.SetText(m_control, text); }
  // Shows a string of the string table. The number takes the place of the string's format directive.
  void ShowText(DialogView& view, UINT id) const;
  void ShowText(DialogView& view, UINT id, DWORD number) const;
  void Clear(DialogView& view) const { Show(view, ""); }

  // As DialogController's operations of these names.
  bool GetTextColor(int control, COLORREF& color) const;
  bool GetTextFont(int control, DialogFont& font) const;

 private:
  int m_control;
};

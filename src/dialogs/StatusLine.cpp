#include "dialogs/StatusLine.h"

#include "common/FormatNumber.h"
#include "common/LoadText.h"

void StatusLine::ShowText(DialogView& view, UINT id) const { Show(view, LoadText(id)); }

void StatusLine::ShowText(DialogView& view, UINT id, DWORD number) const {
  Show(view, FormatNumber(LoadText(id).c_str(), number));
}

bool StatusLine::GetTextColor(int control, COLORREF& color) const {
  if (control != m_control) return false;
  color = RGB(250, 0, 0);
  return true;
}

bool StatusLine::GetTextFont(int control, DialogFont& font) const {
  if (control != m_control) return false;
  font = {16, 700, "Arial"};
  return true;
}

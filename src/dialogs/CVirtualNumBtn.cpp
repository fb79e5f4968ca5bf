#include "dialogs/CVirtualNumBtn.h"

#include <string>

void CVirtualNumBtn::SetLabels(DialogView& view, const char* upper, const char* lower) {
  m_upper = upper[0];
  m_lower = lower[0];
  SetCaption(view, (std::string(upper) + "     \n     " + lower).c_str());
}

void CVirtualNumBtn::SetCaption(DialogView& view, const char* caption) { view.SetText(m_control, caption); }

std::vector<KeyLabels> DigitKeyLabels() {
  return {{")", "0"}, {"(", "9"}, {"*", "8"}, {"&&", "7"}, {"^", "6"},
          {"%", "5"}, {"$", "4"}, {"#", "3"}, {"@", "2"},  {"!", "1"}};
}

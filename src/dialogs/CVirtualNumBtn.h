// CVirtualNumBtn: a key of the on-screen keyboard that carries two characters, one with Shift and one without.
#pragma once

#include "common/Platform.h"

#include <utility>
#include <vector>

#include "ui/DialogView.h"

class CVirtualNumBtn {
 public:
  explicit CVirtualNumBtn(int control) : m_control(control) {}
  CVirtualNumBtn(const CVirtualNumBtn&) = default;
  CVirtualNumBtn& operator=(const CVirtualNumBtn&) = default;

  // In interface order: append, never reorder.
  virtual ~CVirtualNumBtn() = default;
  // Keeps the first character of each string and shows both strings. A caption writes the character "&" as "&&".
  virtual void SetLabels(DialogView& view, const char* upper, const char* lower);
  virtual void SetCaption(DialogView& view, const char* caption);

  int GetControl() const { return m_control; }
  // 0 before SetLabels.
  char GetUpper() const { return m_upper; }
  char GetLower() const { return m_lower; }

 private:
  int m_control;
  char m_upper = 0;
  char m_lower = 0;
};

// The labels of a key: a sign, and the digit below it.
using KeyLabels = std::pair<const char*, const char*>;
// The ten pairs of the digit row, from ")" and "0" to "!" and "1".
std::vector<KeyLabels> DigitKeyLabels();

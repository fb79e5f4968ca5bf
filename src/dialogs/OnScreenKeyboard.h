// OnScreenKeyboard: the keys that a dialog shows for the mouse. A key sends its character, or the key press for an
// editing key, to an edit control of the dialog.
#pragma once

#include "common/Platform.h"

#include <array>
#include <vector>

#include "dialogs/CVirtualNumBtn.h"
#include "ui/DialogView.h"

class OnScreenKeyboard {
 public:
  OnScreenKeyboard();

  // Makes the dialog taller by the keyboard's 200 pixels when the check box `toggle` is checked, and shorter by as many
  // when it is not.
  static void AdjustHeight(DialogView& view, int toggle);

  // Sends to `edit` what the key `control` stands for in the current state of Caps and Shift. Sends nothing for a
  // control that is not a key, and for a key of the digit row without labels.
  void Press(DialogView& view, int control, int edit) const;

  // Labels the digit row with the pairs, in order: the key of the 0 first, then those of 1 to 9.
  void LabelDigits(DialogView& view, const std::vector<KeyLabels>& labels);

 private:
  std::array<CVirtualNumBtn, 10> m_digitKeys;
};

// ShuffleKeyLabels seeds the random generator of the process (rand) and puts the pairs into a random order.
void ShuffleKeyLabels(std::vector<KeyLabels>& labels, unsigned seed);

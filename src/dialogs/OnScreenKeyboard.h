// OnScreenKeyboard: the keys that a dialog shows for the mouse. A key sends its character, or the press of an editing
// key, to an edit control of the dialog.
#pragma once

#include "common/Platform.h"

#include <array>
#include <vector>

#include "dialogs/CVirtualNumBtn.h"
#include "ui/DialogView.h"

class OnScreenKeyboard {
 public:
  OnScreenKeyboard();

  // Makes the dialog taller by the keyboard's 200 pixels while the check box `toggle` is checked, and less tall by as
  // many while it is not.
  static void AdjustHeight(DialogView& view, int toggle);

  // Sends what the key `control` means, by the state of Caps and Shift, to `edit`. A control that is no key, or a key
  // of the digit row without labels, sends nothing.
  void Press(DialogView& view, int control, int edit) const;

  // Gives the pairs to the digit row in order: the first one to the key of the 0, the others to those of 1 to 9.
  void LabelDigits(DialogView& view, const std::vector<KeyLabels>& labels);

 private:
  std::array<CVirtualNumBtn, 10> m_digitKeys;
};

// ShuffleKeyLabels seeds the generator of the process (rand) and brings the pairs into an order that it draws.
void ShuffleKeyLabels(std::vector<KeyLabels>& labels, unsigned seed);

// The bar and the word that tell a user how good a new PIN is. They advise: no PIN is refused because of them.
#pragma once

#include "common/Platform.h"

#include "ui/DialogView.h"

// Sets the range of the bar and hides the bar, its label and the word.
void OpenStrengthBar(DialogView& view);
// Shows the rating of `pin`; for an empty one hides the bar, its label and the word.
void ShowStrength(DialogView& view, const char* pin);

// The id of the word for a score of 0 to 100.
UINT StrengthTextId(int score);

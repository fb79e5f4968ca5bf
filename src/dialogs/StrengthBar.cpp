#include "dialogs/StrengthBar.h"

#include <algorithm>
#include <iterator>

#include "common/LoadText.h"
#include "rating/CMyPasswordChecker.h"
#include "resources/DialogIds.h"

namespace {

// A PIN of at least this many bytes, without its terminator, is rated as long enough. It is not a limit of any kind:
// the token alone decides how long a new PIN may be, and CLoginEX how long a PIN it can read.
constexpr DWORD kRatedAsLongEnough = 8;
constexpr int kHighestScore = 100;

// The words for scores below a limit, ascending.
struct StrengthRow {
  int limit;
  UINT text;
};
constexpr StrengthRow kStrengths[] = {
    {20, IDS_VERY_WEAK}, {40, IDS_WEAK}, {60, IDS_GOOD}, {80, IDS_STRONG}, {101, IDS_VERY_STRONG},
};

void ShowControls(DialogView& view, bool shown) {
  for (const int control : {IDC_STRENGTH_LABEL, IDC_STRENGTH_WORD, IDC_STRENGTH_BAR}) view.Show(control, shown);
}

}  // namespace

void OpenStrengthBar(DialogView& view) {
  view.SetRange(IDC_STRENGTH_BAR, 0, kHighestScore);
  view.SetPosition(IDC_STRENGTH_BAR, 0);
  ShowControls(view, false);
}

void ShowStrength(DialogView& view, const char* pin) {
  const bool isEmpty = *pin == '\0';
  ShowControls(view, !isEmpty);
  if (isEmpty) return;
  const int score = CMyPasswordChecker(pin, kRatedAsLongEnough).GetStrength();
  view.SetText(IDC_STRENGTH_WORD, LoadText(StrengthTextId(score)));
  view.SetPosition(IDC_STRENGTH_BAR, score);
}

UINT StrengthTextId(int score) {
  const auto* const row = std::find_if(std::begin(kStrengths), std::end(kStrengths),
                                       [score](const StrengthRow& strength) { return score < strength.limit; });
  return row != std::end(kStrengths) ? row->text : IDS_VERY_STRONG;
}

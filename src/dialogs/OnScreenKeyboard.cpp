#include "dialogs/OnScreenKeyboard.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "resources/DialogIds.h"

namespace {

// Keys with consecutive ids, and the characters that they send without and with Shift. For letters, Caps reverses
// Shift.
struct KeyRow {
  const char* plain;
  const char* shifted;
  int first;
  bool letters;
};
// One row, one line.
// clang-format off
constexpr KeyRow kKeyRows[] = {
    {"`", "~", IDC_KEY_BACKQUOTE, false},
    {"-=", "_+", IDC_KEY_MINUS, false},
    {"\b", "\b", IDC_KEY_BACKSPACE, false},
    {"qwertyuiop", "QWERTYUIOP", IDC_KEY_Q, true},
    {"[]\\", "{}|", IDC_KEY_LEFT_BRACKET, false},
    {"asdfghjkl", "ASDFGHJKL", IDC_KEY_A, true},
    {";'", ":\"", IDC_KEY_SEMICOLON, false},
    {"zxcvbnm", "ZXCVBNM", IDC_KEY_Z, true},
    {",./", "<>?", IDC_KEY_COMMA, false},
    {" ", " ", IDC_KEY_SPACE, false},
};
// clang-format on

// Keys that move the caret or delete.
struct EditingKey {
  int control;
  WPARAM virtualKey;
};
constexpr EditingKey kEditingKeys[] = {
    {IDC_KEY_DELETE, VK_DELETE},
    {IDC_KEY_HOME, VK_HOME},
    {IDC_KEY_END, VK_END},
};

void SendCharacter(DialogView& view, int edit, char character) {
  view.SendKey(edit, WM_CHAR, static_cast<unsigned char>(character));
}

}  // namespace

OnScreenKeyboard::OnScreenKeyboard()
    : m_digitKeys{{CVirtualNumBtn(IDC_KEY_DIGIT_0), CVirtualNumBtn(IDC_KEY_DIGIT_1),
                   CVirtualNumBtn(IDC_KEY_DIGIT_1 + 1), CVirtualNumBtn(IDC_KEY_DIGIT_1 + 2),
                   CVirtualNumBtn(IDC_KEY_DIGIT_1 + 3), CVirtualNumBtn(IDC_KEY_DIGIT_1 + 4),
                   CVirtualNumBtn(IDC_KEY_DIGIT_1 + 5), CVirtualNumBtn(IDC_KEY_DIGIT_1 + 6),
                   CVirtualNumBtn(IDC_KEY_DIGIT_1 + 7), CVirtualNumBtn(IDC_KEY_DIGIT_9)}} {}

void OnScreenKeyboard::AdjustHeight(DialogView& view, int toggle) {
  constexpr int kHeight = 200;
  view.GrowBy(view.IsChecked(toggle) ? kHeight : -kHeight);
}

void OnScreenKeyboard::Press(DialogView& view, int control, int edit) const {
  const bool shift = view.IsChecked(IDC_KEY_SHIFT);
  const bool capitals = shift != view.IsChecked(IDC_KEY_CAPS);
  for (const KeyRow& row : kKeyRows) {
    const int index = control - row.first;
    if (index < 0 || index >= static_cast<int>(std::strlen(row.plain))) continue;
    return SendCharacter(view, edit, ((row.letters ? capitals : shift) ? row.shifted : row.plain)[index]);
  }
  for (const CVirtualNumBtn& key : m_digitKeys) {
    if (key.GetControl() != control) continue;
    const char character = shift ? key.GetUpper() : key.GetLower();
    // A key without labels has no character.
    if (character != '\0') SendCharacter(view, edit, character);
    return;
  }
  for (const EditingKey& key : kEditingKeys) {
    if (key.control == control) return view.SendKey(edit, WM_KEYDOWN, key.virtualKey);
  }
}

void OnScreenKeyboard::LabelDigits(DialogView& view, const std::vector<KeyLabels>& labels) {
  const std::size_t count = std::min(labels.size(), m_digitKeys.size());
  for (std::size_t i = 0; i < count; ++i) m_digitKeys[i].SetLabels(view, labels[i].first, labels[i].second);
}

// NOLINTBEGIN(cert-msc*): the order is no secret, the screen shows it.
void ShuffleKeyLabels(std::vector<KeyLabels>& labels, unsigned seed) {
  std::srand(seed);
  for (std::size_t i = 1; i < labels.size(); ++i) {
    std::swap(labels[i], labels[static_cast<std::size_t>(std::rand()) % (i + 1)]);
  }
}
// NOLINTEND(cert-msc*)

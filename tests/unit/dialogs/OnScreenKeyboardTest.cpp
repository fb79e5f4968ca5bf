#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "dialogs/OnScreenKeyboard.h"
#include "dialogs/ScriptedDialogs.h"

namespace {

constexpr int kTypedEdit = 1002;
constexpr int kShiftKey = 1064;

class TypingDialog : public DialogController {
 public:
  int GetResource() const override { return 106; }
  void OnOpen(DialogView& /*view*/) override {}
  void OnCommand(DialogView& view, int control, UINT notification) override {
    if (notification == BN_CLICKED) keyboard.Press(view, control, kTypedEdit);
  }

  OnScreenKeyboard keyboard;
};

class OnScreenKeyboardTest : public ::testing::Test {
 protected:
  // What the digit row sends, in the order of the labels: the 0 key, then the keys 1 to 9.
  std::string DigitRow() {
    m_dialog.SetText(kTypedEdit, "");
    for (const int key : {1020, 1011, 1012, 1013, 1014, 1015, 1016, 1017, 1018, 1019}) m_dialog.Click(key);
    return m_dialog.GetText(kTypedEdit);
  }

  TypingDialog m_controller;
  ScriptedDialog m_dialog{m_controller};
};

TEST_F(OnScreenKeyboardTest, DigitKeysWithoutLabelsSendNothing) { EXPECT_EQ("", DigitRow()); }

TEST_F(OnScreenKeyboardTest, TheFirstLabelsAreThoseOfTheZeroKey) {
  m_controller.keyboard.LabelDigits(m_dialog, DigitKeyLabels());
  EXPECT_EQ(")     \n     0", m_dialog.GetText(1020));
  EXPECT_EQ("(     \n     9", m_dialog.GetText(1011));
  EXPECT_EQ("&&     \n     7", m_dialog.GetText(1013));
  EXPECT_EQ("!     \n     1", m_dialog.GetText(1019));
  EXPECT_EQ("0987654321", DigitRow());
}

TEST_F(OnScreenKeyboardTest, WithShiftDigitKeysSendTheirSigns) {
  m_controller.keyboard.LabelDigits(m_dialog, DigitKeyLabels());
  m_dialog.Click(kShiftKey);
  EXPECT_EQ(")(*&^%$#@!", DigitRow());
}

TEST_F(OnScreenKeyboardTest, AControlThatIsNotAKeySendsNothing) {
  m_controller.keyboard.Press(m_dialog, 1007, kTypedEdit);
  m_controller.keyboard.Press(m_dialog, 1051, kTypedEdit);
  EXPECT_EQ("", m_dialog.GetText(kTypedEdit));
}

// --- The shuffle

std::vector<KeyLabels> Shuffled(unsigned seed) {
  std::vector<KeyLabels> labels = DigitKeyLabels();
  ShuffleKeyLabels(labels, seed);
  return labels;
}

std::string Digits(const std::vector<KeyLabels>& labels) {
  std::string digits;
  for (const KeyLabels& pair : labels) digits += pair.second;
  return digits;
}

TEST(ShuffleKeyLabelsTest, EachEntryAfterTheFirstIsSwappedWithARandomOneUpToItself) {
  constexpr unsigned kSeed = 1700000000;
  std::string digits = "0987654321";
  std::srand(kSeed);
  for (int i = 1; i <= 9; ++i) {
    const int other = std::rand() % (i + 1);
    std::swap(digits[static_cast<std::size_t>(i)], digits[static_cast<std::size_t>(other)]);
  }
  EXPECT_EQ(digits, Digits(Shuffled(kSeed)));
}

TEST(ShuffleKeyLabelsTest, ASignStaysWithItsDigit) {
  const std::string signs = ")!@#$%^&*(";
  for (unsigned seed = 0; seed < 50; ++seed) {
    for (const KeyLabels& pair : Shuffled(seed)) {
      EXPECT_EQ(signs[static_cast<std::size_t>(pair.second[0] - '0')], pair.first[0]) << pair.second;
    }
  }
}

TEST(ShuffleKeyLabelsTest, EveryDigitIsThereOnce) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    std::string digits = Digits(Shuffled(seed));
    std::sort(digits.begin(), digits.end());
    EXPECT_EQ("0123456789", digits);
  }
}

TEST(ShuffleKeyLabelsTest, ConsecutiveSecondsGiveDifferentOrders) {
  for (unsigned seed = 1700000000; seed < 1700000050; ++seed) {
    EXPECT_NE(Digits(Shuffled(seed)), Digits(Shuffled(seed + 1))) << seed;
  }
}

}  // namespace

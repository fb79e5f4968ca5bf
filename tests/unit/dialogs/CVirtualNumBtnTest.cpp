#include <gtest/gtest.h>

#include "dialogs/CVirtualNumBtn.h"
#include "dialogs/ScriptedDialogs.h"

namespace {

constexpr int kKey = 1011;

class KeyboardDialog : public DialogController {
 public:
  int GetResource() const override { return 106; }
  void OnOpen(DialogView& /*view*/) override {}
  void OnCommand(DialogView& /*view*/, int /*control*/, UINT /*notification*/) override {}
};

class CVirtualNumBtnTest : public ::testing::Test {
 protected:
  KeyboardDialog m_controller;
  ScriptedDialog m_dialog{m_controller};
  CVirtualNumBtn m_button{kKey};
};

TEST_F(CVirtualNumBtnTest, HasNoCharactersAtFirst) {
  EXPECT_EQ(kKey, m_button.GetControl());
  EXPECT_EQ('\0', m_button.GetUpper());
  EXPECT_EQ('\0', m_button.GetLower());
}

TEST_F(CVirtualNumBtnTest, ShowsBothLabelsAndStoresTheirFirstCharacters) {
  m_button.SetLabels(m_dialog, "!", "1");
  EXPECT_EQ('!', m_button.GetUpper());
  EXPECT_EQ('1', m_button.GetLower());
  EXPECT_EQ("!     \n     1", m_dialog.GetText(kKey));
}

TEST_F(CVirtualNumBtnTest, ADoubledAmpersandIsOneCharacter) {
  m_button.SetLabels(m_dialog, "&&", "7");
  EXPECT_EQ('&', m_button.GetUpper());
  EXPECT_EQ("&&     \n     7", m_dialog.GetText(kKey));
}

TEST_F(CVirtualNumBtnTest, ACaptionDoesNotChangeTheCharacters) {
  m_button.SetLabels(m_dialog, "!", "1");
  m_button.SetCaption(m_dialog, "x");
  EXPECT_EQ("x", m_dialog.GetText(kKey));
  EXPECT_EQ('!', m_button.GetUpper());
}

TEST(DigitKeyLabelsTest, AreListedFromZeroAndNineDownToOne) {
  const std::vector<KeyLabels> labels = DigitKeyLabels();
  std::string upper;
  std::string lower;
  for (const KeyLabels& pair : labels) {
    upper += pair.first;
    lower += pair.second;
  }
  EXPECT_EQ(")(*&&^%$#@!", upper);
  EXPECT_EQ("0987654321", lower);
}

}  // namespace

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dialogs/CSecureEditEx.h"
#include "dialogs/ScriptedDialogs.h"
#include "platform/HeapWatch.h"

namespace {

constexpr int kSecureEdit = 1002;

// Makes the protected members accessible.
class OpenEdit : public CSecureEditEx {
 public:
  using CSecureEditEx::CSecureEditEx;
  using CSecureEditEx::m_key;
  using CSecureEditEx::m_store;

  // Sets a key that masks no digit to zero.
  void SetKey() {
    for (std::size_t i = 0; i < m_key.Length(); ++i) m_key.Data()[i] = static_cast<BYTE>(0x80 + i);
  }
};

// Notes whether the first character is unmasked while memory is allocated. If that allocation failed, the character
// would stay unmasked.
class MaskWatch : public HeapGuard {
 public:
  explicit MaskWatch(const BYTE& masked) : m_masked(masked), m_expected(masked) {}
  bool Allows(std::size_t /*length*/) noexcept override {
    wasOff = wasOff || m_masked != m_expected;
    return true;
  }
  void OnGiven(char* /*block*/, std::size_t /*length*/) noexcept override {}
  void OnReleased(const char* /*block*/, std::size_t /*length*/) noexcept override {}

  bool wasOff = false;

 private:
  const BYTE& m_masked;
  const BYTE m_expected;
};

// A dialog that contains only the edit.
class EditDialog : public DialogController {
 public:
  int GetResource() const override { return 119; }
  void OnOpen(DialogView& /*view*/) override {}
  void OnCommand(DialogView& view, int control, UINT notification) override {
    if (control == kSecureEdit && notification == EN_UPDATE) edit.OnUpdate(view);
  }
  bool WatchesInput(int control) const override { return control == kSecureEdit; }
  void BeforeInput(DialogView& view, int /*control*/, UINT message, WPARAM key) override {
    edit.BeforeInput(view, message, key);
  }
  void AfterInput(DialogView& view, int /*control*/, UINT message, WPARAM /*key*/) override {
    edit.AfterInput(view, message);
  }

  OpenEdit edit{kSecureEdit};
};

class CSecureEditExTest : public ::testing::Test {
 protected:
  std::string Plain() const { return m_controller.edit.GetPlainText(m_dialog).get(); }
  std::string Window() const { return m_dialog.GetText(kSecureEdit); }
  std::size_t Caret() const { return m_dialog.GetSelection(kSecureEdit).end; }
  bool HasSelection() const {
    const TextSelection selection = m_dialog.GetSelection(kSecureEdit);
    return selection.start != selection.end;
  }
  void SetCaret(std::size_t place) { m_dialog.Select(kSecureEdit, {place, place}); }

  EditDialog m_controller;
  ScriptedDialog m_dialog{m_controller};
};

TEST_F(CSecureEditExTest, IsEmptyAtFirst) { EXPECT_EQ("", Plain()); }

TEST_F(CSecureEditExTest, KeepsWhatIsTypedAndShowsAsterisks) {
  m_dialog.Type(kSecureEdit, "1a$Z");
  EXPECT_EQ("1a$Z", Plain());
  EXPECT_EQ("****", Window());
  EXPECT_EQ(4U, Caret());
  EXPECT_TRUE(m_dialog.ShowedOnlyAsterisks(kSecureEdit));
}

TEST_F(CSecureEditExTest, ScrollsToTheCaretWithEachCharacter) {
  m_dialog.Type(kSecureEdit, "12");
  EXPECT_EQ(2, m_dialog.GetScrolls(kSecureEdit));
}

TEST_F(CSecureEditExTest, InsertsAtTheCaret) {
  m_dialog.Type(kSecureEdit, "14");
  m_dialog.Press(kSecureEdit, VK_LEFT);
  m_dialog.Type(kSecureEdit, "23");
  EXPECT_EQ("1234", Plain());
  EXPECT_EQ("****", Window());
  EXPECT_EQ(3U, Caret());
  m_dialog.Press(kSecureEdit, VK_HOME);
  m_dialog.Type(kSecureEdit, "0");
  EXPECT_EQ("01234", Plain());
  EXPECT_EQ(1U, Caret());
}

TEST_F(CSecureEditExTest, BackspaceDeletesBeforeTheCaretAndDeleteAfterIt) {
  m_dialog.Type(kSecureEdit, "12345");
  m_dialog.Press(kSecureEdit, VK_LEFT);
  m_dialog.Press(kSecureEdit, VK_LEFT);
  m_dialog.Press(kSecureEdit, VK_BACK);
  EXPECT_EQ("1245", Plain());
  EXPECT_EQ(2U, Caret());
  m_dialog.Press(kSecureEdit, VK_DELETE);
  EXPECT_EQ("125", Plain());
  EXPECT_EQ(2U, Caret());
  EXPECT_EQ("***", Window());
}

TEST_F(CSecureEditExTest, APastedTextIsInsertedWhole) {
  m_dialog.Type(kSecureEdit, "19");
  SetCaret(1);
  m_dialog.Paste(kSecureEdit, "2345678");
  EXPECT_EQ("123456789", Plain());
  EXPECT_EQ("*********", Window());
  EXPECT_EQ(8U, Caret());
  EXPECT_TRUE(m_dialog.ShowedOnlyAsterisks(kSecureEdit));
}

TEST_F(CSecureEditExTest, AsterisksAreCharactersLikeOthers) {
  m_dialog.Type(kSecureEdit, "*1*");
  EXPECT_EQ("*1*", Plain());
}

TEST_F(CSecureEditExTest, CharactersAboveAsciiAreKeptUnchanged) {
  m_dialog.Type(kSecureEdit, "\xE4\xFF");
  EXPECT_EQ("\xE4\xFF", Plain());
  EXPECT_EQ("**", Window());
}

TEST_F(CSecureEditExTest, PositionsAndKeyBytesStayAlignedBeyondTheKeysLength) {
  const std::string digits = "0123456789012345678901234567890123456789";
  m_dialog.Type(kSecureEdit, digits);
  EXPECT_EQ(digits, Plain());
  SetCaret(1);
  m_dialog.Type(kSecureEdit, "abc");
  EXPECT_EQ("0abc" + digits.substr(1), Plain());
  m_dialog.Press(kSecureEdit, VK_BACK);
  SetCaret(20);
  m_dialog.Press(kSecureEdit, VK_DELETE);
  EXPECT_EQ("0ab" + digits.substr(1, 17) + digits.substr(19), Plain());
}

TEST_F(CSecureEditExTest, ATextSetByAnotherProgramIsStored) {
  m_dialog.SetText(kSecureEdit, "1234");
  EXPECT_EQ("1234", Plain());
  EXPECT_EQ("****", Window());
  m_dialog.SetText(kSecureEdit, "");
  EXPECT_EQ("", Plain());
}

TEST_F(CSecureEditExTest, AnUpdateWithoutAChangeOfLengthChangesNothing) {
  m_dialog.Type(kSecureEdit, "1234");
  SetCaret(2);
  m_controller.edit.OnUpdate(m_dialog);
  EXPECT_EQ("1234", Plain());
  EXPECT_EQ(2U, Caret());
}

// --- No selection

TEST_F(CSecureEditExTest, ADoubleClickSelectsNothing) {
  m_dialog.Type(kSecureEdit, "1234");
  m_dialog.DoubleClick(kSecureEdit);
  EXPECT_FALSE(HasSelection());
  EXPECT_EQ(0U, Caret());
  m_dialog.Type(kSecureEdit, "0");
  EXPECT_EQ("01234", Plain());
}

TEST_F(CSecureEditExTest, TheMouseSelectsNothing) {
  m_dialog.Type(kSecureEdit, "1234");
  m_dialog.Drag(kSecureEdit, 1, 3);
  EXPECT_FALSE(HasSelection());
  EXPECT_EQ(1U, Caret());
}

TEST_F(CSecureEditExTest, ShiftAndAnArrowSelectNothing) {
  m_dialog.Type(kSecureEdit, "1234");
  m_dialog.Hold(VK_SHIFT);
  m_dialog.Press(kSecureEdit, VK_LEFT);
  EXPECT_FALSE(HasSelection());
  EXPECT_EQ(3U, Caret());
}

class CollapsingMessageTest : public CSecureEditExTest, public ::testing::WithParamInterface<UINT> {};

TEST_P(CollapsingMessageTest, LeavesNoSelection) {
  m_dialog.Type(kSecureEdit, "1234");
  m_dialog.Select(kSecureEdit, {1, 3});
  const int scrolls = m_dialog.GetScrolls(kSecureEdit);
  m_dialog.SendInput(kSecureEdit, GetParam());
  EXPECT_FALSE(HasSelection());
  EXPECT_EQ(1U, Caret());
  EXPECT_EQ(scrolls + 1, m_dialog.GetScrolls(kSecureEdit));
}

INSTANTIATE_TEST_SUITE_P(Messages, CollapsingMessageTest,
                         ::testing::Values(WM_KEYDOWN, WM_KEYUP, WM_CHAR, WM_DEADCHAR, WM_MOUSEMOVE, WM_LBUTTONDBLCLK,
                                           WM_LBUTTONUP, WM_MBUTTONUP, WM_MBUTTONDBLCLK, WM_RBUTTONUP,
                                           WM_RBUTTONDBLCLK));

TEST_F(CSecureEditExTest, OtherMessagesLeaveTheSelection) {
  m_dialog.Type(kSecureEdit, "1234");
  m_dialog.Select(kSecureEdit, {1, 3});
  m_dialog.SendInput(kSecureEdit, 0x0201);
  EXPECT_TRUE(HasSelection());
}

struct ShiftCase {
  int shift;
  int key;
};

class EmptyingKeyTest : public CSecureEditExTest, public ::testing::WithParamInterface<ShiftCase> {};

TEST_P(EmptyingKeyTest, EmptiesTheFieldAndTheStore) {
  m_dialog.Type(kSecureEdit, "12345");
  EXPECT_EQ("*****", Window());
  SetCaret(2);
  m_dialog.Hold(GetParam().shift);
  m_dialog.Press(kSecureEdit, GetParam().key);
  EXPECT_EQ("", Window());
  EXPECT_EQ("", Plain());
  EXPECT_EQ(0U, Caret());
  m_dialog.Hold(GetParam().shift, false);
  m_dialog.Type(kSecureEdit, "6");
  EXPECT_EQ("6", Plain());
}

INSTANTIATE_TEST_SUITE_P(ShiftWithHomeOrEnd, EmptyingKeyTest,
                         ::testing::Values(ShiftCase{VK_SHIFT, VK_END}, ShiftCase{VK_LSHIFT, VK_END},
                                           ShiftCase{VK_RSHIFT, VK_END}, ShiftCase{VK_SHIFT, VK_HOME},
                                           ShiftCase{VK_LSHIFT, VK_HOME}, ShiftCase{VK_RSHIFT, VK_HOME}));

TEST_F(CSecureEditExTest, HomeAndEndAloneMoveTheCaret) {
  m_dialog.Type(kSecureEdit, "123");
  m_dialog.Press(kSecureEdit, VK_HOME);
  EXPECT_EQ(0U, Caret());
  m_dialog.Press(kSecureEdit, VK_END);
  EXPECT_EQ(3U, Caret());
  EXPECT_EQ("123", Plain());
}

TEST_F(CSecureEditExTest, CharactersWithTheCodesOfHomeAndEndAreTyped) {
  m_dialog.Hold(VK_SHIFT);
  m_dialog.Type(kSecureEdit, "1#$");
  EXPECT_EQ("1#$", Plain());
}

// --- Setting the text and the mode

TEST_F(CSecureEditExTest, ASetTextIsMaskedAndReadBack) {
  m_controller.edit.SetPlainText(m_dialog, "1234");
  EXPECT_EQ("****", Window());
  EXPECT_EQ("1234", Plain());
  m_dialog.Press(kSecureEdit, VK_END);
  m_dialog.Type(kSecureEdit, "5");
  EXPECT_EQ("12345", Plain());
  m_controller.edit.SetPlainText(m_dialog, "67");
  EXPECT_EQ("**", Window());
  EXPECT_EQ("67", Plain());
  EXPECT_TRUE(m_dialog.ShowedOnlyAsterisks(kSecureEdit));
}

TEST_F(CSecureEditExTest, NullClearsTheText) {
  m_dialog.Type(kSecureEdit, "1234");
  m_controller.edit.SetPlainText(m_dialog, nullptr);
  EXPECT_EQ("", Window());
  EXPECT_EQ("", Plain());
}

TEST_F(CSecureEditExTest, OutsideSecureModeTheWindowHoldsTheText) {
  m_controller.edit.SetSecureMode(0);
  m_dialog.Type(kSecureEdit, "12");
  EXPECT_EQ("12", Window());
  EXPECT_EQ("12", Plain());
  m_controller.edit.SetPlainText(m_dialog, "345");
  EXPECT_EQ("345", Window());
  EXPECT_EQ("345", Plain());
  m_controller.edit.SetPlainText(m_dialog, nullptr);
  EXPECT_EQ("", Plain());
}

TEST_F(CSecureEditExTest, ChangingTheModeForgetsTheCharactersAndKeepsTheWindowText) {
  m_dialog.Type(kSecureEdit, "1234");
  m_controller.edit.SetSecureMode(1);
  EXPECT_EQ("", Plain());
  EXPECT_EQ("****", Window());
}

TEST_F(CSecureEditExTest, ATextCanBeMovedBetweenTheModes) {
  m_dialog.Type(kSecureEdit, "1234");
  const auto masked = m_controller.edit.GetPlainText(m_dialog);
  m_controller.edit.SetSecureMode(0);
  m_controller.edit.SetPlainText(m_dialog, masked.get());
  EXPECT_EQ("1234", Window());
  const auto shown = m_controller.edit.GetPlainText(m_dialog);
  m_controller.edit.SetSecureMode(1);
  m_controller.edit.SetPlainText(m_dialog, shown.get());
  EXPECT_EQ("****", Window());
  EXPECT_EQ("1234", Plain());
}

// --- Memory

TEST_F(CSecureEditExTest, EachCharacterIsMaskedInItsOwnBlock) {
  m_controller.edit.SetKey();
  const std::string digits = "0123456789012345678901234567890123456789";
  m_dialog.Type(kSecureEdit, digits);
  ASSERT_EQ(40U, m_controller.edit.m_store.size());
  for (std::size_t i = 0; i < digits.size(); ++i) {
    EXPECT_EQ(static_cast<std::size_t>(digits[i]) ^ (0x80 + i % 32), m_controller.edit.m_store[i][0]) << i;
  }
}

TEST_F(CSecureEditExTest, TheMaskFollowsThePositionOfACharacter) {
  m_controller.edit.SetKey();
  m_dialog.Type(kSecureEdit, "13");
  SetCaret(1);
  m_dialog.Type(kSecureEdit, "2");
  EXPECT_EQ('1' ^ 0x80, m_controller.edit.m_store[0][0]);
  EXPECT_EQ('2' ^ 0x81, m_controller.edit.m_store[1][0]);
  EXPECT_EQ('3' ^ 0x82, m_controller.edit.m_store[2][0]);
  SetCaret(0);
  m_dialog.Press(kSecureEdit, VK_DELETE);
  EXPECT_EQ('2' ^ 0x80, m_controller.edit.m_store[0][0]);
  EXPECT_EQ('3' ^ 0x81, m_controller.edit.m_store[1][0]);
}

TEST_F(CSecureEditExTest, NoMemoryIsAllocatedWhileTheMaskIsOff) {
  m_controller.edit.SetKey();
  m_dialog.Type(kSecureEdit, "1");
  const MaskWatch watch(m_controller.edit.m_store[0][0]);
  m_dialog.Type(kSecureEdit, "23456789");
  SetCaret(5);
  m_dialog.Press(kSecureEdit, VK_DELETE);
  EXPECT_FALSE(watch.wasOff);
}

TEST_F(CSecureEditExTest, ADeletedCharacterIsWiped) {
  m_dialog.Type(kSecureEdit, "1234");
  SetCaret(1);
  const HeapWatch watch(m_controller.edit.m_store[1].get(), 1);
  m_dialog.Press(kSecureEdit, VK_DELETE);
  EXPECT_TRUE(watch.WasReleased());
  EXPECT_TRUE(watch.WasWiped());
}

TEST_F(CSecureEditExTest, CharactersAreWipedWhenTheModeEmptiesTheStore) {
  m_controller.edit.SetKey();
  m_dialog.Type(kSecureEdit, "1234");
  const HeapWatch watch(m_controller.edit.m_store[3].get(), 1);
  m_controller.edit.SetSecureMode(0);
  EXPECT_TRUE(watch.WasReleased());
  EXPECT_TRUE(watch.WasWiped());
}

TEST_F(CSecureEditExTest, CharactersAreWipedWithTheEdit) {
  auto edit = std::make_unique<OpenEdit>(kSecureEdit);
  edit->SetKey();
  edit->SetPlainText(m_dialog, "1234");
  const HeapWatch watch(edit->m_store[0].get(), 1);
  edit.reset();
  EXPECT_TRUE(watch.WasReleased());
  EXPECT_TRUE(watch.WasWiped());
}

TEST_F(CSecureEditExTest, TheKeyIsWipedWithTheEdit) {
  auto edit = std::make_unique<OpenEdit>(kSecureEdit);
  edit->SetKey();
  const HeapWatch watch(edit->m_key.Data(), 32);
  edit.reset();
  EXPECT_TRUE(watch.WasReleased());
  EXPECT_TRUE(watch.WasWiped());
}

TEST_F(CSecureEditExTest, APlainTextIsWipedWhenItIsReleased) {
  m_dialog.Type(kSecureEdit, "1234");
  CSecureEditEx::PlainText text = m_controller.edit.GetPlainText(m_dialog);
  const HeapWatch watch(text.get(), 4);
  text.reset();
  EXPECT_TRUE(watch.WasReleased());
  EXPECT_TRUE(watch.WasWiped());
}

TEST_F(CSecureEditExTest, WipingNullIsHarmless) { CSecureEditEx::WipePlainText(nullptr); }

TEST(CSecureEditExKeyTest, TheKeyTakesThirtyTwoRandomNumbersWithoutSeeding) {
  std::srand(1);
  for (int i = 0; i < 32; ++i) std::rand();
  const int next = std::rand();
  std::srand(1);
  const CSecureEditEx edit(kSecureEdit);
  EXPECT_EQ(next, std::rand());
}

}  // namespace

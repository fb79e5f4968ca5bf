#include <boost/make_shared.hpp>
#include <ctime>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cryptoki/LoginLock.h"
#include "cryptoki/Token.h"
#include "dialogs/CChangePINDlg.h"
#include "dialogs/ChangePIN.h"
#include "dialogs/ScriptedDialogs.h"
#include "dialogs/StrengthBar.h"
#include "fixtures/LogFile.h"
#include "module/AnsweringSession.h"
#include "module/ScriptedModule.h"
#include "module/WaitingLogin.h"
#include "platform/HeapWatch.h"

namespace {

constexpr int kOK = 1;
constexpr int kCancel = 2;
constexpr int kCaps = 1038;
constexpr int kShift = 1064;
constexpr int kClear = 1067;
constexpr int kCurrent = 1068;
constexpr int kNew = 1069;
constexpr int kShowKeyboard = 1070;
constexpr int kRepeated = 1071;
constexpr int kReveal = 1072;
constexpr int kStatus = 1076;
constexpr int kBar = 1077;
constexpr int kStrengthLabel = 1078;
constexpr int kWord = 1079;

boost::shared_array<BYTE> Bytes(const std::string& text) {
  boost::shared_array<BYTE> bytes(new BYTE[text.size()]);
  std::copy(text.begin(), text.end(), bytes.get());
  return bytes;
}

void Enter(ScriptedDialog& dialog, const std::string& current, const std::string& fresh, const std::string& repeated) {
  dialog.Type(kCurrent, current);
  dialog.Type(kNew, fresh);
  dialog.Type(kRepeated, repeated);
}

void EnterAndClickOK(ScriptedDialog& dialog) {
  Enter(dialog, "1234", "567890", "567890");
  EXPECT_TRUE(dialog.Click(kOK));
}

// The digits of the row, in the order of the labels: the 0 key, then the keys 1 to 9.
std::string DigitsOf(const ScriptedDialog& dialog) {
  std::string digits;
  for (const int key : {1020, 1011, 1012, 1013, 1014, 1015, 1016, 1017, 1018, 1019}) {
    digits += dialog.GetText(key).back();
  }
  return digits;
}

class CChangePINDlgTest : public LogTest {
 protected:
  CChangePINDlgTest() {
    m_dialog.SetSession(&m_session);
    m_dialog.SetTokenLabel("TELVO Token");
    m_dialog.AttachPINCache(m_cache);
  }

  // Runs the dialog with the user's actions, then cancels it if it is still open.
  INT_PTR Run(const ScriptedDialogs::Script& script) {
    m_dialogs.OnNextThenCancel(script);
    return m_dialog.DoModal();
  }

  // The new PIN after these keys of the on-screen keyboard are clicked.
  std::string Keys(const std::vector<int>& keys) {
    Run([&](ScriptedDialog& dialog) {
      dialog.Type(kCurrent, "1");
      for (const int edit : {kNew, kRepeated}) {
        dialog.Focus(edit);
        for (const int key : keys) dialog.Click(key);
        for (const int lock : {kCaps, kShift}) {
          if (dialog.IsChecked(lock)) dialog.Click(lock);
        }
      }
      EXPECT_TRUE(dialog.Click(kOK));
    });
    return m_session.changes.empty() ? "(none)" : m_session.changes.back().substr(5);
  }

  ScriptedDialogs m_dialogs;
  AnsweringSession m_session;
  boost::shared_ptr<CTELVOPINCache> m_cache = boost::make_shared<CTELVOPINCache>();
  CChangePINDlg m_dialog;
};

// --- Opening

TEST_F(CChangePINDlgTest, OpensWithTheTokensNameInItsTitle) {
  Run([](ScriptedDialog& dialog) {
    EXPECT_EQ(125, dialog.GetResource());
    EXPECT_EQ("Change PIN for TELVO Token", dialog.GetTitle());
  });
}

TEST_F(CChangePINDlgTest, KeepsTheTitleOfTheTemplateForAnEmptyLabel) {
  m_dialog.SetTokenLabel("");
  Run([](ScriptedDialog& dialog) { EXPECT_EQ("Change PIN", dialog.GetTitle()); });
}

TEST_F(CChangePINDlgTest, OpensWithEmptyFieldsFocusOnTheFirstAndOkDisabled) {
  Run([](ScriptedDialog& dialog) {
    for (const int edit : {kCurrent, kNew, kRepeated}) {
      EXPECT_EQ("", dialog.GetText(edit));
      EXPECT_TRUE(dialog.IsEnabled(edit));
    }
    EXPECT_EQ(kCurrent, dialog.GetFocus());
    EXPECT_FALSE(dialog.IsEnabled(kOK));
    EXPECT_TRUE(dialog.IsEnabled(kClear));
    EXPECT_EQ("", dialog.GetText(kStatus));
  });
}

TEST_F(CChangePINDlgTest, OpensWithTheKeyboardHiddenAndItsToggleVisibleButDisabled) {
  Run([](ScriptedDialog& dialog) {
    EXPECT_EQ(-200, dialog.GetGrowth());
    EXPECT_FALSE(dialog.IsEnabled(kShowKeyboard));
    EXPECT_TRUE(dialog.IsShown(kShowKeyboard));
  });
}

TEST_F(CChangePINDlgTest, OpensWithTheRevealToggleDisabledAndHidden) {
  Run([](ScriptedDialog& dialog) {
    EXPECT_FALSE(dialog.IsEnabled(kReveal));
    EXPECT_FALSE(dialog.IsShown(kReveal));
  });
}

TEST_F(CChangePINDlgTest, OpensWithTheStrengthHidden) {
  Run([](ScriptedDialog& dialog) {
    for (const int control : {kStrengthLabel, kWord, kBar}) EXPECT_FALSE(dialog.IsShown(control)) << control;
    EXPECT_EQ(std::make_pair(0, 100), dialog.GetRange(kBar));
    EXPECT_EQ(0, dialog.GetPosition(kBar));
  });
}

TEST_F(CChangePINDlgTest, HidesTheControlsOfOtherLayouts) {
  Run([](ScriptedDialog& dialog) {
    for (const int control : {1003, 1081, 1082, 1083, 1084, 1085, 1086})
      EXPECT_FALSE(dialog.IsShown(control)) << control;
  });
}

TEST_F(CChangePINDlgTest, DrawsItsStatusLineRedAndBold) {
  COLORREF color = 0;
  DialogFont font;
  EXPECT_TRUE(m_dialog.GetTextColor(kStatus, color));
  EXPECT_EQ(250U, color);
  EXPECT_TRUE(m_dialog.GetTextFont(kStatus, font));
  EXPECT_EQ(16, font.height);
  EXPECT_EQ(700, font.weight);
  EXPECT_STREQ("Arial", font.face);
  EXPECT_FALSE(m_dialog.GetTextColor(kWord, color));
  EXPECT_FALSE(m_dialog.GetTextFont(kWord, font));
}

TEST_F(CChangePINDlgTest, CancelReturnsTwo) {
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) { EXPECT_TRUE(dialog.Click(kCancel)); }));
  EXPECT_TRUE(m_session.changes.empty());
}

TEST_F(CChangePINDlgTest, ASecondRunStartsEmpty) {
  Run([](ScriptedDialog& dialog) { Enter(dialog, "1234", "567890", "567890"); });
  Run([](ScriptedDialog& dialog) {
    EXPECT_FALSE(dialog.IsEnabled(kOK));
    Enter(dialog, "11", "22", "22");
    dialog.Click(kOK);
  });
  EXPECT_EQ(std::vector<std::string>{"11 to 22"}, m_session.changes);
}

// --- The shuffled digits

TEST_F(CChangePINDlgTest, TheTimeInSecondsSeedsTheOrderOfTheDigits) {
  const std::time_t before = std::time(nullptr);
  std::string digits;
  Run([&](ScriptedDialog& dialog) { digits = DigitsOf(dialog); });
  const std::time_t after = std::time(nullptr);
  std::vector<std::string> expected;
  for (std::time_t second = before; second <= after; ++second) {
    std::vector<KeyLabels> labels = DigitKeyLabels();
    ShuffleKeyLabels(labels, static_cast<unsigned>(second));
    expected.emplace_back();
    for (const KeyLabels& pair : labels) expected.back() += pair.second;
  }
  EXPECT_NE(expected.end(), std::find(expected.begin(), expected.end(), digits)) << digits;
}

TEST_F(CChangePINDlgTest, EachDigitKeyShowsItsDigitAndItsSign) {
  Run([](ScriptedDialog& dialog) {
    const std::string signs = ")!@#$%^&*(";
    for (const int key : {1020, 1011, 1012, 1013, 1014, 1015, 1016, 1017, 1018, 1019}) {
      const char digit = dialog.GetText(key).back();
      const char sign = signs[static_cast<std::size_t>(digit - '0')];
      const std::string shownSign = sign == '&' ? "&&" : std::string(1, sign);
      EXPECT_EQ(shownSign + "     \n     " + digit, dialog.GetText(key));
    }
  });
}

TEST_F(CChangePINDlgTest, TheDigitKeysTypeWhatTheyShow) {
  std::string shown;
  Run([&](ScriptedDialog& dialog) {
    shown = DigitsOf(dialog);
    dialog.Type(kCurrent, "1");
    for (const int edit : {kNew, kRepeated}) {
      dialog.Focus(edit);
      for (const int key : {1020, 1011, 1012, 1013, 1014, 1015, 1016, 1017, 1018, 1019}) dialog.Click(key);
    }
    dialog.Click(kOK);
  });
  EXPECT_EQ(std::vector<std::string>{"1 to " + shown}, m_session.changes);
}

// --- A PIN handed over

TEST_F(CChangePINDlgTest, APinHandedOverIsShownAsAsterisksAndCannotBeChanged) {
  m_dialog.HandOverPIN(Bytes("1234"), 4);
  Run([](ScriptedDialog& dialog) {
    EXPECT_EQ("****", dialog.GetText(kCurrent));
    EXPECT_FALSE(dialog.IsEnabled(kCurrent));
    EXPECT_TRUE(dialog.ShowedOnlyAsterisks(kCurrent));
  });
}

TEST_F(CChangePINDlgTest, APinHandedOverNeedNotBeTyped) {
  m_dialog.HandOverPIN(Bytes("1234"), 4);
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              dialog.Type(kNew, "567890");
              dialog.Type(kRepeated, "567890");
              EXPECT_TRUE(dialog.Click(kOK));
            }));
  EXPECT_EQ(std::vector<std::string>{"1234 to 567890"}, m_session.changes);
}

TEST_F(CChangePINDlgTest, RevealShowsOnlyTheLengthOfAPinHandedOver) {
  m_dialog.HandOverPIN(Bytes("1234"), 4);
  Run([](ScriptedDialog& dialog) {
    dialog.Show(kReveal, true);
    dialog.Enable(kReveal, true);
    dialog.Click(kReveal);
    EXPECT_EQ("****", dialog.GetText(kCurrent));
  });
}

TEST_F(CChangePINDlgTest, APinOfLengthZeroCountsAsNotHandedOver) {
  m_dialog.HandOverPIN(Bytes("1234"), 0);
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              EXPECT_TRUE(dialog.IsEnabled(kCurrent));
              EnterAndClickOK(dialog);
            }));
  EXPECT_EQ(std::vector<std::string>{"1234 to 567890"}, m_session.changes);
}

TEST_F(CChangePINDlgTest, ABufferLongerThanThePinIsReadToThePinsLength) {
  m_dialog.HandOverPIN(Bytes("1234567"), 4);
  Run([](ScriptedDialog& dialog) {
    EXPECT_EQ("****", dialog.GetText(kCurrent));
    dialog.Type(kNew, "5");
    dialog.Type(kRepeated, "5");
    dialog.Click(kOK);
  });
  EXPECT_EQ(std::vector<std::string>{"1234 to 5"}, m_session.changes);
}

// --- The strength

struct StrengthCase {
  const char* pin;
  int score;
  const char* word;
};

class ShownStrengthTest : public CChangePINDlgTest, public ::testing::WithParamInterface<StrengthCase> {};

TEST_P(ShownStrengthTest, IsThatOfTheNewPin) {
  Run([](ScriptedDialog& dialog) {
    dialog.Type(kNew, GetParam().pin);
    for (const int control : {kStrengthLabel, kWord, kBar}) EXPECT_TRUE(dialog.IsShown(control)) << control;
    EXPECT_EQ(GetParam().word, dialog.GetText(kWord));
    EXPECT_EQ(GetParam().score, dialog.GetPosition(kBar));
    EXPECT_TRUE(dialog.ShowedOnlyAsterisks(kNew));
  });
}

INSTANTIATE_TEST_SUITE_P(Pins, ShownStrengthTest,
                         ::testing::Values(StrengthCase{"1234", 4, "Very Weak"},
                                           StrengthCase{"12345678", 4, "Very Weak"},
                                           StrengthCase{"abcd", 0, "Very Weak"}, StrengthCase{"aBcdefg!", 33, "Weak"},
                                           StrengthCase{"Ab1!", 40, "Good"}, StrengthCase{"Ab1!Ab1", 66, "Strong"},
                                           StrengthCase{"Aa1!Aa1!", 88, "Very Strong"}));

TEST_F(CChangePINDlgTest, AnEmptyNewPinHidesTheStrength) {
  Run([](ScriptedDialog& dialog) {
    dialog.Type(kNew, "1");
    dialog.Press(kNew, VK_BACK);
    for (const int control : {kStrengthLabel, kWord, kBar}) EXPECT_FALSE(dialog.IsShown(control)) << control;
  });
}

TEST_F(CChangePINDlgTest, EnteringAFieldDoesNotCheckIt) {
  Run([](ScriptedDialog& dialog) {
    dialog.Focus(kRepeated);
    EXPECT_FALSE(dialog.IsEnabled(kOK));
  });
}

TEST_F(CChangePINDlgTest, OtherFieldsShowNoStrength) {
  Run([](ScriptedDialog& dialog) {
    dialog.Type(kCurrent, "1234");
    dialog.Type(kRepeated, "1234");
    for (const int control : {kStrengthLabel, kWord, kBar}) EXPECT_FALSE(dialog.IsShown(control)) << control;
  });
}

TEST(StrengthTextTest, TheWordsChangeAtTwentyFortySixtyAndEighty) {
  EXPECT_EQ(115U, StrengthTextId(0));
  EXPECT_EQ(115U, StrengthTextId(19));
  EXPECT_EQ(116U, StrengthTextId(20));
  EXPECT_EQ(116U, StrengthTextId(39));
  EXPECT_EQ(117U, StrengthTextId(40));
  EXPECT_EQ(117U, StrengthTextId(59));
  EXPECT_EQ(118U, StrengthTextId(60));
  EXPECT_EQ(118U, StrengthTextId(79));
  EXPECT_EQ(119U, StrengthTextId(80));
  EXPECT_EQ(119U, StrengthTextId(100));
}

// --- The repetition

TEST_F(CChangePINDlgTest, OkIsEnabledWhenTheNewPinsAreEqual) {
  Run([](ScriptedDialog& dialog) {
    dialog.Type(kNew, "567");
    dialog.Type(kRepeated, "56");
    EXPECT_EQ("Value of New PIN does not Match!", dialog.GetText(kStatus));
    EXPECT_FALSE(dialog.IsEnabled(kOK));
    EXPECT_EQ(kRepeated, dialog.GetFocus());
    dialog.Type(kRepeated, "7");
    EXPECT_EQ("", dialog.GetText(kStatus));
    EXPECT_TRUE(dialog.IsEnabled(kOK));
    dialog.Type(kRepeated, "8");
    EXPECT_EQ("Value of New PIN does not Match!", dialog.GetText(kStatus));
    EXPECT_FALSE(dialog.IsEnabled(kOK));
  });
}

TEST_F(CChangePINDlgTest, ANewPinOfAnyLengthIsAccepted) {
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              Enter(dialog, "1", "2", "2");
              EXPECT_TRUE(dialog.Click(kOK));
            }));
  const std::string longest(300, 'x');
  EXPECT_EQ(1, Run([&](ScriptedDialog& dialog) {
              Enter(dialog, "2", longest, longest);
              EXPECT_TRUE(dialog.Click(kOK));
            }));
  EXPECT_EQ((std::vector<std::string>{"1 to 2", "2 to " + longest}), m_session.changes);
}

TEST_F(CChangePINDlgTest, AnEmptyRepetitionLeavesOkAndTheStatusUnchanged) {
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "1234", "5", "5");
    EXPECT_TRUE(dialog.IsEnabled(kOK));
    dialog.Press(kRepeated, VK_BACK);
    EXPECT_TRUE(dialog.IsEnabled(kOK));
    EXPECT_EQ("", dialog.GetText(kStatus));
    dialog.Type(kRepeated, "6");
    EXPECT_FALSE(dialog.IsEnabled(kOK));
    dialog.Press(kRepeated, VK_BACK);
    EXPECT_FALSE(dialog.IsEnabled(kOK));
    EXPECT_EQ("Value of New PIN does not Match!", dialog.GetText(kStatus));
  });
}

TEST_F(CChangePINDlgTest, TwoEmptyNewPinsCountAsEqual) {
  Run([](ScriptedDialog& dialog) {
    dialog.Type(kRepeated, "1");
    EXPECT_FALSE(dialog.IsEnabled(kOK));
    dialog.Press(kRepeated, VK_BACK);
    EXPECT_TRUE(dialog.IsEnabled(kOK));
    EXPECT_EQ("", dialog.GetText(kStatus));
  });
}

TEST_F(CChangePINDlgTest, ChangingTheNewPinAfterItsRepetitionLeavesOkEnabled) {
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "1234", "5", "5");
    dialog.Type(kNew, "6");
    EXPECT_TRUE(dialog.IsEnabled(kOK));
    EXPECT_TRUE(dialog.Click(kOK));
    EXPECT_EQ("Value of New PIN does not Match!", dialog.GetText(kStatus));
    EXPECT_EQ(kRepeated, dialog.GetFocus());
    EXPECT_FALSE(dialog.HasEnded());
  });
  EXPECT_TRUE(m_session.changes.empty());
}

TEST_F(CChangePINDlgTest, ShiftAndHomeEmptyTheFieldThatHasTheFocus) {
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "1234", "567890", "567890");
    dialog.Hold(VK_SHIFT);
    dialog.Press(kNew, VK_HOME);
    EXPECT_EQ("****", dialog.GetText(kCurrent));
    EXPECT_EQ("", dialog.GetText(kNew));
    EXPECT_EQ("******", dialog.GetText(kRepeated));
  });
}

// --- The keyboard and the active edit

TEST_F(CChangePINDlgTest, KeysSendLowerCaseLettersAndUnshiftedSigns) {
  EXPECT_EQ("qwertyuiop", Keys({1024, 1025, 1026, 1027, 1028, 1029, 1030, 1031, 1032, 1033}));
  EXPECT_EQ("asdfghjkl", Keys({1039, 1040, 1041, 1042, 1043, 1044, 1045, 1046, 1047}));
  EXPECT_EQ("zxcvbnm", Keys({1052, 1053, 1054, 1055, 1056, 1057, 1058}));
  EXPECT_EQ("`-=[]\\;',./ ", Keys({1010, 1021, 1022, 1034, 1035, 1036, 1048, 1049, 1059, 1060, 1061, 1063}));
}

TEST_F(CChangePINDlgTest, WithShiftKeysSendCapitalsAndShiftedSigns) {
  EXPECT_EQ("QWERTYUIOP", Keys({kShift, 1024, 1025, 1026, 1027, 1028, 1029, 1030, 1031, 1032, 1033}));
  EXPECT_EQ("~_+{}|:\"<>? ", Keys({kShift, 1010, 1021, 1022, 1034, 1035, 1036, 1048, 1049, 1059, 1060, 1061, 1063}));
}

TEST_F(CChangePINDlgTest, CapsReversesShiftForLettersOnly) {
  EXPECT_EQ("QaZ", Keys({kCaps, 1024, kShift, 1039, kShift, 1052}));
  EXPECT_EQ("`-=[]\\;',./ ", Keys({kCaps, 1010, 1021, 1022, 1034, 1035, 1036, 1048, 1049, 1059, 1060, 1061, 1063}));
}

TEST_F(CChangePINDlgTest, TheEditingKeysWorkOnTheActiveEdit) {
  EXPECT_EQ("q", Keys({1024, 1025, 1023}));
  EXPECT_EQ("w", Keys({1024, 1025, 1050, 1037}));
  EXPECT_EQ("qwe", Keys({1024, 1025, 1050, 1062, 1026}));
}

TEST_F(CChangePINDlgTest, TheKeyboardTypesIntoTheFieldThatHadTheFocusLast) {
  Run([](ScriptedDialog& dialog) {
    dialog.Click(1024);
    EXPECT_EQ("*", dialog.GetText(kCurrent));
    for (const int edit : {kNew, kRepeated, kCurrent}) {
      dialog.Focus(edit);
      dialog.Click(1024);
      dialog.Click(1025);
    }
    EXPECT_EQ("***", dialog.GetText(kCurrent));
    EXPECT_EQ("**", dialog.GetText(kNew));
    EXPECT_EQ("**", dialog.GetText(kRepeated));
    dialog.Click(kOK);
  });
  EXPECT_EQ(std::vector<std::string>{"qqw to qw"}, m_session.changes);
}

TEST_F(CChangePINDlgTest, AFieldWhoseTextChangesBecomesTheActiveOne) {
  for (const int edit : {kCurrent, kNew, kRepeated}) {
    Run([edit](ScriptedDialog& dialog) {
      dialog.Paste(edit, "12");  // as the menu of an edit without the focus does
      dialog.Click(1024);
      EXPECT_EQ("***", dialog.GetText(edit));
    });
  }
}

TEST_F(CChangePINDlgTest, TheKeyboardTakes200PixelsAndReturnsTheFocusToTheActiveEdit) {
  Run([](ScriptedDialog& dialog) {
    dialog.Enable(kShowKeyboard, true);
    dialog.Focus(kNew);
    dialog.Click(kShowKeyboard);
    EXPECT_EQ(0, dialog.GetGrowth());
    EXPECT_EQ(kNew, dialog.GetFocus());
    dialog.Click(kShowKeyboard);
    EXPECT_EQ(-200, dialog.GetGrowth());
  });
}

// --- Reveal

TEST_F(CChangePINDlgTest, RevealShowsAllFieldsAndHidesThemAgain) {
  Run([](ScriptedDialog& dialog) {
    dialog.Show(kReveal, true);
    dialog.Enable(kReveal, true);
    Enter(dialog, "12", "345", "345");
    dialog.Type(kNew, "6");
    dialog.Press(kNew, VK_HOME);
    dialog.Click(kReveal);
    EXPECT_EQ("12", dialog.GetText(kCurrent));
    EXPECT_EQ("3456", dialog.GetText(kNew));
    EXPECT_EQ("345", dialog.GetText(kRepeated));
    EXPECT_EQ(kNew, dialog.GetFocus());
    EXPECT_EQ(4U, dialog.GetSelection(kNew).start);
    EXPECT_EQ(4U, dialog.GetSelection(kNew).end);
    dialog.Press(kRepeated, VK_END);
    dialog.Type(kRepeated, "6");
    dialog.Click(kReveal);
    EXPECT_EQ("**", dialog.GetText(kCurrent));
    EXPECT_EQ("****", dialog.GetText(kNew));
    EXPECT_EQ("****", dialog.GetText(kRepeated));
    EXPECT_EQ(kRepeated, dialog.GetFocus());
    EXPECT_TRUE(dialog.Click(kOK));
  });
  EXPECT_EQ(std::vector<std::string>{"12 to 3456"}, m_session.changes);
}

// --- Clear

TEST_F(CChangePINDlgTest, ClearEmptiesEveryFieldAndDisablesOk) {
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "1234", "567", "567");
    dialog.Focus(kNew);
    EXPECT_TRUE(dialog.IsEnabled(kOK));
    EXPECT_TRUE(dialog.Click(kClear));
    for (const int edit : {kCurrent, kNew, kRepeated}) EXPECT_EQ("", dialog.GetText(edit));
    EXPECT_FALSE(dialog.IsEnabled(kOK));
    EXPECT_EQ(kNew, dialog.GetFocus());
    for (const int control : {kStrengthLabel, kWord, kBar}) EXPECT_FALSE(dialog.IsShown(control)) << control;
    Enter(dialog, "1", "2", "2");
    EXPECT_TRUE(dialog.Click(kOK));
  });
  EXPECT_EQ(std::vector<std::string>{"1 to 2"}, m_session.changes);
}

TEST_F(CChangePINDlgTest, ClearKeepsAPinThatWasHandedOver) {
  m_dialog.HandOverPIN(Bytes("1234"), 4);
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              dialog.Type(kNew, "567");
              dialog.Click(kClear);
              EXPECT_EQ("****", dialog.GetText(kCurrent));
              EXPECT_FALSE(dialog.IsEnabled(kCurrent));
              EXPECT_EQ("", dialog.GetText(kNew));
              dialog.Type(kNew, "56");
              dialog.Type(kRepeated, "56");
              EXPECT_TRUE(dialog.Click(kOK));
            }));
  EXPECT_EQ(std::vector<std::string>{"1234 to 56"}, m_session.changes);
}

TEST_F(CChangePINDlgTest, ClearEmptiesRevealedFieldsAsWell) {
  Run([](ScriptedDialog& dialog) {
    dialog.Show(kReveal, true);
    dialog.Enable(kReveal, true);
    dialog.Click(kReveal);
    Enter(dialog, "1234", "567", "567");
    dialog.Click(kClear);
    for (const int edit : {kCurrent, kNew, kRepeated}) EXPECT_EQ("", dialog.GetText(edit));
    dialog.Type(kCurrent, "1");
    EXPECT_EQ("1", dialog.GetText(kCurrent));
  });
}

// --- Missing input

struct MissingCase {
  const char* name;
  const char* current;
  const char* fresh;
  const char* repeated;
  const char* status;
  int focus;
};

class MissingTextTest : public CChangePINDlgTest, public ::testing::WithParamInterface<MissingCase> {};

TEST_P(MissingTextTest, IsAskedForAndTheDialogStays) {
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) {
              const MissingCase& row = GetParam();
              Enter(dialog, row.current, row.fresh, row.repeated);
              dialog.Enable(kOK, true);
              EXPECT_TRUE(dialog.Click(kOK));
              EXPECT_EQ(row.status, dialog.GetText(kStatus));
              EXPECT_EQ(row.focus, dialog.GetFocus());
              EXPECT_FALSE(dialog.HasEnded());
            }));
  EXPECT_TRUE(m_session.changes.empty());
  EXPECT_EQ("", TakeLog());
}

const MissingCase kMissing[] = {
    {"TheCurrentPin", "", "5", "5", "Please Enter Current PIN Value!", kCurrent},
    {"Everything", "", "", "", "Please Enter Current PIN Value!", kCurrent},
    {"TheNewPin", "1234", "", "5", "Please Enter New PIN value!", kNew},
    {"BothNewPins", "1234", "", "", "Please Enter New PIN value!", kNew},
    {"TheRepetition", "1234", "5", "", "Please Verify New PIN!", kRepeated},
    {"AMatchingRepetition", "1234", "5", "6", "Value of New PIN does not Match!", kRepeated},
};
INSTANTIATE_TEST_SUITE_P(Texts, MissingTextTest, ::testing::ValuesIn(kMissing),
                         [](const auto& row) { return row.param.name; });

// --- The change

TEST_F(CChangePINDlgTest, ChangesThePinCachesItAndLogsIn) {
  std::vector<std::string> order;
  m_session.answerChange = [&] { order.push_back("change, cached " + PINOf(*m_cache)); };
  m_session.answer = [&] { order.push_back("login, cached " + PINOf(*m_cache)); };
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              EnterAndClickOK(dialog);
              EXPECT_EQ("", dialog.GetText(kStatus));
              for (const int edit : {kCurrent, kNew, kRepeated}) EXPECT_TRUE(dialog.ShowedOnlyAsterisks(edit));
            }));
  EXPECT_EQ((std::vector<std::string>{"change, cached (none)", "login, cached 567890"}), order);
  EXPECT_EQ(std::vector<std::string>{"1234 to 567890"}, m_session.changes);
  EXPECT_EQ(std::vector<std::string>{"567890"}, m_session.pins);
  EXPECT_EQ(CK_USER_TYPE{1}, m_session.userType);
}

TEST_F(CChangePINDlgTest, NeedsNoCacheAndLogsNothingItself) {
  m_dialog.AttachPINCache({});
  EXPECT_EQ(1, Run(EnterAndClickOK));
  EXPECT_EQ(std::vector<std::string>{"567890"}, m_session.pins);
  EXPECT_EQ("", TakeLog());
}

TEST_F(CChangePINDlgTest, WithoutASessionOkStillClosesTheDialog) {
  m_dialog.SetSession(nullptr);
  EXPECT_EQ(1, Run(EnterAndClickOK));
  EXPECT_EQ(0, m_cache->IsPINSet());
}

TEST_F(CChangePINDlgTest, APinMayContainAnyBytes) {
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "\xE4\xFF", "* *", "* *");
    dialog.Click(kOK);
  });
  EXPECT_EQ(std::vector<std::string>{"\xE4\xFF to * *"}, m_session.changes);
}

// --- What the token refuses

class RefusedChangeTest : public CChangePINDlgTest {
 protected:
  // Runs the dialog until the change is refused, and expects this status with the dialog still open.
  void ExpectStatus(const char* status) {
    EXPECT_EQ(2, Run([&](ScriptedDialog& dialog) {
                EnterAndClickOK(dialog);
                EXPECT_EQ(status, dialog.GetText(kStatus));
                EXPECT_FALSE(dialog.HasEnded());
              }));
  }
};

struct TriesCase {
  CK_ULONG deviceError;
  const char* status;
};

class ChangeTriesTest : public RefusedChangeTest, public ::testing::WithParamInterface<TriesCase> {};

TEST_P(ChangeTriesTest, AreTheLowFourBitsOfTheDeviceError) {
  m_session.FailChange(CKR_PIN_INCORRECT);
  m_session.deviceError = GetParam().deviceError;
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) {
              EnterAndClickOK(dialog);
              EXPECT_EQ(GetParam().status, dialog.GetText(kStatus));
              EXPECT_EQ(kCurrent, dialog.GetFocus());
              for (const int control : {kOK, kClear, kCurrent, kNew, kRepeated}) {
                EXPECT_TRUE(dialog.IsEnabled(control)) << control;
              }
              EXPECT_FALSE(dialog.HasEnded());
            }));
  EXPECT_EQ(0, m_cache->IsPINSet());
  EXPECT_TRUE(m_session.pins.empty());
}

INSTANTIATE_TEST_SUITE_P(Counts, ChangeTriesTest,
                         ::testing::Values(TriesCase{0x13, "Incorrect Current PIN, 3 trials left"},
                                           TriesCase{0x01, "Incorrect Current PIN, 1 trials left"},
                                           TriesCase{0xFF, "Incorrect Current PIN, 15 trials left"}));

void ExpectLocked(ScriptedDialog& dialog) {
  EXPECT_EQ("PIN Locked", dialog.GetText(kStatus));
  for (const int control : {kReveal, kClear, kOK, kCurrent, kNew, kRepeated}) {
    EXPECT_FALSE(dialog.IsEnabled(control)) << control;
  }
  EXPECT_FALSE(dialog.HasEnded());
  EXPECT_TRUE(dialog.Click(kCancel));
}

TEST_F(RefusedChangeTest, AWrongPinWithNoTriesLeftIsALockedPin) {
  m_session.FailChange(CKR_PIN_INCORRECT);
  m_session.deviceError = 0x10;
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) {
              dialog.Enable(kReveal, true);
              EnterAndClickOK(dialog);
              ExpectLocked(dialog);
            }));
}

TEST_F(RefusedChangeTest, ALockedPinLeavesOnlyCancel) {
  m_session.FailChange(CKR_PIN_LOCKED);
  m_session.deviceError = 3;
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) {
              dialog.Enable(kReveal, true);
              EnterAndClickOK(dialog);
              ExpectLocked(dialog);
            }));
}

TEST_F(RefusedChangeTest, AUserWhoIsLoggedInAlreadyClearsTheStatusAndTheDialogStays) {
  m_session.FailChange(CKR_PIN_INCORRECT);
  m_session.deviceError = 2;
  EXPECT_EQ(2, Run([this](ScriptedDialog& dialog) {
              EnterAndClickOK(dialog);
              EXPECT_EQ("Incorrect Current PIN, 2 trials left", dialog.GetText(kStatus));
              m_session.FailChange(CKR_USER_ALREADY_LOGGED_IN);
              EXPECT_TRUE(dialog.Click(kOK));
              EXPECT_EQ("", dialog.GetText(kStatus));
              EXPECT_FALSE(dialog.HasEnded());
            }));
}

TEST_F(RefusedChangeTest, AnyOtherFailureShowsItsOwnText) {
  m_session.FailChange(CKR_PIN_LEN_RANGE);
  ExpectStatus("The specified PIN is either too long or too short");
  m_session.FailChange(CKR_PIN_INVALID);
  ExpectStatus("The specified PIN has invalid character");
  m_session.FailChange(0x80001234);
  ExpectStatus("Unknown Error Code: 0x80001234");
}

TEST_F(RefusedChangeTest, ACountOfTriesFromTheLoginIsAFailureLikeOthers) {
  m_session.Fail(3);
  ExpectStatus("Invalid Slot ID");
  EXPECT_EQ("567890", PINOf(*m_cache));
}

TEST_F(RefusedChangeTest, ALoginThatIsRefusedLeavesTheNewPinInTheCache) {
  m_session.Fail(CKR_USER_ALREADY_LOGGED_IN);
  ExpectStatus("");
  EXPECT_EQ("567890", PINOf(*m_cache));
}

TEST_F(RefusedChangeTest, AFailureToReadTheSessionInformationShowsItsText) {
  m_session.FailChange(CKR_PIN_INCORRECT);
  m_session.answerInfo = [] { throw CryptokiError(CKR_DEVICE_REMOVED); };
  ExpectStatus(ErrorText(CKR_DEVICE_REMOVED).c_str());
}

TEST_F(RefusedChangeTest, ASecondTrySucceeds) {
  m_session.FailChange(CKR_PIN_INCORRECT);
  m_session.deviceError = 2;
  EXPECT_EQ(1, Run([this](ScriptedDialog& dialog) {
              EnterAndClickOK(dialog);
              m_session.answerChange = nullptr;
              for (int i = 0; i < 4; ++i) dialog.Press(kCurrent, VK_BACK);
              dialog.Type(kCurrent, "4321");
              EXPECT_TRUE(dialog.Click(kOK));
              EXPECT_EQ("", dialog.GetText(kStatus));
            }));
  EXPECT_EQ((std::vector<std::string>{"1234 to 567890", "4321 to 567890"}), m_session.changes);
}

TEST_F(RefusedChangeTest, AWrongPinThatWasHandedOverStaysDisabled) {
  m_dialog.HandOverPIN(Bytes("1234"), 4);
  m_session.FailChange(CKR_PIN_INCORRECT);
  m_session.deviceError = 2;
  Run([](ScriptedDialog& dialog) {
    dialog.Type(kNew, "5");
    dialog.Type(kRepeated, "5");
    dialog.Click(kOK);
    EXPECT_EQ("Incorrect Current PIN, 2 trials left", dialog.GetText(kStatus));
    EXPECT_FALSE(dialog.IsEnabled(kCurrent));
  });
}

TEST_F(RefusedChangeTest, AnExceptionOfAnotherKindLeavesDoModal) {
  m_session.answerChange = [] { throw std::runtime_error("card on fire"); };
  EXPECT_THROW(Run(EnterAndClickOK), std::runtime_error);
}

// --- Memory

class ChangeMemoryTest : public CChangePINDlgTest, public ::testing::WithParamInterface<DWORD> {};

TEST_P(ChangeMemoryTest, TheCurrentPinIsWiped) {
  std::unique_ptr<HeapWatch> watch;
  m_session.answerChange = [&] {
    watch = std::make_unique<HeapWatch>(m_session.oldPinBuffer, 4);
    if (GetParam() != CKR_OK) throw CryptokiError(GetParam());
  };
  Run(EnterAndClickOK);
  EXPECT_TRUE(watch->WasReleased());
  EXPECT_TRUE(watch->WasWiped());
}

TEST_P(ChangeMemoryTest, TheNewPinIsWiped) {
  std::unique_ptr<HeapWatch> watch;
  m_session.answerChange = [&] {
    watch = std::make_unique<HeapWatch>(m_session.newPinBuffer, 6);
    if (GetParam() != CKR_OK) throw CryptokiError(GetParam());
  };
  Run(EnterAndClickOK);
  EXPECT_TRUE(watch->WasReleased());
  EXPECT_TRUE(watch->WasWiped());
}

INSTANTIATE_TEST_SUITE_P(Results, ChangeMemoryTest, ::testing::Values(0, 0xA0, 0xA4, 0x100, 0x30));

TEST_F(CChangePINDlgTest, APinHandedOverIsCopiedForTheToken) {
  const auto pin = Bytes("1234");
  m_dialog.HandOverPIN(pin, 4);
  Run([&](ScriptedDialog& dialog) {
    dialog.Type(kNew, "5");
    dialog.Type(kRepeated, "5");
    dialog.Click(kOK);
  });
  EXPECT_NE(pin.get(), m_session.oldPinBuffer);
  EXPECT_EQ("1234", std::string(pin.get(), pin.get() + 4));
}

// --- The login lock

TEST_F(CChangePINDlgTest, NoOtherThreadTakesTheLoginLockBetweenTheChangeAndTheLogin) {
  std::vector<std::string> order;
  std::future<void> other;
  m_session.answerChange = [&] {
    std::promise<void> started;
    auto isStarted = started.get_future();
    other = std::async(std::launch::async, [&order, promise = std::move(started)]() mutable {
      promise.set_value();
      const LoginLock lock;
      order.emplace_back("other");
    });
    isStarted.wait();
  };
  m_session.answer = [&] { order.emplace_back("login"); };
  Run(EnterAndClickOK);
  other.get();
  EXPECT_EQ((std::vector<std::string>{"login", "other"}), order);
}

TEST_F(CChangePINDlgTest, TheLoginLockIsHeldDuringTheChangeAndTheLogin) {
  WaitingLogin duringChange;
  WaitingLogin duringLogin;
  m_session.answerChange = [&] { duringChange.Ask(); };
  m_session.answer = [&] { duringLogin.Ask(); };
  Run(EnterAndClickOK);
  EXPECT_TRUE(duringChange.HadToWait());
  EXPECT_TRUE(duringLogin.HadToWait());
}

TEST_F(CChangePINDlgTest, TheLoginLockIsFreeWhileTheDialogIsOpen) {
  m_session.FailChange(CKR_PIN_INCORRECT);
  m_session.deviceError = 1;
  Run([](ScriptedDialog& dialog) {
    EnterAndClickOK(dialog);
    std::async(std::launch::async, [] { const LoginLock lock; }).get();
  });
}

// --- With a module, through ChangePIN

class ChangePINTest : public LogTest {
 protected:
  ChangePINTest() {
    m_token = &m_module->InsertToken("Reader A");
    Token token(0);
    token.SetCryptoki(m_module);
    m_session = token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr);
    m_module->ForgetCalls();
  }

  ScriptedDialogs m_dialogs;
  boost::shared_ptr<ScriptedModule> m_module = boost::make_shared<ScriptedModule>();
  ScriptedToken* m_token = nullptr;
  Session m_session;
  boost::shared_ptr<CTELVOPINCache> m_cache = boost::make_shared<CTELVOPINCache>();
};

TEST_F(ChangePINTest, ChangesThePinOfTheSessionsToken) {
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    EXPECT_EQ("Change PIN for Anna's card", dialog.GetTitle());
    EnterAndClickOK(dialog);
  });
  EXPECT_EQ(1, ChangePIN(&m_session, m_cache, "Anna's card"));
  EXPECT_EQ(0, m_dialogs.LastOwner());
  EXPECT_EQ((Calls{"C_SetPIN(1, 1234, 567890)", "C_LoginExtended(1, user 1, 567890)"}), m_module->TakeCalls());
  EXPECT_EQ("567890", m_token->pin);
  EXPECT_TRUE(m_token->loggedIn);
  EXPECT_EQ("567890", PINOf(*m_cache));
}

TEST_F(ChangePINTest, AWrongPinReadsTheSessionInformation) {
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    Enter(dialog, "0000", "567890", "567890");
    dialog.Click(kOK);
    dialog.Cancel();
  });
  EXPECT_EQ(2, ChangePIN(&m_session, m_cache, ""));
  EXPECT_EQ((Calls{"C_SetPIN(1, 0000, 567890)", "C_GetSessionInfo(1)"}), m_module->TakeCalls());
  EXPECT_EQ("1234", m_token->pin);
  EXPECT_EQ(0, m_cache->IsPINSet());
}

TEST_F(ChangePINTest, ACancelledDialogMakesNoCalls) {
  m_dialogs.OnNext(CancelDialog());
  EXPECT_EQ(2, ChangePIN(&m_session, {}, ""));
  EXPECT_TRUE(m_module->TakeCalls().empty());
}

TEST_F(ChangePINTest, WithoutADisplayTheResultIsMinusOne) {
  class NoDisplay : public DialogHost {
   public:
    INT_PTR Run(DialogController& /*controller*/) override { return -1; }
  };
  NoDisplay none;
  DialogHost* const before = SetDialogHost(&none);
  EXPECT_EQ(-1, ChangePIN(&m_session, m_cache, "Anna's card"));
  SetDialogHost(before);
}

}  // namespace

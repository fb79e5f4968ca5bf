#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "dialogs/ScriptedDialogs.h"
#include "dialogs/unreached/CChangePwdDlg.h"
#include "fixtures/LogFile.h"
#include "platform/HeapWatch.h"

namespace {

constexpr int kNew = 1003;
constexpr int kRepeated = 1004;
constexpr int kClose = 1087;
constexpr int kOK = 1105;
constexpr int kCurrent = 1106;

class CChangePwdDlgTest : public LogTest {
 protected:
  CChangePwdDlgTest() {
    m_dialog.SetTokenLabel("TELVO Token");
    m_dialog.SetPINLimits(4, 8);
    m_dialog.SetOutputs(m_current, m_new, m_repeated);
  }

  // Runs the dialog with the user's actions, then cancels it if it is still open.
  INT_PTR Run(const ScriptedDialogs::Script& script) {
    m_dialogs.OnNextThenCancel(script);
    return m_dialog.DoModal();
  }

  static void Enter(ScriptedDialog& dialog, const std::string& current, const std::string& fresh,
                    const std::string& repeated) {
    dialog.Type(kCurrent, current);
    dialog.Type(kNew, fresh);
    dialog.Type(kRepeated, repeated);
  }

  static std::string Text(const BYTE* bytes, DWORD length) { return {bytes, bytes + length}; }

  ScriptedDialogs m_dialogs;
  CChangePwdDlg m_dialog;
  BYTE m_current[9] = {};
  BYTE m_new[9] = {};
  BYTE m_repeated[9] = {};
};

// --- Opening

TEST_F(CChangePwdDlgTest, OpensWithTheTokensNameFocusOnTheOldPinAndOkDisabled) {
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) {
              EXPECT_EQ(104, dialog.GetResource());
              EXPECT_EQ("Schimba PIN-ul pentru TELVO Token", dialog.GetTitle());
              EXPECT_EQ(kCurrent, dialog.GetFocus());
              EXPECT_FALSE(dialog.IsEnabled(kOK));
              EXPECT_TRUE(dialog.IsEnabled(kClose));
            }));
}

TEST_F(CChangePwdDlgTest, KeepsTheTitleOfTheTemplateForAnEmptyLabel) {
  m_dialog.SetTokenLabel("");
  Run([](ScriptedDialog& dialog) { EXPECT_EQ("Schimba PIN-ul pentru <Token Name>", dialog.GetTitle()); });
}

TEST_F(CChangePwdDlgTest, NoFieldTakesMoreThanTheLongestPin) {
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "123456789", "123456789", "123456789");
    for (const int edit : {kCurrent, kNew, kRepeated}) EXPECT_EQ("********", dialog.GetText(edit));
  });
}

TEST_F(CChangePwdDlgTest, CloseAndEscapeReturnTwo) {
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) { EXPECT_TRUE(dialog.Click(kClose)); }));
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) { dialog.Cancel(); }));
  EXPECT_EQ("", TakeLog());
}

// --- OK's state

struct StateCase {
  const char* name;
  const char* current;
  const char* fresh;
  const char* repeated;
  bool enabled;
};

class ChangePwdStateTest : public CChangePwdDlgTest, public ::testing::WithParamInterface<StateCase> {};

TEST_P(ChangePwdStateTest, OfOkDependsOnTheLengths) {
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, GetParam().current, GetParam().fresh, GetParam().repeated);
    EXPECT_EQ(GetParam().enabled, dialog.IsEnabled(kOK));
  });
}

const StateCase kStates[] = {
    {"AllLongEnough", "1", "5678", "5678", true},
    {"WithoutTheOldPin", "", "5678", "5678", false},
    {"TheNewPinTooShort", "1234", "567", "5678", false},
    {"TheRepetitionTooShort", "1234", "5678", "567", false},
    {"NewPinsThatDifferAreAccepted", "1234", "5678", "8765", true},
    {"NewPinsOfDifferentLengthsAreAccepted", "1234", "5678", "567890", true},
};
INSTANTIATE_TEST_SUITE_P(Texts, ChangePwdStateTest, ::testing::ValuesIn(kStates),
                         [](const auto& row) { return row.param.name; });

TEST_F(CChangePwdDlgTest, OkIsDisabledAgainWhenAFieldGetsTooShort) {
  Run([](ScriptedDialog& dialog) {
    for (const int edit : {kCurrent, kNew, kRepeated}) {
      Enter(dialog, "1", "5678", "5678");
      EXPECT_TRUE(dialog.IsEnabled(kOK));
      dialog.Press(edit, VK_BACK);
      EXPECT_FALSE(dialog.IsEnabled(kOK)) << edit;
      for (const int other : {kCurrent, kNew, kRepeated}) {
        while (!dialog.GetText(other).empty()) dialog.Press(other, VK_BACK);
      }
    }
  });
}

TEST_F(CChangePwdDlgTest, WithoutAShortestLengthTheOldPinAloneEnablesOk) {
  m_dialog.SetPINLimits(0, 8);
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              dialog.Type(kCurrent, "1");
              EXPECT_TRUE(dialog.Click(kOK));
            }));
  EXPECT_EQ(1U, m_dialog.GetCurrentPINLength());
  EXPECT_EQ(0U, m_dialog.GetNewPINLength());
}

// --- OK

TEST_F(CChangePwdDlgTest, HandsAllThreePinsToItsCaller) {
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              Enter(dialog, "12345678", "5678", "8765x");
              EXPECT_TRUE(dialog.Click(kOK));
              for (const int edit : {kCurrent, kNew, kRepeated}) EXPECT_TRUE(dialog.ShowedOnlyAsterisks(edit));
            }));
  EXPECT_EQ("12345678", Text(m_current, m_dialog.GetCurrentPINLength()));
  EXPECT_EQ("5678", Text(m_new, m_dialog.GetNewPINLength()));
  EXPECT_EQ("8765x", Text(m_repeated, m_dialog.GetRepeatedPINLength()));
  EXPECT_EQ(0, m_current[8]);
  EXPECT_EQ(0, m_new[4]);
}

TEST_F(CChangePwdDlgTest, WritesAllThreePinsToTheLogInClearTwice) {
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "1234", "56789A", "\xE4x!@");
    dialog.Click(kOK);
  });
  EXPECT_EQ(
      "pbcurrentPIN = 31 32 33 34 \n"
      "pbnewPIN = 35 36 37 38 39 41 \n"
      "pbnewPIN2 = E4 78 21 40 \n"
      "this->g_pbcurrentPIN = 31 32 33 34 \n"
      "this->g_pbnewPIN = 35 36 37 38 39 41 \n"
      "this->g_pbnewPIN2 = E4 78 21 40 \n",
      TakeLog());
}

TEST_F(CChangePwdDlgTest, AMissingOutputGetsNothingAndIsLoggedAsEmpty) {
  m_dialog.SetOutputs(m_current, nullptr, m_repeated);
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              Enter(dialog, "1", "5678", "8765");
              dialog.Click(kOK);
            }));
  EXPECT_EQ(4U, m_dialog.GetNewPINLength());
  EXPECT_EQ("8765", Text(m_repeated, 4));
  EXPECT_EQ(
      "pbcurrentPIN = 31 \n"
      "pbnewPIN = 35 36 37 38 \n"
      "pbnewPIN2 = 38 37 36 35 \n"
      "this->g_pbcurrentPIN = 31 \n"
      "this->g_pbnewPIN = \n"
      "this->g_pbnewPIN2 = 38 37 36 35 \n",
      TakeLog());
}

TEST_F(CChangePwdDlgTest, NoneOfTheThreePinsIsLeftInReleasedMemory) {
  const HeapSearch search({"13579246", "24681357", "86427531"});
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "13579246", "24681357", "86427531");
    EXPECT_TRUE(dialog.Click(kOK));
  });
  EXPECT_EQ("24681357", Text(m_new, m_dialog.GetNewPINLength()));
  EXPECT_THAT(search.Found(), ::testing::IsEmpty());
}

// --- A PIN that cannot be read: something other than typing puts more into the edit than a user can type.

TEST_F(CChangePwdDlgTest, APinBeyondTheLongestEndsTheDialogWithOkAndHandsOverNothing) {
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              Enter(dialog, "1234", "5678", "5678");
              dialog.SetText(kCurrent, "123456789");
              EXPECT_TRUE(dialog.Click(kOK));
            }));
  EXPECT_EQ(0U, m_dialog.GetCurrentPINLength());
  EXPECT_EQ(0U, m_dialog.GetNewPINLength());
  EXPECT_EQ(0U, m_dialog.GetRepeatedPINLength());
  EXPECT_EQ(0, m_new[0]);
  EXPECT_EQ("", TakeLog());
}

TEST_F(CChangePwdDlgTest, LengthsReadBeforeAnUnreadablePinAreKept) {
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              Enter(dialog, "1234", "56789", "5678");
              dialog.SetText(kRepeated, "123456789");
              EXPECT_TRUE(dialog.Click(kOK));
            }));
  EXPECT_EQ(4U, m_dialog.GetCurrentPINLength());
  EXPECT_EQ(5U, m_dialog.GetNewPINLength());
  EXPECT_EQ(0U, m_dialog.GetRepeatedPINLength());
  EXPECT_EQ(0, m_current[0]);
  EXPECT_EQ(0, m_new[0]);
  EXPECT_EQ("", TakeLog());
}

TEST_F(CChangePwdDlgTest, ALengthOfAnEarlierRunIsForgottenAtOk) {
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "1234", "5678", "5678");
    dialog.Click(kOK);
  });
  Run([](ScriptedDialog& dialog) {
    Enter(dialog, "1", "5678", "5678");
    dialog.SetText(kCurrent, "123456789");
    dialog.Click(kOK);
  });
  EXPECT_EQ(0U, m_dialog.GetNewPINLength());
}

TEST_F(CChangePwdDlgTest, WithoutALongestLengthNoPinCanBeRead) {
  m_dialog.SetPINLimits(0, 0);
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              dialog.Type(kCurrent, "1");
              EXPECT_TRUE(dialog.Click(kOK));
            }));
  EXPECT_EQ(0U, m_dialog.GetCurrentPINLength());
  EXPECT_EQ(0, m_current[0]);
}

}  // namespace

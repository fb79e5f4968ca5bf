#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "dialogs/ScriptedDialogs.h"
#include "dialogs/unreached/CCLoginDlg.h"
#include "fixtures/Expect.h"
#include "fixtures/LogFile.h"
#include "module/AnsweringSession.h"
#include "platform/HeapWatch.h"

namespace {

constexpr int kCancel = 1000;
constexpr int kLogin = 1001;
constexpr int kEdit = 1002;
constexpr int kShowKeyboard = 1003;
constexpr int kChangeAfterLogin = 1005;
constexpr int kReveal = 1006;
constexpr int kChangePIN = 1007;
constexpr int kCaps = 1038;
constexpr int kShift = 1064;
constexpr int kStatus = 1065;

class CCLoginDlgTest : public LogTest {
 protected:
  CCLoginDlgTest() {
    m_dialog.SetSession(&m_session);
    m_dialog.SetTokenLabel("TELVO Token");
    m_dialog.AttachPINCache(m_cache);
  }

  // Runs the dialog with the user's actions, then cancels it if it is still open.
  INT_PTR Run(const ScriptedDialogs::Script& script) {
    m_dialogs.OnNextThenCancel(script);
    return m_dialog.DoModal();
  }

  // The PIN in the edit after these keys of the on-screen keyboard are clicked.
  std::string Keys(const std::vector<int>& keys) {
    std::string pin;
    Run([&](ScriptedDialog& dialog) {
      for (const int key : keys) dialog.Click(key);
      dialog.Click(kLogin);
      pin = m_session.pins.empty() ? "" : m_session.pins.back();
    });
    return pin;
  }

  ScriptedDialogs m_dialogs;
  AnsweringSession m_session;
  boost::shared_ptr<CTELVOPINCache> m_cache = boost::make_shared<CTELVOPINCache>();
  CCLoginDlg m_dialog;
};

// --- Opening

TEST_F(CCLoginDlgTest, OpensWithTheKeyboardAndBothTogglesHidden) {
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) {
              EXPECT_EQ(106, dialog.GetResource());
              EXPECT_EQ("Enter PIN for TELVO Token", dialog.GetTitle());
              EXPECT_EQ(-200, dialog.GetGrowth());
              for (const int control : {kShowKeyboard, kReveal}) {
                EXPECT_FALSE(dialog.IsEnabled(control));
                EXPECT_FALSE(dialog.IsShown(control));
              }
              EXPECT_TRUE(dialog.IsEnabled(kChangePIN));
              EXPECT_FALSE(dialog.IsEnabled(kLogin));
              EXPECT_EQ("", dialog.GetText(kEdit));
            }));
}

TEST_F(CCLoginDlgTest, KeepsTheTitleOfTheTemplateForAnEmptyLabel) {
  m_dialog.SetTokenLabel("");
  Run([](ScriptedDialog& dialog) { EXPECT_EQ("Enter PIN for <Token Name>", dialog.GetTitle()); });
}

TEST_F(CCLoginDlgTest, ListsTheDigitLabelsButLabelsNoKey) {
  Run([this](ScriptedDialog& dialog) {
    EXPECT_EQ(10U, m_dialog.GetKeyLabels().size());
    EXPECT_STREQ(")", m_dialog.GetKeyLabels().front().first);
    EXPECT_STREQ("!", m_dialog.GetKeyLabels().back().first);
    EXPECT_EQ("", dialog.GetText(1020));
  });
}

TEST_F(CCLoginDlgTest, DrawsItsStatusLineRedAndBold) {
  COLORREF color = 0;
  DialogFont font;
  EXPECT_TRUE(m_dialog.GetTextColor(kStatus, color));
  EXPECT_EQ(250U, color);
  EXPECT_TRUE(m_dialog.GetTextFont(kStatus, font));
  EXPECT_FALSE(m_dialog.GetTextColor(1092, color));
}

TEST_F(CCLoginDlgTest, ItsCancelButtonEndsWithTwo) {
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) { EXPECT_TRUE(dialog.Click(kCancel)); }));
}

// --- Toggles

TEST_F(CCLoginDlgTest, TheKeyboardTakes200PixelsAndReturnsTheFocusToTheEdit) {
  Run([](ScriptedDialog& dialog) {
    dialog.Enable(kShowKeyboard, true);
    dialog.Show(kShowKeyboard, true);
    dialog.Click(kShowKeyboard);
    EXPECT_EQ(0, dialog.GetGrowth());
    EXPECT_EQ(kEdit, dialog.GetFocus());
    dialog.Click(kShowKeyboard);
    EXPECT_EQ(-200, dialog.GetGrowth());
    EXPECT_EQ(kEdit, dialog.GetFocus());
  });
}

TEST_F(CCLoginDlgTest, RevealShowsTheRealTextAndHidesItAgain) {
  Run([this](ScriptedDialog& dialog) {
    dialog.Enable(kReveal, true);
    dialog.Show(kReveal, true);
    dialog.Type(kEdit, "1234");
    dialog.Press(kEdit, VK_HOME);
    EXPECT_TRUE(dialog.ShowedOnlyAsterisks(kEdit));
    dialog.Click(kReveal);
    EXPECT_EQ("1234", dialog.GetText(kEdit));
    EXPECT_EQ(4U, dialog.GetSelection(kEdit).end);
    dialog.Type(kEdit, "5");
    dialog.Press(kEdit, VK_HOME);
    dialog.Click(kReveal);
    EXPECT_EQ("*****", dialog.GetText(kEdit));
    EXPECT_EQ(5U, dialog.GetSelection(kEdit).end);
    dialog.Type(kEdit, "6");
    dialog.Click(kLogin);
    EXPECT_EQ(std::vector<std::string>{"123456"}, m_session.pins);
  });
}

TEST_F(CCLoginDlgTest, ChangeAfterLoginDisablesTheChangeButton) {
  Run([](ScriptedDialog& dialog) {
    dialog.Click(kChangeAfterLogin);
    EXPECT_FALSE(dialog.IsEnabled(kChangePIN));
    dialog.Click(kChangeAfterLogin);
    EXPECT_TRUE(dialog.IsEnabled(kChangePIN));
  });
}

TEST_F(CCLoginDlgTest, LoginIsEnabledOnlyWhileThereIsAPin) {
  Run([](ScriptedDialog& dialog) {
    dialog.Type(kEdit, "1");
    EXPECT_TRUE(dialog.IsEnabled(kLogin));
    dialog.Press(kEdit, VK_BACK);
    EXPECT_FALSE(dialog.IsEnabled(kLogin));
  });
}

// --- The change of the PIN

// A script for the dialog that the login dialog opens.
ScriptedDialogs::Script ChangePINTo(const std::string& pin) {
  return [pin](ScriptedDialog& change) {
    change.Type(1069, pin);
    change.Type(1071, pin);
    change.Click(IDOK);
  };
}

TEST_F(CCLoginDlgTest, AChangedPinClosesTheDialogWithOk) {
  EXPECT_EQ(1, Run([this](ScriptedDialog& dialog) {
              m_dialogs.OnNext([](ScriptedDialog& change) {
                EXPECT_EQ(125, change.GetResource());
                EXPECT_EQ("Change PIN for TELVO Token", change.GetTitle());
                EXPECT_EQ("", change.GetText(1068));
                change.Type(1068, "1234");
                ChangePINTo("567890")(change);
              });
              dialog.Click(kChangePIN);
              EXPECT_EQ(106, m_dialogs.LastOwner());
            }));
  EXPECT_EQ(std::vector<std::string>{"1234 to 567890"}, m_session.changes);
  EXPECT_EQ(std::vector<std::string>{"567890"}, m_session.pins);
  EXPECT_EQ("567890", PINOf(*m_cache));
}

TEST_F(CCLoginDlgTest, ACancelledChangeLeavesTheDialogOpen) {
  Run([this](ScriptedDialog& dialog) {
    m_dialogs.OnNext(CancelDialog());
    dialog.Click(kChangePIN);
    EXPECT_FALSE(dialog.HasEnded());
  });
  EXPECT_TRUE(m_session.changes.empty());
}

TEST_F(CCLoginDlgTest, ChangeAfterLoginHandsThePinOver) {
  EXPECT_EQ(1, Run([this](ScriptedDialog& dialog) {
              dialog.Click(kChangeAfterLogin);
              dialog.Type(kEdit, "1234");
              m_dialogs.OnNext([this](ScriptedDialog& change) {
                EXPECT_EQ("1234", PINOf(*m_cache));
                EXPECT_EQ("Change PIN for TELVO Token", change.GetTitle());
                EXPECT_EQ("****", change.GetText(1068));
                EXPECT_FALSE(change.IsEnabled(1068));
                ChangePINTo("567890")(change);
              });
              dialog.Click(kLogin);
              EXPECT_EQ(106, m_dialogs.LastOwner());
            }));
  EXPECT_EQ(std::vector<std::string>{"1234 to 567890"}, m_session.changes);
  EXPECT_EQ((std::vector<std::string>{"1234", "567890"}), m_session.pins);
  EXPECT_EQ("567890", PINOf(*m_cache));
}

TEST_F(CCLoginDlgTest, ACancelledChangeAfterTheLoginIsStillALogin) {
  EXPECT_EQ(1, Run([this](ScriptedDialog& dialog) {
              dialog.Click(kChangeAfterLogin);
              dialog.Type(kEdit, "1234");
              m_dialogs.OnNext(CancelDialog());
              dialog.Click(kLogin);
            }));
  EXPECT_EQ("1234", PINOf(*m_cache));
}

// --- Login

TEST_F(CCLoginDlgTest, ARightPinLogsInIsCachedAndClosesTheDialogWithOk) {
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              dialog.Type(kEdit, "1234567890");
              dialog.Click(kLogin);
              EXPECT_TRUE(dialog.ShowedOnlyAsterisks(kEdit));
            }));
  EXPECT_EQ(std::vector<std::string>{"1234567890"}, m_session.pins);
  EXPECT_EQ(CK_USER_TYPE{1}, m_session.userType);
  EXPECT_EQ("1234567890", PINOf(*m_cache));
  EXPECT_EQ(1, m_dialogs.ShownCount());
}

TEST_F(CCLoginDlgTest, LogsNothingItself) {
  m_dialog.AttachPINCache({});
  EXPECT_EQ(1, Run([](ScriptedDialog& dialog) {
              dialog.Type(kEdit, "1234");
              dialog.Click(kLogin);
            }));
  EXPECT_EQ("", TakeLog());
}

TEST_F(CCLoginDlgTest, AnEmptyPinIsAskedFor) {
  Run([](ScriptedDialog& dialog) {
    dialog.Enable(kLogin, true);
    dialog.Click(kLogin);
    EXPECT_EQ("Please Enter PIN Value!", dialog.GetText(kStatus));
    EXPECT_EQ(kEdit, dialog.GetFocus());
    EXPECT_FALSE(dialog.HasEnded());
  });
}

TEST_F(CCLoginDlgTest, WithoutASessionTheLoginButtonDoesNothing) {
  m_dialog.SetSession(nullptr);
  Run([](ScriptedDialog& dialog) {
    dialog.Type(kEdit, "1234");
    dialog.Click(kLogin);
    EXPECT_FALSE(dialog.HasEnded());
    EXPECT_EQ("", dialog.GetText(kStatus));
  });
}

class CCLoginDlgCountTest : public CCLoginDlgTest, public ::testing::WithParamInterface<DWORD> {};

TEST_P(CCLoginDlgCountTest, IsShownAndTheDialogStays) {
  m_session.Fail(GetParam());
  Run([](ScriptedDialog& dialog) {
    dialog.Type(kEdit, "0000");
    dialog.Click(kLogin);
    EXPECT_EQ("Incorrect PIN, " + std::to_string(GetParam()) + " trials left", dialog.GetText(kStatus));
    EXPECT_TRUE(dialog.IsEnabled(kEdit));
    EXPECT_TRUE(dialog.IsEnabled(kLogin));
    EXPECT_FALSE(dialog.HasEnded());
  });
  EXPECT_EQ(0, m_cache->IsPINSet());
}

INSTANTIATE_TEST_SUITE_P(Counts, CCLoginDlgCountTest, ::testing::Values(1, 3, 14, 15));

TEST_F(CCLoginDlgTest, ASuccessfulLoginAfterAWrongPinClearsTheStatusLine) {
  m_session.Fail(2);
  EXPECT_EQ(1, Run([this](ScriptedDialog& dialog) {
              dialog.Type(kEdit, "0000");
              dialog.Click(kLogin);
              EXPECT_EQ("Incorrect PIN, 2 trials left", dialog.GetText(kStatus));
              m_session.answer = nullptr;
              dialog.Click(kLogin);
              EXPECT_EQ("", dialog.GetText(kStatus));
            }));
  EXPECT_EQ((std::vector<std::string>{"0000", "0000"}), m_session.pins);
}

TEST_F(CCLoginDlgTest, ALockedPinDisablesEverythingThatNeedsThePin) {
  m_session.Fail(CKR_PIN_LOCKED);
  EXPECT_EQ(2, Run([](ScriptedDialog& dialog) {
              dialog.Enable(kReveal, true);
              dialog.Type(kEdit, "0000");
              dialog.Click(kLogin);
              EXPECT_EQ("PIN Locked", dialog.GetText(kStatus));
              for (const int control : {kReveal, kChangeAfterLogin, kEdit, kChangePIN, kLogin}) {
                EXPECT_FALSE(dialog.IsEnabled(control)) << control;
              }
              EXPECT_FALSE(dialog.HasEnded());
              EXPECT_TRUE(dialog.Click(kCancel));
            }));
}

TEST_F(CCLoginDlgTest, AUserWhoIsLoggedInAlreadyClosesTheDialogWithoutCaching) {
  m_session.Fail(3);
  EXPECT_EQ(1, Run([this](ScriptedDialog& dialog) {
              dialog.Type(kEdit, "1234");
              dialog.Click(kLogin);
              m_session.Fail(CKR_USER_ALREADY_LOGGED_IN);
              dialog.Click(kChangeAfterLogin);
              dialog.Click(kLogin);
              EXPECT_EQ("", dialog.GetText(kStatus));
            }));
  EXPECT_EQ(0, m_cache->IsPINSet());
  EXPECT_EQ(1, m_dialogs.ShownCount());
}

class CCLoginDlgFailureTest : public CCLoginDlgTest, public ::testing::WithParamInterface<DWORD> {};

TEST_P(CCLoginDlgFailureTest, ClosesTheDialogAndIsThrown) {
  m_session.Fail(GetParam());
  bool ended = false;
  EXPECT_CONTEXT_ERROR(NTE_FAIL, "Log-in Failed", Run([&](ScriptedDialog& dialog) {
                         dialog.Type(kEdit, "1234");
                         dialog.Click(kLogin);
                         ended = dialog.HasEnded() && dialog.GetResult() == 1;
                       }));
  EXPECT_TRUE(ended);
}

INSTANTIATE_TEST_SUITE_P(Codes, CCLoginDlgFailureTest, ::testing::Values(0, 16, 0x30, 0xA0));

// --- Memory

class CCLoginDlgMemoryTest : public CCLoginDlgTest, public ::testing::WithParamInterface<DWORD> {};

TEST_P(CCLoginDlgMemoryTest, ThePinsBufferIsWiped) {
  std::unique_ptr<HeapWatch> watch;
  m_session.answer = [&] {
    watch = std::make_unique<HeapWatch>(m_session.pinBuffer, 4);
    if (GetParam() != CKR_OK) throw CryptokiError(GetParam());
  };
  try {
    Run([](ScriptedDialog& dialog) {
      dialog.Type(kEdit, "1234");
      dialog.Click(kLogin);
    });
  } catch (const CCSPContextError&) {
  }
  EXPECT_TRUE(watch->WasReleased());
  EXPECT_TRUE(watch->WasWiped());
}

INSTANTIATE_TEST_SUITE_P(Results, CCLoginDlgMemoryTest, ::testing::Values(0, 3, 0xA4, 0x100, 0x30));

TEST_F(CCLoginDlgTest, ThePinHandedOverIsWipedWhenTheChangeThrows) {
  std::unique_ptr<HeapWatch> watch;
  m_session.answer = [&] { watch = std::make_unique<HeapWatch>(m_session.pinBuffer, 4); };
  m_session.answerChange = [] { throw std::runtime_error("no change today"); };
  EXPECT_THROW(Run([this](ScriptedDialog& dialog) {
                 dialog.Click(kChangeAfterLogin);
                 dialog.Type(kEdit, "1234");
                 m_dialogs.OnNext(ChangePINTo("567890"));
                 dialog.Click(kLogin);
               }),
               std::runtime_error);
  EXPECT_TRUE(watch->WasReleased());
  EXPECT_TRUE(watch->WasWiped());
}

// --- The keyboard

TEST_F(CCLoginDlgTest, KeysSendLowerCaseLettersAndUnshiftedSigns) {
  EXPECT_EQ("qwertyuiop", Keys({1024, 1025, 1026, 1027, 1028, 1029, 1030, 1031, 1032, 1033}));
  EXPECT_EQ("asdfghjkl", Keys({1039, 1040, 1041, 1042, 1043, 1044, 1045, 1046, 1047}));
  EXPECT_EQ("zxcvbnm", Keys({1052, 1053, 1054, 1055, 1056, 1057, 1058}));
  EXPECT_EQ("`-=[]\\;',./ ", Keys({1010, 1021, 1022, 1034, 1035, 1036, 1048, 1049, 1059, 1060, 1061, 1063}));
}

TEST_F(CCLoginDlgTest, WithShiftKeysSendCapitalsAndShiftedSigns) {
  EXPECT_EQ("QWERTYUIOP", Keys({kShift, 1024, 1025, 1026, 1027, 1028, 1029, 1030, 1031, 1032, 1033}));
  EXPECT_EQ("ASDFGHJKL", Keys({kShift, 1039, 1040, 1041, 1042, 1043, 1044, 1045, 1046, 1047}));
  EXPECT_EQ("ZXCVBNM", Keys({kShift, 1052, 1053, 1054, 1055, 1056, 1057, 1058}));
  EXPECT_EQ("~_+{}|:\"<>? ", Keys({kShift, 1010, 1021, 1022, 1034, 1035, 1036, 1048, 1049, 1059, 1060, 1061, 1063}));
}

TEST_F(CCLoginDlgTest, CapsReversesShiftForLettersOnly) {
  EXPECT_EQ("QaZ-", Keys({kCaps, 1024, kShift, 1039, kShift, 1052, 1021}));
}

TEST_F(CCLoginDlgTest, TheEditingKeysWorkOnTheEdit) {
  EXPECT_EQ("q", Keys({1024, 1025, 1023}));
  EXPECT_EQ("w", Keys({1024, 1025, 1050, 1037}));
  EXPECT_EQ("eqw", Keys({1024, 1025, 1050, 1026}));
  EXPECT_EQ("qwe", Keys({1024, 1025, 1050, 1062, 1026}));
}

TEST_F(CCLoginDlgTest, DigitKeysWithoutLabelsSendNothing) {
  EXPECT_EQ("q", Keys({1011, 1024, 1020, 1019, kShift, 1015}));
}

TEST_F(CCLoginDlgTest, TheShiftKeyOfTheKeyboardDoesNotEmptyTheField) {
  EXPECT_EQ("qW", Keys({1024, kShift, 1050, 1062, 1025}));
}

}  // namespace

// The Romanian dialog as a real window.
#include <gtest/gtest.h>
#include <string>

#include "dialogs/DialogDriver.h"
#include "dialogs/unreached/CChangePwdDlg.h"
#include "fixtures/LogFile.h"

namespace {

constexpr int kPwdNew = 1003;
constexpr int kPwdRepeated = 1004;
constexpr int kClose = 1087;
constexpr int kPwdOK = 1105;
constexpr int kPwdCurrent = 1106;

class ChangePwdDialogTest : public LogTest {
 protected:
  ChangePwdDialogTest() {
    m_dialog.SetTokenLabel("Anna's card");
    m_dialog.SetPINLimits(4, 8);
    m_dialog.SetOutputs(m_current, m_new, m_repeated);
  }

  INT_PTR Show(const std::function<void(DialogDriver&)>& user) {
    return DialogDriver::Run([&] { return m_dialog.DoModal(); }, user);
  }

  CChangePwdDlg m_dialog;
  BYTE m_current[8] = {};
  BYTE m_new[8] = {};
  BYTE m_repeated[8] = {};
};

TEST_F(ChangePwdDialogTest, OpensWithTheTokensNameAndTheFocusOnTheOldPin) {
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              EXPECT_EQ("Schimba PIN-ul pentru Anna's card", user.Title());
              EXPECT_TRUE(user.HasFocus(kPwdCurrent));
              EXPECT_FALSE(user.IsEnabled(kPwdOK));
              EXPECT_EQ("Cod PIN vechi:", user.Text(1091));
              EXPECT_EQ("Cod PIN nou:", user.Text(1093));
              EXPECT_EQ("Verificati codul PIN nou:", user.Text(1094));
            }));
}

TEST_F(ChangePwdDialogTest, ReturnsAllThreePinsAndWritesThemToTheLog) {
  EXPECT_EQ(1, Show([](DialogDriver& user) {
              user.Type(kPwdCurrent, "1234567890");
              user.Type(kPwdNew, "567");
              user.Type(kPwdRepeated, "4321");
              EXPECT_EQ("********", user.Text(kPwdCurrent));
              EXPECT_FALSE(user.IsEnabled(kPwdOK));
              user.Type(kPwdNew, "8");
              EXPECT_TRUE(user.IsEnabled(kPwdOK));
              user.Click(kPwdOK);
            }));
  EXPECT_EQ("12345678", std::string(m_current, m_current + m_dialog.GetCurrentPINLength()));
  EXPECT_EQ("5678", std::string(m_new, m_new + m_dialog.GetNewPINLength()));
  EXPECT_EQ("4321", std::string(m_repeated, m_repeated + m_dialog.GetRepeatedPINLength()));
  EXPECT_EQ(
      "pbcurrentPIN = 31 32 33 34 35 36 37 38 \n"
      "pbnewPIN = 35 36 37 38 \n"
      "pbnewPIN2 = 34 33 32 31 \n"
      "this->g_pbcurrentPIN = 31 32 33 34 35 36 37 38 \n"
      "this->g_pbnewPIN = 35 36 37 38 \n"
      "this->g_pbnewPIN2 = 34 33 32 31 \n",
      TakeLog());
}

TEST_F(ChangePwdDialogTest, CloseAndEscapeReturnTwo) {
  EXPECT_EQ(2, Show([](DialogDriver& user) { user.Click(kClose); }));
  EXPECT_EQ(2, Show([](DialogDriver& user) {
              user.PressKey(VK_ESCAPE);
              DialogDriver::WaitFor("the end of the dialog", [&] { return IsWindow(user.Window()) == FALSE; });
            }));
}

}  // namespace

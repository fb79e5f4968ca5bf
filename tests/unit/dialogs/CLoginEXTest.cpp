#include <boost/make_shared.hpp>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "cryptoki/LoginLock.h"
#include "cryptoki/Token.h"
#include "dialogs/CLoginEX.h"
#include "dialogs/ScriptedDialogs.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/LogFile.h"
#include "module/AnsweringSession.h"
#include "module/ScriptedModule.h"
#include "module/WaitingLogin.h"
#include "platform/HeapWatch.h"
#include "platform/ScarceMemory.h"

namespace {

constexpr int kLoginButton = 1001;
constexpr int kLoginEdit = 1002;
constexpr int kLoginCancel = 1087;
constexpr int kLoginStatus = 1092;

class OpenLogin : public CLoginEX {
 public:
  using CLoginEX::OnWrongPIN;
  using CLoginEX::ReadLoginPIN;
};

std::string Entered() { return Line("Enter Login") + Line("Session Login"); }

class CLoginEXTest : public LogTest {
 protected:
  CLoginEXTest() {
    m_dialog.SetSession(&m_session);
    m_dialog.SetTokenLabel("TELVO Token");
    m_dialog.SetTokenFlags(0x400);
    m_dialog.AttachPINCache(m_cache);
    m_dialog.SetPINLimits(4, 16);
  }

  // The dialog's own log lines. The cache logs between them.
  std::string TakeDialogLog() {
    std::string own;
    const std::string log = TakeLog();
    for (std::size_t start = 0, end = 0; start < log.size(); start = end + 1) {
      end = log.find('\n', start);
      const std::string line = log.substr(start, end + 1 - start);
      bool isOfTheCache = false;
      for (const char* text : {"SetPINCache", "Checking", "PINCACHE", "PIN set", "PIN Cache contains", "GetPINCache"}) {
        isOfTheCache = isOfTheCache || line.rfind(text, 0) == 0;
      }
      if (!isOfTheCache) own += line;
    }
    return own;
  }

  ScriptedDialogs m_dialogs;
  AnsweringSession m_session;
  boost::shared_ptr<CTELVOPINCache> m_cache = boost::make_shared<CTELVOPINCache>();
  OpenLogin m_dialog;
};

// --- Opening

TEST_F(CLoginEXTest, OpensWithTheLabelInItsTitleAndTheLoginButtonDisabled) {
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    EXPECT_EQ(119, dialog.GetResource());
    EXPECT_EQ("Enter PIN for TELVO Token", dialog.GetTitle());
    EXPECT_EQ(112, dialog.GetSmallIcon());
    EXPECT_EQ(16U, dialog.GetTextLimit(kLoginEdit));
    EXPECT_FALSE(dialog.IsEnabled(kLoginButton));
    EXPECT_TRUE(dialog.IsEnabled(kLoginEdit));
    EXPECT_EQ(kLoginEdit, dialog.GetFocus());
    EXPECT_EQ("", dialog.GetText(kLoginStatus));
    EXPECT_FALSE(dialog.Click(kLoginButton));
    dialog.Cancel();
  });
  EXPECT_EQ(2, m_dialog.DoModal());
  EXPECT_EQ("", TakeLog());
}

TEST_F(CLoginEXTest, KeepsTheTitleOfTheTemplateForAnEmptyLabel) {
  m_dialog.SetTokenLabel("");
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    EXPECT_EQ("Enter PIN for <Token Name>", dialog.GetTitle());
    dialog.Cancel();
  });
  m_dialog.DoModal();
}

TEST_F(CLoginEXTest, OnlyAClickOnItsButtonsHasAnEffect) {
  constexpr UINT kDoubleClicked = 5;
  m_dialogs.OnNext([&](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "1234");
    for (const int button : {kLoginButton, kLoginCancel, IDCANCEL}) m_dialog.OnCommand(dialog, button, kDoubleClicked);
    m_dialog.OnCommand(dialog, kLoginStatus, BN_CLICKED);
    EXPECT_FALSE(dialog.HasEnded());
    dialog.Cancel();
  });
  m_dialog.DoModal();
  EXPECT_EQ("", TakeDialogLog());
}

TEST_F(CLoginEXTest, DrawsOnlyTheStatusLineRedAndBold) {
  COLORREF color = 0;
  DialogFont font;
  EXPECT_TRUE(m_dialog.GetTextColor(kLoginStatus, color));
  EXPECT_EQ(250U, color);
  EXPECT_TRUE(m_dialog.GetTextFont(kLoginStatus, font));
  EXPECT_EQ(16, font.height);
  EXPECT_EQ(700, font.weight);
  EXPECT_STREQ("Arial", font.face);
  EXPECT_FALSE(m_dialog.GetTextColor(1091, color));
  EXPECT_FALSE(m_dialog.GetTextFont(1091, font));
}

TEST_F(CLoginEXTest, WatchesOnlyTheEdit) {
  EXPECT_TRUE(m_dialog.WatchesInput(kLoginEdit));
  EXPECT_FALSE(m_dialog.WatchesInput(kLoginButton));
}

// --- Cancel

TEST_F(CLoginEXTest, TheCancelButtonEndsWithTwo) {
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "1234");
    EXPECT_TRUE(dialog.Click(kLoginCancel));
  });
  EXPECT_EQ(2, m_dialog.DoModal());
  EXPECT_TRUE(m_session.pins.empty());
  EXPECT_EQ(0, m_cache->IsPINSet());
}

// --- A login

TEST_F(CLoginEXTest, ARightPinLogsInAndIsCached) {
  m_dialogs.OnNext(EnterPIN("1234"));
  EXPECT_EQ(1, m_dialog.DoModal());
  EXPECT_EQ(std::vector<std::string>{"1234"}, m_session.pins);
  EXPECT_EQ(CK_USER_TYPE{1}, m_session.userType);
  EXPECT_EQ(Line("Enter Login") + Line("Session Login") + Line("Set window text") + Line("Check PIN cache") +
                Line("Set PIN cache") + Line("SetPINCache - ENTER") + Line("Checking PINCACHE registry key") +
                Line("PINCACHE is enabled") + Line("Checking PIN buffers") + Line("PIN set") +
                Line("SetPINCache - EXIT"),
            TakeLog());
  EXPECT_EQ("1234", PINOf(*m_cache));
}

TEST_F(CLoginEXTest, WithoutACacheNothingIsCached) {
  m_dialog.AttachPINCache({});
  m_dialogs.OnNext(EnterPIN("1234"));
  EXPECT_EQ(1, m_dialog.DoModal());
  EXPECT_EQ(Entered() + Line("Set window text") + Line("Check PIN cache"), TakeLog());
}

TEST_F(CLoginEXTest, ThePinNeverAppearsInTheWindow) {
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "1234");
    EXPECT_EQ("****", dialog.GetText(kLoginEdit));
    dialog.Press(kLoginEdit, VK_BACK);
    dialog.Type(kLoginEdit, "5");
    dialog.Click(kLoginButton);
    EXPECT_TRUE(dialog.ShowedOnlyAsterisks(kLoginEdit));
  });
  m_dialog.DoModal();
  EXPECT_EQ(std::vector<std::string>{"1235"}, m_session.pins);
}

TEST_F(CLoginEXTest, APinOfEightCharactersLogsIn) {
  m_dialogs.OnNext(EnterPIN("12345678"));
  EXPECT_EQ(1, m_dialog.DoModal());
  EXPECT_EQ(std::vector<std::string>{"12345678"}, m_session.pins);
}

TEST_F(CLoginEXTest, APinOfNineCharactersEndsTheDialogWithAnInternalError) {
  m_dialogs.OnNext(EnterPIN("123456789"));
  EXPECT_EQ(INT_PTR{Code(NTE_INTERNAL_ERROR)}, m_dialog.DoModal());
  EXPECT_TRUE(m_session.pins.empty());
  EXPECT_EQ("", TakeLog());
}

TEST_F(CLoginEXTest, WithoutMemoryForThePinTheDialogEndsWithAnInternalError) {
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "1234");
    const ScarceMemory scarce;
    dialog.Click(kLoginButton);
  });
  EXPECT_EQ(INT_PTR{Code(NTE_INTERNAL_ERROR)}, m_dialog.DoModal());
  EXPECT_TRUE(m_session.pins.empty());
  EXPECT_EQ("", TakeLog());
}

TEST_F(CLoginEXTest, TheEditTakesNoMoreThanTheTokensLongestPin) {
  m_dialog.SetPINLimits(4, 6);
  m_dialogs.OnNext(EnterPIN("12345678"));
  EXPECT_EQ(1, m_dialog.DoModal());
  EXPECT_EQ(std::vector<std::string>{"123456"}, m_session.pins);
}

TEST_F(CLoginEXTest, TheShortestLengthIsIgnored) {
  m_dialogs.OnNext(EnterPIN("1"));
  EXPECT_EQ(1, m_dialog.DoModal());
  EXPECT_EQ(std::vector<std::string>{"1"}, m_session.pins);
}

TEST_F(CLoginEXTest, WithoutASessionTheLoginButtonDoesNothing) {
  m_dialog.SetSession(nullptr);
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "1234");
    EXPECT_TRUE(dialog.Click(kLoginButton));
    EXPECT_FALSE(dialog.HasEnded());
    EXPECT_EQ("", dialog.GetText(kLoginStatus));
    dialog.Cancel();
  });
  m_dialog.DoModal();
  EXPECT_EQ("", TakeLog());
}

TEST_F(CLoginEXTest, WhereTheLoginButtonHasNoTextAKeyLeavesItDisabled) {
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.SetText(kLoginButton, "");
    dialog.Type(kLoginEdit, "1");
    EXPECT_FALSE(dialog.IsEnabled(kLoginButton));
    dialog.Cancel();
  });
  m_dialog.DoModal();
}

// --- An empty PIN

TEST_F(CLoginEXTest, ALoginWithAnEmptiedEditAsksForAPin) {
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "1");
    EXPECT_TRUE(dialog.IsEnabled(kLoginButton));
    dialog.Press(kLoginEdit, VK_BACK);
    EXPECT_TRUE(dialog.IsEnabled(kLoginButton));
    EXPECT_TRUE(dialog.Click(kLoginButton));
    EXPECT_EQ("Please Enter PIN Value!", dialog.GetText(kLoginStatus));
    EXPECT_EQ(kLoginEdit, dialog.GetFocus());
    EXPECT_FALSE(dialog.HasEnded());
    dialog.Cancel();
  });
  EXPECT_EQ(2, m_dialog.DoModal());
  EXPECT_TRUE(m_session.pins.empty());
}

TEST_F(CLoginEXTest, AnEmptyPinIsAskedForEvenWithoutASession) {
  m_dialog.SetSession(nullptr);
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "1");
    dialog.Press(kLoginEdit, VK_BACK);
    dialog.Click(kLoginButton);
    EXPECT_EQ("Please Enter PIN Value!", dialog.GetText(kLoginStatus));
    dialog.Cancel();
  });
  m_dialog.DoModal();
}

TEST_F(CLoginEXTest, ASecondRunStartsEmpty) {
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "12345678");
    dialog.Cancel();
  });
  EXPECT_EQ(2, m_dialog.DoModal());
  m_dialogs.OnNext(EnterPIN("5678"));
  EXPECT_EQ(1, m_dialog.DoModal());
  EXPECT_EQ(std::vector<std::string>{"5678"}, m_session.pins);
}

// --- A wrong PIN

TEST_F(CLoginEXTest, ACountOfThreeIsShownAndTheDialogStays) {
  m_session.Fail(3);
  m_dialogs.OnNext([this](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "0000");
    dialog.Click(kLoginButton);
    EXPECT_EQ("Incorrect PIN, 3 trials left", dialog.GetText(kLoginStatus));
    EXPECT_TRUE(dialog.IsEnabled(kLoginEdit));
    EXPECT_TRUE(dialog.IsEnabled(kLoginButton));
    EXPECT_EQ("****", dialog.GetText(kLoginEdit));
    EXPECT_EQ(Entered() + Line("Catch Cryptoki error") + Line("Wrong PIN") + Line("Load string") +
                  Line("There are retries left"),
              TakeLog());
    dialog.Cancel();
  });
  EXPECT_EQ(2, m_dialog.DoModal());
  EXPECT_EQ(0, m_cache->IsPINSet());
}

TEST_F(CLoginEXTest, ARightPinAfterAWrongOneClearsTheStatusLine) {
  m_session.Fail(2);
  m_dialogs.OnNext([this](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "0000");
    dialog.Click(kLoginButton);
    m_session.answer = nullptr;
    for (int i = 0; i < 4; ++i) dialog.Press(kLoginEdit, VK_BACK);
    dialog.Type(kLoginEdit, "1234");
    dialog.Click(kLoginButton);
    EXPECT_EQ("", dialog.GetText(kLoginStatus));
  });
  EXPECT_EQ(1, m_dialog.DoModal());
  EXPECT_EQ((std::vector<std::string>{"0000", "1234"}), m_session.pins);
  EXPECT_EQ("1234", PINOf(*m_cache));
}

struct CountCase {
  DWORD code;
  const char* status;
};

class TriesLeftTest : public CLoginEXTest, public ::testing::WithParamInterface<CountCase> {};

TEST_P(TriesLeftTest, AreTheResultCodeOfTheLogin) {
  m_session.Fail(GetParam().code);
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "0000");
    dialog.Click(kLoginButton);
    EXPECT_EQ(GetParam().status, dialog.GetText(kLoginStatus));
    dialog.Cancel();
  });
  m_dialog.DoModal();
}

INSTANTIATE_TEST_SUITE_P(Counts, TriesLeftTest,
                         ::testing::Values(CountCase{1, "Incorrect PIN, 1 trials left"},
                                           CountCase{2, "Incorrect PIN, 2 trials left"},
                                           CountCase{13, "Incorrect PIN, 13 trials left"},
                                           CountCase{14, "Incorrect PIN, 14 trials left"}),
                         [](const auto& row) { return std::to_string(row.param.code); });

class FailingLoginTest : public CLoginEXTest, public ::testing::WithParamInterface<DWORD> {};

TEST_P(FailingLoginTest, EndsTheDialogWithAFailure) {
  m_session.Fail(GetParam());
  m_dialogs.OnNext(EnterPIN("1234"));
  EXPECT_EQ(INT_PTR{Code(NTE_FAIL)}, m_dialog.DoModal());
  EXPECT_EQ(Entered() + Line("Catch Cryptoki error") + Line("NTE_FAIL"), TakeLog());
  EXPECT_EQ(0, m_cache->IsPINSet());
}

INSTANTIATE_TEST_SUITE_P(Codes, FailingLoginTest, ::testing::Values(0, 15, 16, 0x30, 0x32, 0xA0, 0xA1, 0xB3, 0xE0),
                         [](const auto& row) { return std::to_string(row.param); });

TEST_F(CLoginEXTest, ALockedPinLeavesOnlyCancel) {
  m_session.Fail(CKR_PIN_LOCKED);
  m_dialogs.OnNext([this](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "0000");
    dialog.Click(kLoginButton);
    EXPECT_EQ("PIN Locked", dialog.GetText(kLoginStatus));
    EXPECT_FALSE(dialog.IsEnabled(kLoginEdit));
    EXPECT_FALSE(dialog.IsEnabled(kLoginButton));
    EXPECT_FALSE(dialog.HasEnded());
    EXPECT_EQ(Entered() + Line("Catch Cryptoki error") + Line("Pin is locked"), TakeLog());
    EXPECT_TRUE(dialog.Click(kLoginCancel));
  });
  EXPECT_EQ(2, m_dialog.DoModal());
}

TEST_F(CLoginEXTest, ACountAboveZeroIsAWrongPin) {
  m_dialogs.OnNext([this](ScriptedDialog& dialog) {
    EXPECT_EQ(Code(SCARD_W_WRONG_CHV), m_dialog.OnWrongPIN(dialog, 1));
    dialog.Cancel();
  });
  m_dialog.DoModal();
}

TEST_F(CLoginEXTest, ACountOfZeroIsALockedPin) {
  m_dialogs.OnNext([this](ScriptedDialog& dialog) {
    EXPECT_EQ(Code(SCARD_W_CHV_BLOCKED), m_dialog.OnWrongPIN(dialog, 0));
    EXPECT_EQ("PIN Locked", dialog.GetText(kLoginStatus));
    EXPECT_FALSE(dialog.IsEnabled(kLoginEdit));
    EXPECT_FALSE(dialog.IsEnabled(kLoginButton));
    EXPECT_EQ(Line("Wrong PIN") + Line("Load string") + Line("PIN is locked"), TakeLog());
    dialog.Cancel();
  });
  m_dialog.DoModal();
}

TEST_F(CLoginEXTest, AUserWhoIsLoggedInAlreadyCountsAsLoggedIn) {
  m_session.Fail(CKR_USER_ALREADY_LOGGED_IN);
  m_dialogs.OnNext(EnterPIN("1234"));
  EXPECT_EQ(1, m_dialog.DoModal());
  EXPECT_EQ(Entered() + Line("Catch Cryptoki error") + Line("User already logged in") + Line("Set PIN cache"),
            TakeDialogLog());
  EXPECT_EQ("1234", PINOf(*m_cache));
}

TEST_F(CLoginEXTest, AUserWhoIsLoggedInAlreadyNeedsNoCache) {
  m_dialog.AttachPINCache({});
  m_session.Fail(CKR_USER_ALREADY_LOGGED_IN);
  m_dialogs.OnNext(EnterPIN("1234"));
  EXPECT_EQ(1, m_dialog.DoModal());
  EXPECT_EQ(Entered() + Line("Catch Cryptoki error") + Line("User already logged in"), TakeLog());
}

TEST_F(CLoginEXTest, AnyOtherExceptionLeavesDoModal) {
  m_session.answer = [] { throw std::runtime_error("card on fire"); };
  m_dialogs.OnNext(EnterPIN("1234"));
  EXPECT_THROW(m_dialog.DoModal(), std::runtime_error);
  EXPECT_EQ(Entered(), TakeLog());
}

TEST_F(CLoginEXTest, NoOtherThreadLogsInOrOutDuringTheLogin) {
  WaitingLogin other;
  m_session.answer = [&] { other.Ask(); };
  m_dialogs.OnNext(EnterPIN("1234"));
  m_dialog.DoModal();
  EXPECT_TRUE(other.HadToWait());
}

// --- Memory

class LoginMemoryTest : public CLoginEXTest, public ::testing::WithParamInterface<DWORD> {};

TEST_P(LoginMemoryTest, ThePinsBufferIsWiped) {
  std::unique_ptr<HeapWatch> watch;
  m_session.answer = [&] {
    watch = std::make_unique<HeapWatch>(m_session.pinBuffer, 4);
    if (GetParam() != CKR_OK) throw CryptokiError(GetParam());
  };
  m_dialogs.OnNext([&](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "1234");
    dialog.Click(kLoginButton);
    EXPECT_TRUE(watch->WasReleased());
    EXPECT_TRUE(watch->WasWiped());
    dialog.Cancel();
  });
  m_dialog.DoModal();
}

INSTANTIATE_TEST_SUITE_P(Results, LoginMemoryTest, ::testing::Values(0, 3, 0xA4, 0x100, 0x30),
                         [](const auto& row) { return std::to_string(row.param); });

TEST_F(CLoginEXTest, ThePinsBufferIsWipedWhenAnExceptionLeavesTheLogin) {
  std::unique_ptr<HeapWatch> watch;
  m_session.answer = [&] {
    watch = std::make_unique<HeapWatch>(m_session.pinBuffer, 4);
    throw std::runtime_error("card on fire");
  };
  m_dialogs.OnNext(EnterPIN("1234"));
  EXPECT_THROW(m_dialog.DoModal(), std::runtime_error);
  EXPECT_TRUE(watch->WasWiped());
}

// --- The login lock

TEST_F(CLoginEXTest, NoOtherThreadTakesTheLoginLockDuringTheLogin) {
  std::vector<std::string> order;
  std::thread other;
  m_session.answer = [&] {
    std::promise<void> started;
    other = std::thread([&] {
      started.set_value();
      const LoginLock lock;
      order.emplace_back("other");
    });
    started.get_future().wait();
    order.emplace_back("login");
  };
  m_dialogs.OnNext(EnterPIN("1234"));
  m_dialog.DoModal();
  other.join();
  EXPECT_EQ((std::vector<std::string>{"login", "other"}), order);
}

TEST_F(CLoginEXTest, TheLoginLockIsFreeWhileTheDialogIsOpen) {
  m_session.Fail(3);
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "1234");
    dialog.Click(kLoginButton);
    std::async(std::launch::async, [] { const LoginLock lock; }).get();
    dialog.Cancel();
  });
  EXPECT_EQ(2, m_dialog.DoModal());
}

// --- Reading the PIN

TEST_F(CLoginEXTest, ReadingThePinWithoutALengthIsAnInvalidParameter) {
  m_dialogs.OnNext([this](ScriptedDialog& dialog) {
    BYTE out[8] = {};
    EXPECT_EQ(Code(NTE_INVALID_PARAMETER), m_dialog.ReadLoginPIN(dialog, out, nullptr));
    dialog.Cancel();
  });
  m_dialog.DoModal();
}

TEST_F(CLoginEXTest, ReadingThePinReturnsItsLengthAndCopiesItIfThereIsAnOutput) {
  m_dialogs.OnNext([this](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "12345678");
    DWORD length = 0;
    EXPECT_EQ(0U, m_dialog.ReadLoginPIN(dialog, nullptr, &length));
    EXPECT_EQ(8U, length);
    BYTE out[8] = {};
    EXPECT_EQ(0U, m_dialog.ReadLoginPIN(dialog, out, &length));
    EXPECT_EQ("12345678", std::string(out, out + 8));
    dialog.Type(kLoginEdit, "9");
    length = 77;
    EXPECT_EQ(Code(NTE_INTERNAL_ERROR), m_dialog.ReadLoginPIN(dialog, out, &length));
    EXPECT_EQ(77U, length);
    dialog.Cancel();
  });
  m_dialog.DoModal();
}

// --- With a module

TEST_F(CLoginEXTest, CountsTheTriesOfATokenDownToTheLock) {
  const auto module = boost::make_shared<ScriptedModule>();
  module->InsertToken("Reader A");
  Token token(0);
  token.SetCryptoki(module);
  Session session = token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr);
  module->ForgetCalls();
  m_dialog.SetSession(&session);
  m_dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(kLoginEdit, "0000");
    dialog.Click(kLoginButton);
    EXPECT_EQ("Incorrect PIN, 2 trials left", dialog.GetText(kLoginStatus));
    dialog.Click(kLoginButton);
    EXPECT_EQ("Incorrect PIN, 1 trials left", dialog.GetText(kLoginStatus));
    dialog.Click(kLoginButton);
    EXPECT_EQ("PIN Locked", dialog.GetText(kLoginStatus));
    dialog.Cancel();
  });
  EXPECT_EQ(2, m_dialog.DoModal());
  EXPECT_EQ((Calls{"C_LoginExtended(1, user 1, 0000)", "C_LoginExtended(1, user 1, 0000)",
                   "C_LoginExtended(1, user 1, 0000)"}),
            module->TakeCalls());
}

TEST_F(CLoginEXTest, WithoutADisplayTheDialogEndsWithMinusOne) {
  class NoDisplay : public DialogHost {
   public:
    INT_PTR Run(DialogController& /*controller*/) override { return -1; }
  };
  NoDisplay none;
  DialogHost* before = SetDialogHost(&none);
  EXPECT_EQ(-1, m_dialog.DoModal());
  SetDialogHost(before);
}

}  // namespace

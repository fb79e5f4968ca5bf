#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "entry/CCSPContextList.h"
#include "fixtures/EntryTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "pin/PINCacheManager.h"

namespace {

const char kSetSuccess[] = "\nCPSetProvParam Success";
const char kSerial[] = "01 23 45 67 89 AB CD EF";

class CPSetProvParamTest : public EntryTest {
 protected:
  CPSetProvParamTest() : m_token(m_module.InsertToken("Reader A")) {
    AddContainer(m_token, Text("one"));
    m_handle = AcquireHandle("one");
    SetLastError(4711);
  }

  BOOL Call(DWORD param, const char* data, DWORD flags = 0) {
    return CPSetProvParam(m_handle, param, reinterpret_cast<const BYTE*>(data), flags);
  }
  static std::string Hex(const char* format, const void* pointer) {
    char text[9] = {};
    std::snprintf(text, sizeof(text), format, static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(pointer)));
    return text;
  }
  static std::string Opening(const std::string& param, const void* data, const std::string& flags = "00000000") {
    return FrameLines("CPSetProvParam") + Value("\tdwParam: \t", param) + Value("\tdwFlags: \t", flags) +
           Value("\tpbData: \t\t ", Hex("%08x", data));
  }
  std::string NoCardPrompt() {
    return static_cast<TELVOCSPContext&>(*g_contextList.FindContext(m_handle)).GetNoCardPrompt();
  }

  ScriptedToken& m_token;
  HCRYPTPROV m_handle = 0;
};

TEST_F(CPSetProvParamTest, ASecurityDescriptorIsAcceptedAndIgnored) {
  const char data[] = "anything";
  EXPECT_TRUE(Call(8, data, 0xABCDEF));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(Opening("00000008", data, "00abcdef") + Line(kSetSuccess), TakeLog());
}

TEST_F(CPSetProvParamTest, APinPromptIsAcceptedAndIgnored) {
  const char data[] = "anything";
  EXPECT_TRUE(Call(44, data));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(Opening("0000002c", data) + Line(kSetSuccess), TakeLog());
}

TEST_F(CPSetProvParamTest, TheUserInterfacePromptReplacesThePromptForNoCard) {
  EXPECT_EQ("Insert TELVO/Quillkey", NoCardPrompt());
  const char data[] = "The card, please";
  EXPECT_TRUE(Call(21, data));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ("The card, please", NoCardPrompt());
  EXPECT_EQ(Opening("00000015", data) + Line(kSetSuccess), TakeLog());
}

TEST_F(CPSetProvParamTest, APinLogsInAndStaysOutOfTheLog) {
  for (const DWORD param : {32U, 33U}) {
    g_pinCacheManager.GetPINCache("Reader A", kSerial)->ClearPINCache();
    m_token.loggedIn = false;
    const char pin[] = "1234";
    EXPECT_TRUE(Call(param, pin));
    EXPECT_EQ(0U, GetLastError());
    EXPECT_TRUE(m_token.loggedIn);
    EXPECT_EQ(Opening(param == 32 ? "00000020" : "00000021", pin) + Line("Set PIN") + Line("Retrieving PIN cache") +
                  Value("Card serial: ", kSerial) + Value("Reader name: ", "Reader A") + Line("Login") +
                  Line("Login Successful. PIN Cache Set") + Line(kSetSuccess),
              TakeLog());
  }
}

TEST_F(CPSetProvParamTest, AWrongPinReportsTheTriesLeft) {
  m_module.wrongPin = ScriptedModule::WrongPin::kPinIncorrect;
  const char pin[] = "9999";
  EXPECT_FALSE(Call(32, pin));
  EXPECT_EQ(Code(SCARD_W_WRONG_CHV), GetLastError());
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("Login") + Line("Wrong PIN, 2 retries remaining")));
}

TEST_F(CPSetProvParamTest, AnEmptyPinIsAnInvalidParameter) {
  const char pin[] = "";
  EXPECT_FALSE(Call(32, pin));
  EXPECT_EQ(Code(ERROR_INVALID_PARAMETER), GetLastError());
  EXPECT_EQ(Opening("00000020", pin) + Line("Set PIN") + Line("PIN and PIN length is not present") +
                Line("PIN and PIN Length should be present"),
            TakeLog());
}

// After a wrong PIN the module is asked for the tries left. Its failure then is not an error of the context.
TEST_F(CPSetProvParamTest, AModuleErrorWhileReadingTheTriesLeftIsThrown) {
  m_module.wrongPin = ScriptedModule::WrongPin::kPinIncorrect;
  m_module.BeforeNext("C_LoginExtended", [this] { m_module.FailAlways("C_GetSessionInfo", CKR_DEVICE_REMOVED); });
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, Call(32, "9999"));
  m_module.FailAlways("C_GetSessionInfo", CKR_OK);
}

TEST_F(CPSetProvParamTest, AContextWithoutASessionTakesNoPin) {
  m_handle = AcquireHandle(nullptr, 0xF0000000);
  EXPECT_FALSE(Call(32, "1234"));
  EXPECT_EQ(Code(NTE_FAIL), GetLastError());
  EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("Login") + Line("The context has no session")));
}

TEST_F(CPSetProvParamTest, TheTokensRandomNumbersAreSupportedEvenWithoutData) {
  EXPECT_TRUE(Call(38, nullptr));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(Opening("00000026", nullptr) + Line("\nCPSetProvParam Success. PP_USE_HARDWARE_RNG supported"), TakeLog());
}

TEST_F(CPSetProvParamTest, AnyOtherParameterIsABadType) {
  for (const DWORD param : {0U, 1U, 2U, 31U, 45U, 0xFFFFFFFFU}) {
    SetLastError(4711);
    EXPECT_FALSE(Call(param, "data"));
    EXPECT_EQ(Code(NTE_BAD_TYPE), GetLastError());
    EXPECT_THAT(TakeLog(), ::testing::EndsWith(Line("\nCPSetProvParam Error: Invalid dwParam"))) << param;
  }
}

TEST_F(CPSetProvParamTest, NullDataIsRefusedBeforeTheHandleIsLookedUp) {
  m_handle = 0x1234567890;
  EXPECT_FALSE(Call(32, nullptr));
  EXPECT_EQ(Code(ERROR_INVALID_PARAMETER), GetLastError());
  EXPECT_EQ(Opening("00000020", nullptr) + Line("\nData should not be null"), TakeLog());
}

TEST_F(CPSetProvParamTest, AnUnknownHandleIsRefused) {
  m_handle = 0x1234567890;
  EXPECT_FALSE(Call(38, nullptr));
  EXPECT_EQ(Code(NTE_BAD_UID), GetLastError());
  EXPECT_EQ(Opening("00000026", nullptr) + Line("The context does not exist"), TakeLog());
}

}  // namespace

#include <gtest/gtest.h>

#include "cryptoki/CCryptoWrapper.h"
#include "fixtures/Expect.h"
#include "fixtures/LogFile.h"
#include "module/LoadedModule.h"
#include "module/ScriptedModule.h"

namespace {

class CCryptoWrapperTest : public LogTest {
 protected:
  CCryptoWrapperTest() : m_loaded(m_module) { g_cryptoWrapper = CCryptoWrapper(); }
  ~CCryptoWrapperTest() override { g_cryptoWrapper = CCryptoWrapper(); }

  // The text of the error when the module cannot be obtained. The error must have that code.
  static std::string FailureText(DWORD code) {
    try {
      CCryptoWrapper::GetCryptoki();
    } catch (const CryptokiError& error) {
      EXPECT_EQ(code, error.GetCode());
      return error.GetText();
    }
    return "no failure";
  }

  ScriptedModule m_module;
  LoadedModule m_loaded;
};

TEST_F(CCryptoWrapperTest, TheModulesNameIsThereFromTheStart) {
  EXPECT_EQ("telvopkcs11.dll", g_cryptoWrapper.m_moduleName);
}

TEST_F(CCryptoWrapperTest, TheFirstUseLoadsAndInitialisesTheModule) {
  EXPECT_NE(nullptr, CCryptoWrapper::GetCryptoki());
  EXPECT_EQ(1U, CCryptoWrapper::GetUseCount());
  EXPECT_EQ(Calls{"C_Initialize(null)"}, m_module.TakeCalls());
}

TEST_F(CCryptoWrapperTest, TheSecondUseGetsTheSameObjectAndCountsTwo) {
  const auto first = CCryptoWrapper::GetCryptoki();
  const auto second = CCryptoWrapper::GetCryptoki();
  EXPECT_EQ(first, second);
  EXPECT_EQ(2U, CCryptoWrapper::GetUseCount());
  EXPECT_EQ((Calls{"C_Initialize(null)", "C_Initialize(null)"}), m_module.TakeCalls());
  EXPECT_EQ(CKR_CRYPTOKI_ALREADY_INITIALIZED, first->GetLastResult());
}

TEST_F(CCryptoWrapperTest, MoreReleasesThanUsesLeaveTheCountAtZero) {
  CCryptoWrapper::GetCryptoki();
  CCryptoWrapper::Release();
  CCryptoWrapper::Release();
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
}

TEST_F(CCryptoWrapperTest, AtZeroUsesTheModuleStaysLoadedAndInitialised) {
  const auto first = CCryptoWrapper::GetCryptoki();
  CCryptoWrapper::Release();
  EXPECT_TRUE(m_module.IsInitialized());
  EXPECT_EQ(first, CCryptoWrapper::GetCryptoki());
}

TEST_F(CCryptoWrapperTest, WithoutAModuleNameNothingIsLoaded) {
  g_cryptoWrapper.m_moduleName.clear();
  EXPECT_CONTEXT_ERROR(NTE_FAIL, "PKCS#11 Module is not set", CCryptoWrapper::GetCryptoki());
  EXPECT_EQ(nullptr, g_cryptoWrapper.m_functions);
}

TEST_F(CCryptoWrapperTest, AFailedInitialisationIsNotCountedAndTheNextUseGetsTheSameObject) {
  m_module.FailNext("C_Initialize", CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, CCryptoWrapper::GetCryptoki());
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
  const auto made = g_cryptoWrapper.m_cryptoki;
  ASSERT_NE(nullptr, made);
  EXPECT_EQ(made, CCryptoWrapper::GetCryptoki());
  EXPECT_EQ(1U, CCryptoWrapper::GetUseCount());
}

TEST_F(CCryptoWrapperTest, AFailingFunctionListIsReportedAsNotInitialised) {
  m_loaded.SetFunctionListResult(CKR_GENERAL_ERROR);
  EXPECT_EQ("The current token is not yet initialized", FailureText(0x190));
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
}

TEST_F(CCryptoWrapperTest, AMissingLibraryIsAGeneralError) {
  g_cryptoWrapper.m_moduleName = "telvonosuchlibrary.dll";
  EXPECT_EQ("The operation encounterd an error", FailureText(5));
  EXPECT_EQ("The operation encounterd an error", FailureText(5));
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
}

TEST_F(CCryptoWrapperTest, ALibraryThatIsNoModuleIsAGeneralErrorAndThenNotInitialised) {
  g_cryptoWrapper.m_moduleName = "telvoplain.dll";
  EXPECT_EQ("The operation encounterd an error", FailureText(5));
  EXPECT_EQ("The current token is not yet initialized", FailureText(0x190));
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
}

TEST_F(CCryptoWrapperTest, ReleasingTheModuleDoesNotFinaliseIt) {
  {
    g_cryptoWrapper.m_moduleName = "telvopkcs11.dll";
    CCryptoWrapper::GetCryptoki();
    m_module.ForgetCalls();
    TakeLog();
    g_cryptoWrapper.m_cryptoki.reset();
    EXPECT_EQ(Line("\n~Cryptoki"), TakeLog());
    g_cryptoWrapper.m_functions.reset();
  }
  EXPECT_EQ(Calls{}, m_module.TakeCalls());
  m_loaded.LetGo();
  EXPECT_FALSE(IsLibraryLoaded("telvopkcs11.dll"));
}

TEST_F(CCryptoWrapperTest, TheModuleOutlivesTheRecordWhileAnObjectHoldsIt) {
  boost::shared_ptr<CryptokiInterface> held = CCryptoWrapper::GetCryptoki()->GetCryptoki();
  g_cryptoWrapper = CCryptoWrapper();
  m_loaded.LetGo();
  EXPECT_TRUE(IsLibraryLoaded("telvopkcs11.dll"));
  held.reset();
  EXPECT_FALSE(IsLibraryLoaded("telvopkcs11.dll"));
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>

#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "fixtures/EntryTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "module/WaitingLogin.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr HCRYPTPROV kUntouched = 0x1122334455667788;

class CPAcquireContextTest : public EntryTest {
 protected:
  CPAcquireContextTest() { SetLastError(4711); }

  BOOL Call(const char* container, DWORD flags) { return CPAcquireContext(&m_handle, container, flags, nullptr); }

  HCRYPTPROV m_handle = kUntouched;
};

TEST_F(CPAcquireContextTest, ASuccessIsLoggedFromEndToEnd) {
  m_module.InsertToken("Reader A");
  EXPECT_TRUE(Call("\\\\.\\Reader A\\one", 0));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(ProcessLines() + FrameLines("CPAcquireContext") + Value("\tContainer Name: ", "\\\\.\\Reader A\\one") +
                Value("\tdwFlags: \t", "00000000") + Line("\nRetrieving Crypto Wrapper") +
                Line("\nInitializing Context") + Line("\nInitialize Base Class") + Line("\nGet Active Slot List") +
                Value("\nSlots Found: ", "1") + Line("\nIterating thru Readers") + Line("Reader A") +
                Line("Reader Name found") + Line("Retrieving Session") + Line("\nRetrieving Token") +
                Line("\nOpening Session") + Line("\nRetrieving Objects") + Line("\nObjects Retrieved") +
                Line("\nRetrieving Certificates") + Line("Retrieving Certificate") + Line("Retrieving Private Key 2") +
                Line("No Private Key Found") + Line("Retrieving Public Key 3") + Line("No Public Key Found") +
                Line("\nSlot List Loop done") + Value("Token Label: ", "TELVO Token                     ") +
                Line("\nAddUnplugThread ") + Line("\nInitialization Finished") + Line("\nCPAcquireContext Success"),
            TakeLog());
}

TEST_F(CPAcquireContextTest, TheHandleFindsTheContext) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  EXPECT_TRUE(Call("one", 0));
  EXPECT_EQ(0U, m_handle >> 32U);
  EXPECT_EQ("one", g_contextList.FindContext(m_handle)->GetContainerName());
  EXPECT_EQ(1U, CCryptoWrapper::GetUseCount());
  // The session lives on in the stored copy.
  EXPECT_EQ(1U, m_module.OpenSessions());
  EXPECT_TRUE(g_contextList.FindContext(m_handle)->IsOnlyOwnerOfSession());
}

TEST_F(CPAcquireContextTest, AnAllocationThatFailsLeavesNoSessionOpen) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  m_module.BeforeNext("C_FindObjectsInit", [] { throw std::bad_alloc(); });
  HCRYPTPROV handle = 0;
  EXPECT_THROW(CPAcquireContext(&handle, "one", 0, nullptr), std::bad_alloc);
  EXPECT_EQ(0U, m_module.OpenSessions());
}

TEST_F(CPAcquireContextTest, ANullNameIsLoggedAsSuch) {
  m_module.InsertToken("Reader A");
  EXPECT_TRUE(Call(nullptr, 0xF0000000));
  EXPECT_THAT(TakeLog(), HasSubstr(Value("\tContainer Name: ", "NULL") + Value("\tdwFlags: \t", "F0000000")));
}

TEST_F(CPAcquireContextTest, ANullHandlePointerIsAnInvalidHandleAndTheModuleStaysUnloaded) {
  EXPECT_FALSE(CPAcquireContext(nullptr, "one", 0, nullptr));
  EXPECT_EQ(Code(ERROR_INVALID_HANDLE), GetLastError());
  EXPECT_EQ(ProcessLines() + FrameLines("CPAcquireContext") + Value("\tContainer Name: ", "one") +
                Value("\tdwFlags: \t", "00000000") + Line("\nCPAcquireContext Error: Handle is Invalid"),
            TakeLog());
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
  EXPECT_EQ(nullptr, g_cryptoWrapper.m_functions);
}

TEST_F(CPAcquireContextTest, AContextErrorLogsItsMessageAndSetsItsCode) {
  EXPECT_FALSE(Call("one", 1));
  EXPECT_EQ(Code(NTE_BAD_FLAGS), GetLastError());
  EXPECT_EQ(0U, m_handle);
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nInitializing Context") + Line("\nInitialize Base Class") +
                                  Line("dwFlags contains an unsupported flag")));
}

TEST_F(CPAcquireContextTest, AModuleErrorLogsItsMessageAndSetsNteFail) {
  m_module.InsertToken("Reader A");
  m_module.FailNext("C_GetSlotList", CKR_DEVICE_ERROR);
  EXPECT_FALSE(Call("one", 0));
  EXPECT_EQ(Code(NTE_FAIL), GetLastError());
  EXPECT_EQ(0U, m_handle);
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nGet Active Slot List") + Line(ErrorText(CKR_DEVICE_ERROR))));
}

TEST_F(CPAcquireContextTest, AFailureKeepsTheUseCountRaised) {
  EXPECT_FALSE(Call("one", 1));
  EXPECT_EQ(1U, CCryptoWrapper::GetUseCount());
}

TEST_F(CPAcquireContextTest, WithoutAModuleNameItFails) {
  g_cryptoWrapper.m_moduleName.clear();
  EXPECT_FALSE(Call("one", 0));
  EXPECT_EQ(Code(NTE_FAIL), GetLastError());
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nRetrieving Crypto Wrapper") + Line("PKCS#11 Module is not set")));
}

TEST_F(CPAcquireContextTest, AFailureClosesTheSessionThatWasOpened) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  EXPECT_FALSE(Call("one", 0x8));
  EXPECT_EQ(static_cast<DWORD>(NTE_EXISTS), GetLastError());
  EXPECT_EQ(0U, m_module.OpenSessions());
}

TEST_F(CPAcquireContextTest, WhileASessionIsClosedAfterAFailureNoOtherThreadReadsItsObjects) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  WaitingLogin login(m_module, "C_CloseSession");
  EXPECT_FALSE(Call("one", 0x8));
  EXPECT_TRUE(login.HadToWait());
}

TEST_F(CPAcquireContextTest, WhileAContainerIsDeletedNoOtherThreadReadsItsObjects) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  WaitingLogin login(m_module, "C_DestroyObject");
  EXPECT_TRUE(Call("one", 0x50));
  EXPECT_TRUE(login.HadToWait());
}

TEST_F(CPAcquireContextTest, AnEmptyNameIsRefusedForVerificationUnlessItIsSilent) {
  m_module.InsertToken("Reader A");
  EXPECT_FALSE(Call("", 0xF0000000));
  EXPECT_EQ(Code(NTE_BAD_FLAGS), GetLastError());
  EXPECT_TRUE(Call("", 0xF0000040));
}

TEST_F(CPAcquireContextTest, NewAndDeleteWithSilentPassTheFlagsCheck) {
  m_module.InsertToken("Reader A");
  EXPECT_FALSE(Call("one", 0x58));
  EXPECT_EQ(Code(NTE_BAD_KEYSET), GetLastError());
}

TEST_F(CPAcquireContextTest, ASuccessfulDeletionGivesNoHandleAndKeepsTheUseCountRaised) {
  ScriptedToken& token = m_module.InsertToken("Reader A");
  AddContainer(token, Text("one"));
  EXPECT_TRUE(Call("one", 0x10));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(kUntouched, m_handle);
  EXPECT_EQ(1U, CCryptoWrapper::GetUseCount());
  EXPECT_TRUE(token.objects.empty());
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nInitialization Finished") + Line("\nCPAcquireContext Success")));
}

TEST_F(CPAcquireContextTest, AFailedDeletionIsASuccessWithALiveHandle) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  m_module.FailNext("C_DestroyObject", CKR_USER_NOT_LOGGED_IN);
  EXPECT_TRUE(Call("one", 0x10));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ("one", g_contextList.FindContext(m_handle)->GetContainerName());
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nInitialization Finished") + Line(ErrorText(CKR_USER_NOT_LOGGED_IN)) +
                                  Line("\nCPAcquireContext Success")));
}

TEST_F(CPAcquireContextTest, DeletingAMissingContainerFails) {
  m_module.InsertToken("Reader A");
  EXPECT_FALSE(Call("one", 0x10));
  EXPECT_EQ(Code(NTE_BAD_KEYSET), GetLastError());
}

TEST_F(CPAcquireContextTest, AfterTheLastReleaseTheModuleStaysLoadedForTheNextContext) {
  m_module.InsertToken("Reader A");
  EXPECT_TRUE(Call("\\\\.\\Reader A\\one", 0));
  EXPECT_TRUE(CPReleaseContext(m_handle, 0));
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
  const auto functions = g_cryptoWrapper.m_functions;
  ASSERT_NE(nullptr, functions);
  EXPECT_TRUE(Call("\\\\.\\Reader A\\one", 0));
  EXPECT_EQ(functions, g_cryptoWrapper.m_functions);
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "fixtures/EntryTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "objects/CCSPHashFactory.h"

namespace {

using ::testing::HasSubstr;

class CPReleaseContextTest : public EntryTest {};

TEST_F(CPReleaseContextTest, ASuccessIsLoggedClosesTheSessionAndForgetsTheHandle) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  const HCRYPTPROV handle = AcquireHandle("one");
  SetLastError(4711);
  EXPECT_TRUE(CPReleaseContext(handle, 0));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(FrameLines("CPReleaseContext") + Value("\tdwFlags:", "00000000") + Line("\nCPReleaseContext Success"),
            TakeLog());
  EXPECT_EQ(Calls{"C_CloseSession(1)"}, m_module.TakeCalls());
  EXPECT_EQ(0U, CCryptoWrapper::GetUseCount());
  EXPECT_CONTEXT_ERROR(NTE_BAD_UID, "The context does not exist", g_contextList.FindContext(handle));
}

TEST_F(CPReleaseContextTest, HashesThatWereNotDestroyedStayInTheFactory) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  const HCRYPTPROV handle = AcquireHandle("one");
  HCRYPTHASH hash = 0;
  EXPECT_TRUE(CPCreateHash(handle, CALG_SHA1, 0, 0, &hash));
  EXPECT_TRUE(CPReleaseContext(handle, 0));
  EXPECT_EQ(1U, g_hashFactory.Count());
}

TEST_F(CPReleaseContextTest, TheFlagsAreLoggedAndIgnored) {
  m_module.InsertToken("Reader A");
  const HCRYPTPROV handle = AcquireHandle("\\\\.\\Reader A\\");
  EXPECT_TRUE(CPReleaseContext(handle, 0xABCD));
  EXPECT_THAT(TakeLog(), HasSubstr(Value("\tdwFlags:", "0000ABCD")));
}

TEST_F(CPReleaseContextTest, AnUnknownHandleLeavesTheFunctionAsAnException) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_UID), "The context does not exist", CPReleaseContext(5, 0));
  EXPECT_EQ(FrameLines("CPReleaseContext") + Value("\tdwFlags:", "00000000"), TakeLog());
}

TEST_F(CPReleaseContextTest, AContextWithoutASessionIsReleased) {
  m_module.InsertToken("Reader A");
  const HCRYPTPROV handle = AcquireHandle(nullptr, 0xF0000000);
  EXPECT_TRUE(CPReleaseContext(handle, 0));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPReleaseContextTest, AContextWhoseSessionDoesNotCloseIsStillReleased) {
  m_module.InsertToken("Reader A");
  const HCRYPTPROV handle = AcquireHandle("\\\\.\\Reader A\\");
  m_module.FailAlways("C_GetSessionInfo", CKR_DEVICE_REMOVED);
  m_module.FailAlways("C_CloseSession", CKR_DEVICE_REMOVED);
  EXPECT_TRUE(CPReleaseContext(handle, 0));
}

}  // namespace

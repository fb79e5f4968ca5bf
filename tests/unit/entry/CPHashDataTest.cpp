// CPHashData.
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/HashEntryTest.h"

namespace {

class CPHashDataTest : public HashEntryTest {
 protected:
  static std::string Begin(const void* data, const std::string& flags, const std::string& length) {
    return FrameLines("CPHashData") + Value("\tpbData:    ", Hex8(data)) + Value("\tdwFlags:   ", flags) +
           Value("\tcbDataLen: ", length);
  }
  DWORD PendingOf(HCRYPTHASH hash) {
    DWORD length = 0;
    Object(hash)->GetData(nullptr, &length);
    return length;
  }

  const Bytes m_data = Text("abc");
};

TEST_F(CPHashDataTest, ASuccessIsLoggedFromEndToEnd) {
  const HCRYPTHASH hash = MakeHash();
  ExpectDone(CPHashData(m_handle, hash, m_data.data(), 3, 0));
  EXPECT_EQ(Begin(m_data.data(), "00000000", "00000003") + Line("\nCPHashData Success"), TakeLog());
  EXPECT_EQ(3U, PendingOf(hash));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPHashDataTest, ALengthOfZeroOnAFreshHashSucceedsAndChangesNothing) {
  const HCRYPTHASH hash = MakeHash();
  ExpectDone(CPHashData(m_handle, hash, m_data.data(), 0, 0));
  ExpectDone(CPHashData(m_handle, hash, nullptr, 0, 0));
  EXPECT_EQ(0U, PendingOf(hash));
}

TEST_F(CPHashDataTest, FlagsAreRefusedBeforeTheContextIsLookedUp) {
  ExpectRefused(Code(NTE_BAD_FLAGS), CPHashData(m_unknown, 0, m_data.data(), 3, 1));
  EXPECT_EQ(
      Begin(m_data.data(), "00000001", "00000003") + Line("\nCPHashData Error: Invalid dwFlags, dwFlags not supported"),
      TakeLog());
}

TEST_F(CPHashDataTest, UnknownHandlesAreRefused) {
  ExpectRefused(Code(NTE_BAD_UID), CPHashData(m_unknown, 5, nullptr, 0, 0));
  EXPECT_EQ(Begin(nullptr, "00000000", "00000000") + Line("The context does not exist"), TakeLog());
  ExpectRefused(Code(NTE_BAD_HASH), CPHashData(m_handle, 5, nullptr, 0, 0));
  EXPECT_EQ(Begin(nullptr, "00000000", "00000000") + Line("Hash not found in this context"), TakeLog());
}

TEST_F(CPHashDataTest, AFinishedHashAcceptsNoMoreData) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  Object(hash)->Finish();
  TakeLog();
  ExpectRefused(Code(NTE_BAD_HASH_STATE), CPHashData(m_handle, hash, m_data.data(), 3, 0));
  EXPECT_EQ(Begin(m_data.data(), "00000000", "00000003") + Line("\nCPHashData Error: Invalid Hash State"), TakeLog());
  EXPECT_EQ(3U, PendingOf(hash));
}

}  // namespace

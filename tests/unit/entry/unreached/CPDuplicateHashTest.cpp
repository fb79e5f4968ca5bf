// CPDuplicateHash.
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/HashEntryTest.h"

namespace {

constexpr HCRYPTHASH kUntouched = 0x1122334455667788;

class CPDuplicateHashTest : public HashEntryTest {
 protected:
  BOOL Duplicate(HCRYPTHASH hash) { return CPDuplicateHash(m_handle, hash, nullptr, 0, &m_copy); }
  static std::string Begin(const std::string& flags) {
    return FrameLines("CPDuplicateHash") + Value("\tdwFlags: \t", flags);
  }

  HCRYPTHASH m_copy = kUntouched;
};

TEST_F(CPDuplicateHashTest, TheCopyIsTheHashItself) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  ExpectDone(Duplicate(hash));
  EXPECT_EQ(Begin("00000000") + Line("\nCPDuplicateHash Success"), TakeLog());
  EXPECT_EQ(hash, m_copy);
  EXPECT_EQ(2U, g_hashFactory.Count());
  // The context has it twice.
  EXPECT_TRUE(CPDestroyHash(m_handle, hash));
  EXPECT_TRUE(CPDestroyHash(m_handle, m_copy));
  ExpectRefused(Code(NTE_BAD_HASH), CPDestroyHash(m_handle, m_copy));
}

TEST_F(CPDuplicateHashTest, ANonNullReservedPointerAndNonZeroFlagsAreInvalid) {
  DWORD reserved = 0;
  const std::string refusal = Line("\nCPDuplicateHash Error: Reserved is not NULL or dwFlags is not 0");
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPDuplicateHash(m_unknown, 0, &reserved, 0, &m_copy));
  EXPECT_EQ(Begin("00000000") + refusal, TakeLog());
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPDuplicateHash(m_unknown, 0, nullptr, 1, nullptr));
  EXPECT_EQ(Begin("00000001") + refusal, TakeLog());
}

TEST_F(CPDuplicateHashTest, ANullHandlePointerIsABadHash) {
  ExpectRefused(Code(NTE_BAD_HASH), CPDuplicateHash(m_unknown, 0, nullptr, 0, nullptr));
  EXPECT_EQ(Begin("00000000") + Line("\nCPDuplicateHash Error: pHash is NULL"), TakeLog());
}

TEST_F(CPDuplicateHashTest, UnknownHandlesAreRefused) {
  ExpectRefused(Code(NTE_BAD_UID), CPDuplicateHash(m_unknown, 0, nullptr, 0, &m_copy));
  EXPECT_EQ(Begin("00000000") + Line("The context does not exist"), TakeLog());
  ExpectRefused(Code(NTE_BAD_HASH), Duplicate(5));
  EXPECT_EQ(Begin("00000000") + Line("Hash not found in this context"), TakeLog());
  EXPECT_EQ(kUntouched, m_copy);
}

}  // namespace

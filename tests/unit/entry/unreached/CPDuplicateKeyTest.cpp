// CPDuplicateKey.
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyEntryTest.h"

namespace {

using CPDuplicateKeyTest = KeyEntryTest;

TEST_F(CPDuplicateKeyTest, IsNotImplementedAndClearsTheHandle) {
  HCRYPTKEY key = kUntouched;
  DWORD reserved = 7;
  ExpectRefused(Code(ERROR_CALL_NOT_IMPLEMENTED), CPDuplicateKey(m_unknown, 5, &reserved, 0x1A, &key));
  EXPECT_EQ(FrameLines("CPDuplicateKey") + Value("\tdwFlags: \t", "0000001A") +
                Line("\nCPDuplicateKey Error: Function not implemented"),
            TakeLog());
  EXPECT_EQ(0U, key);
  EXPECT_EQ(7U, reserved);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPDuplicateKeyTest, AHandlePointerIsRequired) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPDuplicateKey(m_handle, 5, nullptr, 0, nullptr));
  EXPECT_EQ(
      FrameLines("CPDuplicateKey") + Value("\tdwFlags: \t", "00000000") + Line("\nCPDuplicateKey Error: phKey is NULL"),
      TakeLog());
}

}  // namespace

#include <cstdio>
#include <gtest/gtest.h>
#include <vector>

#include "cryptoki/CryptokiError.h"
#include "fixtures/EntryTest.h"
#include "fixtures/ErrorCodes.h"

namespace {

class CPGenRandomTest : public EntryTest {
 protected:
  CPGenRandomTest() {
    AddContainer(m_module.InsertToken("Reader A"), Text("one"));
    m_handle = AcquireHandle("one");
    SetLastError(4711);
  }

  static std::string Hex(const void* pointer) {
    char text[9] = {};
    std::snprintf(text, sizeof(text), "%X", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(pointer)));
    return text;
  }
  static std::string Opening(const void* buffer, const std::string& length) {
    return FrameLines("CPGenRandom") + Value("\tpbBuffer: ", Hex(buffer)) + Value("\tcbLen: ", length);
  }

  HCRYPTPROV m_handle = 0;
  std::vector<BYTE> m_buffer = std::vector<BYTE>(17, 0xEE);
};

TEST_F(CPGenRandomTest, TheTokenFillsTheBuffer) {
  EXPECT_TRUE(CPGenRandom(m_handle, 16, m_buffer.data()));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(Counting(16, 1), Bytes(m_buffer.begin(), m_buffer.begin() + 16));
  EXPECT_EQ(0xEE, m_buffer[16]);
  EXPECT_EQ(Calls{"C_GenerateRandom"}, m_module.TakeCallNames());
  EXPECT_EQ(Opening(m_buffer.data(), "10") + Line("\nCPGenRandom Success"), TakeLog());
}

TEST_F(CPGenRandomTest, WithoutABufferOrALengthTheModuleIsNotCalled) {
  EXPECT_TRUE(CPGenRandom(m_handle, 0, m_buffer.data()));
  EXPECT_TRUE(CPGenRandom(m_handle, 16, nullptr));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  EXPECT_EQ(Opening(m_buffer.data(), "0") + Line("\nCPGenRandom Success") + Opening(nullptr, "10") +
                Line("\nCPGenRandom Success"),
            TakeLog());
}

TEST_F(CPGenRandomTest, AnUnknownHandleIsRefused) {
  EXPECT_FALSE(CPGenRandom(m_handle + (HCRYPTPROV{1} << 32U), 16, m_buffer.data()));
  EXPECT_EQ(Code(NTE_BAD_UID), GetLastError());
  EXPECT_EQ(Opening(m_buffer.data(), "10") + Line("The context does not exist"), TakeLog());
}

TEST_F(CPGenRandomTest, AModuleErrorLogsItsMessageAndSetsNteFail) {
  m_module.FailNext("C_GenerateRandom", CKR_DEVICE_REMOVED);
  EXPECT_FALSE(CPGenRandom(m_handle, 16, m_buffer.data()));
  EXPECT_EQ(Code(NTE_FAIL), GetLastError());
  EXPECT_EQ(Opening(m_buffer.data(), "10") + Line(ErrorText(CKR_DEVICE_REMOVED)), TakeLog());
}

TEST_F(CPGenRandomTest, AContextWithoutASessionFails) {
  const HCRYPTPROV verify = AcquireHandle(nullptr, 0xF0000000);
  EXPECT_FALSE(CPGenRandom(verify, 16, m_buffer.data()));
  EXPECT_EQ(Code(NTE_FAIL), GetLastError());
  EXPECT_EQ(Opening(m_buffer.data(), "10") + Line("The context has no session"), TakeLog());
}

}  // namespace

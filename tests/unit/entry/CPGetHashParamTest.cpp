// Reading the parameters of a hash: CPGetHashParam.
#include <cstring>
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/HashEntryTest.h"

namespace {

constexpr DWORD kAlgID = 1;
constexpr DWORD kHashSize = 4;

class CPGetHashParamTest : public HashEntryTest {
 protected:
  BOOL Get(HCRYPTHASH hash, DWORD param) { return CPGetHashParam(m_handle, hash, param, m_buffer, &m_length, 0); }
  BOOL GetLength(HCRYPTHASH hash, DWORD param) { return CPGetHashParam(m_handle, hash, param, nullptr, &m_length, 0); }
  DWORD Number() const {
    DWORD number = 0;
    std::memcpy(&number, m_buffer, sizeof(number));
    return number;
  }
  static std::string Begin(const std::string& param, const std::string& flags, const void* data,
                           const std::string& length) {
    return FrameLines("CPGethashParam") + Value("\tdwParam:    ", param) + Value("\tdwFlags:    ", flags) +
           Value("\tpbData:     ", Hex8(data)) + Value("\tpcbDataLen: ", length);
  }
  static std::string Success() { return Line("\nCPGetHashParam Success"); }
  static std::string TooSmall() { return Line("\nCPGetHashParam Error: pcbDataLen too small"); }
  // What is logged when a hash of "abc" is computed.
  static std::string LinesOfAbc() {
    return "Data to be hashed: 61 62 63 \nHash result: 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 00 00 00 00 \n";
  }

  BYTE m_buffer[100] = {};
  DWORD m_length = sizeof(m_buffer);
};

TEST_F(CPGetHashParamTest, TheAlgorithmIsReturned) {
  const HCRYPTHASH hash = MakeHash();
  m_length = 4;
  ExpectDone(Get(hash, kAlgID));
  EXPECT_EQ(0x8004U, Number());
  EXPECT_EQ(4U, m_length);
  EXPECT_EQ(Begin("00000001", "00000000", m_buffer, "00000004") + Success(), TakeLog());
}

TEST_F(CPGetHashParamTest, TheSizeIsReturned) {
  m_length = 4;
  ExpectDone(Get(MakeHash(CALG_SSL3_SHAMD5), kHashSize));
  EXPECT_EQ(36U, Number());
}

TEST_F(CPGetHashParamTest, ANumberTakesFourBytes) {
  const HCRYPTHASH hash = MakeHash();
  for (const DWORD param : {kAlgID, kHashSize}) {
    m_length = 77;
    ExpectDone(GetLength(hash, param));
    EXPECT_EQ(4U, m_length);
    m_length = 3;
    TakeLog();
    ExpectRefused(Code(ERROR_MORE_DATA), Get(hash, param));
    EXPECT_EQ(3U, m_length);
    EXPECT_EQ(Begin("0000000" + std::to_string(param), "00000000", m_buffer, "00000003") + TooSmall(), TakeLog());
    EXPECT_EQ(0U, Number());
    m_length = 50;
    ExpectDone(Get(hash, param));
    EXPECT_EQ(50U, m_length);
    std::memset(m_buffer, 0, sizeof(m_buffer));
  }
}

TEST_F(CPGetHashParamTest, AskingForTheLengthOfTheValueLeavesTheHashOpen) {
  const HCRYPTHASH hash = MakeHashOf("ab");
  m_length = 0;
  ExpectDone(GetLength(hash, HP_HASHVAL));
  EXPECT_EQ(20U, m_length);
  EXPECT_EQ(Begin("00000002", "00000000", nullptr, "00000000") + Success(), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  EXPECT_TRUE(Feed(hash, "c"));
}

TEST_F(CPGetHashParamTest, ReadingTheValueFinishesTheHash) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  m_length = 20;
  ExpectDone(Get(hash, HP_HASHVAL));
  EXPECT_EQ(20U, m_length);
  EXPECT_EQ(0, std::memcmp(m_buffer, "\0\0\0\3abc\0", 8));
  EXPECT_EQ(Begin("00000002", "00000000", m_buffer, "00000014") + LinesOfAbc() + Success(), TakeLog());
  ExpectRefused(Code(NTE_BAD_HASH_STATE), Feed(hash, "d"));
}

TEST_F(CPGetHashParamTest, ALargerBufferLeavesTheLengthAtItsLargerValue) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  m_length = 64;
  ExpectDone(Get(hash, HP_HASHVAL));
  EXPECT_EQ(64U, m_length);
}

TEST_F(CPGetHashParamTest, ForABufferTooSmallForTheValueTheLengthIsReturned) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  m_length = 19;
  ExpectRefused(Code(ERROR_MORE_DATA), Get(hash, HP_HASHVAL));
  EXPECT_EQ(20U, m_length);
  EXPECT_EQ(Begin("00000002", "00000000", m_buffer, "00000013") + TooSmall(), TakeLog());
  EXPECT_EQ(0U, Object(hash)->IsFinished());
}

TEST_F(CPGetHashParamTest, AValueLongerThanTheBufferIsNotWritten) {
  const HCRYPTHASH hash = MakeHash();
  Object(hash)->SetHash(Counting(40, 1).data(), 40);
  m_length = 39;
  ExpectRefused(Code(ERROR_MORE_DATA), Get(hash, HP_HASHVAL));
  EXPECT_EQ(39U, m_length);
  EXPECT_EQ(Begin("00000002", "00000000", m_buffer, "00000027") + Line("Buffer to retrieve Hash is too small"),
            TakeLog());
}

TEST_F(CPGetHashParamTest, WithoutDataThereIsNoValue) {
  const HCRYPTHASH hash = MakeHash();
  m_length = 20;
  ExpectRefused(Code(NTE_BAD_HASH_STATE), Get(hash, HP_HASHVAL));
  EXPECT_EQ(Begin("00000002", "00000000", m_buffer, "00000014") + Line("No Data was added to be hash"), TakeLog());
}

TEST_F(CPGetHashParamTest, AModuleErrorIsNteFail) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  m_module.FailNext("C_DigestInit", CKR_DEVICE_ERROR);
  ExpectRefused(Code(NTE_FAIL), Get(hash, HP_HASHVAL));
  EXPECT_EQ(Begin("00000002", "00000000", m_buffer, "00000064") + "Data to be hashed: 61 62 63 \n" +
                Line("Failed to Initialize Hash Operation"),
            TakeLog());
}

TEST_F(CPGetHashParamTest, AnotherParameterIsABadType) {
  const HCRYPTHASH hash = MakeHash();
  for (BYTE* const data : {m_buffer, static_cast<BYTE*>(nullptr)}) {
    ExpectRefused(Code(NTE_BAD_TYPE), CPGetHashParam(m_handle, hash, 3, data, &m_length, 0));
    EXPECT_EQ(Begin("00000003", "00000000", data, "00000064") +
                  Line("\nCPGetHASHParam Error: Invalid dwParam, dwParam not supported"),
              TakeLog());
  }
}

TEST_F(CPGetHashParamTest, FlagsAreRefusedBeforeTheContextIsLookedUp) {
  ExpectRefused(Code(NTE_BAD_FLAGS), CPGetHashParam(m_unknown, 0, kAlgID, m_buffer, &m_length, 1));
  EXPECT_EQ(Begin("00000001", "00000001", m_buffer, "00000064") + Line("\nCPGetHASHParam Error: Unsupported Flag(s)"),
            TakeLog());
}

TEST_F(CPGetHashParamTest, ANullLengthIsInvalidAndItsErrorReplacesTheLengthLine) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPGetHashParam(m_handle, MakeHash(), kAlgID, m_buffer, nullptr, 0));
  EXPECT_EQ(FrameLines("CPGethashParam") + Value("\tdwParam:    ", "00000001") + Value("\tdwFlags:    ", "00000000") +
                Value("\tpbData:     ", Hex8(m_buffer)) + Line("\nCPGetHashParam Error: pcbDataLen is NULL"),
            TakeLog());
}

TEST_F(CPGetHashParamTest, OnlyTheFirstLineSpellsTheNameWithALowercaseH) {
  ExpectDone(Get(MakeHash(), kAlgID));
  const std::string log = TakeLog();
  EXPECT_EQ(0U, log.find(FrameLines("CPGethashParam")));
  EXPECT_NE(std::string::npos, log.find("\nCPGetHashParam Success"));
}

TEST_F(CPGetHashParamTest, UnknownHandlesAreRefused) {
  const std::string begin = Begin("00000001", "00000000", m_buffer, "00000064");
  ExpectRefused(Code(NTE_BAD_UID), CPGetHashParam(m_unknown, 5, kAlgID, m_buffer, &m_length, 0));
  EXPECT_EQ(begin + Line("The context does not exist"), TakeLog());
  ExpectRefused(Code(NTE_BAD_HASH), Get(5, kAlgID));
  EXPECT_EQ(begin + Line("Hash not found in this context"), TakeLog());
}

}  // namespace

// Setting the value of a hash: CPSetHashParam.
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/HashEntryTest.h"

namespace {

class CPSetHashParamTest : public HashEntryTest {
 protected:
  BOOL Set(HCRYPTHASH hash) { return CPSetHashParam(m_handle, hash, HP_HASHVAL, m_value.data(), 0); }
  static std::string Begin(const std::string& param, HCRYPTHASH hash, const std::string& flags) {
    return FrameLines("CPSetHashParam") + Value("\tdwParam: \t", param) + Value("\thHash: \t\t", Hex8(hash)) +
           Value("\tdwFlags: \t", flags);
  }

  const Bytes m_value = Counting(20, 1);  // exactly the hash length, so that a sanitizer sees reads past the end
};

TEST_F(CPSetHashParamTest, AFreshHashReadsExactlyItsLength) {
  const HCRYPTHASH hash = MakeHash();
  ExpectDone(Set(hash));
  EXPECT_EQ(Begin("00000002", hash, "00000000") + Value("\nHash Length ", "14") +
                "Hash Value 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 \n" +
                Line("\nCPSetHashParam Success:"),
            TakeLog());
  Bytes value(20);
  DWORD length = 20;
  ExpectDone(CPGetHashParam(m_handle, hash, HP_HASHVAL, value.data(), &length, 0));
  EXPECT_EQ(m_value, value);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPSetHashParamTest, AHashWithDataIsABadHash) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  ExpectRefused(Code(NTE_BAD_HASH), Set(hash));
  EXPECT_EQ(Begin("00000002", hash, "00000000") + Line("\nCPSetHashParam Error: Hash Value is not NULL"), TakeLog());
  EXPECT_EQ(0U, Object(hash)->IsFinished());
}

TEST_F(CPSetHashParamTest, RefusedFlagsAreLoggedUnderTheNameOfTheGetFunction) {
  ExpectRefused(Code(NTE_BAD_FLAGS), CPSetHashParam(m_unknown, 5, 1, nullptr, 1));
  EXPECT_EQ(Begin("00000001", 5, "00000001") + Line("\nCPGetHASHParam Error: Unsupported Flag(s)"), TakeLog());
}

TEST_F(CPSetHashParamTest, AnotherParameterIsABadType) {
  ExpectRefused(Code(NTE_BAD_TYPE), CPSetHashParam(m_unknown, 5, 1, nullptr, 0));
  EXPECT_EQ(Begin("00000001", 5, "00000000") + Line("\nCPSetHashParam Error: dwFlags is not HASHVVAL"), TakeLog());
}

TEST_F(CPSetHashParamTest, NullDataIsAnInvalidParameter) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPSetHashParam(m_unknown, 5, 2, nullptr, 0));
  EXPECT_EQ(Begin("00000002", 5, "00000000") + Line("\nCPSetHashParam Error: pbData is NULL"), TakeLog());
}

TEST_F(CPSetHashParamTest, UnknownHandlesAreRefused) {
  ExpectRefused(Code(NTE_BAD_UID), CPSetHashParam(m_unknown, 5, 2, m_value.data(), 0));
  EXPECT_EQ(Begin("00000002", 5, "00000000") + Line("The context does not exist"), TakeLog());
  ExpectRefused(Code(NTE_BAD_HASH), Set(5));
  EXPECT_EQ(Begin("00000002", 5, "00000000") + Line("Hash not found in this context"), TakeLog());
}

}  // namespace

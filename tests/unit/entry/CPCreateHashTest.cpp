// CPCreateHash.
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/HashEntryTest.h"

namespace {

constexpr HCRYPTHASH kUntouchedHash = 0x1122334455667788;

class CPCreateHashTest : public HashEntryTest {
 protected:
  BOOL Create(ALG_ID algorithm, DWORD flags = 0) { return CPCreateHash(m_handle, algorithm, 7, flags, &m_hash); }
  static std::string Begin(const std::string& algorithm, const std::string& flags) {
    return FrameLines("CPCreateHash") + Value("\tALGID: \t", algorithm) + Value("\tdwFlags: ", flags);
  }

  HCRYPTHASH m_hash = kUntouchedHash;
};

TEST_F(CPCreateHashTest, ASuccessIsLoggedFromEndToEnd) {
  ExpectDone(Create(CALG_SHA_256));
  EXPECT_EQ(Begin("0000800C", "00000000") + Line("Retrieving context.") + Line("Retrieving session.") +
                Line("Get hash instance") + Line("Get hash ID.") + Line("Add hash.") +
                Value("\thHash: \t", Hex8(m_hash)) + Line("\nRequesting for Hash: ") + Line("SHA 256") +
                Line("\nCPCreateHash Success"),
            TakeLog());
  EXPECT_EQ(0U, m_hash >> 32U);
  EXPECT_EQ(m_hash, Object(m_hash)->GetHashID());
  EXPECT_EQ(1U, g_hashFactory.Count());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPCreateHashTest, FlagsAreRefusedBeforeTheContextIsLookedUp) {
  ExpectRefused(Code(NTE_BAD_FLAGS), CPCreateHash(m_unknown, CALG_SHA1, 0, 1, &m_hash));
  EXPECT_EQ(Begin("00008004", "00000001") + Line("\nCPCreateHash Error: Invalid flags specified."), TakeLog());
  EXPECT_EQ(kUntouchedHash, m_hash);
}

TEST_F(CPCreateHashTest, AnUnknownContextIsABadUid) {
  ExpectRefused(Code(NTE_BAD_UID), CPCreateHash(m_unknown, CALG_SHA1, 0, 0, &m_hash));
  EXPECT_EQ(Begin("00008004", "00000000") + Line("Retrieving context.") + Line("The context does not exist"),
            TakeLog());
}

TEST_F(CPCreateHashTest, ANullHandlePointerIsAnInvalidParameter) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPCreateHash(m_handle, CALG_SHA1, 0, 0, nullptr));
  EXPECT_EQ(Begin("00008004", "00000000") + Line("\nCPCreateHash Error: phHash is NULL"), TakeLog());
  EXPECT_EQ(0U, g_hashFactory.Count());
}

TEST_F(CPCreateHashTest, FlagsAreRefusedBeforeANullHandlePointer) {
  ExpectRefused(Code(NTE_BAD_FLAGS), CPCreateHash(m_handle, CALG_SHA1, 0, 1, nullptr));
  EXPECT_EQ(Begin("00008004", "00000001") + Line("\nCPCreateHash Error: Invalid flags specified."), TakeLog());
}

TEST_F(CPCreateHashTest, ARefusedAlgorithmLeavesTheHandleAsItWas) {
  ExpectRefused(Code(NTE_BAD_ALGID), Create(CALG_SHA_384));
  EXPECT_EQ(Begin("0000800D", "00000000") + Line("Retrieving context.") + Line("Retrieving session.") +
                Line("Get hash instance") + Line("Algorithm not found"),
            TakeLog());
  ExpectRefused(Code(NTE_BAD_ALGID), Create(CALG_RSA_SIGN));
  EXPECT_EQ(Begin("00002400", "00000000") + Line("Retrieving context.") + Line("Retrieving session.") +
                Line("Get hash instance") + Line("Invalid Hash Algorithm ID"),
            TakeLog());
  EXPECT_EQ(kUntouchedHash, m_hash);
}

TEST_F(CPCreateHashTest, AContextWithoutASessionCreatesNoHash) {
  const HCRYPTPROV handle = AcquireHandle(nullptr, 0xF0000000);
  ExpectRefused(Code(NTE_FAIL), CPCreateHash(handle, CALG_SHA1, 0, 0, &m_hash));
  EXPECT_EQ(Begin("00008004", "00000000") + Line("Retrieving context.") + Line("Retrieving session.") +
                Line("Get hash instance") + Line("Session should be defined in creating a hash"),
            TakeLog());
}

TEST_F(CPCreateHashTest, AHashThatOutlivesItsContextHasNoSession) {
  const auto hash = Object(MakeHashOf("abc"));
  EXPECT_TRUE(CPReleaseContext(m_handle, 0));
  EXPECT_EQ(nullptr, hash->GetSession());
}

}  // namespace

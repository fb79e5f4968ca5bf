// CPGetUserKey.
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyEntryTest.h"

namespace {

constexpr char kNoPrivateKey[] =
    "\nCPGetUserKey Error: Private Key does not exist in this context. Check if this cert has been copied to "
    "Certificate Store";

class CPGetUserKeyTest : public KeyEntryTest {
 protected:
  static std::string Begin(const std::string& keySpec) {
    return FrameLines("CPGetUserKey") + Value("\tKeySpec: ", keySpec);
  }
};

TEST_F(CPGetUserKeyTest, EachKeySpecWritesAllBitsOfItsHandle) {
  HCRYPTKEY key = kUntouched;
  ExpectDone(CPGetUserKey(m_handle, AT_SIGNATURE, &key));
  EXPECT_EQ(HCRYPTKEY{Context().GetSignatureKeyHandle()}, key);
  EXPECT_EQ(Begin("00000002") + Line("\nCPGetUserKey Success"), TakeLog());
  key = kUntouched;
  ExpectDone(CPGetUserKey(m_handle, AT_KEYEXCHANGE, &key));
  EXPECT_EQ(HCRYPTKEY{Context().GetExchangeKeyHandle()}, key);
  EXPECT_EQ(Begin("00000001") + Line("\nCPGetUserKey Success"), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPGetUserKeyTest, ANullHandlePointerIsABadKeyWithoutAnErrorLine) {
  ExpectRefused(Code(NTE_BAD_KEY), CPGetUserKey(m_handle, AT_SIGNATURE, nullptr));
  EXPECT_EQ(Begin("00000002"), TakeLog());
}

TEST_F(CPGetUserKeyTest, ANullHandlePointerIsReportedBeforeABadKeySpec) {
  ExpectRefused(Code(NTE_BAD_KEY), CPGetUserKey(m_unknown, 0, nullptr));
  EXPECT_EQ(Begin("00000000"), TakeLog());
}

TEST_F(CPGetUserKeyTest, AKeySpecWithoutEitherBitIsNoKeyBeforeTheContextIsLookedUp) {
  HCRYPTKEY key = kUntouched;
  for (const DWORD keySpec : {0U, 4U, 0xFFFFFFFCU}) {
    ExpectRefused(Code(NTE_NO_KEY), CPGetUserKey(m_unknown, keySpec, &key));
    EXPECT_EQ(Begin(Hex8(keySpec)) + Line("\nCPGetUserKey Error: Invalid dwKeySpec"), TakeLog());
  }
  EXPECT_EQ(kUntouched, key);
}

TEST_F(CPGetUserKeyTest, AnUnknownContextIsABadUid) {
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_BAD_UID), CPGetUserKey(m_unknown, 3, &key));
  EXPECT_EQ(Begin("00000003") + Line("The context does not exist"), TakeLog());
}

TEST_F(CPGetUserKeyTest, AnyOtherKeySpecWithOneOfTheBitsSucceedsAndLeavesTheHandle) {
  for (const DWORD keySpec : {3U, 5U, 0xFFFFFFFFU}) {
    HCRYPTKEY key = kUntouched;
    ExpectDone(CPGetUserKey(m_handle, keySpec, &key));
    EXPECT_EQ(kUntouched, key);
    EXPECT_EQ(Begin(Hex8(keySpec)) + Line("\nCPGetUserKey Success"), TakeLog());
  }
}

TEST_F(CPGetUserKeyTest, WithoutAPrivateKeyThereIsNoUserKey) {
  const HCRYPTPROV empty = AcquireHandle("\\\\.\\Reader A\\two", CRYPT_NEWKEYSET);
  for (const DWORD keySpec : {1U, 2U}) {
    HCRYPTKEY key = kUntouched;
    ExpectRefused(Code(NTE_NO_KEY), CPGetUserKey(empty, keySpec, &key));
    EXPECT_EQ(Begin(Hex8(keySpec)) + Line(kNoPrivateKey), TakeLog());
    EXPECT_EQ(kUntouched, key);
  }
}

TEST_F(CPGetUserKeyTest, ACertificateWithoutKeysIsNoUserKey) {
  OnToken().Add(CertificateObject(Text("three"), "label", {0x30, 0x00}));
  const HCRYPTPROV certificateOnly = AcquireHandle("three");
  Forget();
  for (const DWORD keySpec : {1U, 2U}) {
    HCRYPTKEY key = kUntouched;
    ExpectRefused(Code(NTE_NO_KEY), CPGetUserKey(certificateOnly, keySpec, &key));
    EXPECT_EQ(Begin(Hex8(keySpec)) + Line(kNoPrivateKey), TakeLog());
    EXPECT_EQ(kUntouched, key);
  }
}

TEST_F(CPGetUserKeyTest, AKeySpecOfThreeSucceedsEvenWithoutAPair) {
  const HCRYPTPROV empty = AcquireHandle("\\\\.\\Reader A\\two", CRYPT_NEWKEYSET);
  HCRYPTKEY key = kUntouched;
  ExpectDone(CPGetUserKey(empty, 3, &key));
  EXPECT_EQ(kUntouched, key);
}

}  // namespace

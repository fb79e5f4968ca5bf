#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/HashTest.h"
#include "fixtures/MessageLength.h"
#include "objects/SHA1MD5Hash.h"

namespace {

class SHA1MD5HashTest : public HashTest {
 protected:
  static Bytes BothOf(const std::string& message) {
    Bytes both = DigestOf(message, 16);
    const Bytes sha1 = DigestOf(message, 20);
    both.insert(both.end(), sha1.begin(), sha1.end());
    return both;
  }

  DWORD m_length = 0;
};

TEST_F(SHA1MD5HashTest, TheValueIsMD5AndThenSHA1AndNothingIsLogged) {
  const auto hash = MakeOf(CALG_SSL3_SHAMD5, "abc");
  EXPECT_EQ(BothOf("abc"), ValueOf(*hash));
  EXPECT_EQ((Calls{"C_DigestInit(1, CKM_MD5)", "C_Digest(1, 3 bytes, room 16)", "C_DigestInit(1, CKM_SHA_1)",
                   "C_Digest(1, 3 bytes, room 20)"}),
            m_module->TakeCalls());
  EXPECT_EQ("", TakeLog());
  EXPECT_EQ(1U, hash->IsFinished());
}

TEST_F(SHA1MD5HashTest, ThePreSignDataIsTheValueAlone) {
  const Bytes data = PreSignDataOf(*MakeOf(CALG_SSL3_SHAMD5, "abc"));
  EXPECT_EQ(36U, data.size());
  EXPECT_EQ(BothOf("abc"), data);
}

TEST_F(SHA1MD5HashTest, ANewHashHasNoDataToHash) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH), "SHA1-MD5 Hash: No Data to Hash",
                       Make(CALG_SSL3_SHAMD5)->GetHash(nullptr, &m_length));
}

TEST_F(SHA1MD5HashTest, AMessageTooLongFor32BitsIsReportedAsNoDataToHash) {
  const auto hash = MakeOf(CALG_SSL3_SHAMD5, "abc");
  {
    const MessageLength length(*hash, std::size_t{1} << 32U);
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH), "SHA1-MD5 Hash: No Data to Hash", hash->GetHash(nullptr, &m_length));
  }
  EXPECT_EQ(0U, hash->IsFinished());
  EXPECT_EQ(Calls(), m_module->TakeCalls());
  EXPECT_EQ("", TakeLog());
}

TEST_F(SHA1MD5HashTest, AMissingSessionIsReported) {
  const auto hash = MakeOf(CALG_SSL3_SHAMD5, "abc");
  m_session.reset();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "SHA1-MD5 Hash: No Session assigned to Hash",
                       hash->GetHash(nullptr, &m_length));
}

TEST_F(SHA1MD5HashTest, AFailureOfTheTokenLeavesTheHashOpen) {
  const auto hash = MakeOf(CALG_SSL3_SHAMD5, "abc");
  m_module->FailOnCall("C_DigestInit", 2, CKR_DEVICE_ERROR);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "SHA1-MD5 Hash: Failed to Initialize Hash Operation",
                       hash->GetHash(nullptr, &m_length));
  EXPECT_EQ(0x30U, GetLastError());
  EXPECT_EQ(0U, hash->IsFinished());
  EXPECT_EQ(BothOf("abc"), ValueOf(*hash));
}

TEST_F(SHA1MD5HashTest, AFailureOfTheSecondDigestLeavesTheHashOpenAndWithoutAValue) {
  const auto hash = MakeOf(CALG_SSL3_SHAMD5, "abc");
  m_module->FailOnCall("C_Digest", 2, CKR_DEVICE_REMOVED);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "SHA1-MD5 Hash: Failed to Initialize Hash Operation",
                       hash->GetHash(nullptr, &m_length));
  EXPECT_EQ(0x32U, GetLastError());
  EXPECT_EQ(0U, hash->IsFinished());
  EXPECT_EQ(Text("abc"), DataOf(*hash));
  hash->SetFinished(1);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "SHA1-MD5 Hash: Hash was completed but no Hash Data Found",
                       hash->GetHash(nullptr, &m_length));
}

TEST_F(SHA1MD5HashTest, AValueThatIsSetIsSigned) {
  const auto hash = Make(CALG_SSL3_SHAMD5);
  hash->SetHash(Counting(36, 1).data(), 36);
  EXPECT_EQ(Counting(36, 1), PreSignDataOf(*hash));
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_F(SHA1MD5HashTest, AFinishedHashWithoutAValueIsReported) {
  const auto hash = Make(CALG_SSL3_SHAMD5);
  hash->SetFinished(1);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "SHA1-MD5 Hash: Hash was completed but no Hash Data Found",
                       hash->GetHash(nullptr, &m_length));
}

TEST_F(SHA1MD5HashTest, ABufferOneByteTooSmallLeavesTheLengthAsGiven) {
  const auto hash = MakeOf(CALG_SSL3_SHAMD5, "abc");
  Bytes buffer(36);
  m_length = 35;
  EXPECT_CONTEXT_ERROR(Code(ERROR_MORE_DATA), "SHA1-MD5 Hash: Buffer to retrieve Hash is too small",
                       hash->GetHash(buffer.data(), &m_length));
  EXPECT_EQ(35U, m_length);
}

TEST_F(SHA1MD5HashTest, LengthsFromTheModuleAreLimitedToTheAllocatedMemory) {
  m_module->falsifyCount = [](const std::string&, CK_ULONG& count) { count = 5000; };
  EXPECT_EQ(BothOf("abc"), ValueOf(*MakeOf(CALG_SSL3_SHAMD5, "abc")));
}

TEST_F(SHA1MD5HashTest, TheLengthIsTheSumOfBothDigests) {
  m_module->falsifyCount = [](const std::string&, CK_ULONG& count) { count -= 6; };
  EXPECT_EQ((Bytes{0, 0, 0, 3, 'a', 'b', 'c', 0, 0, 0, 0, 0, 0, 3, 'a', 'b', 'c', 0, 0, 0, 0, 0, 0, 0}),
            ValueOf(*MakeOf(CALG_SSL3_SHAMD5, "abc")));
}

TEST_F(SHA1MD5HashTest, ACopyHasEverythingExceptNameAndDigestLength) {
  const auto hash = MakeOf(CALG_SSL3_SHAMD5, "abc");
  SHA1MD5Hash copy(static_cast<const SHA1MD5Hash&>(*hash));
  EXPECT_EQ("", *copy.GetName());
  EXPECT_EQ(0U, copy.GetHashLength());
  EXPECT_EQ(hash->GetHashID(), copy.GetHashID());
  EXPECT_EQ(0x8008U, copy.GetAlgID());
  EXPECT_EQ(BothOf("abc"), ValueOf(copy));
  EXPECT_EQ(0U, hash->IsFinished());
}

TEST_F(SHA1MD5HashTest, ItCanBeAssigned) {
  const auto hash = MakeOf(CALG_SSL3_SHAMD5, "abc");
  SHA1MD5Hash target;
  target = static_cast<const SHA1MD5Hash&>(*hash);
  EXPECT_EQ(BothOf("abc"), ValueOf(target));
}

}  // namespace

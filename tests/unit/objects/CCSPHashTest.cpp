#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/HashTest.h"
#include "fixtures/MessageLength.h"
#include "objects/CCSPHash.h"
#include "objects/TELVOCSPHash.h"

namespace {

class CCSPHashTest : public HashTest {
 protected:
  // The two log lines when the SHA-1 hash of "abc" is computed.
  static std::string LinesOfAbc() {
    return "Data to be hashed: 61 62 63 \nHash result: 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 00 00 00 00 \n";
  }
  static Calls CallsOfAbc() {
    return {"C_DigestInit(1, CKM_SHA_1)", "C_Digest(1, 3 bytes, null)", "C_Digest(1, 3 bytes, room 20)"};
  }

  const Bytes m_prefix = {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14};
  DWORD m_length = 0;
};

// --- The message

TEST_F(CCSPHashTest, DataIsCollectedInOrder) {
  const auto hash = MakeOf(CALG_SHA1, "ab");
  Add(*hash, "c");
  EXPECT_EQ(Text("abc"), DataOf(*hash));
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_F(CCSPHashTest, DataThatIsNullOrOfLengthZeroChangesNothing) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  hash->AddData(m_prefix.data(), 0);
  hash->AddData(nullptr, 5);
  EXPECT_EQ(Text("abc"), DataOf(*hash));
}

TEST_F(CCSPHashTest, SetDataReplacesTheMessage) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  hash->SetData(Text("xy").data(), 2);
  EXPECT_EQ(Text("xy"), DataOf(*hash));
  hash->SetData(nullptr, 0);
  EXPECT_EQ(Bytes(), DataOf(*hash));
}

TEST_F(CCSPHashTest, WithoutAMessageTheLengthOfTheDataIsZero) {
  const auto hash = Make(CALG_SHA1);
  BYTE byte = 7;
  m_length = 9;
  hash->GetData(&byte, &m_length);
  EXPECT_EQ(0U, m_length);
  EXPECT_EQ(7, byte);
}

TEST_F(CCSPHashTest, ABufferTooSmallForTheDataLeavesTheLengthAsGiven) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  Bytes buffer(3);
  m_length = 2;
  EXPECT_CONTEXT_ERROR(Code(ERROR_MORE_DATA), "Buffer to retrieve Data to hash is too small",
                       hash->GetData(buffer.data(), &m_length));
  EXPECT_EQ(2U, m_length);
}

// --- The value

TEST_F(CCSPHashTest, TheTokenDigestsTheWholeMessageAndMessageAndDigestAreLogged) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  EXPECT_EQ(0U, hash->IsFinished());
  EXPECT_EQ(DigestOf("abc", 20), ValueOf(*hash));
  EXPECT_EQ(1U, hash->IsFinished());
  EXPECT_EQ(CallsOfAbc(), m_module->TakeCalls());
  EXPECT_EQ(LinesOfAbc(), TakeLog());
}

TEST_F(CCSPHashTest, EachAlgorithmHasItsMechanismAndLength) {
  EXPECT_EQ(DigestOf("abc", 16), ValueOf(*MakeOf(CALG_MD5, "abc")));
  EXPECT_EQ(DigestOf("abc", 32), ValueOf(*MakeOf(CALG_SHA_256, "abc")));
  EXPECT_EQ(DigestOf("abc", 64), ValueOf(*MakeOf(CALG_SHA_512, "abc")));
  const Calls calls = m_module->TakeCalls();
  ASSERT_EQ(9U, calls.size());
  EXPECT_EQ("C_DigestInit(1, CKM_MD5)", calls[0]);
  EXPECT_EQ("C_DigestInit(1, CKM_SHA256)", calls[3]);
  EXPECT_EQ("C_DigestInit(1, CKM_SHA512)", calls[6]);
}

TEST_F(CCSPHashTest, ANewHashHasNothingToHash) {
  for (const ALG_ID algorithm : {0x8003U, 0x8004U, 0x800CU, 0x800EU}) {
    const auto hash = Make(algorithm);
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "No Data was added to be hash", hash->GetHash(nullptr, &m_length));
    EXPECT_EQ(0U, hash->IsFinished());
  }
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_F(CCSPHashTest, AMessageTooLongFor32BitsIsReportedAsNoDataToHash) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  {
    const MessageLength length(*hash, std::size_t{1} << 32U);
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH), "No Data to Hash", hash->GetHash(nullptr, &m_length));
  }
  EXPECT_EQ(0U, hash->IsFinished());
  EXPECT_EQ(Calls(), m_module->TakeCalls());
  EXPECT_EQ("", TakeLog());
}

TEST_F(CCSPHashTest, AfterATooSmallBufferARetrySucceedsWithoutTheToken) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  Bytes buffer(20);
  m_length = 19;
  EXPECT_CONTEXT_ERROR(Code(ERROR_MORE_DATA), "Buffer to retrieve Hash is too small",
                       hash->GetHash(buffer.data(), &m_length));
  EXPECT_EQ(19U, m_length);
  EXPECT_EQ(Bytes(20), buffer);
  m_module->ForgetCalls();
  m_length = 20;
  hash->GetHash(buffer.data(), &m_length);
  EXPECT_EQ(DigestOf("abc", 20), buffer);
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_F(CCSPHashTest, DataAddedToAFinishedHashDoesNotChangeItsValue) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  hash->Finish();
  Add(*hash, "def");
  EXPECT_EQ(DigestOf("abc", 20), ValueOf(*hash));
  EXPECT_EQ(Text("abcdef"), DataOf(*hash));
}

TEST_F(CCSPHashTest, FinishAndComputeBothFinishTheHash) {
  const auto first = MakeOf(CALG_SHA1, "abc");
  first->Finish();
  EXPECT_EQ(1U, first->IsFinished());
  const auto second = MakeOf(CALG_SHA1, "abc");
  second->Compute(nullptr, &m_length);
  EXPECT_EQ(20U, m_length);
  EXPECT_EQ(1U, second->IsFinished());
}

TEST_F(CCSPHashTest, AHashThatIsOpenedAgainIsComputedAgain) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  hash->Finish();
  Add(*hash, "def");
  hash->SetFinished(0);
  Bytes expected = m_prefix;
  const Bytes digest = DigestOf("abcdef", 20);
  expected.insert(expected.end(), digest.begin(), digest.end());
  EXPECT_EQ(expected, PreSignDataOf(*hash));
}

TEST_F(CCSPHashTest, AFinishedHashWithoutAValueIsReported) {
  const auto hash = Make(CALG_SHA1);
  hash->SetFinished(1);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "Hash was completed but no Hash Data Found",
                       hash->GetHash(nullptr, &m_length));
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "Hash was completed but no Hash Data Found",
                       hash->GetPreSignData(nullptr, &m_length));
}

TEST_F(CCSPHashTest, AFailureOfTheTokenIsNteFailAndCanBeRetried) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  m_module->FailNext("C_DigestInit", CKR_DEVICE_ERROR);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Failed to Initialize Hash Operation", hash->GetHash(nullptr, &m_length));
  EXPECT_EQ(0x30U, GetLastError());
  EXPECT_EQ(0U, hash->IsFinished());
  EXPECT_EQ(Text("abc"), DataOf(*hash));
  EXPECT_EQ(DigestOf("abc", 20), ValueOf(*hash));
}

TEST_F(CCSPHashTest, AFailureOfTheFirstDigestIsNteFail) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  m_module->FailNext("C_Digest", CKR_DEVICE_ERROR);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Failed to Initialize Hash Operation", hash->GetHash(nullptr, &m_length));
  EXPECT_EQ(0x30U, GetLastError());
  EXPECT_EQ(0U, hash->IsFinished());
}

TEST_F(CCSPHashTest, AFailureOfTheSecondDigestLeavesTheHashWithoutAValue) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  m_module->FailOnCall("C_Digest", 2, CKR_DEVICE_REMOVED);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Failed to Initialize Hash Operation", hash->GetHash(nullptr, &m_length));
  EXPECT_EQ(0x32U, GetLastError());
  EXPECT_EQ(0U, hash->IsFinished());
  EXPECT_EQ("Data to be hashed: 61 62 63 \n", TakeLog());
}

TEST_F(CCSPHashTest, ALengthFromTheModuleIsLimitedToTheAllocatedMemory) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  int call = 0;
  m_module->falsifyCount = [&call](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Digest" && ++call == 2) count = 5000;
  };
  EXPECT_EQ(DigestOf("abc", 20), ValueOf(*hash));
}

TEST_F(CCSPHashTest, AnAbsurdLengthFromTheModuleIsAFailure) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  m_module->falsifyCount = [](const std::string&, CK_ULONG& count) { count = 0xFFFFFFFF; };
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "Failed to Initialize Hash Operation", hash->GetHash(nullptr, &m_length));
  EXPECT_EQ(Code(ERROR_ACCESS_DENIED), GetLastError());
}

TEST_F(CCSPHashTest, ADigestOfLengthZeroIsNoHashData) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  int call = 0;
  m_module->falsifyCount = [&call](const std::string&, CK_ULONG& count) { count = ++call == 1 ? 20 : 0; };
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "Hash was completed but no Hash Data Found",
                       hash->GetHash(nullptr, &m_length));
  EXPECT_EQ(1U, hash->IsFinished());
}

TEST_F(CCSPHashTest, AHashThatOutlivesItsSessionHasNoSession) {
  const auto open = MakeOf(CALG_SHA1, "abc");
  const auto finished = MakeOf(CALG_SHA1, "abc");
  finished->Finish();
  m_session.reset();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "No Session assigned to Hash", open->GetHash(nullptr, &m_length));
  EXPECT_EQ(DigestOf("abc", 20), ValueOf(*finished));
}

TEST_F(CCSPHashTest, ASessionWithoutASharedOwnerIsNotKept) {
  Session session = *m_session;
  const auto hash = m_factory.CreateHash(CALG_SHA1, &session);
  Add(*hash, "abc");
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "No Session assigned to Hash", hash->GetHash(nullptr, &m_length));
}

// --- SetHash

TEST_F(CCSPHashTest, AValueThatIsSetNeedsNoToken) {
  const auto hash = Make(CALG_SHA1);
  const Bytes value = Counting(20, 1);
  hash->SetHash(value.data(), 20);
  EXPECT_EQ(1U, hash->IsFinished());
  EXPECT_EQ(value, ValueOf(*hash));
  Bytes expected = m_prefix;
  expected.insert(expected.end(), value.begin(), value.end());
  EXPECT_EQ(expected, PreSignDataOf(*hash));
  EXPECT_EQ(Calls(), m_module->TakeCalls());
  EXPECT_EQ("", TakeLog());
}

TEST_F(CCSPHashTest, TheLengthOfAValueThatIsSetIsNotChecked) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  hash->SetHash(Counting(3, 1).data(), 3);
  EXPECT_EQ(Counting(3, 1), ValueOf(*hash));
  EXPECT_EQ(20U, hash->GetHashLength());
  EXPECT_EQ(Text("abc"), DataOf(*hash));
}

TEST_F(CCSPHashTest, SettingAnEmptyValueDropsTheValueAndKeepsTheState) {
  const auto finished = MakeOf(CALG_SHA1, "abc");
  finished->Finish();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), "No Data Found to Set Hash Digest", finished->SetHash(nullptr, 20));
  EXPECT_EQ(1U, finished->IsFinished());
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "Hash was completed but no Hash Data Found",
                       finished->GetHash(nullptr, &m_length));
  const auto open = MakeOf(CALG_SHA1, "abc");
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), "No Data Found to Set Hash Digest", open->SetHash(m_prefix.data(), 0));
  EXPECT_EQ(0U, open->IsFinished());
}

// --- What is signed

TEST_F(CCSPHashTest, ThePreSignDataIsPrefixAndValue) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  Bytes expected = m_prefix;
  const Bytes digest = DigestOf("abc", 20);
  expected.insert(expected.end(), digest.begin(), digest.end());
  EXPECT_EQ(35U, expected.size());
  EXPECT_EQ(expected, PreSignDataOf(*hash));
  EXPECT_EQ(CallsOfAbc(), m_module->TakeCalls());
}

TEST_F(CCSPHashTest, ABufferTooSmallForThePreSignDataLeavesTheLengthAsGiven) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  Bytes buffer(35);
  m_length = 34;
  EXPECT_CONTEXT_ERROR(Code(ERROR_MORE_DATA), "Buffer is too small to retrieve pre-sign data",
                       hash->GetPreSignData(buffer.data(), &m_length));
  EXPECT_EQ(34U, m_length);
}

TEST_F(CCSPHashTest, WithoutAPrefixThereIsNoPreSignData) {
  TELVOCSPHash hash;
  hash.SetHash(m_prefix.data(), 4);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "No OID Present", hash.GetPreSignData(nullptr, &m_length));
}

TEST_F(CCSPHashTest, APrefixCanBeSet) {
  TELVOCSPHash hash;
  const Bytes value = {9};
  hash.SetHash(value.data(), 1);
  m_length = 2;
  hash.SetOID(m_prefix.data(), &m_length);
  hash.SetOID(nullptr, &m_length);
  m_length = 0;
  hash.SetOID(m_prefix.data() + 5, &m_length);
  EXPECT_EQ((Bytes{0x30, 0x21, 9}), PreSignDataOf(hash));
}

TEST_F(CCSPHashTest, APrefixLongerThanItsFieldIsTruncated) {
  TELVOCSPHash hash;
  const Bytes value = {9};
  hash.SetHash(value.data(), 1);
  const Bytes prefix(300, 7);
  m_length = 300;
  hash.SetOID(prefix.data(), &m_length);
  EXPECT_EQ(257U, PreSignDataOf(hash).size());
}

// --- Copies

TEST_F(CCSPHashTest, AHashNotMadeByAFactoryHasNoSession) {
  TELVOCSPHash hash;
  Add(hash, "abc");
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_HASH_STATE), "No Session assigned to Hash", hash.GetHash(nullptr, &m_length));
}

TEST_F(CCSPHashTest, ACopyHasEverythingExceptNameAndDigestLength) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  TELVOCSPHash copy(static_cast<const TELVOCSPHash&>(*hash));
  EXPECT_EQ("", *copy.GetName());
  EXPECT_EQ(0U, copy.GetHashLength());
  EXPECT_EQ(hash->GetHashID(), copy.GetHashID());
  EXPECT_EQ(0x8004U, copy.GetAlgID());
  EXPECT_EQ(35U, PreSignDataOf(copy).size());
  EXPECT_EQ(0U, hash->IsFinished());
}

TEST_F(CCSPHashTest, AnAssignmentCopiesTheValueAndKeepsTheTargetsName) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  hash->Finish();
  const auto target = MakeOf(CALG_SHA_256, "xyz");
  *target = *hash;
  EXPECT_EQ("SHA 256", *target->GetName());
  EXPECT_EQ(32U, target->GetHashLength());
  EXPECT_EQ(hash->GetHashID(), target->GetHashID());
  EXPECT_EQ(DigestOf("abc", 20), ValueOf(*target));
  // The target has its own copy of the value.
  hash->SetHash(Counting(20, 1).data(), 20);
  EXPECT_EQ(DigestOf("abc", 20), ValueOf(*target));
}

TEST_F(CCSPHashTest, AssigningAnOpenHashMakesTheTargetOpen) {
  const auto target = MakeOf(CALG_SHA1, "abc");
  target->Finish();
  *target = *MakeOf(CALG_SHA1, "xy");
  EXPECT_EQ(0U, target->IsFinished());
  EXPECT_EQ(DigestOf("xy", 20), ValueOf(*target));
}

TEST_F(CCSPHashTest, AssignmentToItselfDoesNothing) {
  const auto hash = MakeOf(CALG_SHA1, "abc");
  const CCSPHash& same = *hash;
  *hash = same;
  EXPECT_EQ(DigestOf("abc", 20), ValueOf(*hash));
}

}  // namespace

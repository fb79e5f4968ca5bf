// CPDeriveKey.
#include <gtest/gtest.h>

#include "common/FormatNumber.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyEntryTest.h"
#include "objects/CCSPHash.h"

namespace {

class CPDeriveKeyTest : public KeyEntryTest {
 protected:
  static std::string Begin(const std::string& algorithm, HCRYPTHASH hash, const std::string& flags) {
    return FrameLines("CPDeriveKey") + Value("\tALGID:", algorithm) +
           Value("\thHash:", FormatNumber("%0X", static_cast<DWORD>(hash))) + Value("\thdwFlags:", flags);
  }
  // The call is refused with this code and these lines. It changes neither the hash nor the handle.
  void ExpectNoKey(DWORD code, ALG_ID algorithm, DWORD flags, const std::string& lines) {
    HCRYPTKEY key = kUntouched;
    ExpectRefused(code, CPDeriveKey(m_handle, algorithm, m_hash, flags, &key));
    EXPECT_EQ(Begin(FormatNumber("%0X", algorithm), m_hash, FormatNumber("%0X", flags)) + lines, TakeLog());
    EXPECT_EQ(kUntouched, key);
    EXPECT_EQ(Calls(), m_module.TakeCalls());
  }
  Bytes ValueOf(HCRYPTKEY key) {
    const auto object = Context().GetSecretKey(static_cast<DWORD>(key))->GetObjectHandle();
    return OnToken().objects[object].attributes[CKA_VALUE];
  }

  CCSPHash& Hash() { return *Context().GetHash(static_cast<DWORD>(m_hash)); }
  // A SHA-1 hash of "abc". Its log lines and calls are dropped.
  HCRYPTHASH MakeHash() {
    HCRYPTHASH hash = 0;
    EXPECT_TRUE(CPCreateHash(m_handle, CALG_SHA1, 0, 0, &hash));
    const Bytes message = Text("abc");
    EXPECT_TRUE(CPHashData(m_handle, hash, message.data(), static_cast<DWORD>(message.size()), 0));
    Forget();
    return hash;
  }

  const HCRYPTHASH m_hash = MakeHash();
};

constexpr char kNot64[] = "\nCPDeriveKey Error: Algo is DES but Key length in bits is not 64";
constexpr char kNot192[] = "\nCPDeriveKey Error: Algo is 3DES (Triple Length Key) but Key length in bits is not 192";
constexpr char kNot128[] =
    "\nCPDeriveKey Error: Algo is 3DES (Double Length Key)/AES but Key length in bits is not 128";

TEST_F(CPDeriveKeyTest, ADesKeyOf56BitsHas7BytesAndIsLoggedFromEndToEnd) {
  HCRYPTKEY key = kUntouched;
  ExpectDone(CPDeriveKey(m_handle, CALG_DES, m_hash, 0x00380000, &key));
  EXPECT_EQ(Begin("6601", m_hash, "380000") +
                "Data to be hashed: 61 62 63 \n"
                "Hash result: 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 00 00 00 00 \n" +
                CreationLines() + Line("\nCPDeriveKey Success"),
            TakeLog());
  EXPECT_EQ((Calls{"C_DigestInit", "C_Digest", "C_Digest", "C_CreateObject"}), m_module.TakeCallNames());
  EXPECT_EQ((Bytes{0, 0, 0, 3, 'a', 'b', 'c'}), ValueOf(key));
  EXPECT_EQ(key, Context().GetSecretKey(static_cast<DWORD>(key))->GetKeyID());
}

TEST_F(CPDeriveKeyTest, AnAesKeyOf112BitsHas14Bytes) {
  HCRYPTKEY key = 0;
  ExpectDone(CPDeriveKey(m_handle, CALG_AES_128, m_hash, 0x00700000, &key));
  EXPECT_EQ(14U, ValueOf(key).size());
}

TEST_F(CPDeriveKeyTest, ATripleDesKeyOf168BitsHas21Bytes) {
  HCRYPTKEY key = 0;
  ExpectDone(CPDeriveKey(m_handle, CALG_3DES, m_hash, 0x00A80000, &key));
  EXPECT_EQ(21U, ValueOf(key).size());
}

TEST_F(CPDeriveKeyTest, AHandlePointerIsRequired) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPDeriveKey(m_handle, CALG_DES, m_hash, 0x00380000, nullptr));
  EXPECT_EQ(Begin("6601", m_hash, "380000") + Line("\nCPDeriveKey Error: phKey is NULL"), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPDeriveKeyTest, OtherRefusalsAreReportedBeforeANullHandlePointer) {
  ExpectRefused(Code(NTE_BAD_ALGID), CPDeriveKey(m_handle, CALG_RC2, m_hash, 0x00380000, nullptr));
  EXPECT_EQ(Begin("6602", m_hash, "380000") + Value("\nCPDeriveKey Error: Unsupported ALGID = ", "6602"), TakeLog());
  ExpectRefused(Code(NTE_BAD_FLAGS), CPDeriveKey(m_handle, CALG_DES, m_hash, 0, nullptr));
  ExpectRefused(Code(NTE_BAD_FLAGS), CPDeriveKey(m_handle, CALG_DES, m_hash, 0x00400000, nullptr));
  ExpectRefused(Code(NTE_BAD_UID), CPDeriveKey(m_unknown, CALG_DES, m_hash, 0x00380000, nullptr));
  ExpectRefused(Code(NTE_BAD_HASH), CPDeriveKey(m_handle, CALG_DES, m_hash + 1, 0x00380000, nullptr));
  TakeLog();
  ExpectRefused(Code(NTE_BAD_FLAGS), CPDeriveKey(m_handle, CALG_DES, m_hash, 0x00380008, nullptr));
  EXPECT_EQ(Begin("6601", m_hash, "380008") + Value("\nCPDeriveKey Error: Unsupported dwFlags: ", "00000008"),
            TakeLog());
  Hash().Finish();
  ExpectRefused(Code(NTE_BAD_HASH_STATE), CPDeriveKey(m_handle, CALG_DES, m_hash, 0x00380000, nullptr));
}

TEST_F(CPDeriveKeyTest, OtherAlgorithmsAreRefused) {
  for (const ALG_ID algorithm : {0U, 0x6602U, 0x6611U, 0x660FU, 0x6610U, 0x6801U, 0xA400U}) {
    ExpectNoKey(Code(NTE_BAD_ALGID), algorithm, 0x00380000,
                Value("\nCPDeriveKey Error: Unsupported ALGID = ", FormatNumber("%0X", algorithm)));
  }
}

TEST_F(CPDeriveKeyTest, AnUnknownAlgorithmIsReportedBeforeMissingFlags) {
  ExpectNoKey(Code(NTE_BAD_ALGID), 0x6611, 0, Value("\nCPDeriveKey Error: Unsupported ALGID = ", "6611"));
}

TEST_F(CPDeriveKeyTest, FlagsOfZeroAreRefused) {
  for (const ALG_ID algorithm : {0x6601U, 0x6603U, 0x660EU, 0x6609U}) {
    ExpectNoKey(Code(NTE_BAD_FLAGS), algorithm, 0,
                Line("\nCPDeriveKey Error: dwFlags is 0, Upper 16 bit of dwFlags should contain the Key Length"));
  }
}

TEST_F(CPDeriveKeyTest, FlagsWithoutALengthAreRefused) {
  for (const ALG_ID algorithm : {0x6601U, 0x6603U, 0x660EU, 0x6609U}) {
    for (const DWORD flags : {1U, 0xFFFFU}) {
      ExpectNoKey(Code(NTE_BAD_FLAGS), algorithm, flags,
                  Line("\nCPDeriveKey Error: Upper 16 bit of dwFlags should contain the Key Length"));
    }
  }
}

TEST_F(CPDeriveKeyTest, TheLengthsNamedInTheMessagesAreRefused) {
  ExpectNoKey(Code(NTE_BAD_FLAGS), CALG_DES, 0x00400000, Line(kNot64));
  ExpectNoKey(Code(NTE_BAD_FLAGS), CALG_3DES, 0x00C00000, Line(kNot192));
  ExpectNoKey(Code(NTE_BAD_FLAGS), CALG_AES_128, 0x00800000, Line(kNot128));
}

// Each algorithm accepts one length, and two-key DES accepts none.
TEST_F(CPDeriveKeyTest, EveryOtherLengthIsRefused) {
  struct Rule {
    ALG_ID algorithm;
    DWORD accepted;
    const char* line;
  };
  for (const Rule& rule : {Rule{CALG_DES, 56, kNot64}, Rule{CALG_3DES, 168, kNot192}, Rule{CALG_AES_128, 112, kNot128},
                           Rule{CALG_3DES_112, 0, kNot128}}) {
    for (DWORD bits = 1; bits < 300; ++bits) {
      if (bits != rule.accepted) ExpectNoKey(Code(NTE_BAD_FLAGS), rule.algorithm, bits << 16U, Line(rule.line));
    }
    ExpectNoKey(Code(NTE_BAD_FLAGS), rule.algorithm, 0xFFFF0000, Line(rule.line));
  }
}

TEST_F(CPDeriveKeyTest, TwoKeyDesIsRefusedWith112AndWith128Bits) {
  ExpectNoKey(Code(NTE_BAD_FLAGS), CALG_3DES_112, 0x00700000, Line(kNot128));
  ExpectNoKey(Code(NTE_BAD_FLAGS), CALG_3DES_112, 0x00800000, Line(kNot128));
}

TEST_F(CPDeriveKeyTest, AWrongLengthIsReportedBeforeAnUnknownContext) {
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_BAD_FLAGS), CPDeriveKey(m_unknown, CALG_DES, m_hash, 0x00400000, &key));
  ExpectRefused(Code(NTE_BAD_UID), CPDeriveKey(m_unknown, CALG_DES, m_hash, 0x00380000, &key));
  EXPECT_EQ(kUntouched, key);
}

TEST_F(CPDeriveKeyTest, AnUnknownHashIsABadHash) {
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_BAD_HASH), CPDeriveKey(m_handle, CALG_DES, m_hash + 1, 0x00380000, &key));
  EXPECT_EQ(Begin("6601", m_hash + 1, "380000") + Line("Hash not found in this context"), TakeLog());
}

TEST_F(CPDeriveKeyTest, AFinishedHashIsABadState) {
  Hash().Finish();
  Forget();
  ExpectNoKey(Code(NTE_BAD_HASH_STATE), CALG_DES, 0x00380000,
              Line("\nCPDeriveKey Error: Hash already in finished state"));
}

TEST_F(CPDeriveKeyTest, AFinishedHashIsReportedBeforeBadFlags) {
  Hash().Finish();
  Forget();
  ExpectNoKey(Code(NTE_BAD_HASH_STATE), CALG_DES, 0x00380008,
              Line("\nCPDeriveKey Error: Hash already in finished state"));
}

TEST_F(CPDeriveKeyTest, ASecondKeyFromTheSameHashIsABadState) {
  HCRYPTKEY key = 0;
  ExpectDone(CPDeriveKey(m_handle, CALG_DES, m_hash, 0x00380000, &key));
  Forget();
  ExpectNoKey(Code(NTE_BAD_HASH_STATE), CALG_DES, 0x00380000,
              Line("\nCPDeriveKey Error: Hash already in finished state"));
}

TEST_F(CPDeriveKeyTest, UnsupportedLowFlagsAreRefusedAndLogged) {
  ExpectNoKey(Code(NTE_BAD_FLAGS), CALG_DES, 0x00380008,
              Value("\nCPDeriveKey Error: Unsupported dwFlags: ", "00000008"));
  // The line shows all low flags, also those that would be accepted.
  ExpectNoKey(Code(NTE_BAD_FLAGS), CALG_DES, 0x0038801F,
              Value("\nCPDeriveKey Error: Unsupported dwFlags: ", "0000801F"));
}

TEST_F(CPDeriveKeyTest, OnlyFourOfTheLowFlagsAreAccepted) {
  for (DWORD bit = 0; bit < 16; ++bit) {
    const DWORD flag = DWORD{1} << bit;
    const bool accepted = flag == 1 || flag == 2 || flag == 4 || flag == 0x10;
    HCRYPTKEY key = 0;
    EXPECT_EQ(accepted, CPDeriveKey(m_handle, CALG_DES, MakeHash(), 0x00380000 | flag, &key) != FALSE) << flag;
  }
}

TEST_F(CPDeriveKeyTest, AnObjectThatTheModuleRefusesIsNteFail) {
  m_module.FailNext("C_CreateObject", CKR_ATTRIBUTE_VALUE_INVALID);
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_FAIL), CPDeriveKey(m_handle, CALG_DES, m_hash, 0x00380000, &key));
  EXPECT_EQ(kUntouched, key);
}

}  // namespace

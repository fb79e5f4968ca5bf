#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <vector>

#include "entry/CCSPContextList.h"
#include "fixtures/EntryTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "log/Logs.h"
#include "module/SampleCertificates.h"
#include "platform/FailedAllocation.h"
#include "platform/ScriptedCertStore.h"
#include "platform/ScriptedSecurity.h"

namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

const char kSuccess[] = "\nCPGetProvParam Success";
const char kProvider[] = "Brenholt Devices CSP v4.5";
constexpr DWORD kNext = 2;
constexpr DWORD kFirst = 1;

class CPGetProvParamTest : public EntryTest {
 protected:
  CPGetProvParamTest() : m_token(m_module.InsertToken("Reader A")), m_buffer(1000, 0xEE) {}

  void Begin(const char* container = "one", DWORD flags = 0) {
    AddContainer(m_token, Text("one"));
    m_handle = AcquireHandle(container, flags);
    SetLastError(4711);
  }

  // Calls with a buffer of `length` bytes.
  BOOL Call(DWORD param, DWORD length, DWORD flags = 0) {
    std::fill(m_buffer.begin(), m_buffer.end(), BYTE{0xEE});
    m_length = length;
    return CPGetProvParam(m_handle, param, m_buffer.data(), &m_length, flags);
  }
  // Asks for the size.
  BOOL Ask(DWORD param, DWORD flags = 0) {
    m_length = 4711;
    return CPGetProvParam(m_handle, param, nullptr, &m_length, flags);
  }
  // The first bytes of the buffer. The byte after them must be unchanged.
  Bytes Answer(std::size_t length) {
    EXPECT_EQ(0xEE, m_buffer[length]) << "after the answer";
    return Bytes(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(length));
  }
  DWORD Word(std::size_t index) {
    DWORD value = 0;
    std::memcpy(&value, m_buffer.data() + 4 * index, sizeof(value));
    return value;
  }
  std::string TextAt(std::size_t offset) { return reinterpret_cast<const char*>(m_buffer.data()) + offset; }

  static std::string Hex(const char* format, std::uintptr_t value) {
    char text[9] = {};
    std::snprintf(text, sizeof(text), format, static_cast<unsigned>(value));
    return text;
  }
  std::string Arguments(DWORD param, DWORD length, DWORD flags, const void* data) {
    return FrameLines("CPGetProvParam") + Value("\tdwParam: \t", Hex8(param)) + Value("\tdwFlags: \t", Hex8(flags)) +
           Value("\tpbData: \t", Hex8(data)) + Value("\tpcbDataLen: \t", Hex8(length));
  }
  // All lines before the first step.
  std::string Opening(DWORD param, DWORD length, DWORD flags = 0) {
    return Arguments(param, length, flags, m_buffer.data()) + Value("\ndwParam: ", Hex("%X", param));
  }
  std::string AskOpening(DWORD param, DWORD flags = 0) {
    return Arguments(param, 4711, flags, nullptr) + Value("\ndwParam: ", Hex("%X", param));
  }
  static std::string Ending(const std::string& bytes) { return Line(kSuccess) + "pbData = " + bytes + "\n"; }
  static std::string AskEnding(const std::string& size) {
    return Value("\nCPGetProvParam Success: pbData is NULL, pcbDataLen is set to ", size);
  }
  static std::string SmallBuffer(const std::string& given, const std::string& need) {
    return Value("\nCPGetProvParam Error: pcbDataLen value is less than actual value, pcbDataLen is", given) +
           Value("\nCPGetProvParam Error: pcbDataLen value is less than actual value, dataLen is ", need);
  }
  static std::string HexBytes(const std::string& text) {
    std::string hex;
    for (const char c : text) hex += Hex("%02X", static_cast<unsigned char>(c)) + " ";
    return hex;
  }

  // A parameter whose answer is one number.
  void ExpectNumber(DWORD param, DWORD value, const std::string& bytes) {
    EXPECT_TRUE(Ask(param)) << param;
    EXPECT_EQ(4U, m_length) << param;
    EXPECT_EQ(AskOpening(param) + AskEnding("4"), TakeLog());
    SetLastError(4711);
    EXPECT_TRUE(Call(param, 10)) << param;
    EXPECT_EQ(0U, GetLastError()) << param;
    EXPECT_EQ(10U, m_length) << param;
    EXPECT_EQ(4U, Answer(4).size());
    EXPECT_EQ(value, Word(0)) << param;
    EXPECT_EQ(Opening(param, 10) + Ending(bytes), TakeLog());
  }

  ScriptedToken& m_token;
  HCRYPTPROV m_handle = 0;
  std::vector<BYTE> m_buffer;
  DWORD m_length = 0;
};

// --- The frame

TEST_F(CPGetProvParamTest, ANullLengthIsInvalidAndItsErrorReplacesTheLengthLine) {
  Begin();
  EXPECT_FALSE(CPGetProvParam(m_handle, 3, nullptr, nullptr, 1));
  EXPECT_EQ(Code(ERROR_INVALID_PARAMETER), GetLastError());
  EXPECT_EQ(FrameLines("CPGetProvParam") + Value("\tdwParam: \t", "00000003") + Value("\tdwFlags: \t", "00000001") +
                Value("\tpbData: \t", "00000000") + Line("\nCPGetProvParam Error: pcbDataLen is NULL"),
            TakeLog());
}

TEST_F(CPGetProvParamTest, AnUnknownHandleIsRefused) {
  m_handle = 0x1234567890;
  EXPECT_FALSE(Call(3, 4));
  EXPECT_EQ(Code(NTE_BAD_UID), GetLastError());
  EXPECT_EQ(Arguments(3, 4, 0, m_buffer.data()) + Line("The context does not exist"), TakeLog());
}

TEST_F(CPGetProvParamTest, FlagsWithAllBitsSetAreRefused) {
  Begin();
  EXPECT_FALSE(Call(3, 4, 0xFFFFFFFF));
  EXPECT_EQ(Code(NTE_BAD_FLAGS), GetLastError());
  EXPECT_EQ(
      Arguments(3, 4, 0xFFFFFFFF, m_buffer.data()) + Value("\nCPGetProvParam Error: Unsupported Flag(s): ", "FFFFFFFF"),
      TakeLog());
}

TEST_F(CPGetProvParamTest, AnUnknownHandleIsReportedBeforeFlagsWithAllBitsSet) {
  m_handle = 0x1234567890;
  EXPECT_FALSE(Call(3, 4, 0xFFFFFFFF));
  EXPECT_EQ(Code(NTE_BAD_UID), GetLastError());
  EXPECT_EQ(Arguments(3, 4, 0xFFFFFFFF, m_buffer.data()) + Line("The context does not exist"), TakeLog());
}

TEST_F(CPGetProvParamTest, AnyOtherFlagsAreAccepted) {
  Begin();
  EXPECT_TRUE(Call(3, 4, 0xFFFFFFFE));
}

TEST_F(CPGetProvParamTest, ForABufferTooSmallTheSizeIsReturnedAndTheBufferLeftAlone) {
  Begin();
  EXPECT_FALSE(Call(1, 31, kFirst));
  EXPECT_EQ(Code(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(32U, m_length);
  EXPECT_EQ(Bytes(), Answer(0));
  EXPECT_EQ(Opening(1, 31, kFirst) + SmallBuffer("1F", "20"), TakeLog());
}

TEST_F(CPGetProvParamTest, OtherParametersAreABadType) {
  Begin();
  for (const DWORD param : {0U, 7U, 21U, 31U, 33U, 37U, 44U, 47U, 0xFFFFFFFFU}) {
    SetLastError(4711);
    EXPECT_FALSE(Call(param, 100)) << param;
    EXPECT_EQ(Code(NTE_BAD_TYPE), GetLastError());
    EXPECT_EQ(Opening(param, 100) + Line("\nCPGetProvParam dwParam not supported"), TakeLog());
  }
}

// --- Numbers

TEST_F(CPGetProvParamTest, TheImplementationIsMixedAndRemovable) {
  Begin();
  ExpectNumber(3, 0x0B, "0B 00 00 00 ");
}

TEST_F(CPGetProvParamTest, TheVersionIsOne) {
  Begin();
  ExpectNumber(5, 1, "01 00 00 00 ");
}

TEST_F(CPGetProvParamTest, TheTypeIsRsaFull) {
  Begin();
  ExpectNumber(16, 1, "01 00 00 00 ");
}

TEST_F(CPGetProvParamTest, TheKeyStorageIsZero) {
  Begin();
  ExpectNumber(17, 0, "00 00 00 00 ");
}

TEST_F(CPGetProvParamTest, KeySizesGoInStepsOf512) {
  Begin();
  ExpectNumber(34, 512, "00 02 00 00 ");
  ExpectNumber(35, 512, "00 02 00 00 ");
}

TEST_F(CPGetProvParamTest, BothKeySpecsAreReported) {
  Begin();
  ExpectNumber(39, 3, "03 00 00 00 ");
}

TEST_F(CPGetProvParamTest, TheKeysetTypeIsOnlyInTheLog) {
  Begin("one", 0x20);
  EXPECT_TRUE(Ask(27));
  EXPECT_EQ(4U, m_length);
  TakeLog();
  EXPECT_TRUE(Call(27, 4));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(Bytes(4, 0), Answer(4));
  EXPECT_EQ(Opening(27, 4) + Line("\nCPGetProvParam PP_KEYSET_TYPE") + Ending("20 00 00 00 "), TakeLog());
}

TEST_F(CPGetProvParamTest, TheKeysetTypeOfAUsersContextIsZeroInTheLogToo) {
  Begin();
  EXPECT_TRUE(Call(27, 4));
  EXPECT_EQ(Bytes(4, 0), Answer(4));
  EXPECT_THAT(TakeLog(), EndsWith(Ending("00 00 00 00 ")));
}

// --- Names

TEST_F(CPGetProvParamTest, TheNameIsThatOfTheProvider) {
  Begin();
  EXPECT_TRUE(Ask(4));
  EXPECT_EQ(26U, m_length);
  EXPECT_EQ(AskOpening(4) + AskEnding("1A"), TakeLog());
  EXPECT_TRUE(Call(4, 100));
  EXPECT_EQ(26U, m_length);
  EXPECT_EQ(Text(std::string(kProvider) + '\0'), Answer(26));
  EXPECT_EQ(Opening(4, 100) + Line("") + Line(kProvider) + Ending(HexBytes(std::string(kProvider) + '\0')), TakeLog());
}

TEST_F(CPGetProvParamTest, ANameNeedsSpaceForItsTerminatingZero) {
  Begin();
  EXPECT_FALSE(Call(4, 25));
  EXPECT_EQ(Code(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(26U, m_length);
}

TEST_F(CPGetProvParamTest, TheContainersNameIsAlsoTheUniqueName) {
  Begin();
  for (const DWORD param : {6U, 36U}) {
    EXPECT_TRUE(Ask(param));
    EXPECT_EQ(4U, m_length);
    EXPECT_EQ(AskOpening(param) + Value("\nContainer Name Len: ", "4") + AskEnding("4"), TakeLog());
    SetLastError(4711);
    EXPECT_TRUE(Call(param, 100));
    EXPECT_EQ(0U, GetLastError());
    EXPECT_EQ(4U, m_length);
    EXPECT_EQ((Bytes{'o', 'n', 'e', 0}), Answer(4));
    EXPECT_EQ(Opening(param, 100) + Value("\nContainer Name Len: ", "4") + Line("\none") + Ending("6F 6E 65 00 "),
              TakeLog());
  }
}

TEST_F(CPGetProvParamTest, ReadingTheReaderLeavesTheLengthAlone) {
  Begin();
  EXPECT_TRUE(Ask(43));
  EXPECT_EQ(9U, m_length);
  EXPECT_EQ(AskOpening(43) + AskEnding("9"), TakeLog());
  EXPECT_TRUE(Call(43, 100));
  EXPECT_EQ(100U, m_length);
  EXPECT_EQ((Bytes{'R', 'e', 'a', 'd', 'e', 'r', ' ', 'A', 0}), Answer(9));
  EXPECT_EQ(Opening(43, 100) + Ending("52 65 61 64 65 72 20 41 00 "), TakeLog());
}

TEST_F(CPGetProvParamTest, WithoutAReaderTheSizeIsReturnedButTheReadFails) {
  m_handle = AcquireHandle(nullptr, 0xF0000000);
  EXPECT_TRUE(Ask(43));
  EXPECT_EQ(1U, m_length);
  TakeLog();
  EXPECT_FALSE(Call(43, 100));
  EXPECT_EQ(Code(NTE_BAD_TYPE), GetLastError());
  EXPECT_EQ(100U, m_length);
  EXPECT_EQ(Opening(43, 100) + Line("\nThe current context is currently NOT associated with any smart card reader"),
            TakeLog());
}

TEST_F(CPGetProvParamTest, TheCardIdentifierIsTheFirst16CharactersOfTheSerialString) {
  Begin();
  EXPECT_TRUE(Ask(45));
  EXPECT_EQ(16U, m_length);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  TakeLog();
  EXPECT_TRUE(Call(45, 20));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(20U, m_length);
  EXPECT_EQ(Text("01 23 45 67 89 A"), Answer(16));
  EXPECT_EQ(Calls{"C_GetTokenInfo"}, m_module.TakeCallNames());
  EXPECT_EQ(Opening(45, 20) + "\nSerial Number Retrieved: " + HexBytes("01 23 45 67 89 A") + "\n" +
                Ending(HexBytes("01 23 45 67 89 A")),
            TakeLog());
}

TEST_F(CPGetProvParamTest, AModuleErrorWhileReadingTheCardsSerialIsThrown) {
  Begin();
  m_module.FailNext("C_GetTokenInfo", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, Call(45, 16));
  EXPECT_EQ(Opening(45, 16), TakeLog());
}

// --- Parameters without an answer

TEST_F(CPGetProvParamTest, AskingForThePinReturnsTheErrorCodeItself) {
  Begin();
  EXPECT_EQ(static_cast<BOOL>(Code(NTE_BAD_TYPE)), Call(32, 100));
  EXPECT_EQ(4711U, GetLastError());
  EXPECT_EQ(100U, m_length);
  EXPECT_EQ(Bytes(), Answer(0));
  EXPECT_EQ(Opening(32, 100) + Line("PP_KEYEXCHANGE_PIN not supported"), TakeLog());
  EXPECT_EQ(static_cast<BOOL>(Code(NTE_BAD_TYPE)), Ask(32));
  EXPECT_EQ(4711U, m_length);
}

TEST_F(CPGetProvParamTest, TheTokensRandomNumbersAreSupportedWithAnyBuffer) {
  Begin();
  EXPECT_TRUE(Ask(38));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(4711U, m_length);
  EXPECT_EQ(AskOpening(38) + Line("\nCPGetProvParam Success. PP_USE_HARDWARE_RNG supported"), TakeLog());
  EXPECT_TRUE(Call(38, 0));
  EXPECT_EQ(Bytes(), Answer(0));
}

// --- Algorithms

TEST_F(CPGetProvParamTest, AlgorithmsAreEnumeratedWithTheirMinimumLength) {
  Begin();
  EXPECT_TRUE(Ask(1, kFirst));
  EXPECT_EQ(32U, m_length);
  EXPECT_EQ(AskOpening(1, kFirst) + AskEnding("20"), TakeLog());
  const struct {
    DWORD id, bits;
    std::string name;
  } rows[] = {{0x8004, 160, "SHA-1"},        {0x800C, 256, "SHA-256"},     {0x800E, 512, "SHA-512"},
              {0x8003, 128, "MD5"},          {0x8008, 288, "SSL3 SHAMD5"}, {0x2400, 512, "RSA_SIGN"},
              {0xA400, 512, "RSA_KEYX"},     {0x6601, 56, "DES"},          {0x6603, 168, "3DES"},
              {0x6609, 112, "3DES TWO KEY"}, {0x660E, 128, "AES 128"}};
  DWORD flags = kFirst;
  for (const auto& row : rows) {
    ASSERT_TRUE(Call(1, 40, flags)) << row.name;
    flags = kNext;
    EXPECT_EQ(40U, m_length);
    EXPECT_EQ(32U, Answer(32).size());
    EXPECT_EQ(row.id, Word(0));
    EXPECT_EQ(row.bits, Word(1)) << row.name;
    EXPECT_EQ(row.name.size() + 1, Word(2));
    EXPECT_EQ(row.name, TextAt(12));
  }
  TakeLog();
  for (int i = 0; i < 2; ++i) {  // it stays at the end
    EXPECT_FALSE(Call(1, 40, kNext));
    EXPECT_EQ(Code(ERROR_NO_MORE_ITEMS), GetLastError());
    EXPECT_EQ(Opening(1, 40, kNext) + Line("\nCPGetProvParam Algorithm Enumeration (PP_ENUMALGS) done"), TakeLog());
  }
  EXPECT_TRUE(Call(1, 40, 0x81));  // only one bit of the flags counts
  EXPECT_EQ(0x8004U, Word(0));
}

TEST_F(CPGetProvParamTest, AskingForTheSizeDoesNotAdvanceTheAlgorithms) {
  Begin();
  EXPECT_TRUE(Call(1, 32, kFirst));
  EXPECT_TRUE(Ask(1, kNext));
  EXPECT_TRUE(Ask(1, kFirst));
  EXPECT_TRUE(Call(1, 32, kNext));
  EXPECT_EQ(0x800CU, Word(0));
}

TEST_F(CPGetProvParamTest, AnAlgorithmIsLoggedAsItsBytes) {
  Begin();
  EXPECT_TRUE(Call(1, 32, kFirst));
  EXPECT_EQ(Opening(1, 32, kFirst) + Ending("04 80 00 00 A0 00 00 00 06 00 00 00 53 48 41 2D 31 00 00 00 00 00 00 00 "
                                            "00 00 00 00 00 00 00 00 "),
            TakeLog());
}

TEST_F(CPGetProvParamTest, TheFullEnumerationOfAlgorithmsHasItsOwnPosition) {
  Begin();
  EXPECT_TRUE(Ask(22, kFirst));
  EXPECT_EQ(88U, m_length);
  EXPECT_TRUE(Call(22, 88, kFirst));
  EXPECT_EQ(88U, Answer(88).size());
  EXPECT_TRUE(Call(1, 32, kFirst));
  EXPECT_TRUE(Call(22, 88, kNext));
  EXPECT_EQ(0x800CU, Word(0));
  EXPECT_TRUE(Call(1, 32, kNext));
  EXPECT_EQ(0x800CU, Word(0));
}

TEST_F(CPGetProvParamTest, TheFullEnumerationHasAllLengthsProtocolsAndNames) {
  Begin();
  DWORD flags = kFirst;
  int rows = 0;
  while (Call(22, 88, flags) != FALSE) {
    flags = kNext;
    ++rows;
    const bool isRSA = Word(0) == 0x2400 || Word(0) == 0xA400;
    EXPECT_EQ(isRSA ? 0x30U : 1U, Word(4));
    EXPECT_EQ(Word(5), TextAt(24).size() + 1);
    EXPECT_EQ(Word(11), TextAt(48).size() + 1);
    if (Word(0) != 0x2400) continue;
    EXPECT_EQ(1024U, Word(1));
    EXPECT_EQ(512U, Word(2));
    EXPECT_EQ(4096U, Word(3));
    EXPECT_EQ("RSA_SIGN", TextAt(24));
    EXPECT_EQ("RSA Signature", TextAt(48));
  }
  EXPECT_EQ(Code(ERROR_NO_MORE_ITEMS), GetLastError());
  EXPECT_EQ(11, rows);
  EXPECT_THAT(TakeLog(),
              EndsWith(Opening(22, 88, kNext) + Line("\nCPGetProvParam Algorithm Enumeration (PP_ENUMALGS_EX) done")));
}

TEST_F(CPGetProvParamTest, AnEnumerationThatWasNotStartedIsAtItsEnd) {
  Begin();
  for (const DWORD param : {1U, 2U, 22U}) {
    SetLastError(4711);
    EXPECT_FALSE(Call(param, 500, kNext)) << param;
    EXPECT_EQ(Code(ERROR_NO_MORE_ITEMS), GetLastError());
  }
}

// --- Containers

class ContainersTest : public CPGetProvParamTest {
 protected:
  void BeginWith(std::initializer_list<Bytes> ids) {
    for (const Bytes& id : ids) AddContainer(m_token, id);
    m_handle = AcquireHandle("\\\\.\\Reader A\\");
    SetLastError(4711);
  }
};

TEST_F(ContainersTest, EachCertificateIsAContainer) {
  BeginWith({Text("one"), {0xAB, 0x01}, Text("three")});
  EXPECT_TRUE(Call(2, 128, kFirst));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(4U, m_length);
  EXPECT_EQ("one", TextAt(0));
  EXPECT_EQ(Bytes(124, 0), Bytes(m_buffer.begin() + 4, m_buffer.begin() + 128));
  std::string zeros;
  for (int i = 0; i < 125; ++i) zeros += "00 ";
  EXPECT_EQ(Opening(2, 128, kFirst) + Line("\none") + Ending("6F 6E 65 " + zeros), TakeLog());
  EXPECT_TRUE(Call(2, 128, kNext));
  EXPECT_EQ(5U, m_length);
  EXPECT_EQ("AB01", TextAt(0));
  EXPECT_EQ(Opening(2, 128, kNext) + Line("\nAB01") + Ending(""), TakeLog());
  EXPECT_TRUE(Call(2, 128, kNext));
  EXPECT_EQ("three", TextAt(0));
  TakeLog();
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(Call(2, 128, kNext));
    EXPECT_EQ(Code(ERROR_NO_MORE_ITEMS), GetLastError());
    EXPECT_EQ(Opening(2, 128, kNext) + Line("\nCPGetProvParam Cert Enumeration (PP_ENUMCONTAINERS) done"), TakeLog());
  }
}

TEST_F(ContainersTest, CertificatesWithTheSameIdentifierAreAllListedAndAKeyPairIsNot) {
  AddKeyPair(m_token, Text("pair"));
  BeginWith({Text("one"), Text("one")});
  EXPECT_TRUE(Call(2, 128, kFirst));
  EXPECT_EQ("one", TextAt(0));
  EXPECT_TRUE(Call(2, 128, kNext));
  EXPECT_EQ("one", TextAt(0));
  EXPECT_FALSE(Call(2, 128, kNext));
  EXPECT_EQ(Code(ERROR_NO_MORE_ITEMS), GetLastError());
  EXPECT_TRUE(Call(2, 128, kFirst));
}

TEST_F(ContainersTest, AMissingContainerDoesNotHideTheOthers) {
  AddContainer(m_token, Text("one"));
  m_handle = AcquireHandle("two");
  EXPECT_TRUE(Call(2, 128, kFirst));
  EXPECT_EQ("one", TextAt(0));
}

TEST_F(ContainersTest, AskingForTheSizeAdvancesToo) {
  BeginWith({Text("one"), Text("two"), Text("three")});
  EXPECT_TRUE(Ask(2, kFirst));
  EXPECT_EQ(128U, m_length);
  EXPECT_EQ(AskOpening(2, kFirst) + AskEnding("80"), TakeLog());
  EXPECT_TRUE(Ask(2, kNext));
  EXPECT_EQ(0U, m_length);
  EXPECT_EQ(AskOpening(2, kNext) + AskEnding("0"), TakeLog());
  EXPECT_TRUE(Call(2, 128, kNext));
  EXPECT_EQ("three", TextAt(0));
}

TEST_F(ContainersTest, TheFirstContainerNeeds128Bytes) {
  BeginWith({Text("one")});
  EXPECT_FALSE(Call(2, 127, kFirst));
  EXPECT_EQ(Code(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(128U, m_length);
  EXPECT_EQ(Bytes(), Answer(0));
  EXPECT_EQ(Opening(2, 127, kFirst) + SmallBuffer("7F", "80"), TakeLog());
}

TEST_F(ContainersTest, AnyOtherFlagsEndTheEnumerationAtOnce) {
  BeginWith({Text("one")});
  for (const DWORD flags : {0U, 3U, 4U, 0x81U}) {
    SetLastError(4711);
    EXPECT_FALSE(Call(2, 128, flags)) << flags;
    EXPECT_EQ(Code(ERROR_NO_MORE_ITEMS), GetLastError());
    EXPECT_EQ(Opening(2, 128, flags), TakeLog());
  }
}

TEST_F(ContainersTest, ATokenWithoutCertificatesHasNoContainer) {
  BeginWith({});
  EXPECT_FALSE(Ask(2, kFirst));
  EXPECT_EQ(Code(ERROR_NO_MORE_ITEMS), GetLastError());
  EXPECT_EQ(AskOpening(2, kFirst) + Line("\nCPGetProvParam Cert Enumeration (PP_ENUMCONTAINERS) done"), TakeLog());
}

TEST_F(ContainersTest, ANameOf127CharactersFitsAndForALongerOneTheSizeIsReturned) {
  BeginWith({Text(std::string(127, 'a')), Text(std::string(128, 'b'))});
  EXPECT_TRUE(Call(2, 128, kFirst));
  EXPECT_EQ(std::string(127, 'a'), TextAt(0));
  TakeLog();
  EXPECT_FALSE(Call(2, 128, kNext));
  EXPECT_EQ(Code(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(129U, m_length);
  EXPECT_EQ(Bytes(128, 0), Answer(128));
  EXPECT_EQ(Opening(2, 128, kNext) + SmallBuffer("80", "81"), TakeLog());
}

TEST_F(ContainersTest, ALongerNameFitsIntoALongerBuffer) {
  BeginWith({Text(std::string(200, 'a'))});
  EXPECT_TRUE(Call(2, 201, kFirst));
  EXPECT_EQ(201U, m_length);
  EXPECT_EQ(std::string(200, 'a'), TextAt(0));
  EXPECT_EQ(0xEE, m_buffer[201]);
}

TEST_F(ContainersTest, TheNextContainerIsWrittenEvenWhenTheLengthIsTooSmall) {
  BeginWith({Text("one"), Text("two")});
  EXPECT_TRUE(Call(2, 128, kFirst));
  EXPECT_TRUE(Call(2, 0, kNext));
  EXPECT_EQ(4U, m_length);
  EXPECT_EQ((Bytes{'t', 'w', 'o', 0}), Answer(4));
}

TEST_F(ContainersTest, TheModulesOwnCodeReachesTheCaller) {
  m_token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
  m_handle = AcquireHandle("\\\\.\\Reader A\\");
  g_contextList.FindContext(m_handle)->NextCertificate(true)->SetAttributes({});
  SetLastError(4711);
  EXPECT_FALSE(Call(2, 128, kFirst));
  EXPECT_EQ(7U, GetLastError());
  EXPECT_EQ(Opening(2, 128, kFirst) + Line(ErrorText(CKR_ARGUMENTS_BAD)), TakeLog());
}

// A certificate whose identifier can be read twice, for its length and its bytes. Then it fails.
class FadingCertificate : public Certificate {
 public:
  explicit FadingCertificate(const Certificate& certificate) : Certificate(certificate) { reads = 0; }
  void GetID(BYTE* out, CK_ULONG* length) override {
    if (++reads > 2) throw CryptokiError(CKR_DEVICE_REMOVED);
    Certificate::GetID(out, length);
  }

  static int reads;
};
int FadingCertificate::reads = 0;
static_assert(sizeof(FadingCertificate) == sizeof(Certificate), "one replaces the other in place");

TEST_F(ContainersTest, TheModulesOwnCodeReachesTheCallerFromTheSecondStepToo) {
  BeginWith({Text("one")});
  Certificate* const certificate = g_contextList.FindContext(m_handle)->NextCertificate(true);
  const Certificate copy(*certificate);
  certificate->~Certificate();
  new (certificate) FadingCertificate(copy);
  EXPECT_FALSE(Call(2, 128, kFirst));
  EXPECT_EQ(0x32U, GetLastError());
  EXPECT_EQ(3, FadingCertificate::reads);
  EXPECT_EQ(128U, m_length);
  EXPECT_EQ(Bytes(128, 0), Answer(128));
  EXPECT_EQ(Opening(2, 128, kFirst) + Line(ErrorText(CKR_DEVICE_REMOVED)), TakeLog());
}

TEST_F(ContainersTest, ACopyOfAContextHasToStartTheEnumerationAgain) {
  BeginWith({Text("one")});
  EXPECT_TRUE(Call(2, 128, kFirst));
  const auto copy = g_contextList.FindContext(m_handle)->Copy();
  EXPECT_EQ(nullptr, copy->NextCertificate(false));
}

// --- The security descriptor

const char kDescriptor[] = "\nCPGetProvParam PP_KEYSET_SEC_DESCR";
const char kDescriptor2[] = "\nCPGetProvParam PP_KEYSET_SEC_DESCR 2";
const char kDescriptorBytes[] = "01 00 04 80 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ";

TEST_F(CPGetProvParamTest, EveryPartOfTheSecurityDescriptorGrantsEverything) {
  Begin();
  for (const DWORD part : {1U, 2U, 4U, 8U}) {
    EXPECT_TRUE(Ask(8, part));
    EXPECT_EQ(20U, m_length);
    EXPECT_EQ(AskOpening(8, part) + Line(kDescriptor) + AskEnding("14"), TakeLog());
    SetLastError(4711);
    EXPECT_TRUE(Call(8, 20, part));
    EXPECT_EQ(0U, GetLastError());
    EXPECT_EQ(20U, m_length);
    EXPECT_EQ((Bytes{1, 0, 4, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), Answer(20));
    EXPECT_EQ(Opening(8, 20, part) + Line(kDescriptor) + Line(kDescriptor2) + Ending(kDescriptorBytes), TakeLog());
  }
}

TEST_F(CPGetProvParamTest, ASecurityDescriptorInALongerBufferHasTheBuffersLength) {
  Begin();
  EXPECT_TRUE(Call(8, 24, 4));
  EXPECT_EQ(24U, m_length);
  EXPECT_EQ(24U, Answer(24).size());
  EXPECT_EQ(Opening(8, 24, 4) + Line(kDescriptor) + Line(kDescriptor2) +
                Ending(std::string(kDescriptorBytes) + "00 00 00 00 "),
            TakeLog());
}

TEST_F(CPGetProvParamTest, ABufferTooSmallForTheSecurityDescriptorIsLeftAlone) {
  Begin();
  EXPECT_FALSE(Call(8, 19, 4));
  EXPECT_EQ(Code(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(20U, m_length);
  EXPECT_EQ(Bytes(), Answer(0));
  EXPECT_EQ(Opening(8, 19, 4) + Line(kDescriptor) + SmallBuffer("13", "14"), TakeLog());
}

TEST_F(CPGetProvParamTest, FlagsThatNameNoPartGiveAnEmptyAnswer) {
  Begin();
  for (const DWORD flags : {0U, 3U, 16U}) {
    SetLastError(4711);
    EXPECT_TRUE(Ask(8, flags));
    EXPECT_EQ(0U, GetLastError());
    EXPECT_EQ(0U, m_length);
    EXPECT_EQ(AskOpening(8, flags) + Line(kDescriptor) + Line("PP_KEYSET_SEC_DESCR failed") + AskEnding("0"),
              TakeLog());
    SetLastError(4711);
    EXPECT_TRUE(Call(8, 100, flags));
    EXPECT_EQ(0U, GetLastError());
    EXPECT_EQ(100U, m_length);
    EXPECT_EQ(Bytes(), Answer(0));
    EXPECT_EQ(Opening(8, 100, flags) + Line(kDescriptor) + Line("PP_KEYSET_SEC_DESCR failed") + Line(kDescriptor2) +
                  Line("\nInvalid Security Descriptor") + Ending(""),
              TakeLog());
  }
}

TEST_F(CPGetProvParamTest, FlagsThatNameNoPartCheckTheDescriptorInTheBuffer) {
  Begin();
  EXPECT_TRUE(Call(8, 20, 4));
  TakeLog();
  EXPECT_TRUE(CPGetProvParam(m_handle, 8, m_buffer.data(), &m_length, 3));
  EXPECT_THAT(TakeLog(), EndsWith(Line(kDescriptor2) + Line("\nValid Security Descriptor") + Ending("")));
  m_length = 19;
  EXPECT_TRUE(CPGetProvParam(m_handle, 8, m_buffer.data(), &m_length, 3));
  EXPECT_THAT(TakeLog(), EndsWith(Line("\nInvalid Security Descriptor") + Ending("")));
}

TEST_F(CPGetProvParamTest, ADescriptorWithPointersIsValidOnlyIfTheBufferHoldsAllOfIt) {
  Begin();
  EXPECT_TRUE(Call(8, 40, 3));
  const BYTE absolute[40] = {1};
  for (const DWORD length : {40U, 39U}) {
    std::copy(std::begin(absolute), std::end(absolute), m_buffer.begin());
    m_length = length;
    TakeLog();
    EXPECT_TRUE(CPGetProvParam(m_handle, 8, m_buffer.data(), &m_length, 3));
    const char* const found = length == 40 ? "\nValid Security Descriptor" : "\nInvalid Security Descriptor";
    EXPECT_THAT(TakeLog(), EndsWith(Line(found) + Ending(""))) << length;
  }
}

// What the call returns when the platform fails, in the first step and in the second.
class DescriptorFailureTest : public CPGetProvParamTest {
 protected:
  DescriptorFailureTest() { Begin(); }

  void ExpectFailureInTheFirstStep(DWORD code) {
    EXPECT_FALSE(Ask(8, 4));
    EXPECT_EQ(code, GetLastError());
    EXPECT_EQ(4711U, m_length);
    EXPECT_EQ(AskOpening(8, 4) + Line(kDescriptor), TakeLog());
  }
  void ExpectFailureInTheSecondStep(DWORD code) {
    EXPECT_FALSE(Call(8, 20, 4));
    EXPECT_EQ(code, GetLastError());
    EXPECT_EQ(20U, m_length);
    EXPECT_EQ(Bytes(20, 0), Answer(20));
    EXPECT_EQ(Opening(8, 20, 4) + Line(kDescriptor) + Line(kDescriptor2), TakeLog());
  }

  ScriptedSecurity m_security;
};

TEST_F(DescriptorFailureTest, AFailedAllocationIsNteNoMemory) {
  m_security.LackMemoryOnCall(1);
  ExpectFailureInTheFirstStep(Code(NTE_NO_MEMORY));
  m_security.LackMemoryOnCall(2);
  ExpectFailureInTheSecondStep(Code(NTE_NO_MEMORY));
}

TEST_F(DescriptorFailureTest, WhenTheDescriptorCannotBeInitializedThePlatformsCodeStays) {
  m_security.FailOnCall("InitializeSecurityDescriptor", 1, 1305);
  ExpectFailureInTheFirstStep(1305);
  m_security.FailOnCall("InitializeSecurityDescriptor", 2, 1305);
  ExpectFailureInTheSecondStep(1305);
}

TEST_F(DescriptorFailureTest, WhenTheAccessListCannotBeSetThePlatformsCodeStays) {
  m_security.FailOnCall("SetSecurityDescriptorDacl", 1, 1338);
  ExpectFailureInTheFirstStep(1338);
  m_security.FailOnCall("SetSecurityDescriptorDacl", 2, 1338);
  ExpectFailureInTheSecondStep(1338);
}

TEST_F(DescriptorFailureTest, WhenTheDescriptorCannotBeMadeRelativeTheCallSucceedsWithoutIt) {
  m_security.FailOnCall("MakeSelfRelativeSD", 1, 1338);
  EXPECT_TRUE(Ask(8, 4));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(0U, m_length);
  EXPECT_EQ(AskOpening(8, 4) + Line(kDescriptor) + AskEnding("0"), TakeLog());
  SetLastError(4711);
  m_security.FailOnCall("MakeSelfRelativeSD", 2, 1338);
  EXPECT_TRUE(Call(8, 20, 4));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(20U, m_length);
  EXPECT_EQ(Bytes(20, 0), Answer(20));
  EXPECT_EQ(Opening(8, 20, 4) + Line(kDescriptor) + Line(kDescriptor2) +
                Ending("00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "),
            TakeLog());
}

TEST_F(DescriptorFailureTest, AFailedAllocationIsReportedEvenForFlagsThatNameNoPart) {
  m_security.LackMemoryOnCall(1);
  EXPECT_FALSE(Ask(8, 3));
  EXPECT_EQ(Code(NTE_NO_MEMORY), GetLastError());
}

// --- Certificate stores

class StoreParameterTest : public CPGetProvParamTest {
 protected:
  StoreParameterTest() {
    Silence(g_contextLog);
    m_token.Add(CertificateObject(Text("one"), "label", kRootCertificate));
    m_token.Add(CertificateObject(Text("two"), "label", kFirstCertificate));
    AddKeyPair(m_token, Text("two"));
    m_handle = AcquireHandle("\\\\.\\Reader A\\");
    SetLastError(4711);
  }
  HCERTSTORE Answered() {
    std::uint64_t handle = 0;
    std::memcpy(&handle, m_buffer.data(), sizeof(handle));
    return reinterpret_cast<HCERTSTORE>(static_cast<std::uintptr_t>(handle));
  }
  long AllocationsOf(DWORD param) {
    const FailedAllocation none(0);
    EXPECT_TRUE(Call(param, 8));
    EXPECT_TRUE(CertCloseStore(Answered(), 0));
    return none.Count();
  }
  std::string AnsweredBytes() {
    std::string hex;
    for (int i = 0; i < 8; ++i) hex += Hex("%02X", m_buffer[static_cast<std::size_t>(i)]) + " ";
    return hex;
  }

  ScriptedCertStore m_stores;
};

TEST_F(StoreParameterTest, TheUsersStoreGetsAllCertificates) {
  EXPECT_TRUE(Ask(42));
  EXPECT_EQ(8U, m_length);
  EXPECT_TRUE(m_stores.names.empty());
  TakeLog();
  EXPECT_TRUE(Call(42, 100));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(8U, m_length);
  EXPECT_EQ(8U, Answer(8).size());
  EXPECT_THAT(m_stores.names, ElementsAre("MY"));
  EXPECT_THAT(m_stores.providers, ElementsAre(0U));
  ASSERT_EQ(m_stores.stores[0], Answered());
  EXPECT_THAT(
      DescribeStore(Answered()),
      UnorderedElementsAre("Root", "One -> two, Brenholt Devices CSP v4.5, type 1, flags 0, parameters 0, spec 1"));
  EXPECT_EQ(Opening(42, 100) + Line("\nCPGetProvParam: Requesting User Cert Store Handle") +
                Line("\nCPGetProvParam: Requesting User Cert Store Handle: Success") + Ending(AnsweredBytes()),
            TakeLog());
}

TEST_F(StoreParameterTest, AUsersStoreThatDoesNotOpenIsANullHandle) {
  m_stores.Refuse("CertOpenSystemStoreA", 5);
  EXPECT_TRUE(Call(42, 100));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(8U, m_length);
  EXPECT_EQ(Bytes(8, 0), Answer(8));
  EXPECT_EQ(Opening(42, 100) + Line("\nCPGetProvParam: Requesting User Cert Store Handle") +
                Line("\nCPGetProvParam Error: Requesting Cert User Store Handle Failed to Open Cert") +
                Ending("00 00 00 00 00 00 00 00 "),
            TakeLog());
}

TEST_F(StoreParameterTest, TheRootStoreGetsAllCertificates) {
  EXPECT_TRUE(Call(46, 8));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(8U, m_length);
  EXPECT_THAT(m_stores.names, ElementsAre("ROOT"));
  EXPECT_THAT(m_stores.providers, ElementsAre(0U));
  EXPECT_EQ(2U, DescribeStore(Answered()).size());
  EXPECT_EQ(Opening(46, 8) + Line("\nCPGetProvParam: Requesting Root Cert Store Handle") +
                Line("\nCPGetProvParam: Requesting Root Cert Store Handle: Success") + Ending(AnsweredBytes()),
            TakeLog());
}

TEST_F(StoreParameterTest, ARootStoreThatDoesNotOpenIsAFailure) {
  m_stores.Refuse("CertOpenSystemStoreA", 5);
  EXPECT_FALSE(Call(46, 100));
  EXPECT_EQ(Code(ERROR_ACCESS_DENIED), GetLastError());
  EXPECT_EQ(100U, m_length);
  EXPECT_EQ(Opening(46, 100) + Line("\nCPGetProvParam: Requesting Root Cert Store Handle") +
                Line("\nCPGetProvParam Error: Requesting Cert Root Store Handle Failed to Open Cert"),
            TakeLog());
}

TEST_F(StoreParameterTest, ARefusedCertificateIsNoFailure) {
  m_stores.Refuse("CertAddCertificateContextToStore", 5);
  for (const DWORD param : {42U, 46U}) {
    EXPECT_TRUE(Call(param, 8)) << param;
    EXPECT_EQ(0U, GetLastError());
  }
  EXPECT_THAT(TakeLog(), Not(HasSubstr("Failed to propagate certificate")));
}

// A context that reports that no certificate was added to the store.
class WithoutPropagation : public TELVOCSPContext {
 public:
  WithoutPropagation() : TELVOCSPContext(static_cast<HINSTANCE>(nullptr)) {}
  boost::shared_ptr<CCSPContext> Copy() const override {
    return boost::shared_ptr<CCSPContext>(new WithoutPropagation(*this));
  }
  DWORD AddCertificatesToStore(HCERTSTORE, DWORD rootStore, DWORD defaultOnly) override {
    EXPECT_EQ(0U, defaultOnly);
    SetLastError(1000 + rootStore);
    return 0;
  }
};

TEST_F(StoreParameterTest, WhenPropagationFailsTheUsersStoreIsStillReturned) {
  WithoutPropagation context;
  m_handle = g_contextList.AddContext(context);
  EXPECT_TRUE(Call(42, 100));
  EXPECT_EQ(0U, GetLastError());
  EXPECT_EQ(8U, m_length);
  EXPECT_EQ(m_stores.stores.at(0), Answered());
  EXPECT_EQ(Opening(42, 100) + Line("\nCPGetProvParam: Requesting User Cert Store Handle") +
                Line("\nCPGetProvParam: Failed to propagate certificate") + Ending(AnsweredBytes()),
            TakeLog());
}

TEST_F(StoreParameterTest, WhenPropagationFailsTheRootStoreFailsAndTheLastErrorStays) {
  WithoutPropagation context;
  m_handle = g_contextList.AddContext(context);
  EXPECT_FALSE(Call(46, 100));
  EXPECT_EQ(1001U, GetLastError());
  EXPECT_EQ(100U, m_length);
  EXPECT_EQ(1U, m_stores.stores.size()) << "it stays open";
  EXPECT_EQ(Opening(46, 100) + Line("\nCPGetProvParam: Requesting Root Cert Store Handle") +
                Line("\nCPGetProvParam: Failed to propagate certificate"),
            TakeLog());
}

TEST_F(StoreParameterTest, AStoreThatIsNotReturnedIsClosed) {
  m_stores.beforeProperty = [] { throw std::bad_alloc(); };
  for (const DWORD param : {42U, 46U}) {
    EXPECT_THROW(Call(param, 8), std::bad_alloc);
    EXPECT_THAT(m_stores.stores, IsEmpty());
  }
  EXPECT_EQ(2U, m_stores.names.size());
}

// The last allocations are those of the log items that show the handle.
TEST_F(StoreParameterTest, AStoreIsClosedWhicheverAllocationFails) {
  for (const DWORD param : {42U, 46U}) {
    const long all = AllocationsOf(param);
    for (long n = 1; n <= all; ++n) {
      try {
        const FailedAllocation failure(n);
        if (Call(param, 8) != FALSE) CertCloseStore(Answered(), 0);
      } catch (const std::bad_alloc&) {
        EXPECT_THAT(Answer(8), AnyOf(Bytes(8, 0), Bytes(8, 0xEE))) << n << " of " << all;
      }
      EXPECT_THAT(m_stores.stores, IsEmpty()) << n << " of " << all;
    }
  }
}

TEST_F(StoreParameterTest, EachRequestOpensItsOwnStore) {
  EXPECT_TRUE(Call(42, 8));
  const HCERTSTORE first = Answered();
  EXPECT_TRUE(Call(42, 8));
  EXPECT_NE(first, Answered());
  EXPECT_EQ(2U, DescribeStore(first).size());
}

}  // namespace

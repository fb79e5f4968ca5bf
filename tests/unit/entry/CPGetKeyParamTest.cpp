// Reading the parameters of keys: each parameter for each kind of key.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/KeyParamTest.h"
#include "module/SampleCertificates.h"

namespace {

using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::ValuesIn;

constexpr DWORD kGiven = 64;  // the length that a test passes, and the size of its buffer

class CPGetKeyParamTest : public KeyParamTest {
 protected:
  CPGetKeyParamTest() : m_buffer(kGiven, 0xEE) {}

  // Calls with a buffer of `length` bytes, or without one.
  BOOL Read(KeyKind kind, DWORD param, DWORD length = kGiven) { return ReadOf(m_handles.at(kind), param, length); }
  BOOL ReadOf(HCRYPTKEY key, DWORD param, DWORD length = kGiven) {
    std::fill(m_buffer.begin(), m_buffer.end(), BYTE{0xEE});
    m_length = length;
    return CPGetKeyParam(m_handle, key, param, m_buffer.data(), &m_length, 0);
  }
  BOOL Ask(KeyKind kind, DWORD param) {
    m_length = 4711;
    return CPGetKeyParam(m_handle, m_handles.at(kind), param, nullptr, &m_length, 0);
  }

  // Banner, arguments, and what the search for the key logs.
  std::string Opening(KeyKind kind, DWORD param, DWORD length = kGiven) {
    return Arguments(param, length, m_buffer.data()) + Found(kind);
  }
  std::string AskOpening(KeyKind kind, DWORD param) { return Arguments(param, 4711, nullptr) + Found(kind); }
  static std::string Arguments(DWORD param, DWORD length, const BYTE* data, DWORD flags = 0) {
    return FrameLines("CPGetKeyParam") + Value("\tdwParam:", Hex8(param)) + Value("\tdwFlags:", Hex8(flags)) +
           Value("\tpbData: ", Hex8(data)) + Value("\tDataLen:", Hex8(length));
  }
  static std::string Found(KeyKind kind) {
    return kind == KeyKind::kImported ? Line("Symmetric Key not found in this context") : "";
  }
  static std::string Success() { return Line("\nCPGetKeyParam Success"); }
  // The whole buffer: these bytes, and `rest` in all bytes after them.
  void ExpectBuffer(const Bytes& bytes, BYTE rest = 0xEE) {
    Bytes all = bytes;
    all.resize(m_buffer.size(), rest);
    EXPECT_EQ(all, m_buffer);
  }
  // The call failed with that code and changed nothing.
  void ExpectRefused(BOOL result, DWORD code, DWORD length) {
    EXPECT_EQ(FALSE, result);
    EXPECT_EQ(code, GetLastError());
    EXPECT_EQ(length, m_length);
  }

  std::vector<BYTE> m_buffer;
  DWORD m_length = 0;
};

// --- Without a buffer

// What a parameter returns for one kind of key: a length, or a refusal.
struct SizeAnswer {
  DWORD length = 0;
  const char* line = nullptr;
  DWORD code = 0;
};

SizeAnswer Length(DWORD length) { return {length}; }
SizeAnswer Refused(const char* line, DWORD code) { return {0, line, code}; }

const char kNoIV[] = "KP_IV valid only on Symmetric Keys";
const char kNoSalt[] = "KP_SALT valid only on Symmetric Keys";
const char kNoPermissions[] = "KP_PERMISSIONS valid only on Symmetric Keys";
const char kNotRC2[] = "\nCPGetKeyParam Error: Invalid Effective Keylen";
const char kPairsOnly[] = "KP_CERTIFICATE is only for RSA Public/private Key pairs";
const char kPairsWithCertificateOnly[] =
    "KP_CERTIFICATE is only for RSA Public/private Key pairs that has certificate in them";
const char kNotSupported[] = "\nCPGetKeyParam Error: dwParam not supported";

struct AskRow {
  const char* name;
  DWORD param;
  SizeAnswer des;  // for DES and triple DES
  SizeAnswer aes;
  SizeAnswer other;  // for the key pairs and an imported key

  const SizeAnswer& Of(KeyKind kind) const {
    switch (kind) {
      case KeyKind::kDes:
      case KeyKind::kTwoKeyTripleDes:
      case KeyKind::kTripleDes:
        return des;
      case KeyKind::kAes:
        return aes;
      default:
        return other;
    }
  }
};

const AskRow kAskRows[] = {
    {"IV", 1, Length(8), Length(16), Refused(kNoIV, Code(NTE_BAD_TYPE))},
    {"Salt", 2, Refused("Salt does not exist", Code(NTE_BAD_KEY_STATE)),
     Refused("Salt does not exist", Code(NTE_BAD_KEY_STATE)), Refused(kNoSalt, Code(NTE_BAD_TYPE))},
    {"Padding", 3, Length(4), Length(4), Length(4)},
    {"Mode", 4, Length(4), Length(4), Length(4)},
    {"ModeBits", 5, Length(4), Length(4), Length(4)},
    {"Permissions", 6, Length(4), Length(4), Refused(kNoPermissions, Code(NTE_BAD_TYPE))},
    {"Algorithm", 7, Length(4), Length(4), Length(4)},
    {"BlockLength", 8, Length(4), Length(4), Length(4)},
    {"KeyLength", 9, Length(4), Length(4), Length(4)},
    {"EffectiveKeyLength", 19, Refused(kNotRC2, Code(NTE_BAD_FLAGS)), Refused(kNotRC2, Code(NTE_BAD_FLAGS)),
     Refused(kNoIV, Code(NTE_BAD_TYPE))},
    {"Certificate", 26, Refused(kPairsOnly, Code(NTE_BAD_TYPE)), Refused(kPairsOnly, Code(NTE_BAD_TYPE)), Length(2)},
    {"PinInfo", 44, Length(36), Length(36), Length(36)},
    {"SaltEx", 10, Refused(kNotSupported, Code(NTE_BAD_TYPE)), Refused(kNotSupported, Code(NTE_BAD_TYPE)),
     Refused(kNotSupported, Code(NTE_BAD_TYPE))},
    {"Zero", 0, Refused(kNotSupported, Code(NTE_BAD_TYPE)), Refused(kNotSupported, Code(NTE_BAD_TYPE)),
     Refused(kNotSupported, Code(NTE_BAD_TYPE))},
    {"Largest", 0xFFFFFFFF, Refused(kNotSupported, Code(NTE_BAD_TYPE)), Refused(kNotSupported, Code(NTE_BAD_TYPE)),
     Refused(kNotSupported, Code(NTE_BAD_TYPE))},
};

template <typename Row>
std::string NameOfRow(const ::testing::TestParamInfo<Row>& info) {
  return info.param.name;
}

class SizeOfKeyParamTest : public CPGetKeyParamTest, public ::testing::WithParamInterface<AskRow> {};

TEST_P(SizeOfKeyParamTest, IsReturnedOrRefused) {
  static const std::map<DWORD, std::string> hex = {{2, "2"}, {4, "4"}, {8, "8"}, {16, "10"}, {36, "24"}};
  Begin();
  const AskRow& row = GetParam();
  for (const KeyKind kind : kAllKeys) {
    SCOPED_TRACE(NameOf(kind));
    const SizeAnswer& expected = row.Of(kind);
    SetLastError(4711);
    const BOOL result = Ask(kind, row.param);
    if (expected.line != nullptr) {
      ExpectRefused(result, expected.code, 4711);
      EXPECT_EQ(AskOpening(kind, row.param) + Line(expected.line), TakeLog());
    } else {
      EXPECT_EQ(TRUE, result);
      EXPECT_EQ(0U, GetLastError());
      EXPECT_EQ(expected.length, m_length);
      EXPECT_EQ(AskOpening(kind, row.param) +
                    Value("\npbData is NULL. pcDataLen is set to: ", hex.at(expected.length)) + Success(),
                TakeLog());
    }
    EXPECT_EQ(Calls(), m_module.TakeCalls());
  }
}

INSTANTIATE_TEST_SUITE_P(Of, SizeOfKeyParamTest, ValuesIn(kAskRows), NameOfRow<AskRow>);

// --- With a buffer

// What a parameter writes for one kind of key: bytes, a length if it stores one, a line if it logs one. Or a refusal.
struct Answer {
  Bytes bytes;
  DWORD length = 0;
  std::string log;
  const char* line = nullptr;
  DWORD code = 0;
};

Answer Wrote(const Bytes& bytes) { return {bytes, 0, ""}; }
Answer Measured(const Bytes& bytes, const std::string& log) { return {bytes, 4, log}; }
Answer NotRead(const char* line, DWORD code) { return {{}, 0, "", line, code}; }

struct ReadRow {
  const char* name;
  DWORD param;
  std::map<KeyKind, Answer> answers;
};

std::map<KeyKind, Answer> ForAll(const Answer& session, const Answer& other) {
  std::map<KeyKind, Answer> answers;
  for (const KeyKind kind : kSessionKeys) answers[kind] = session;
  for (const KeyKind kind : kOtherKeys) answers[kind] = other;
  return answers;
}

std::map<KeyKind, Answer> ForEach(const Answer& des, const Answer& twoKeys, const Answer& threeKeys, const Answer& aes,
                                  const Answer& pair, const Answer& imported) {
  return {{KeyKind::kDes, des},          {KeyKind::kTwoKeyTripleDes, twoKeys}, {KeyKind::kTripleDes, threeKeys},
          {KeyKind::kAes, aes},          {KeyKind::kSignaturePair, pair},      {KeyKind::kExchangePair, pair},
          {KeyKind::kImported, imported}};
}

Bytes Word(BYTE low, BYTE high = 0) { return {low, high, 0, 0}; }

const std::string kInSession = "\n\nIn Symmetric Key *pbData: ";
const std::string kInPair = "\n\nIn RSA *pbData: ";

std::vector<ReadRow> ReadRows() {
  const Answer noMode = NotRead("KP_MODE valid only on Symmetric Keys", Code(NTE_BAD_TYPE));
  const Answer noModeBits = NotRead("KP_MODE_BITS valid only on Symmetric Keys", Code(NTE_BAD_TYPE));
  const Answer notRC2 =
      NotRead("\nCPGetKeyParam Error: Invalid Effective Keylen,Alg ID is NOT CALG_RC2", Code(NTE_BAD_FLAGS));
  const Answer keyPair = Wrote({0x00, 0xA4, 0, 0});
  const Answer blocksOf64 = Measured(Word(64), Value(kInSession, "40"));
  const Answer unsupported = NotRead(kNotSupported, Code(NTE_BAD_TYPE));
  Answer pinInfo = Wrote(
      {6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  pinInfo.length = 36;
  return {
      {"IV", 1, ForAll(Wrote({}), NotRead(kNoIV, Code(NTE_BAD_TYPE)))},
      {"Salt", 2,
       ForAll(NotRead("Salt does not exist", Code(NTE_BAD_KEY_STATE)), NotRead(kNoSalt, Code(NTE_BAD_TYPE)))},
      {"Padding", 3, ForAll(Wrote(Word(1)), Wrote(Word(1)))},
      {"Mode", 4, ForAll(Wrote(Word(1)), noMode)},
      {"ModeBits", 5,
       ForEach(Wrote(Word(64)), Wrote(Word(64)), Wrote(Word(64)), Wrote(Word(128)), noModeBits, noModeBits)},
      {"Permissions", 6, ForAll(Wrote(Word(1)), Wrote(Word(3)))},
      {"Algorithm", 7,
       ForEach(Wrote({0x01, 0x66, 0, 0}), Wrote({0x09, 0x66, 0, 0}), Wrote({0x03, 0x66, 0, 0}),
               Wrote({0x0E, 0x66, 0, 0}), keyPair, keyPair)},
      {"BlockLength", 8,
       ForEach(blocksOf64, blocksOf64, blocksOf64, Measured(Word(128), Value(kInSession, "80")),
               Measured(Word(0, 4), Value(kInPair, "0")),
               Measured(Word(0, 2), Value("\n\nIn RSA *pbData: (Imported Public Key)", "0")))},
      {"KeyLength", 9,
       ForEach(Measured(Word(8), Value(kInSession, "0")), Measured(Word(16), Value(kInSession, "0")),
               Measured(Word(24), Value(kInSession, "0")), Measured(Word(16), Value(kInSession, "0")),
               Measured(Word(0, 4), Value(kInPair, "0")),
               Measured(Word(0, 2), Value("\n\nIn RSA *pbData (imported Public Key): ", "0")))},
      {"EffectiveKeyLength", 19, ForAll(notRC2, NotRead("KP_EFFECTIVE_KEYLEN", Code(NTE_BAD_TYPE)))},
      {"PinInfo", 44, ForAll(pinInfo, pinInfo)},
      {"SaltEx", 10, ForAll(unsupported, unsupported)},
      {"Zero", 0, ForAll(unsupported, unsupported)},
      {"Largest", 0xFFFFFFFF, ForAll(unsupported, unsupported)},
  };
}

class KeyParamReadTest : public CPGetKeyParamTest, public ::testing::WithParamInterface<ReadRow> {};

TEST_P(KeyParamReadTest, IsWrittenOrRefused) {
  Begin();
  const ReadRow& row = GetParam();
  for (const KeyKind kind : kAllKeys) {
    SCOPED_TRACE(NameOf(kind));
    const Answer& answer = row.answers.at(kind);
    SetLastError(4711);
    const BOOL result = Read(kind, row.param);
    ExpectBuffer(answer.bytes);
    if (answer.line != nullptr) {
      ExpectRefused(result, answer.code, kGiven);
      EXPECT_EQ(Opening(kind, row.param) + Line(answer.line), TakeLog());
    } else {
      EXPECT_EQ(TRUE, result);
      EXPECT_EQ(0U, GetLastError());
      EXPECT_EQ(answer.length != 0 ? answer.length : kGiven, m_length);
      EXPECT_EQ(Opening(kind, row.param) + answer.log + Success(), TakeLog());
    }
    EXPECT_EQ(Calls(), m_module.TakeCalls());
  }
}

INSTANTIATE_TEST_SUITE_P(Of, KeyParamReadTest, ValuesIn(ReadRows()), NameOfRow<ReadRow>);

// --- With a buffer that is too small

struct SmallRow {
  const char* name;
  DWORD param;
  std::vector<KeyKind> kinds;
  DWORD length;  // too short
  const char* line;
  DWORD code = Code(ERROR_MORE_DATA);
  DWORD cleared = 0;  // bytes at the beginning of the buffer
};

const std::vector<KeyKind> kDesKinds = {KeyKind::kDes, KeyKind::kTwoKeyTripleDes, KeyKind::kTripleDes};
const std::vector<KeyKind> kSessionKinds(std::begin(kSessionKeys), std::end(kSessionKeys));
const std::vector<KeyKind> kOtherKinds(std::begin(kOtherKeys), std::end(kOtherKeys));
const std::vector<KeyKind> kAllKinds(std::begin(kAllKeys), std::end(kAllKeys));

const SmallRow kSmallRows[] = {
    {"IVOfDes", 1, kDesKinds, 7, "\nCPGetKeyParam Error: Invalid IV len"},
    {"IVOfAes", 1, {KeyKind::kAes}, 15, "\nCPGetKeyParam Error: Invalid IV len"},
    {"Padding", 3, kAllKinds, 3, "\nCPGetKeyParam Error: Invalid PADDING"},
    {"Mode", 4, kSessionKinds, 3, "\nCPGetKeyParam Error: Invalid MODE"},
    {"ModeBits", 5, kSessionKinds, 3, "\nCPGetKeyParam Error: Invalid MODE"},
    {"Permissions", 6, kAllKinds, 3, "\nCPGetKeyParam Error: invalid KP_PERMISSIONS", Code(ERROR_INVALID_PARAMETER)},
    {"Algorithm", 7, kAllKinds, 3, "\nCPGetKeyParam Error: Invalid ALGID "},
    {"BlockLength", 8, kAllKinds, 3, "\nCPGetKeyParam Error: Invalid BLOCKLEN", Code(ERROR_MORE_DATA), 3},
    {"KeyLength", 9, kAllKinds, 3, "\nCPGetKeyParam Error: Invalid KEYLEN pcbDataLen", Code(ERROR_MORE_DATA), 3},
    {"KeyLengthOfTwoBytes", 9, kAllKinds, 2, "\nCPGetKeyParam Error: Invalid KEYLEN pcbDataLen", Code(ERROR_MORE_DATA),
     2},
    {"KeyLengthOfNoBytes", 9, kAllKinds, 0, "\nCPGetKeyParam Error: Invalid KEYLEN pcbDataLen", Code(ERROR_MORE_DATA),
     0},
    {"Certificate", 26, kOtherKinds, 1, "\nCPGetKeyParam Error: Invalid KP_CERTIFICATE Length", Code(ERROR_MORE_DATA),
     1},
    {"PinInfo", 44, kAllKinds, 35, "\nCPGetKeyParam Error: Invalid KP_PIN_INFO Length"},
};

class SmallBufferForKeyParamTest : public CPGetKeyParamTest, public ::testing::WithParamInterface<SmallRow> {};

TEST_P(SmallBufferForKeyParamTest, IsRefused) {
  Begin();
  const SmallRow& row = GetParam();
  for (const KeyKind kind : row.kinds) {
    SCOPED_TRACE(NameOf(kind));
    SetLastError(4711);
    ExpectRefused(Read(kind, row.param, row.length), row.code, row.length);
    ExpectBuffer(Bytes(row.cleared, 0));
    EXPECT_EQ(Opening(kind, row.param, row.length) + Line(row.line), TakeLog());
  }
}

INSTANTIATE_TEST_SUITE_P(Of, SmallBufferForKeyParamTest, ValuesIn(kSmallRows), NameOfRow<SmallRow>);

TEST_F(CPGetKeyParamTest, ABufferThatIsJustLongEnoughIsFilled) {
  Begin();
  EXPECT_TRUE(Read(KeyKind::kDes, 1, 8));
  EXPECT_TRUE(Read(KeyKind::kAes, 1, 16));
  for (const DWORD param : {3U, 6U, 7U, 8U, 9U}) EXPECT_TRUE(Read(KeyKind::kExchangePair, param, 4)) << param;
  for (const DWORD param : {4U, 5U}) EXPECT_TRUE(Read(KeyKind::kTripleDes, param, 4)) << param;
  EXPECT_TRUE(Read(KeyKind::kImported, 44, 36));
  EXPECT_TRUE(Read(KeyKind::kImported, 26, 2));
}

// --- IV and salt

TEST_F(CPGetKeyParamTest, TheKeyTakesTheBytesOfTheBufferAsItsIV) {
  Begin();
  for (const KeyKind kind : kDesKinds) {
    m_length = 20;
    Bytes buffer = Counting(20, 1);
    EXPECT_TRUE(CPGetKeyParam(m_handle, m_handles.at(kind), 1, buffer.data(), &m_length, 0));
    EXPECT_EQ(Counting(20, 1), buffer);
    EXPECT_EQ(20U, m_length);
  }
  EXPECT_EQ("CKM_DES_CBC with 0102030405060708", MechanismOf(KeyKind::kDes));
  EXPECT_EQ("CKM_DES3_CBC with 0102030405060708", MechanismOf(KeyKind::kTripleDes));
}

TEST_F(CPGetKeyParamTest, AskingForTheIVOfAnEcbKeyPutsItIntoCbcMode) {
  Begin();
  SessionKey(KeyKind::kDes).SetMode(CRYPT_MODE_ECB);
  EXPECT_TRUE(Ask(KeyKind::kDes, 1));
  EXPECT_EQ(8U, m_length);
  EXPECT_EQ(DWORD{CRYPT_MODE_CBC}, SessionKey(KeyKind::kDes).GetMode());
}

TEST_F(CPGetKeyParamTest, TheLengthOfASaltIsReturnedButItsBytesAreNot) {
  Begin();
  for (const KeyKind kind : kSessionKeys) {
    SCOPED_TRACE(NameOf(kind));
    SessionKey(kind).AddSalt(reinterpret_cast<const BYTE*>("salt!"), 5);
    EXPECT_TRUE(Ask(kind, 2));
    EXPECT_EQ(5U, m_length);
    EXPECT_EQ(AskOpening(kind, 2) + Value("\npbData is NULL. pcDataLen is set to: ", "5") + Success(), TakeLog());
    EXPECT_TRUE(Read(kind, 2));
    ExpectBuffer({});
    EXPECT_EQ(kGiven, m_length);
    EXPECT_EQ(Opening(kind, 2) + Success(), TakeLog());
  }
}

TEST_F(CPGetKeyParamTest, ABufferTooSmallForTheSaltIsRefused) {
  Begin();
  SessionKey(KeyKind::kAes).AddSalt(reinterpret_cast<const BYTE*>("salt!"), 5);
  ExpectRefused(Read(KeyKind::kAes, 2, 4), Code(ERROR_MORE_DATA), 4);
  EXPECT_EQ(Opening(KeyKind::kAes, 2, 4) + Line("\nCPGetKeyParam Error: Invalid SALT"), TakeLog());
}

// --- Unexpected answers, one test each

TEST_F(CPGetKeyParamTest, TheSignaturePairReportsTheKeyExchangeAlgorithm) {
  Begin();
  EXPECT_TRUE(Read(KeyKind::kSignaturePair, 7));
  ExpectBuffer({0x00, 0xA4, 0x00, 0x00});
}

TEST_F(CPGetKeyParamTest, APairHasPermissionsOnlyWithABuffer) {
  Begin();
  ExpectRefused(Ask(KeyKind::kSignaturePair, 6), Code(NTE_BAD_TYPE), 4711);
  EXPECT_TRUE(Read(KeyKind::kSignaturePair, 6));
  ExpectBuffer({3, 0, 0, 0});
}

TEST_F(CPGetKeyParamTest, ThePaddingOfAnyKeyIsOne) {
  Begin();
  for (const KeyKind kind : kAllKeys) {
    EXPECT_TRUE(Read(kind, 3)) << NameOf(kind);
    ExpectBuffer({1, 0, 0, 0});
  }
}

TEST_F(CPGetKeyParamTest, TheEffectiveLengthOfAPairIsRefusedWithTheMessageForTheIV) {
  Begin();
  ExpectRefused(Ask(KeyKind::kExchangePair, 19), Code(NTE_BAD_TYPE), 4711);
  EXPECT_EQ(AskOpening(KeyKind::kExchangePair, 19) + Line("KP_IV valid only on Symmetric Keys"), TakeLog());
}

TEST_F(CPGetKeyParamTest, AKeyLengthClearsABufferOfTwoBytesThatIsTooShort) {
  Begin();
  ExpectRefused(Read(KeyKind::kAes, 9, 2), Code(ERROR_MORE_DATA), 2);
  ExpectBuffer({0, 0});
}

// --- The effective length of an RC2 key, which the provider does not make

class Rc2Key : public CCSPSecretKey {
 public:
  Rc2Key() { Bind(nullptr, 0, 0xA00009); }
  ALG_ID GetAlgID() const override { return 0x6602; }
  DWORD GetKeyLength() const override { return 5; }
};

TEST_F(CPGetKeyParamTest, AnRc2KeyHasAnEffectiveLength) {
  Begin();
  Context().AddSecretKey(boost::make_shared<Rc2Key>());
  EXPECT_TRUE(ReadOf(0xA00009, 19));
  ExpectBuffer({5, 0, 0, 0});
  EXPECT_EQ(kGiven, m_length);
  TakeLog();
  EXPECT_FALSE(ReadOf(0xA00009, 19, 3));
  EXPECT_EQ(Code(ERROR_MORE_DATA), GetLastError());
  ExpectBuffer({});
  EXPECT_EQ(Arguments(19, 3, m_buffer.data()) + Line("\nCPGetKeyParam Error: Invalid EFFECTIVE LEN"), TakeLog());
  EXPECT_TRUE(CPGetKeyParam(m_handle, 0xA00009, 19, nullptr, &m_length, 0));
  EXPECT_EQ(4U, m_length);
}

// --- Lengths of RSA keys

TEST_F(CPGetKeyParamTest, WithoutAKeyPairThereIsNoLength) {
  m_token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
  BeginWithToken();
  for (const DWORD param : {8U, 9U}) {
    ExpectRefused(Read(KeyKind::kExchangePair, param), Code(NTE_NO_KEY), kGiven);
    ExpectBuffer({0, 0, 0, 0});
    EXPECT_EQ(Opening(KeyKind::kExchangePair, param) + Line("Key Pair does not exist"), TakeLog());
  }
}

TEST_F(CPGetKeyParamTest, AnImportedKeyKnowsItsLengthWithoutAKeyPair) {
  m_token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
  BeginWithToken();
  EXPECT_TRUE(Read(KeyKind::kImported, 9));
  ExpectBuffer({0x00, 0x02, 0x00, 0x00});
}

// --- The certificate

TEST_F(CPGetKeyParamTest, AKeyPairAndAnImportedKeyReturnTheContextsCertificate) {
  m_token.Add(CertificateObject(Text("one"), "label", Counting(20, 0x41)));
  AddKeyPair(m_token, Text("one"));
  BeginWithToken();
  for (const KeyKind kind : kOtherKeys) {
    SCOPED_TRACE(NameOf(kind));
    SetLastError(4711);
    EXPECT_EQ(TRUE, Read(kind, 26, 30));
    EXPECT_EQ(0U, GetLastError());
    EXPECT_EQ(20U, m_length);
    Bytes expected = Counting(20, 0x41);
    expected.resize(30, 0);
    ExpectBuffer(expected);
    EXPECT_EQ(Opening(kind, 26, 30) + Line("Certificate: ") +
                  "4142434445464748494A4B4C4D4E4F50\tABCDEFGHIJKLMNOP\n"
                  "51525354\tQRST\n" +
                  Success(),
              TakeLog());
    EXPECT_EQ(Calls(), m_module.TakeCalls());
  }
}

TEST_F(CPGetKeyParamTest, ACertificateOfOneByteIsRead) {
  m_token.Add(CertificateObject(Text("one"), "label", {0x41}));
  AddKeyPair(m_token, Text("one"));
  BeginWithToken();
  EXPECT_EQ(TRUE, Read(KeyKind::kExchangePair, 26, 30));
  EXPECT_EQ(1U, m_length);
  EXPECT_EQ(0x41, m_buffer[0]);
}

TEST_F(CPGetKeyParamTest, ForASessionKeyTheCertificateIsRefusedAndTheBufferCleared) {
  Begin();
  for (const KeyKind kind : kSessionKeys) {
    SCOPED_TRACE(NameOf(kind));
    ExpectRefused(Read(kind, 26, 30), Code(NTE_BAD_TYPE), 30);
    ExpectBuffer(Bytes(30, 0));
    EXPECT_EQ(Opening(kind, 26, 30) + Line(kPairsOnly), TakeLog());
  }
}

TEST_F(CPGetKeyParamTest, WithoutACertificateTheBufferIsClearedAndTheKeyIsBad) {
  AddKeyPair(m_token, Text("one"));
  BeginWithToken();
  for (const KeyKind kind : kOtherKeys) {
    SCOPED_TRACE(NameOf(kind));
    ExpectRefused(Read(kind, 26, 30), Code(NTE_BAD_KEY), 30);
    ExpectBuffer(Bytes(30, 0));
    EXPECT_EQ(Opening(kind, 26, 30) + Line(kPairsWithCertificateOnly), TakeLog());
  }
}

TEST_F(CPGetKeyParamTest, WithNeitherACertificateNorABufferTheTypeIsBad) {
  AddKeyPair(m_token, Text("one"));
  BeginWithToken();
  for (const KeyKind kind : kOtherKeys) {
    SCOPED_TRACE(NameOf(kind));
    ExpectRefused(Ask(kind, 26), Code(NTE_BAD_TYPE), 4711);
    EXPECT_EQ(AskOpening(kind, 26) + Line(kPairsWithCertificateOnly), TakeLog());
  }
}

TEST_F(CPGetKeyParamTest, WithoutAPrivateKeyTheCertificatesLengthIsReturnedButNotItsBytes) {
  m_token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
  BeginWithToken();
  EXPECT_TRUE(Ask(KeyKind::kSignaturePair, 26));
  EXPECT_EQ(2U, m_length);
  TakeLog();
  ExpectRefused(Read(KeyKind::kSignaturePair, 26, 30), Code(NTE_BAD_TYPE), 30);
  ExpectBuffer(Bytes(30, 0));
  EXPECT_EQ(Opening(KeyKind::kSignaturePair, 26, 30) + Line("Private Key does not exist"), TakeLog());
}

TEST_F(CPGetKeyParamTest, ACertificateThatWasNotReadYetIsReadFromTheTokenOnce) {
  Begin();
  Context().GetDefaultCertificate()->SetAttributes({});
  EXPECT_TRUE(Ask(KeyKind::kExchangePair, 26));
  EXPECT_EQ((Calls{"C_GetAttributeValue(1, 1, {CKA_VALUE?})", "C_GetAttributeValue(1, 1, {CKA_VALUE[2]})"}),
            m_module.TakeCalls());
  EXPECT_TRUE(Read(KeyKind::kExchangePair, 26));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPGetKeyParamTest, AModuleErrorIsNteFail) {
  Begin();
  Context().GetDefaultCertificate()->SetAttributes({});
  m_module.FailNext("C_GetAttributeValue", CKR_DEVICE_REMOVED);
  ExpectRefused(Read(KeyKind::kExchangePair, 26, 30), Code(NTE_FAIL), 30);
  EXPECT_EQ(Opening(KeyKind::kExchangePair, 26, 30) + Line(ErrorText(CKR_DEVICE_REMOVED)), TakeLog());
}

// --- The frame

TEST_F(CPGetKeyParamTest, AnUnknownKeyIsLoggedTwice) {
  Begin();
  ExpectRefused(ReadOf(m_unknownKey, 3), Code(NTE_NO_KEY), kGiven);
  ExpectBuffer({});
  EXPECT_EQ(Arguments(3, kGiven, m_buffer.data()) + Line("Symmetric Key not found in this context") +
                Line("\nCPGetKeyParam Error: Key does not exist in this context "),
            TakeLog());
}

TEST_F(CPGetKeyParamTest, UpperBitsCountOnlyInAHandleOfThePair) {
  constexpr HCRYPTKEY kUpperBit = HCRYPTKEY{1} << 32U;
  Begin();
  for (const KeyKind kind : {KeyKind::kDes, KeyKind::kImported}) {
    EXPECT_TRUE(ReadOf(m_handles[kind] | kUpperBit, 3)) << NameOf(kind);
  }
  for (const KeyKind kind : kKeyPairs) {
    ExpectRefused(ReadOf(m_handles[kind] | kUpperBit, 3), Code(NTE_NO_KEY), kGiven);
  }
}

TEST_F(CPGetKeyParamTest, AnUnknownKeyIsReportedBeforeAnUnknownParameter) {
  Begin();
  ExpectRefused(ReadOf(m_unknownKey, 10), Code(NTE_NO_KEY), kGiven);
}

TEST_F(CPGetKeyParamTest, AnUnknownContextIsRefused) {
  m_handle = 0x1234567890;
  ExpectRefused(ReadOf(1, 3), Code(NTE_BAD_UID), kGiven);
  EXPECT_EQ(Arguments(3, kGiven, m_buffer.data()) + Line("The context does not exist"), TakeLog());
}

TEST_F(CPGetKeyParamTest, FlagsAreRefusedBeforeTheContextIsLookedUp) {
  m_length = kGiven;
  ExpectRefused(CPGetKeyParam(0x1234567890, 1, 3, m_buffer.data(), &m_length, 1), Code(NTE_BAD_FLAGS), kGiven);
  EXPECT_EQ(Arguments(3, kGiven, m_buffer.data(), 1) + Line("\nCPGetKeyParam Error: Invalid dwFlags "), TakeLog());
}

TEST_F(CPGetKeyParamTest, ANullLengthIsAnInvalidParameterAndChangesNothing) {
  Begin();
  for (const KeyKind kind : kAllKeys) {
    SetLastError(4711);
    EXPECT_EQ(FALSE, CPGetKeyParam(m_handle, m_handles.at(kind), 26, m_buffer.data(), nullptr, 0));
    EXPECT_EQ(Code(ERROR_INVALID_PARAMETER), GetLastError());
    ExpectBuffer({});
    EXPECT_EQ(FrameLines("CPGetKeyParam") + Value("\tdwParam:", "0000001A") + Value("\tdwFlags:", "00000000") +
                  Value("\tpbData: ", Hex8(m_buffer.data())) + Line("\nCPGetKeyParam Error: pcbDataLen is NULL"),
              TakeLog());
  }
}

}  // namespace

// Setting the parameters of keys: each parameter for each kind of key.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dialogs/ScriptedDialogs.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/KeyParamTest.h"
#include "module/DerCertificate.h"
#include "module/SampleCertificates.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::ValuesIn;

const Bytes kOne = {1, 0, 0, 0};

class CPSetKeyParamTest : public KeyParamTest {
 protected:
  BOOL Set(KeyKind kind, DWORD param, const Bytes& data) {
    m_data = data;
    return CPSetKeyParam(m_handle, m_handles.at(kind), param, m_data.data(), 0);
  }
  std::string Opening(DWORD param, DWORD flags = 0) const { return Arguments(param, m_data.data(), flags); }
  static std::string Arguments(DWORD param, const BYTE* data, DWORD flags) {
    return FrameLines("CPSetKeyParam") + Value("\tdwParam: \t", Hex8(param)) + Value("\tpbData: \t", Hex8(data)) +
           Value("\tdwFlags: \t", Hex8(flags));
  }
  static std::string Success() { return Line("\nCPSetKeyParam Success"); }
  // Everything but IV and salt, in the order of the parameters.
  std::vector<DWORD> StateOf(KeyKind kind) {
    const CCSPSecretKey& key = SessionKey(kind);
    return {key.GetPadding(), key.GetMode(), key.GetModeBits(), key.GetPermissions(), key.GetBlockLength()};
  }
  static std::vector<DWORD> FreshState(KeyKind kind) {
    const DWORD bits = kind == KeyKind::kAes ? 128 : 64;
    return {1, 1, bits, 1, bits};
  }

  Bytes m_data;  // as it was passed
};

// --- Each parameter

// What setting a parameter does for one kind of key: it succeeds and logs these lines, or it is refused with this line.
struct Outcome {
  std::string logged;
  DWORD code = 0;
};

Outcome Done(const std::string& logged = std::string()) { return {logged}; }
Outcome Refused(const std::string& line, DWORD code) { return {line, code}; }

struct SetRow {
  const char* name;
  DWORD param;
  Bytes data;
  Outcome sessionKey;
  Outcome keyPair;
};

const Outcome kBadKeyType = Refused(Line("\nCPSetKeyParam Error: Bad key type"), Code(NTE_BAD_TYPE));
const Outcome kBadPadding = Refused(Line("\nCPSetKeyParam invalid PADDING"), Code(NTE_BAD_FLAGS));

Outcome BadPermission(const std::string& number) {
  return Refused(Value("\nCPSetKeyParam Error: Invalid permission in pbData: ", number), Code(NTE_BAD_FLAGS));
}

const SetRow kSetRows[] = {
    {"IV", 1, Bytes(16, 7), Done(Line("Initial Vector Set!")),
     Refused(Line("CPSetKeyParam Error: KP_IV valid only on Symmetric Keys"), Code(NTE_BAD_TYPE))},
    {"Salt", 2, Bytes(16, 7), Refused(Line("Salt does not exist"), Code(NTE_BAD_KEY_STATE)),
     Refused(Line("CPSetKeyParam Error: KP_SALT valid only on Symmetric Keys"), Code(NTE_BAD_TYPE))},
    {"Padding", 3, kOne, Done(), Done()},
    {"AnotherPadding", 3, {2, 0, 0, 0}, kBadPadding, kBadPadding},
    {"PaddingWithAHighBit", 3, {1, 0, 0, 0x80}, kBadPadding, kBadPadding},
    {"Mode", 4, {2, 0, 0, 0}, Done(), Done()},
    {"ModeBits", 5, {8, 0, 0, 0}, Done(), Done()},
    {"AllPermissions", 6, {0x3F, 0, 0, 0}, Done(), Done()},
    {"NoPermissions", 6, {0, 0, 0, 0}, Done(), Done()},
    {"OnePermissionTooMany", 6, {0x40, 0, 0, 0}, BadPermission("40"), BadPermission("40")},
    {"PermissionsFarOutOfRange", 6, {0x01, 0, 0, 0x80}, BadPermission("80000001"), BadPermission("80000001")},
    {"SaltEx", 10, Bytes(sizeof(CRYPT_INTEGER_BLOB), 0), Done(),
     Refused(Line("CPSetKeyParam Error: KP_SALT_EX valid only on Symmetric Keys"), Code(NTE_BAD_TYPE))},
    {"EffectiveKeyLength", 19, {40, 0, 0, 0}, Done(), Done()},
    {"Algorithm", 7, kOne, kBadKeyType, kBadKeyType},
    {"BlockLength", 8, kOne, kBadKeyType, kBadKeyType},
    {"KeyLength", 9, kOne, kBadKeyType, kBadKeyType},
    {"PinInfo", 44, kOne, kBadKeyType, kBadKeyType},
    {"Zero", 0, kOne, kBadKeyType, kBadKeyType},
};

class KeyParamIsSetTest : public CPSetKeyParamTest, public ::testing::WithParamInterface<SetRow> {
 protected:
  void Try(KeyKind kind, const Outcome& outcome) {
    SCOPED_TRACE(NameOf(kind));
    SetLastError(4711);
    const BOOL result = Set(kind, GetParam().param, GetParam().data);
    EXPECT_EQ(outcome.code == 0 ? TRUE : FALSE, result);
    EXPECT_EQ(outcome.code, GetLastError());
    EXPECT_EQ(Opening(GetParam().param) + outcome.logged + (outcome.code == 0 ? Success() : ""), TakeLog());
    EXPECT_EQ(Calls(), m_module.TakeCalls());
  }
};

TEST_P(KeyParamIsSetTest, IsSetOrRefused) {
  Begin();
  for (const KeyKind kind : kSessionKeys) Try(kind, GetParam().sessionKey);
  for (const KeyKind kind : kKeyPairs) Try(kind, GetParam().keyPair);
}

INSTANTIATE_TEST_SUITE_P(Param, KeyParamIsSetTest, ValuesIn(kSetRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- What it does to the key

TEST_F(CPSetKeyParamTest, TheIVIsAsLongAsTheOldOne) {
  Begin();
  EXPECT_TRUE(Set(KeyKind::kDes, 1, Counting(8, 1)));
  EXPECT_TRUE(Set(KeyKind::kTwoKeyTripleDes, 1, Counting(8, 0x11)));
  EXPECT_TRUE(Set(KeyKind::kTripleDes, 1, Counting(8, 0x21)));
  EXPECT_TRUE(Set(KeyKind::kAes, 1, Counting(16, 0x31)));
  EXPECT_EQ("CKM_DES_CBC with 0102030405060708", MechanismOf(KeyKind::kDes));
  EXPECT_EQ("CKM_DES3_CBC with 1112131415161718", MechanismOf(KeyKind::kTwoKeyTripleDes));
  EXPECT_EQ("CKM_DES3_CBC with 2122232425262728", MechanismOf(KeyKind::kTripleDes));
  EXPECT_EQ("CKM_AES_CBC with 3132333435363738393A3B3C3D3E3F40", MechanismOf(KeyKind::kAes));
}

TEST_F(CPSetKeyParamTest, AnIVPutsAnEcbKeyIntoCbcMode) {
  Begin();
  SessionKey(KeyKind::kDes).SetMode(CRYPT_MODE_ECB);
  EXPECT_TRUE(Set(KeyKind::kDes, 1, Counting(8, 1)));
  EXPECT_EQ("CKM_DES_CBC with 0102030405060708", MechanismOf(KeyKind::kDes));
}

TEST_F(CPSetKeyParamTest, TheModeSelectsTheKeysMechanism) {
  Begin();
  for (const KeyKind kind : kSessionKeys) EXPECT_TRUE(Set(kind, 4, {2, 0, 0, 0})) << NameOf(kind);
  EXPECT_EQ("CKM_DES_ECB", MechanismOf(KeyKind::kDes));
  EXPECT_EQ("CKM_DES3_ECB", MechanismOf(KeyKind::kTwoKeyTripleDes));
  EXPECT_EQ("CKM_DES3_ECB", MechanismOf(KeyKind::kTripleDes));
  EXPECT_EQ("CKM_AES_ECB", MechanismOf(KeyKind::kAes));
}

TEST_F(CPSetKeyParamTest, AModeThatTheKeyRefusesIsRefused) {
  Begin();
  ExpectRefused(Code(NTE_BAD_FLAGS), Set(KeyKind::kAes, 4, {7, 0, 0, 0}));
  EXPECT_EQ(Opening(4) + Line("Invalid Mode specified"), TakeLog());
  EXPECT_TRUE(Set(KeyKind::kDes, 4, {7, 0, 0, 0}));
}

TEST_F(CPSetKeyParamTest, AllFourBytesOfANumberAreUsed) {
  Begin();
  for (const KeyKind kind : kSessionKeys) {
    EXPECT_TRUE(Set(kind, 5, {0x78, 0x56, 0x34, 0x12}));
    EXPECT_TRUE(Set(kind, 6, {0x3F, 0, 0, 0}));
    EXPECT_EQ(0x12345678U, SessionKey(kind).GetModeBits());
    EXPECT_EQ(0x3FU, SessionKey(kind).GetPermissions());
  }
}

TEST_F(CPSetKeyParamTest, ARefusedValueChangesNothing) {
  Begin();
  for (const KeyKind kind : kSessionKeys) {
    EXPECT_FALSE(Set(kind, 3, {2, 0, 0, 0}));
    EXPECT_FALSE(Set(kind, 6, {0x40, 0, 0, 0}));
    EXPECT_FALSE(Set(kind, 2, Bytes(16, 7)));
    EXPECT_EQ(FreshState(kind), StateOf(kind)) << NameOf(kind);
  }
}

TEST_F(CPSetKeyParamTest, TheEffectiveLengthHasNoEffect) {
  Begin();
  for (const KeyKind kind : kSessionKeys) {
    EXPECT_TRUE(Set(kind, 19, {40, 0, 0, 0}));
    EXPECT_EQ(FreshState(kind), StateOf(kind)) << NameOf(kind);
  }
}

TEST_F(CPSetKeyParamTest, AModeOfAKeyPairIsAcceptedAndChangesNothing) {
  Begin();
  for (const KeyKind kind : kKeyPairs) EXPECT_TRUE(Set(kind, 4, {2, 0, 0, 0}));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  for (const KeyKind kind : kSessionKeys) EXPECT_EQ(FreshState(kind), StateOf(kind));
}

TEST_F(CPSetKeyParamTest, PermissionsUpToSixBitsAreAccepted) {
  Begin();
  EXPECT_TRUE(Set(KeyKind::kDes, 6, {0x3F, 0, 0, 0}));
  ExpectRefused(Code(NTE_BAD_FLAGS), Set(KeyKind::kDes, 6, {0x40, 0, 0, 0}));
  EXPECT_EQ(0x3FU, SessionKey(KeyKind::kDes).GetPermissions());
}

// --- Salt

// The data for KP_SALT_EX.
Bytes BlobOf(const Bytes& bytes) {
  CRYPT_INTEGER_BLOB blob = {};
  blob.cbData = static_cast<DWORD>(bytes.size());
  blob.pbData = const_cast<BYTE*>(bytes.data());
  Bytes raw(sizeof(blob));
  std::memcpy(raw.data(), &blob, sizeof(blob));
  return raw;
}

TEST_F(CPSetKeyParamTest, OnlyKpSaltExGivesAKeyItsFirstSalt) {
  Begin();
  const Bytes salt = Counting(5, 1);
  for (const KeyKind kind : kSessionKeys) {
    SCOPED_TRACE(NameOf(kind));
    ExpectRefused(Code(NTE_BAD_KEY_STATE), Set(kind, 2, Bytes(16, 7)));
    EXPECT_TRUE(Set(kind, 10, BlobOf(salt)));
    EXPECT_EQ(5U, SaltLength(kind));
    EXPECT_TRUE(Set(kind, 2, Counting(5, 1)));
    EXPECT_EQ(10U, SaltLength(kind));
    EXPECT_TRUE(Set(kind, 2, Counting(10, 1)));
    EXPECT_EQ(20U, SaltLength(kind));
  }
}

TEST_F(CPSetKeyParamTest, AnEmptyBlobAddsNoSalt) {
  Begin();
  EXPECT_TRUE(Set(KeyKind::kDes, 10, BlobOf({})));
  ExpectRefused(Code(NTE_BAD_KEY_STATE), Set(KeyKind::kDes, 2, Bytes(16, 7)));
}

TEST_F(CPSetKeyParamTest, ABlobNeedNotBeAligned) {
  Begin();
  const Bytes salt = Counting(5, 1);
  const Bytes blob = Joined({{0}, BlobOf(salt)});
  EXPECT_TRUE(CPSetKeyParam(m_handle, m_handles.at(KeyKind::kDes), 10, blob.data() + 1, 0));
  EXPECT_EQ(5U, SaltLength(KeyKind::kDes));
}

// --- The certificate

const char kCreate[] =
    "C_CreateObject(1, {CKA_TOKEN=true, CKA_ISSUER=3011310F300D06035504030C06497373756572, "
    "CKA_SUBJECT=302F310B30090603... (49 bytes), CKA_SERIAL_NUMBER=030201, CKA_LABEL=486F6C646572, CKA_CLASS=1, "
    "CKA_ID=6F6E65, CKA_VALUE=3082012B3081D602... (303 bytes)})";

class CertificateOfKeyTest : public CPSetKeyParamTest {
 protected:
  void BeginLoggedIn() {
    Begin();
    LogIn();
  }
  void LogIn() {
    const BYTE pin[] = {'1', '2', '3', '4'};
    Context().LoginWithPIN(pin, sizeof(pin));
    m_module.ForgetCalls();
    TakeLog();
    SetLastError(4711);
  }
};

TEST_F(CertificateOfKeyTest, IsWrittenWhicheverKeyIsPassed) {
  for (const KeyKind kind : {KeyKind::kSignaturePair, KeyKind::kExchangePair, KeyKind::kAes, KeyKind::kDes}) {
    SCOPED_TRACE(NameOf(kind));
    if (m_handle == 0) BeginLoggedIn();
    SetLastError(4711);
    EXPECT_EQ(TRUE, Set(kind, 26, kHolderCertificate));
    EXPECT_EQ(0U, GetLastError());
    EXPECT_EQ(kCreate, m_module.TakeCalls().back());
    const std::string log = TakeLog();
    EXPECT_EQ(0U, log.find(Opening(26) + Line("Login") + Line("\nInitializing PIN cache")));
    EXPECT_THAT(log, EndsWith(Line("Creating Certificate") + Line("Creating Certificate Success") + Success()));
  }
}

TEST_F(CertificateOfKeyTest, EndsWhereItsHeaderSays) {
  BeginLoggedIn();
  Bytes longer = kHolderCertificate;
  longer.resize(longer.size() + 100, 0xEE);
  EXPECT_TRUE(Set(KeyKind::kExchangePair, 26, longer));
  EXPECT_EQ(kCreate, m_module.TakeCalls().back());
}

TEST_F(CertificateOfKeyTest, CanBeReadBack) {
  BeginLoggedIn();
  EXPECT_TRUE(Set(KeyKind::kExchangePair, 26, kHolderCertificate));
  Bytes read(500, 0xEE);
  DWORD length = 500;
  EXPECT_TRUE(CPGetKeyParam(m_handle, m_handles.at(KeyKind::kExchangePair), 26, read.data(), &length, 0));
  ASSERT_EQ(303U, length);
  read.resize(length);
  EXPECT_EQ(kHolderCertificate, read);
}

TEST_F(CertificateOfKeyTest, WithALengthBeyond32BitsIsBadData) {
  BeginLoggedIn();
  ExpectRefused(Code(NTE_BAD_DATA), Set(KeyKind::kExchangePair, 26, {0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(Opening(26) + Line("The encoded length is too large"), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CertificateOfKeyTest, IsNteFailWhenTheTokenRefusesIt) {
  BeginLoggedIn();
  m_module.FailNext("C_CreateObject", CKR_DEVICE_MEMORY);
  ExpectRefused(Code(NTE_FAIL), Set(KeyKind::kExchangePair, 26, kHolderCertificate));
  EXPECT_THAT(TakeLog(),
              EndsWith(Line("Creating Certificate") + Line("Catch....") + Line(ErrorText(CKR_DEVICE_MEMORY))));
}

TEST_F(CertificateOfKeyTest, NeedsALogin) {
  Begin();
  ScriptedDialogs dialogs;
  dialogs.OnNext(CancelDialog());
  ExpectRefused(Code(SCARD_W_CANCELLED_BY_USER), Set(KeyKind::kExchangePair, 26, kHolderCertificate));
  EXPECT_THAT(TakeLog(), EndsWith(Line("User Interface cancelled by user")));
}

TEST_F(CertificateOfKeyTest, FailsAtTheIdentifierInAContextWithoutKeys) {
  m_token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
  BeginWithToken();
  LogIn();
  ExpectRefused(Code(NTE_FAIL), Set(KeyKind::kExchangePair, 26, kHolderCertificate));
  EXPECT_THAT(TakeLog(), EndsWith(Line("Get Public Key ID 1") + Line(ErrorText(CKR_ARGUMENTS_BAD))));
}

// --- The frame

TEST_F(CPSetKeyParamTest, ForAnUnknownKeyTheResultIsAnErrorCodeInsteadOfFalse) {
  Begin();
  const BOOL result = CPSetKeyParam(m_handle, m_unknownKey, 3, kOne.data(), 0);
  EXPECT_EQ(Code(NTE_BAD_KEY), static_cast<DWORD>(result));
  EXPECT_EQ(Code(NTE_NO_KEY), GetLastError());
  EXPECT_EQ(Arguments(3, kOne.data(), 0) + Line("\nCPGetKeyParam Error: Key does not exist in this context "),
            TakeLog());
}

TEST_F(CPSetKeyParamTest, AnImportedKeyIsAnUnknownKey) {
  Begin();
  for (const DWORD param : {1U, 2U, 3U, 4U, 5U, 6U, 10U, 19U, 26U, 7U}) {
    SetLastError(4711);
    EXPECT_EQ(Code(NTE_BAD_KEY), static_cast<DWORD>(Set(KeyKind::kImported, param, kHolderCertificate))) << param;
    EXPECT_EQ(Code(NTE_NO_KEY), GetLastError());
    EXPECT_EQ(Opening(param) + Line("\nCPGetKeyParam Error: Key does not exist in this context "), TakeLog());
    EXPECT_EQ(Calls(), m_module.TakeCalls());
  }
}

TEST_F(CPSetKeyParamTest, UpperBitsCountOnlyInAHandleOfThePair) {
  constexpr HCRYPTKEY kUpperBit = HCRYPTKEY{1} << 32U;
  Begin();
  EXPECT_EQ(TRUE, CPSetKeyParam(m_handle, m_handles[KeyKind::kDes] | kUpperBit, 3, kOne.data(), 0));
  for (const KeyKind kind : kKeyPairs) {
    const BOOL result = CPSetKeyParam(m_handle, m_handles[kind] | kUpperBit, 3, kOne.data(), 0);
    EXPECT_EQ(Code(NTE_BAD_KEY), static_cast<DWORD>(result)) << NameOf(kind);
    EXPECT_EQ(Code(NTE_NO_KEY), GetLastError());
  }
}

TEST_F(CPSetKeyParamTest, AnUnknownContextIsRefused) {
  ExpectRefused(Code(NTE_BAD_UID), CPSetKeyParam(0x1234567890, 1, 3, kOne.data(), 0));
  EXPECT_EQ(Arguments(3, kOne.data(), 0) + Line("The context does not exist"), TakeLog());
}

TEST_F(CPSetKeyParamTest, RefusedFlagsAreLoggedUnderTheNameOfTheGetFunction) {
  ExpectRefused(Code(NTE_BAD_FLAGS), CPSetKeyParam(0x1234567890, 1, 3, nullptr, 1));
  EXPECT_EQ(Arguments(3, nullptr, 1) + Line("\nCPGetKeyParam Error: Invalid dwFlags "), TakeLog());
}

TEST_F(CPSetKeyParamTest, NullDataIsAnInvalidParameter) {
  ExpectRefused(Code(ERROR_INVALID_PARAMETER), CPSetKeyParam(0x1234567890, 1, 3, nullptr, 0));
  EXPECT_EQ(Arguments(3, nullptr, 0) + Line("\nCPSetKeyParam Error: pbData is NULL"), TakeLog());
}

}  // namespace

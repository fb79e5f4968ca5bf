// What a session key stores, and the module calls that it makes. An IV cannot be read from a key: it is seen as the
// mechanism's parameter.
#include <algorithm>
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/SecretKeyTest.h"
#include "module/WaitingLogin.h"
#include "objects/C3DESKey.h"
#include "objects/CAES_128Key.h"
#include "objects/CDESKey.h"

namespace {

constexpr DWORD kCbc = 1;
constexpr DWORD kEcb = 2;
constexpr DWORD kOfb = 3;
constexpr DWORD kCfb = 4;

struct KeyCase {
  const char* name;
  ALG_ID algorithm;
  CK_KEY_TYPE type;
  DWORD keyLength;
  DWORD bitsAtFirst;
  DWORD blockBits;
  DWORD feedbackBits;
  DWORD ivLength;
  const char* cbc;
  const char* ecb;
  const char* zeros;
  const char* ivRefused;
};

const KeyCase kKeys[] = {
    {"DES", 0x6601, CKK_DES, 8, 64, 64, 8, 8, "CKM_DES_CBC", "CKM_DES_ECB", "0000000000000000",
     "Initial Vector should be 8 for DES Keys"},
    {"TwoKeyTripleDES", 0x6609, CKK_DES2, 16, 64, 64, 8, 8, "CKM_DES3_CBC", "CKM_DES3_ECB", "0000000000000000",
     "Initial Vector should be 8 for DES Keys"},
    {"TripleDES", 0x6603, CKK_DES3, 24, 64, 64, 8, 8, "CKM_DES3_CBC", "CKM_DES3_ECB", "0000000000000000",
     "Initial Vector should be 8 for DES Keys"},
    {"AES", 0x660E, CKK_AES, 16, 0, 128, 16, 16, "CKM_AES_CBC", "CKM_AES_ECB", "00000000000000000000000000000000",
     "Initial Vector should be 16 for AES Keys"},
};

// A session key under test, and the module calls that it makes.
class KeyTest : public SecretKeyTest {
 protected:
  void Use(const boost::shared_ptr<CCSPSecretKey>& key) { m_key = key; }
  void UseDES(DWORD mode = kCbc) {
    Use(Make(CALG_DES, MakeObject(CKK_DES, 8)));
    m_key->SetMode(mode);
  }
  void UseAES(DWORD mode = kCbc) {
    Use(Make(CALG_AES_128, MakeObject(CKK_AES, 16)));
    m_key->SetMode(mode);
  }

  // The output for `in`. The scripted module XORs each byte with 0x5A.
  Bytes Encrypt(const Bytes& in, std::size_t room = 64) { return Run(&CCSPSecretKey::Encrypt, in, room); }
  Bytes Decrypt(const Bytes& in, std::size_t room = 64) { return Run(&CCSPSecretKey::Decrypt, in, room); }

  // The mechanism of the next operation. The module refuses the operation, so it has no other effect.
  std::string NextMechanism() {
    m_module->ForgetCalls();
    m_module->FailNext("C_EncryptInit", CKR_DEVICE_ERROR);
    EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, Encrypt(Bytes(16)));
    const Calls calls = m_module->TakeCalls();
    EXPECT_EQ(1U, calls.size());
    // C_EncryptInit(1, <mechanism>, 1)
    const std::string& call = calls.front();
    return call.substr(17, call.rfind(", ") - 17);
  }

  DWORD IVLength() {
    DWORD length = 4711;
    m_key->GetIV(nullptr, &length);
    return length;
  }

  boost::shared_ptr<CCSPSecretKey> m_key;

 private:
  Bytes Run(void (CCSPSecretKey::*operation)(const BYTE*, DWORD, BYTE*, DWORD*), const Bytes& in, std::size_t room) {
    Bytes out(room, 0xEE);
    auto length = static_cast<DWORD>(room);
    (*m_key.*operation)(in.data(), static_cast<DWORD>(in.size()), out.data(), &length);
    EXPECT_LE(length, room);
    out.resize(length);
    return out;
  }
};

class EachKeyTest : public KeyTest, public ::testing::WithParamInterface<KeyCase> {
 protected:
  EachKeyTest() : m_object(MakeObject(GetParam().type, GetParam().keyLength)) {
    Use(Make(GetParam().algorithm, m_object));
  }

  std::string CbcWith(const std::string& iv) { return std::string(GetParam().cbc) + " with " + iv; }
  // An IV of the class's length, and how the journal shows it.
  Bytes CountedIV() { return Counting(GetParam().ivLength, 1); }
  std::string CountedText() {
    return std::string("0102030405060708090A0B0C0D0E0F10").substr(0, 2 * GetParam().ivLength);
  }

  CK_OBJECT_HANDLE m_object;
};

// --- Values

TEST_P(EachKeyTest, StartsWithTheValuesOfItsClass) {
  EXPECT_EQ(GetParam().algorithm, m_key->GetAlgID());
  EXPECT_EQ(GetParam().keyLength, m_key->GetKeyLength());
  EXPECT_EQ(GetParam().bitsAtFirst, m_key->GetBlockLength());
  EXPECT_EQ(1U, m_key->GetPadding());
  EXPECT_EQ(0U, m_key->GetMode());
  EXPECT_EQ(0U, m_key->GetModeBits());
  EXPECT_EQ(0U, m_key->GetPermissions());
  EXPECT_EQ(m_object, m_key->GetObjectHandle());
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_P(EachKeyTest, BeforeAModeIsSetItsMechanismIsDesEcb) { EXPECT_EQ("CKM_DES_ECB", NextMechanism()); }

TEST_P(EachKeyTest, AlgorithmAndLengthsCannotBeSet) {
  m_key->SetAlgID(1);
  m_key->SetBlockLength(2);
  m_key->SetKeyLength(3);
  EXPECT_EQ(GetParam().algorithm, m_key->GetAlgID());
  EXPECT_EQ(GetParam().bitsAtFirst, m_key->GetBlockLength());
  EXPECT_EQ(GetParam().keyLength, m_key->GetKeyLength());
}

TEST_P(EachKeyTest, PermissionsAndModeBitsAreStoredUnchanged) {
  m_key->SetPermissions(0xFFFFFFFF);
  m_key->SetModeBits(7);
  EXPECT_EQ(0xFFFFFFFFU, m_key->GetPermissions());
  EXPECT_EQ(7U, m_key->GetModeBits());
  EXPECT_EQ(GetParam().bitsAtFirst, m_key->GetBlockLength());
}

TEST_P(EachKeyTest, OnlyPkcs5PaddingIsAccepted) {
  m_key->SetPadding(1);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "Only supports PKCS5_PADDING", m_key->SetPadding(2));
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "Only supports PKCS5_PADDING", m_key->SetPadding(0));
  EXPECT_EQ(1U, m_key->GetPadding());
}

// --- Modes

TEST_P(EachKeyTest, CbcStartsWithAnIVOfZeros) {
  m_key->SetMode(kCbc);
  EXPECT_EQ(kCbc, m_key->GetMode());
  EXPECT_EQ(GetParam().blockBits, m_key->GetBlockLength());
  EXPECT_EQ(GetParam().blockBits, m_key->GetModeBits());
  EXPECT_EQ(CbcWith(GetParam().zeros), NextMechanism());
  EXPECT_EQ(GetParam().ivLength, IVLength());
}

TEST_P(EachKeyTest, EcbRemovesTheIV) {
  m_key->SetMode(kCbc);
  m_key->SetMode(kEcb);
  EXPECT_EQ(kEcb, m_key->GetMode());
  EXPECT_EQ(GetParam().blockBits, m_key->GetBlockLength());
  EXPECT_EQ(GetParam().blockBits, m_key->GetModeBits());
  EXPECT_EQ(GetParam().ecb, NextMechanism());
  m_key->SetMode(kCbc);
  EXPECT_EQ(CbcWith(GetParam().zeros), NextMechanism());
}

TEST_P(EachKeyTest, OfbAndCfbRunAsCbcAndReportFeedbackBits) {
  for (const DWORD mode : {kOfb, kCfb}) {
    m_key->SetMode(mode);
    EXPECT_EQ(mode, m_key->GetMode());
    EXPECT_EQ(GetParam().feedbackBits, m_key->GetBlockLength());
    EXPECT_EQ(GetParam().feedbackBits, m_key->GetModeBits());
    EXPECT_EQ(CbcWith(GetParam().zeros), NextMechanism());
  }
}

TEST_P(EachKeyTest, AnIVIsKeptBetweenChainingModes) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  for (const DWORD mode : {kCfb, kOfb, kCbc}) {
    m_key->SetMode(mode);
    EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
  }
}

TEST_P(EachKeyTest, SettingAModeOverwritesTheModeBits) {
  m_key->SetModeBits(7);
  m_key->SetMode(kEcb);
  EXPECT_EQ(GetParam().blockBits, m_key->GetModeBits());
}

class EachDESKeyTest : public EachKeyTest {};

TEST_P(EachDESKeyTest, AnUnknownModeIsStoredAndChangesNothingElse) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), 8);
  for (const DWORD mode : {7U, 0U, 5U, 0xFFFFFFFFU}) {
    m_key->SetMode(mode);
    EXPECT_EQ(mode, m_key->GetMode());
    EXPECT_EQ(64U, m_key->GetBlockLength());
    EXPECT_EQ(64U, m_key->GetModeBits());
    EXPECT_EQ(CbcWith("0102030405060708"), NextMechanism());
  }
}

TEST_F(KeyTest, AnUnknownModeOfAesIsStoredAndRefused) {
  UseAES();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "Invalid Mode specified", m_key->SetMode(7));
  EXPECT_EQ(7U, m_key->GetMode());
  EXPECT_EQ(128U, m_key->GetBlockLength());
  EXPECT_EQ(128U, m_key->GetModeBits());
  EXPECT_EQ("CKM_AES_CBC with 00000000000000000000000000000000", NextMechanism());
}

// --- The IV

TEST_P(EachKeyTest, AnIVOfTheBlockLengthReachesTheModule) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
}

TEST_P(EachKeyTest, AnIVOfAnotherLengthIsRefusedAndTheOldOneStays) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  const Bytes iv(64, 0xEE);
  for (const DWORD length : {0U, 1U, 7U, 8U, 9U, 15U, 16U, 17U, 24U}) {
    if (length == GetParam().ivLength) continue;
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), GetParam().ivRefused, m_key->SetIV(iv.data(), length));
  }
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), GetParam().ivRefused, m_key->SetIV(nullptr, GetParam().ivLength));
  EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
}

TEST_P(EachKeyTest, AnIVThatIsSetInEcbDoesNotReachTheModule) {
  m_key->SetMode(kEcb);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  EXPECT_EQ(GetParam().ecb, NextMechanism());
  m_key->SetMode(kCbc);
  EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
}

TEST_P(EachKeyTest, AskingForTheIVLengthSwitchesEcbToCbc) {
  m_key->SetMode(kEcb);
  EXPECT_EQ(GetParam().ivLength, IVLength());
  EXPECT_EQ(kCbc, m_key->GetMode());
  EXPECT_EQ(CbcWith(GetParam().zeros), NextMechanism());
}

TEST_P(EachKeyTest, AskingForTheIVLengthSetsANewKeyToCbc) {
  EXPECT_EQ(GetParam().ivLength, IVLength());
  EXPECT_EQ(kCbc, m_key->GetMode());
  EXPECT_EQ(GetParam().blockBits, m_key->GetBlockLength());
}

TEST_P(EachKeyTest, ReadingTheIVSetsItToTheCallersBytes) {
  m_key->SetMode(kCbc);
  Bytes buffer = Counting(32, 1);
  DWORD length = 32;
  m_key->GetIV(buffer.data(), &length);
  EXPECT_EQ(Counting(32, 1), buffer);
  EXPECT_EQ(32U, length);
  EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
}

TEST_P(EachKeyTest, ReadingTheIVIntoAnExactBufferChangesNeitherBytesNorLength) {
  Bytes buffer = CountedIV();
  DWORD length = GetParam().ivLength;
  m_key->GetIV(buffer.data(), &length);
  EXPECT_EQ(CountedIV(), buffer);
  EXPECT_EQ(GetParam().ivLength, length);
  EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
}

TEST_P(EachKeyTest, ReadingTheIVIntoATooSmallBufferReturnsItsLength) {
  m_key->SetMode(kCbc);
  Bytes buffer = CountedIV();
  DWORD length = GetParam().ivLength - 1;
  EXPECT_CONTEXT_ERROR(Code(ERROR_MORE_DATA), "IV Length given is less than actual IV length",
                       m_key->GetIV(buffer.data(), &length));
  EXPECT_EQ(GetParam().ivLength, length);
  EXPECT_EQ(CbcWith(GetParam().zeros), NextMechanism());
}

// --- The salt

TEST_P(EachKeyTest, WithoutASaltItsLengthCannotBeRead) {
  DWORD length = 4711;
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEY_STATE), "Salt does not exist", m_key->GetSalt(nullptr, &length));
  EXPECT_EQ(4711U, length);
  m_key->AddSalt(nullptr, 5);
  m_key->AddSalt(Bytes(5).data(), 0);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEY_STATE), "Salt does not exist", m_key->GetSalt(nullptr, &length));
}

TEST_P(EachKeyTest, WithoutASaltABufferIsLeftAlone) {
  Bytes buffer = Counting(4, 1);
  DWORD length = 4;
  m_key->GetSalt(buffer.data(), &length);
  EXPECT_EQ(Counting(4, 1), buffer);
  EXPECT_EQ(4U, length);
}

TEST_P(EachKeyTest, SaltIsAppended) {
  m_key->AddSalt(Bytes(3).data(), 3);
  m_key->AddSalt(Bytes(2).data(), 2);
  DWORD length = 0;
  m_key->GetSalt(nullptr, &length);
  EXPECT_EQ(5U, length);
}

TEST_P(EachKeyTest, ReadingTheSaltChangesNeitherBufferNorLength) {
  m_key->AddSalt(Bytes(3, 0xEE).data(), 3);
  Bytes buffer = Counting(4, 1);
  DWORD length = 4;
  m_key->GetSalt(buffer.data(), &length);
  EXPECT_EQ(Counting(4, 1), buffer);
  EXPECT_EQ(4U, length);
}

TEST_P(EachKeyTest, ReadingTheSaltIntoATooSmallBufferReturnsItsLength) {
  m_key->AddSalt(Bytes(3).data(), 3);
  BYTE buffer[2] = {};
  DWORD length = 2;
  EXPECT_CONTEXT_ERROR(Code(ERROR_MORE_DATA), "Salt Length given is less than actual salt length",
                       m_key->GetSalt(buffer, &length));
  EXPECT_EQ(3U, length);
}

// --- Encrypt

TEST_P(EachKeyTest, AnEncryptionIsOneOperationOfTheModule) {
  m_key->SetMode(kCbc);
  EXPECT_EQ(Bytes(16, 0x5A), Encrypt(Bytes(16)));
  EXPECT_EQ((Calls{"C_EncryptInit(1, " + CbcWith(GetParam().zeros) + ", 1)", "C_Encrypt(1, 16 bytes, room 64)"}),
            m_module->TakeCalls());
}

TEST_P(EachKeyTest, EcbEncryptionsDoNotChain) {
  m_key->SetMode(kEcb);
  Encrypt(Bytes(16));
  Encrypt(Bytes(16));
  const std::string init = std::string("C_EncryptInit(1, ") + GetParam().ecb + ", 1)";
  EXPECT_EQ((Calls{init, "C_Encrypt(1, 16 bytes, room 64)", init, "C_Encrypt(1, 16 bytes, room 64)"}),
            m_module->TakeCalls());
}

TEST_P(EachKeyTest, NothingIsPadded) {
  m_key->SetMode(kCbc);
  EXPECT_CRYPTOKI_ERROR(CKR_DATA_LEN_RANGE, Encrypt(Bytes(15)));
}

TEST_P(EachKeyTest, AskingForTheEncryptedLengthKeepsTheIV) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  DWORD length = 0;
  m_key->Encrypt(Bytes(32).data(), 32, nullptr, &length);
  EXPECT_EQ(32U, length);
  EXPECT_EQ((Calls{"C_EncryptInit(1, " + CbcWith(CountedText()) + ", 1)", "C_Encrypt(1, 32 bytes, null)"}),
            m_module->TakeCalls());
  EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
}

TEST_P(EachKeyTest, AFailedEncryptionKeepsTheIV) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  for (const char* entry : {"C_EncryptInit", "C_Encrypt"}) {
    m_module->FailNext(entry, CKR_DEVICE_REMOVED);
    EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, Encrypt(Bytes(16)));
  }
  EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
  EXPECT_EQ(kCbc, m_key->GetMode());
}

TEST_P(EachKeyTest, ATooSmallBufferIsRefusedByTheModule) {
  m_key->SetMode(kCbc);
  EXPECT_CRYPTOKI_ERROR(CKR_BUFFER_TOO_SMALL, Encrypt(Bytes(32), 16));
}

TEST_P(EachDESKeyTest, TwoEncryptionsChainOnTheLastBlock) {
  m_key->SetMode(kCbc);
  Encrypt(Counting(16, 0));
  m_module->ForgetCalls();
  Encrypt(Bytes(8));
  // 08 to 0F, XORed with 0x5A.
  EXPECT_EQ("C_EncryptInit(1, " + CbcWith("5253505156575455") + ", 1)", m_module->TakeCalls().front());
  EXPECT_EQ(CbcWith("5A5A5A5A5A5A5A5A"), NextMechanism());
}

TEST_F(KeyTest, AnAesKeysIVIsTheLastHalfBlockAndTheBytesAfterIt) {
  UseAES();
  Bytes out = Counting(40, 0xA0);
  DWORD length = 40;
  m_key->Encrypt(Counting(16, 0).data(), 16, out.data(), &length);
  EXPECT_EQ(16U, length);
  EXPECT_EQ("CKM_AES_CBC with 5253505156575455B0B1B2B3B4B5B6B7", NextMechanism());
}

TEST_F(KeyTest, AnAesKeysIVHasZerosForBytesPastTheBuffer) {
  UseAES();
  Encrypt(Counting(16, 0), 16);
  EXPECT_EQ("CKM_AES_CBC with 52535051565754550000000000000000", NextMechanism());
}

TEST_F(KeyTest, WhenTheBufferEndsWithinAnAesKeysIVTheRestIsZero) {
  UseAES();
  Encrypt(Counting(16, 0), 19);
  EXPECT_EQ("CKM_AES_CBC with 5253505156575455EEEEEE0000000000", NextMechanism());
}

// Encrypts only the first half of its input.
class HalvingModule : public ScriptedModule {
 public:
  CK_RV C_Encrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR out,
                  CK_ULONG_PTR outLen) override {
    return ScriptedModule::C_Encrypt(session, data, dataLen / 2, out, outLen);
  }
};

TEST_F(KeyTest, EncryptingInPlaceAnAesKeysIVReadsToTheEndOfTheInput) {
  m_module = boost::make_shared<HalvingModule>();
  const CK_OBJECT_HANDLE object = m_module->InsertToken("Reader A").Add(SecretKeyObject(CKK_AES, Bytes(16)));
  Token token(0);
  token.SetCryptoki(m_module);
  *m_session = token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr);
  Use(Make(CALG_AES_128, object));
  m_key->SetMode(kCbc);
  Bytes data = Counting(32, 0);
  DWORD length = 16;
  m_key->Encrypt(data.data(), 32, data.data(), &length);
  EXPECT_EQ(16U, length);
  EXPECT_EQ("CKM_AES_CBC with 52535051565754551011121314151617", NextMechanism());
}

TEST_F(KeyTest, EncryptionInPlaceProducesTheSameBytes) {
  UseDES();
  Bytes data = Counting(16, 0);
  DWORD length = 16;
  m_key->Encrypt(data.data(), 16, data.data(), &length);
  Bytes expected = Counting(16, 0);
  for (unsigned char& byte : expected) byte = static_cast<unsigned char>(byte ^ 0x5A);
  EXPECT_EQ(expected, data);
  EXPECT_EQ("CKM_DES_CBC with 5253505156575455", NextMechanism());
}

TEST_P(EachKeyTest, AnOutputOfLessThanEightBytesKeepsTheIV) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  for (const CK_ULONG reported : {CK_ULONG{0}, CK_ULONG{7}}) {
    m_module->falsifyCount = [reported](const std::string& entry, CK_ULONG& count) {
      if (entry == "C_Encrypt") count = reported;
    };
    EXPECT_EQ(reported, Encrypt(Bytes(16)).size());
    EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
  }
}

TEST_P(EachKeyTest, ALengthFromTheModuleIsLimitedToTheBuffer) {
  m_key->SetMode(kCbc);
  m_module->falsifyCount = [](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Encrypt" || entry == "C_Decrypt") count = 0xFFFFFFFF;
  };
  EXPECT_EQ(24U, Encrypt(Bytes(16), 24).size());
  EXPECT_EQ(24U, Decrypt(Bytes(16), 24).size());
}

// --- Decrypt

TEST_P(EachKeyTest, TwoDecryptionsDoNotChainAndOnlyTheFirstUsesTheIV) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  EXPECT_EQ(Bytes(16), Decrypt(Bytes(16, 0x5A)));
  Decrypt(Bytes(32));
  EXPECT_EQ((Calls{"C_DecryptInit(1, " + CbcWith(CountedText()) + ", 1)", "C_Decrypt(1, 16 bytes, room 64)",
                   std::string("C_DecryptInit(1, ") + GetParam().cbc + ", 1)", "C_Decrypt(1, 32 bytes, room 64)"}),
            m_module->TakeCalls());
  EXPECT_EQ(kCbc, m_key->GetMode());
}

TEST_P(EachKeyTest, AfterADecryptionANewIVIsUsed) {
  m_key->SetMode(kCbc);
  Decrypt(Bytes(16));
  EXPECT_EQ(GetParam().cbc, NextMechanism());
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
}

TEST_P(EachKeyTest, AfterADecryptionSettingTheModeSetsAnIVOfZeros) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  Decrypt(Bytes(16));
  m_key->SetMode(kCbc);
  EXPECT_EQ(CbcWith(GetParam().zeros), NextMechanism());
}

TEST_P(EachKeyTest, AfterADecryptionAskingForTheIVLengthSetsAnIVOfZeros) {
  m_key->SetMode(kCfb);
  Decrypt(Bytes(16));
  EXPECT_EQ(GetParam().ivLength, IVLength());
  EXPECT_EQ(kCbc, m_key->GetMode());
  EXPECT_EQ(CbcWith(GetParam().zeros), NextMechanism());
}

TEST_P(EachKeyTest, EncryptionsAfterADecryptionDoNotChain) {
  m_key->SetMode(kCbc);
  Decrypt(Bytes(16));
  Encrypt(Bytes(16));
  EXPECT_EQ(GetParam().cbc, NextMechanism());
}

TEST_P(EachKeyTest, AskingForTheDecryptedLengthRemovesTheIV) {
  m_key->SetMode(kCbc);
  DWORD length = 0;
  m_key->Decrypt(Bytes(32).data(), 32, nullptr, &length);
  EXPECT_EQ(32U, length);
  EXPECT_EQ(GetParam().cbc, NextMechanism());
}

TEST_P(EachKeyTest, AFailedDecryptionKeepsTheIV) {
  m_key->SetMode(kCbc);
  m_key->SetIV(CountedIV().data(), GetParam().ivLength);
  for (const char* entry : {"C_DecryptInit", "C_Decrypt"}) {
    m_module->FailNext(entry, CKR_DEVICE_REMOVED);
    EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, Decrypt(Bytes(16)));
  }
  EXPECT_EQ(CbcWith(CountedText()), NextMechanism());
}

TEST_P(EachKeyTest, EcbDecryptsWithoutAParameter) {
  m_key->SetMode(kEcb);
  Decrypt(Bytes(16));
  Decrypt(Bytes(16));
  const std::string init = std::string("C_DecryptInit(1, ") + GetParam().ecb + ", 1)";
  EXPECT_EQ((Calls{init, "C_Decrypt(1, 16 bytes, room 64)", init, "C_Decrypt(1, 16 bytes, room 64)"}),
            m_module->TakeCalls());
}

// --- The value

TEST_P(EachKeyTest, TheValueIsReadInOneCallAndTheLengthIsUnchanged) {
  Bytes value(40, 0xEE);
  DWORD length = 40;
  m_key->GetKeyValue(value.data(), &length);
  EXPECT_EQ(40U, length);
  Bytes expected = Counting(GetParam().keyLength, 1);
  expected.resize(40, 0xEE);
  EXPECT_EQ(expected, value);
  EXPECT_EQ(Calls{"C_GetAttributeValue(1, 1, {CKA_VALUE[40]})"}, m_module->TakeCalls());
}

TEST_P(EachKeyTest, AskingForTheLengthOfTheValueDoesNotReturnIt) {
  DWORD length = 5;
  m_key->GetKeyValue(nullptr, &length);
  EXPECT_EQ(5U, length);
  EXPECT_EQ(Calls{"C_GetAttributeValue(1, 1, {CKA_VALUE?})"}, m_module->TakeCalls());
}

TEST_P(EachKeyTest, ASensitiveValueFailsWithTheModulesResult) {
  Bytes value(40);
  DWORD length = 40;
  m_module->FailNext("C_GetAttributeValue", CKR_ATTRIBUTE_SENSITIVE);
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_SENSITIVE, m_key->GetKeyValue(value.data(), &length));
  EXPECT_EQ(40U, length);
}

// --- Destruction

TEST_P(EachKeyTest, TheTokensObjectIsDestroyed) {
  m_key->DestroyObject();
  EXPECT_EQ(Calls{"C_DestroyObject(1, 1)"}, m_module->TakeCalls());
  EXPECT_TRUE(m_token.objects.empty());
  EXPECT_EQ(m_object, m_key->GetObjectHandle());
}

TEST_P(EachKeyTest, AFailedDestructionIsIgnoredAndTheNextCallTriesAgain) {
  m_key->DestroyObject();
  m_key->DestroyObject();
  EXPECT_EQ((Calls{"C_DestroyObject(1, 1)", "C_DestroyObject(1, 1)"}), m_module->TakeCalls());
}

TEST_F(KeyTest, WithoutAnObjectNothingIsDestroyed) {
  Use(Make(CALG_DES, 0));
  m_key->DestroyObject();
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

// --- Without a session, without a module

TEST_P(EachKeyTest, WithoutItsSessionAKeyDoesNothingOnTheToken) {
  m_key->SetMode(kCbc);
  m_session.reset();
  BYTE out[16] = {};
  DWORD length = 16;
  m_key->Encrypt(out, 16, out, &length);
  m_key->Decrypt(out, 16, out, &length);
  m_key->GetKeyValue(out, &length);
  m_key->DestroyObject();
  EXPECT_EQ(16U, length);
  EXPECT_EQ(GetParam().ivLength, IVLength());
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

TEST_F(KeyTest, WithoutAModuleEncryptionAndDecryptionFailAndOtherCallsDoNothing) {
  const auto none = boost::make_shared<Session>();
  Use(m_factory.CreateSecretKey(CALG_DES, none.get(), 1));
  m_key->SetMode(kCbc);
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Encrypt(Bytes(8)));
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, Decrypt(Bytes(8)));
  DWORD length = 8;
  m_key->GetKeyValue(nullptr, &length);
  m_key->DestroyObject();
  EXPECT_EQ(8U, length);
  EXPECT_EQ(Calls(), m_module->TakeCalls());
}

// --- Copies, and the base class

TEST_F(KeyTest, ACopyHasEverythingExceptTheParameter) {
  UseDES();
  m_key->SetIV(Counting(8, 1).data(), 8);
  m_key->SetPermissions(5);
  m_key->AddSalt(Bytes(3).data(), 3);
  const CCSPSecretKey source(*m_key);
  Use(boost::make_shared<CCSPSecretKey>(source));
  EXPECT_EQ(CALG_DES, m_key->GetAlgID());
  EXPECT_EQ(64U, m_key->GetBlockLength());
  EXPECT_EQ(8U, m_key->GetKeyLength());
  EXPECT_EQ(1U, m_key->GetPadding());
  EXPECT_EQ(kCbc, m_key->GetMode());
  EXPECT_EQ(5U, m_key->GetPermissions());
  EXPECT_EQ(64U, m_key->GetModeBits());
  EXPECT_EQ(source.GetKeyID(), m_key->GetKeyID());
  EXPECT_EQ(1U, m_key->GetObjectHandle());
  DWORD length = 0;
  m_key->GetSalt(nullptr, &length);
  EXPECT_EQ(3U, length);
  EXPECT_EQ(8U, IVLength());
  EXPECT_EQ("CKM_DES_CBC", NextMechanism());
}

TEST_F(KeyTest, AfterAnAssignmentTheTargetDecidesWhetherThereIsAParameter) {
  UseDES();
  m_key->SetIV(Counting(8, 1).data(), 8);
  const auto source = m_key;
  const auto inEcb = boost::make_shared<CDESKey>();
  *static_cast<CCSPSecretKey*>(inEcb.get()) = *source;
  Use(inEcb);
  EXPECT_EQ("CKM_DES_CBC", NextMechanism());
  const auto inCbc = boost::make_shared<CDESKey>();
  inCbc->SetMode(kCbc);
  *static_cast<CCSPSecretKey*>(inCbc.get()) = *source;
  Use(inCbc);
  EXPECT_EQ("CKM_DES_CBC with 0102030405060708", NextMechanism());
}

TEST_F(KeyTest, SettingAModeTruncatesAnIVThatIsTooLong) {
  UseAES();
  m_key->SetIV(Counting(16, 1).data(), 16);
  const auto key = boost::make_shared<CDESKey>();
  static_cast<CCSPSecretKey&>(*key) = *m_key;
  Use(key);
  m_key->SetMode(kCbc);
  EXPECT_EQ("CKM_DES_CBC with 0102030405060708", NextMechanism());
}

TEST_F(KeyTest, SettingAModePadsAnIVThatIsTooShortWithZeros) {
  UseDES();
  m_key->SetIV(Counting(8, 1).data(), 8);
  const auto key = boost::make_shared<CAES_128Key>();
  static_cast<CCSPSecretKey&>(*key) = *m_key;
  Use(key);
  m_key->SetMode(kCbc);
  EXPECT_EQ("CKM_AES_CBC with 01020304050607080000000000000000", NextMechanism());
}

TEST_F(KeyTest, TheBaseClassStoresWhatItIsGiven) {
  CCSPSecretKey key;
  EXPECT_EQ(1U, key.GetPadding());
  EXPECT_EQ(0U, key.GetMode());
  EXPECT_EQ(0U, key.GetPermissions());
  EXPECT_EQ(0U, key.GetModeBits());
  EXPECT_EQ(0U, key.GetBlockLength());
  key.SetAlgID(1);
  key.SetBlockLength(2);
  key.SetKeyLength(3);
  key.SetMode(kCbc);
  EXPECT_EQ(1U, key.GetAlgID());
  EXPECT_EQ(2U, key.GetBlockLength());
  EXPECT_EQ(3U, key.GetKeyLength());
  EXPECT_EQ(kCbc, key.GetMode());
  EXPECT_EQ(0U, key.GetModeBits());
}

TEST_F(KeyTest, TheBaseClassAcceptsAnIVOfAnyLengthAndNull) {
  CCSPSecretKey key;
  key.SetIV(Counting(5, 1).data(), 5);
  DWORD length = 0;
  key.GetIV(nullptr, &length);
  EXPECT_EQ(5U, length);
  EXPECT_EQ(0U, key.GetMode());
  key.SetIV(nullptr, 5);
  key.GetIV(nullptr, &length);
  EXPECT_EQ(0U, length);
  EXPECT_EQ(kCbc, key.GetMode());
}

TEST_F(KeyTest, NoOtherThreadLogsTheTokenOutWhileAKeyIsUsed) {
  const auto use = [this] {
    Encrypt(Bytes(8));
    Decrypt(Bytes(8));
    Bytes value(8);
    DWORD length = 8;
    m_key->GetKeyValue(value.data(), &length);
    m_key->DestroyObject();
  };
  for (const char* const entry :
       {"C_EncryptInit", "C_Encrypt", "C_DecryptInit", "C_Decrypt", "C_GetAttributeValue", "C_DestroyObject"}) {
    UseDES();
    WaitingLogin login(*m_module, entry);
    use();
    EXPECT_TRUE(login.HadToWait()) << entry;
  }
}

std::string NameOf(const ::testing::TestParamInfo<KeyCase>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Classes, EachKeyTest, ::testing::ValuesIn(kKeys), NameOf);
INSTANTIATE_TEST_SUITE_P(Classes, EachDESKeyTest, ::testing::ValuesIn(kKeys, kKeys + 3), NameOf);

}  // namespace

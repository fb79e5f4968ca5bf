// Importing keys from blobs.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyTest.h"
#include "module/KeyBlobBytes.h"
#include "module/WaitingLogin.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

class ContextImportTest : public KeyTest {
 protected:
  DWORD Import(const Bytes& blob, DWORD flags = 0) {
    // Exactly the size of the blob, so that a sanitizer sees reads past its end.
    const std::unique_ptr<BYTE[]> exact(new BYTE[blob.size()]);
    std::copy(blob.begin(), blob.end(), exact.get());
    DWORD handle = kUntouched;
    try {
      m_context.ImportKey(exact.get(), static_cast<DWORD>(blob.size()), &handle, &m_factory, flags);
    } catch (const CCSPContextError&) {
      EXPECT_EQ(kUntouched, handle);
      throw;
    }
    return handle;
  }

  static constexpr DWORD kUntouched = 0xEEEEEEEE;
};

constexpr char kBadLength[] = "Blob Length is invalid";

// --- Invalid calls and blobs

TEST_F(ContextImportTest, ABlobIsRequired) {
  DWORD handle = 0;
  const BYTE byte = 6;
  EXPECT_CONTEXT_ERROR(Code(NTE_INVALID_PARAMETER), "Data should not be NULL",
                       m_context.ImportKey(nullptr, 9, &handle, &m_factory, 0));
  EXPECT_CONTEXT_ERROR(Code(NTE_INVALID_PARAMETER), "Data should not be NULL",
                       m_context.ImportKey(&byte, 0, &handle, &m_factory, 0));
}

TEST_F(ContextImportTest, AHandlePointerIsRequired) {
  const BYTE byte = 9;
  EXPECT_CONTEXT_ERROR(Code(NTE_INVALID_PARAMETER), "Key Handle should not be NULL",
                       m_context.ImportKey(&byte, 1, nullptr, &m_factory, 0));
}

TEST_F(ContextImportTest, OtherBlobTypesAreRefusedEvenWithASingleByte) {
  for (int type = 0; type < 256; ++type) {
    if (type == 1 || type == 6) continue;
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_TYPE), "Blob Type not Supported", Import({static_cast<BYTE>(type)}));
  }
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

// --- Public keys

class ImportPublicKeyTest : public ContextImportTest {
 protected:
  CK_ULONG ImportedBits(const Bytes& blob) { return m_context.GetImportedPublicKey(Import(blob))->GetModulusBits(); }

  const Bytes m_modulus = Counting(32, 0xA1);
  const Bytes m_blob = PublicKeyBlob(CALG_RSA_KEYX, m_modulus);
};

TEST_F(ImportPublicKeyTest, BecomesASessionObjectWithTheseAttributes) {
  BindToPair();
  Import(m_blob);
  EXPECT_EQ((Calls{m_loginCall, "C_GenerateRandom(1, room 16)",
                   "C_CreateObject(1, {CKA_CLASS=2, CKA_ID=0102030405060708090A0B0C0D0E0F10, "
                   "CKA_LABEL=47656E6572617465... (128 bytes), "
                   "CKA_MODULUS=A1A2A3A4A5A6A7A8A9AAABACADAEAFB0B1B2B3B4B5B6B7B8B9BABBBCBDBEBFC0, "
                   "CKA_MODULUS_BITS=256, CKA_PUBLIC_EXPONENT=00010001, CKA_ENCRYPT=true, CKA_SIGN_RECOVER=true, "
                   "CKA_VERIFY=true, CKA_TOKEN=false, CKA_KEY_TYPE=0, CKA_WRAP=true, CKA_VERIFY_RECOVER=true, "
                   "CKA_MODIFIABLE=false, CKA_PRIVATE=false, CKA_NEVER_EXTRACTABLE=false, CKA_EXTRACTABLE=true, "
                   "CKA_LOCAL=true, CKA_KEY_GEN_MECHANISM=0})"}),
            m_module.TakeCalls());
  EXPECT_EQ(LoginLines(), TakeLog());
}

TEST_F(ImportPublicKeyTest, HasItsLabelPaddedWithZeros) {
  BindToPair();
  const DWORD handle = Import(m_blob);
  Bytes label = Text("Generated Key Label");
  label.resize(128);
  EXPECT_EQ(label, AttributeOf(m_context.GetImportedPublicKey(handle)->GetHandle(), CKA_LABEL));
}

TEST_F(ImportPublicKeyTest, KnowsItsAttributesWithoutAskingTheModule) {
  BindToPair();
  PublicKey& key = *m_context.GetImportedPublicKey(Import(m_blob));
  m_module.ForgetCalls();
  EXPECT_EQ(CK_ULONG{256}, key.GetModulusBits());
  EXPECT_EQ(CK_KEY_TYPE{CKK_RSA}, key.GetKeyType());
  CK_ULONG length = 32;
  Bytes modulus(32);
  key.GetModulus(modulus.data(), &length);
  EXPECT_EQ(m_modulus, modulus);
  EXPECT_EQ(CK_ULONG{19}, key.GetAttributes().size());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ImportPublicKeyTest, VerifiesASignature) {
  BindToPair();
  PublicKey* const key = m_context.GetImportedPublicKey(Import(m_blob));
  m_module.ForgetCalls();
  const Bytes data = Text("abc");
  const Bytes signature = Reversed(Joined(Joined(Bytes(28, 'S'), {0}), data));
  m_context.Verify(data.data(), 3, signature.data(), 32, key);
  EXPECT_EQ("C_VerifyInit(1, CKM_RSA_PKCS, 3)", m_module.TakeCalls()[1]);
}

TEST_F(ImportPublicKeyTest, NeedsNoKeyPair) {
  BindToNewContainer();
  EXPECT_NO_THROW(m_context.GetImportedPublicKey(Import(m_blob)));
}

TEST_F(ImportPublicKeyTest, ASecondImportIsAnotherKey) {
  BindToPair();
  EXPECT_NE(Import(m_blob), Import(m_blob));
}

TEST_F(ImportPublicKeyTest, AnAlgorithmOtherThanKeyExchangeIsRefused) {
  for (const unsigned algorithm : {0x2400U, 0U, 0xA401U, 0x6603U}) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "\nCPImportKey Error: Bad Algorithm ID in PUBLICKEYBLOB",
                         Import(PublicKeyBlob(algorithm, m_modulus)));
  }
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ImportPublicKeyTest, ABlobShorterThanItsHeaderIsRefusedAndNotReadPastItsEnd) {
  for (int length = 1; length < 20; ++length) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), kBadLength, Import(Bytes(m_blob.begin(), m_blob.begin() + length)));
  }
}

TEST_F(ImportPublicKeyTest, AShortBlobWithAWrongAlgorithmIsRefusedForTheAlgorithm) {
  const Bytes blob = PublicKeyBlob(CALG_RSA_SIGN, m_modulus);
  for (int length = 8; length < 20; ++length) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "\nCPImportKey Error: Bad Algorithm ID in PUBLICKEYBLOB",
                         Import(Bytes(blob.begin(), blob.begin() + length)));
  }
}

TEST_F(ImportPublicKeyTest, ABlobThatEndsAfterItsHeaderIsAKeyWithoutAModulus) {
  BindToPair();
  const DWORD handle = Import(Bytes(m_blob.begin(), m_blob.begin() + 20));
  EXPECT_THAT(m_module.TakeCalls().back(), HasSubstr("CKA_MODULUS=null of 0, CKA_MODULUS_BITS=256,"));
  DWORD length = 0;
  m_context.ExportPublicKey(handle, nullptr, &length);
  ASSERT_EQ(20U, length);
  Bytes blob(20);
  m_context.ExportPublicKey(handle, blob.data(), &length);
  EXPECT_EQ(PublicKeyBlob(CALG_RSA_SIGN, {}), blob);
}

TEST_F(ImportPublicKeyTest, EverythingAfterTheHeaderIsTheModulus) {
  BindToPair();
  Bytes blob = m_blob;
  blob.push_back(0xEE);  // the most significant byte
  EXPECT_EQ(256U, ImportedBits(blob));
  EXPECT_THAT(m_module.TakeCalls().back(),
              HasSubstr("CKA_MODULUS=EEA1A2A3A4A5A6A7A8A9AAABACADAEAFB0B1B2B3B4B5B6B7B8B9BABBBCBDBEBFC0, "));
  blob = m_blob;
  blob.pop_back();
  EXPECT_EQ(256U, ImportedBits(blob));
  EXPECT_THAT(m_module.TakeCalls().back(), HasSubstr("CKA_MODULUS=A2A3A4A5A6A7A8A9"));
}

TEST_F(ImportPublicKeyTest, TheBitLengthIsPassedOnUnchecked) {
  BindToPair();
  for (const DWORD bits : {250U, 264U, 0U, 8U, 0xFFFFFFFEU}) {
    Bytes blob = m_blob;
    std::memcpy(&blob[12], &bits, sizeof(bits));
    EXPECT_EQ(bits, ImportedBits(blob));
    EXPECT_THAT(m_module.TakeCalls().back(), HasSubstr("CKA_MODULUS_BITS=" + std::to_string(bits) + ", "));
  }
}

TEST_F(ImportPublicKeyTest, AllFourBytesOfTheExponentAreReversed) {
  BindToPair();
  Bytes blob = m_blob;
  for (BYTE i = 0; i < 4; ++i) blob[16 + i] = static_cast<BYTE>(i + 1);
  EXPECT_EQ((Bytes{4, 3, 2, 1}),
            AttributeOf(m_context.GetImportedPublicKey(Import(blob))->GetHandle(), CKA_PUBLIC_EXPONENT));
}

TEST_F(ImportPublicKeyTest, AModuleErrorIsNteFailWithItsMessage) {
  BindToPair();
  m_module.FailNext("C_GenerateRandom", CKR_RANDOM_NO_RNG);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_RANDOM_NO_RNG), Import(m_blob));
  m_module.FailNext("C_CreateObject", CKR_DEVICE_MEMORY);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_DEVICE_MEMORY), Import(m_blob));
}

TEST_F(ImportPublicKeyTest, AFailedLoginKeepsItsOwnError) {
  BindToPair();
  m_module.FailNext("C_LoginExtended", CKR_DEVICE_REMOVED);
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CARD_NOT_AUTHENTICATED), "Failed to authenticate to TELVO Card", Import(m_blob));
}

TEST_F(ImportPublicKeyTest, RemoveSecretKeyDestroysItAndItsObject) {
  BindToPair();
  const DWORD handle = Import(m_blob);
  m_module.ForgetCalls();
  m_context.RemoveSecretKey(handle);
  EXPECT_EQ((Calls{"C_DestroyObject(1, 3)"}), m_module.TakeCalls());
  EXPECT_CONTEXT_ERROR(Code(NTE_NO_KEY), "Key was not found in Imported Public Key List",
                       m_context.GetImportedPublicKey(handle));
}

TEST_F(ImportPublicKeyTest, NoOtherThreadLogsTheTokenOutWhileItIsDestroyed) {
  BindToPair();
  const DWORD handle = Import(m_blob);
  WaitingLogin login(m_module, "C_DestroyObject");
  m_context.RemoveSecretKey(handle);
  EXPECT_TRUE(login.HadToWait());
}

// --- Session keys

class ImportSessionKeyTest : public ContextImportTest {
 protected:
  static Bytes BlobOf(unsigned algorithm, const Bytes& key) {
    return SimpleBlob(algorithm, Reversed(EncryptedKey(key, 48)));
  }
  static std::string DecryptionLines(const std::string& algorithm) {
    return Line("After Login") + Line("Decrypt Init") + Line("Decrypt") + Line("Decrypt 2") +
           Line("Create Secret Key") + Value("Secret Key Algorithm: ", algorithm);
  }
};

TEST_F(ImportSessionKeyTest, IsDecryptedWithTheContainersKeyAndBecomesAnObject) {
  BindToPair();
  const DWORD handle = Import(BlobOf(CALG_DES, Counting(8, 0x11)));
  EXPECT_EQ((Calls{m_loginCall, "C_DecryptInit(1, CKM_RSA_PKCS, 2)", "C_Decrypt(1, 48 bytes, null)",
                   "C_Decrypt(1, 48 bytes, room 8)", CreationCall("19", "1112131415161718")}),
            m_module.TakeCalls());
  EXPECT_EQ(LoginLines() + DecryptionLines("6601") + CreationLines() + Line("Secret Key Created"), TakeLog());
  EXPECT_EQ(handle, m_context.GetSecretKey(handle)->GetKeyID());
}

TEST_F(ImportSessionKeyTest, HasExactlyThePermissionsOfTheFlags) {
  BindToPair();
  const Bytes blob = BlobOf(CALG_DES, Counting(8, 1));
  EXPECT_EQ(0U, m_context.GetSecretKey(Import(blob, 0))->GetPermissions());
  EXPECT_EQ(1U, m_context.GetSecretKey(Import(blob, CRYPT_EXPORTABLE))->GetPermissions());
  EXPECT_EQ(0xFFFFFFFEU, m_context.GetSecretKey(Import(blob, 0xFFFFFFFE))->GetPermissions());
}

TEST_F(ImportSessionKeyTest, EveryAlgorithmThatHasAKeyTypeIsAccepted) {
  BindToPair();
  for (const unsigned algorithm : {0x6601U, 0x6603U, 0x6609U, 0x660EU}) {
    EXPECT_EQ(algorithm, m_context.GetSecretKey(Import(BlobOf(algorithm, Counting(16, 1))))->GetAlgID());
  }
}

TEST_F(ImportSessionKeyTest, Aes128CanBeImportedAlthoughItCannotBeGenerated) {
  BindToPair();
  Import(BlobOf(CALG_AES_128, Counting(16, 1)));
  EXPECT_EQ(CreationCall("31", "0102030405060708090A0B0C0D0E0F10"), m_module.TakeCalls().back());
}

TEST_F(ImportSessionKeyTest, AnotherAlgorithmIsRefusedAfterTheDecryption) {
  BindToPair();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "Invalid Secret Key Algorithm ID",
                       Import(BlobOf(CALG_AES, Counting(16, 1))));
  EXPECT_EQ((Calls{"C_LoginExtended", "C_DecryptInit", "C_Decrypt", "C_Decrypt"}), m_module.TakeCallNames());
  EXPECT_THAT(TakeLog(), EndsWith(Value("Secret Key Algorithm: ", "6611") + Line("Creating Non Token Secret Key") +
                                  Line("Secret Key")));
}

TEST_F(ImportSessionKeyTest, WithoutAPrivateKeyTheBlobIsRefusedWithoutALogin) {
  BindToNewContainer();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEYSET), "Private Key does not exist in this context",
                       Import(BlobOf(CALG_DES, Counting(8, 1))));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  EXPECT_EQ("", TakeLog());
}

TEST_F(ImportSessionKeyTest, AMissingPrivateKeyIsReportedBeforeAShortBlob) {
  BindToNewContainer();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEYSET), "Private Key does not exist in this context", Import({1, 2, 0, 0}));
}

TEST_F(ImportSessionKeyTest, ABlobShorterThanItsHeaderIsRefusedAndNotReadPastItsEnd) {
  BindToPair();
  const Bytes blob = BlobOf(CALG_DES, Counting(8, 1));
  for (int length = 1; length < 12; ++length) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_DATA), kBadLength, Import(Bytes(blob.begin(), blob.begin() + length)));
  }
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ImportSessionKeyTest, ABlobWithoutAnEncryptedKeyIsRefusedByTheModule) {
  BindToPair();
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_ENCRYPTED_DATA_INVALID), Import(SimpleBlob(CALG_DES, {})));
  EXPECT_EQ("C_Decrypt(1, 0 bytes, null)", m_module.TakeCalls()[2]);
}

TEST_F(ImportSessionKeyTest, ABigEndianBlobCannotBeDecrypted) {
  BindToPair();
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_ENCRYPTED_DATA_INVALID),
                       Import(SimpleBlob(CALG_DES, EncryptedKey(Counting(8, 1), 48))));
}

// Any of the calls to the module may fail.
struct ImportFailure {
  const char* name;
  const char* entry;
  int call;
};

class ImportFailureTest : public ImportSessionKeyTest, public ::testing::WithParamInterface<ImportFailure> {};

TEST_P(ImportFailureTest, IsNteFailWithTheModulesMessage) {
  BindToPair();
  m_module.FailOnCall(GetParam().entry, GetParam().call, CKR_DEVICE_REMOVED);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_DEVICE_REMOVED), Import(BlobOf(CALG_DES, Counting(8, 1))));
  EXPECT_EQ(0U, m_factory.Count());
}

constexpr ImportFailure kImportFailures[] = {
    {"DecryptInit", "C_DecryptInit", 1},
    {"DecryptForTheLength", "C_Decrypt", 1},
    {"Decrypt", "C_Decrypt", 2},
    {"CreateObject", "C_CreateObject", 1},
};

INSTANTIATE_TEST_SUITE_P(Calls, ImportFailureTest, ::testing::ValuesIn(kImportFailures),
                         [](const auto& row) { return row.param.name; });

TEST_F(ImportSessionKeyTest, AnAbsurdLengthIsAnErrorOfTheModule) {
  BindToPair();
  m_module.falsifyCount = [](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Decrypt") count = CK_UNAVAILABLE_INFORMATION;
  };
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_GENERAL_ERROR), Import(BlobOf(CALG_DES, Counting(8, 1))));
}

TEST_F(ImportSessionKeyTest, ALengthThatGrowsInTheSecondCallIsCutToTheAllocatedLength) {
  BindToPair();
  int call = 0;
  m_module.falsifyCount = [&call](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Decrypt" && ++call == 2) count = 5000;
  };
  const DWORD handle = Import(BlobOf(CALG_DES, Counting(8, 1)));
  EXPECT_EQ(Counting(8, 1), ValueOf(*m_context.GetSecretKey(handle)));
}

TEST_F(ImportSessionKeyTest, ALengthThatShrinksInTheSecondCallIsTheKeysLength) {
  BindToPair();
  int call = 0;
  m_module.falsifyCount = [&call](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Decrypt" && ++call == 1) count = 48;
  };
  const DWORD handle = Import(BlobOf(CALG_DES, Counting(8, 1)));
  EXPECT_EQ(Counting(8, 1), ValueOf(*m_context.GetSecretKey(handle)));
}

}  // namespace

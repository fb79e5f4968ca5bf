// Exporting keys as blobs.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyTest.h"
#include "module/KeyBlobBytes.h"

namespace {

using ::testing::EndsWith;

class ContextExportTest : public KeyTest {
 protected:
  DWORD Signature() { return m_context.GetSignatureKeyHandle(); }
  DWORD Exchange() { return m_context.GetExchangeKeyHandle(); }

  DWORD Import(const Bytes& blob, DWORD flags = 0) {
    DWORD handle = 0;
    m_context.ImportKey(blob.data(), static_cast<DWORD>(blob.size()), &handle, &m_factory, flags);
    Forget();
    return handle;
  }

  Bytes ExportPublic(DWORD key) {
    DWORD length = 0;
    m_context.ExportPublicKey(key, nullptr, &length);
    Bytes blob(length, 0xEE);
    m_context.ExportPublicKey(key, blob.data(), &length);
    EXPECT_EQ(blob.size(), length);
    return blob;
  }

  // What objects log when their modulus is read.
  static std::string ModulusFound() {
    return Line("GetModulus - Entry") + Line("GetModulus - Check attrList.size()") +
           Line("GetModulus - Iterating through attribute list") + Line("GetModulus - ATTR_MODULUS Found");
  }
  static std::string ModulusMeasured() {
    return ModulusFound() + Line("GetModulus - pModulus is NULL, returning ulModulusLen") + Line("GetModulus - Exit");
  }
  static std::string ModulusRead() {
    return ModulusFound() + Line("GetModulus - Trying to get Modulus") + Line("GetModulus - Copying modulus") +
           Line("GetModulus - Exit: pModulus retrieved");
  }
};

// --- Public keys

class ExportPublicKeyTest : public ContextExportTest {
 protected:
  // The blob of a key that has this exponent on the token.
  Bytes ExportWithExponent(const Bytes& exponent) {
    m_token.Add(PublicKeyObject(Text("one"), {0x81, 0x82}).With(CKA_PUBLIC_EXPONENT, exponent));
    m_token.Add(PrivateKeyObject(Text("one"), {0x81, 0x82}));
    m_context.Initialize("\\\\.\\Reader A\\one", 0, m_cryptoki, 1);
    m_context.AssignKeyHandles();
    return ExportPublic(Exchange());
  }
};

TEST_F(ExportPublicKeyTest, TheBlobOfTheExchangeKeyHasExactlyTheseBytes) {
  BindToPair(16);
  EXPECT_EQ(
      (Bytes{6, 2, 0,    0,    0x00, 0xA4, 0,    0,    'R',  'S',  'A',  '1',  0x80, 0,    0,    0,    1,    0,
             1, 0, 0x90, 0x8F, 0x8E, 0x8D, 0x8C, 0x8B, 0x8A, 0x89, 0x88, 0x87, 0x86, 0x85, 0x84, 0x83, 0x82, 0x81}),
      ExportPublic(Exchange()));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  EXPECT_EQ("", TakeLog());
}

TEST_F(ExportPublicKeyTest, TheSignatureKeysBlobDiffersOnlyInTheAlgorithm) {
  BindToPair(16);
  EXPECT_EQ(PublicKeyBlob(CALG_RSA_SIGN, Counting(16, 0x81)), ExportPublic(Signature()));
}

TEST_F(ExportPublicKeyTest, AnImportedKeyIsExportedAsASignatureKey) {
  BindToPair(16);
  const DWORD handle = Import(PublicKeyBlob(CALG_RSA_KEYX, Counting(32, 0xA1)));
  EXPECT_EQ(PublicKeyBlob(CALG_RSA_SIGN, Counting(32, 0xA1)), ExportPublic(handle));
}

TEST_F(ExportPublicKeyTest, AGeneratedPairIsExportedWithoutACallToTheModule) {
  BindToNewContainer();
  DWORD handle = 0;
  m_context.GenerateKeyPair(AT_KEYEXCHANGE, 0x02000000, &handle, &m_factory);
  Forget();
  EXPECT_EQ(PublicKeyBlob(CALG_RSA_KEYX, Counting(64, 0x80)), ExportPublic(handle));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ExportPublicKeyTest, AnExportedExchangeKeyCanBeImportedAndASignatureKeyCannot) {
  BindToPair(16);
  const DWORD imported = Import(ExportPublic(Exchange()));
  EXPECT_EQ(PublicKeyBlob(CALG_RSA_SIGN, Counting(16, 0x81)), ExportPublic(imported));
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "\nCPImportKey Error: Bad Algorithm ID in PUBLICKEYBLOB",
                       Import(ExportPublic(Signature())));
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), "\nCPImportKey Error: Bad Algorithm ID in PUBLICKEYBLOB",
                       Import(ExportPublic(imported)));
}

TEST_F(ExportPublicKeyTest, WithoutABufferTheLengthIsReturnedWhateverItWas) {
  BindToPair(16);
  for (DWORD length : {0U, 5U, 36U, 0xFFFFFFFFU}) {
    m_context.ExportPublicKey(Exchange(), nullptr, &length);
    EXPECT_EQ(36U, length);
  }
}

TEST_F(ExportPublicKeyTest, ABufferThatIsTooShortIsRefusedAndLeftAlone) {
  BindToPair(16);
  DWORD length = 35;
  Bytes blob(35, 0xEE);
  EXPECT_CONTEXT_ERROR(Code(ERROR_MORE_DATA), "More Data Needed for Public Key BLOB",
                       m_context.ExportPublicKey(Exchange(), blob.data(), &length));
  EXPECT_EQ(Bytes(35, 0xEE), blob);
  EXPECT_EQ(35U, length);
}

TEST_F(ExportPublicKeyTest, TheRestOfALongerBufferIsLeftAlone) {
  BindToPair(16);
  DWORD length = 100;
  Bytes blob(100, 0xEE);
  m_context.ExportPublicKey(Exchange(), blob.data(), &length);
  EXPECT_EQ(36U, length);
  EXPECT_EQ(Bytes(64, 0xEE), Bytes(blob.begin() + 36, blob.end()));
}

TEST_F(ExportPublicKeyTest, WithoutAPairThereIsNoPublicKey) {
  BindToNewContainer();
  DWORD length = 0;
  EXPECT_CONTEXT_ERROR(Code(NTE_NO_KEY), "Public Key not found in this context",
                       m_context.ExportPublicKey(Exchange(), nullptr, &length));
  EXPECT_CONTEXT_ERROR(Code(NTE_NO_KEY), "Public Key not found in this context",
                       m_context.ExportPublicKey(Signature(), nullptr, &length));
}

TEST_F(ExportPublicKeyTest, AnUnknownHandleIsNoImportedKey) {
  BindToPair(16);
  DWORD length = 0;
  EXPECT_CONTEXT_ERROR(Code(NTE_NO_KEY), "Key was not found in Imported Public Key List",
                       m_context.ExportPublicKey(0xFF000000, nullptr, &length));
}

TEST_F(ExportPublicKeyTest, ASessionKeyHasNoPublicPart) {
  BindToPair(16);
  DWORD length = 0;
  const DWORD key = MakeSessionKey();
  EXPECT_CONTEXT_ERROR(Code(NTE_NO_KEY), "Key was not found in Imported Public Key List",
                       m_context.ExportPublicKey(key, nullptr, &length));
}

TEST_F(ExportPublicKeyTest, ALongExponentIsCutToItsLastThreeBytes) {
  const Bytes blob = ExportWithExponent({5, 4, 3, 2, 1});
  EXPECT_EQ((Bytes{1, 2, 3, 0}), Bytes(blob.begin() + 16, blob.begin() + 20));
}

TEST_F(ExportPublicKeyTest, AnExponentOfOneByteIsFilledWithZeros) {
  const Bytes blob = ExportWithExponent({3});
  EXPECT_EQ((Bytes{3, 0, 0, 0}), Bytes(blob.begin() + 16, blob.begin() + 20));
}

TEST_F(ExportPublicKeyTest, AnExponentOfTwoBytesIsFilledWithZeros) {
  const Bytes blob = ExportWithExponent({1, 3});
  EXPECT_EQ((Bytes{3, 1, 0, 0}), Bytes(blob.begin() + 16, blob.begin() + 20));
}

TEST_F(ExportPublicKeyTest, AMissingExponentIsZeros) {
  const Bytes blob = ExportWithExponent({});
  EXPECT_EQ((Bytes{0, 0, 0, 0}), Bytes(blob.begin() + 16, blob.begin() + 20));
}

TEST_F(ExportPublicKeyTest, TheLengthOfTheModulusIsReadBeforeTheModulus) {
  BindToPair(16);
  ListenTo(g_objectLog);
  ExportPublic(Exchange());
  EXPECT_EQ(ModulusMeasured() + ModulusMeasured() + ModulusRead(), TakeLog());
}

// --- Session keys

class ExportSessionKeyTest : public ContextExportTest {
 protected:
  DWORD SizeOf(DWORD key, DWORD exchangeKey) {
    DWORD length = 0;
    m_context.ExportSessionKey(key, exchangeKey, nullptr, &length);
    return length;
  }
  // The blob in a buffer of `size` bytes. `returned` is the length afterwards.
  Bytes Export(DWORD key, DWORD exchangeKey, DWORD size, DWORD& returned) {
    const std::unique_ptr<BYTE[]> blob(new BYTE[size]);
    std::memset(blob.get(), 0xEE, size);
    returned = size;
    try {
      m_context.ExportSessionKey(key, exchangeKey, blob.get(), &returned);
    } catch (...) {
      m_written.assign(blob.get(), blob.get() + size);
      throw;
    }
    return Bytes(blob.get(), blob.get() + size);
  }
  Bytes Export(DWORD key, DWORD exchangeKey) {
    DWORD returned = 0;
    return Export(key, exchangeKey, SizeOf(key, exchangeKey), returned);
  }

  Bytes m_written;  // by an export that failed
};

TEST_F(ExportSessionKeyTest, TheBlobHasExactlyTheseBytesAndItsKeyIsBigEndian) {
  BindToPair(24);
  const DWORD key = MakeSessionKey(CALG_DES);
  EXPECT_EQ((Bytes{1,   2,   0,   0,   0x01, 0x66, 0,   0,   0x00, 0xA4, 0, 0, 'E', 'E', 'E', 'E', 'E', 'E',
                   'E', 'E', 'E', 'E', 'E',  'E',  'E', 'E', 'E',  0,    8, 7, 6,   5,   4,   3,   2,   1}),
            Export(key, Exchange()));
}

TEST_F(ExportSessionKeyTest, AnExportMakesALoginTwoReadsAndAnEncryption) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  Export(key, Signature());
  EXPECT_EQ((Calls{m_loginCall, "C_GetAttributeValue(1, 3, {CKA_VALUE?})", "C_GetAttributeValue(1, 3, {CKA_VALUE[24]})",
                   "C_EncryptInit(1, CKM_RSA_PKCS, 1)", "C_Encrypt(1, 24 bytes, room 48)"}),
            m_module.TakeCalls());
  EXPECT_EQ(LoginLines(), TakeLog());
}

TEST_F(ExportSessionKeyTest, TheModulusIsReadAlthoughOnlyItsLengthIsUsed) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  DWORD returned = 0;
  Silence(g_contextLog);
  ListenTo(g_objectLog);
  Export(key, Exchange(), 60, returned);
  EXPECT_EQ(ModulusMeasured() + ModulusRead(), TakeLog());
}

TEST_F(ExportSessionKeyTest, EitherHandleOfThePairEncryptsWithItsPublicKey) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  EXPECT_EQ(Export(key, Exchange()), Export(key, Signature()));
}

TEST_F(ExportSessionKeyTest, AnImportedPublicKeyEncrypts) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  const DWORD wrapping = Import(PublicKeyBlob(CALG_RSA_KEYX, Counting(64, 0xA1)));
  EXPECT_EQ(76U, SizeOf(key, wrapping));
  EXPECT_EQ(SimpleBlob(CALG_3DES, EncryptedKey(Reversed(Counting(24, 1)), 64)), Export(key, wrapping));
  EXPECT_EQ("C_EncryptInit(1, CKM_RSA_PKCS, 4)", m_module.TakeCalls()[3]);
}

TEST_F(ExportSessionKeyTest, WithoutABufferTheSizeIsReturnedWithoutACallToTheModule) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  EXPECT_EQ(60U, SizeOf(key, Exchange()));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  EXPECT_EQ("", TakeLog());
}

TEST_F(ExportSessionKeyTest, TheReturnedLengthIsThatOfTheEncryptedKeyAlone) {
  BindToPair();
  DWORD returned = 0;
  Export(MakeSessionKey(), Exchange(), 60, returned);
  EXPECT_EQ(48U, returned);
}

TEST_F(ExportSessionKeyTest, TheRestOfALongerBufferIsLeftAlone) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  DWORD returned = 0;
  const Bytes blob = Export(key, Exchange(), 100, returned);
  EXPECT_EQ(48U, returned);
  EXPECT_EQ("C_Encrypt(1, 24 bytes, room 88)", m_module.TakeCalls()[4]);
  EXPECT_EQ(Bytes(40, 0xEE), Bytes(blob.begin() + 60, blob.end()));
}

TEST_F(ExportSessionKeyTest, TheModuleRefusesAShortBufferAndOnlyTheHeaderIsWritten) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  DWORD returned = 0;
  EXPECT_CRYPTOKI_ERROR(CKR_BUFFER_TOO_SMALL, Export(key, Exchange(), 59, returned));
  EXPECT_EQ("C_Encrypt(1, 24 bytes, room 47)", m_module.TakeCalls()[4]);
  EXPECT_EQ(48U, returned);
  EXPECT_EQ(Bytes(47, 0xEE), Bytes(m_written.begin() + 12, m_written.end()));
}

// When a buffer cannot even hold the header, all its bytes may be written, but none beyond its end. A sanitizer checks
// that.
class ShortBufferTest : public ExportSessionKeyTest, public ::testing::WithParamInterface<DWORD> {};

TEST_P(ShortBufferTest, LeavesNoSpaceForTheModule) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  DWORD returned = 0;
  EXPECT_CRYPTOKI_ERROR(CKR_BUFFER_TOO_SMALL, Export(key, Exchange(), GetParam(), returned));
  EXPECT_EQ("C_Encrypt(1, 24 bytes, room 0)", m_module.TakeCalls()[4]);
  const Bytes header = {1, 2, 0, 0, 0x03, 0x66, 0, 0, 0x00, 0xA4, 0, 0};
  EXPECT_EQ(Bytes(header.begin(), header.begin() + GetParam()), m_written);
}

INSTANTIATE_TEST_SUITE_P(Lengths, ShortBufferTest, ::testing::Range(DWORD{0}, DWORD{13}));

TEST_F(ExportSessionKeyTest, AFailureThatReturnsNoLengthLeavesTheCallersLength) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  m_module.FailNext("C_Encrypt", CKR_DEVICE_REMOVED);
  DWORD returned = 0;
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, Export(key, Exchange(), 60, returned));
  EXPECT_EQ(60U, returned);
}

TEST_F(ExportSessionKeyTest, AReturnedLengthBeyondTheBufferIsCutToTheBuffer) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  m_module.falsifyCount = [](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Encrypt") count = 5000;
  };
  DWORD returned = 0;
  Export(key, Exchange(), 60, returned);
  EXPECT_EQ(48U, returned);
}

TEST_F(ExportSessionKeyTest, AnExportedBlobCanBeImportedOnlyAfterItsKeyIsReversed) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  const Bytes blob = Export(key, Exchange());
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_ENCRYPTED_DATA_INVALID), Import(blob));
  const Bytes encrypted(blob.begin() + 12, blob.end());
  const DWORD imported = Import(SimpleBlob(CALG_3DES, Reversed(encrypted)));
  // The export reversed the value.
  EXPECT_EQ(Reversed(Counting(24, 1)), ValueOf(*m_context.GetSecretKey(imported)));
}

TEST_F(ExportSessionKeyTest, AGeneratedKeyMayBeExportedWhateverItsFlags) {
  BindToPair();
  DWORD key = 0;
  m_context.GenerateKeyPair(CALG_DES, 0, &key, &m_factory);
  EXPECT_EQ(60U, SizeOf(key, Exchange()));
}

TEST_F(ExportSessionKeyTest, AnImportedKeyMayBeExportedOnlyIfItWasImportedAsExportable) {
  BindToPair();
  const Bytes blob = SimpleBlob(CALG_DES, Reversed(EncryptedKey(Counting(8, 1), 48)));
  const DWORD exportable = Import(blob, CRYPT_EXPORTABLE);
  EXPECT_EQ(60U, SizeOf(exportable, Exchange()));
  for (const DWORD flags : {0U, 0xFFFFFFFEU}) {
    const DWORD notExportable = Import(blob, flags);
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_PUBLIC_KEY), "\nCPExportKey Error: You do not have permission to export the key",
                         SizeOf(notExportable, Exchange()));
  }
}

TEST_F(ExportSessionKeyTest, WithoutAPairThePublicKeyIsNotFound) {
  BindToNewContainer();
  const DWORD key = MakeSessionKey();
  for (const DWORD handle : {Signature(), Exchange()}) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_PUBLIC_KEY), "Public Key for encrypting symmetric key not found in this context",
                         SizeOf(key, handle));
  }
}

constexpr char kOnlyPublic[] = "\nCPExportKey Error: A session key is encrypted with a public key only";

TEST_F(ExportSessionKeyTest, AnExportWithoutAWrappingKeyIsRefused) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_PUBLIC_KEY), kOnlyPublic, SizeOf(key, 0));
  DWORD returned = 0;
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_PUBLIC_KEY), kOnlyPublic, Export(key, 0, 60, returned));
  EXPECT_EQ(Bytes(60, 0xEE), m_written);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ExportSessionKeyTest, ASessionKeyCannotWrapAnother) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  const DWORD wrapping = MakeSessionKey();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_PUBLIC_KEY), kOnlyPublic, SizeOf(key, wrapping));
}

TEST_F(ExportSessionKeyTest, AnUnknownWrappingKeyIsReportedAsAMissingSymmetricKey) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  EXPECT_CONTEXT_ERROR(Code(NTE_NO_KEY), "Symmetric Key not found in this context", SizeOf(key, 0xFF000000));
}

TEST_F(ExportSessionKeyTest, AnUnknownSessionKeyIsNotFound) {
  BindToPair();
  EXPECT_CONTEXT_ERROR(Code(NTE_NO_KEY), "Symmetric Key not found in this context", SizeOf(0xFF000000, Exchange()));
  // This is reported before the wrapping key is checked.
  EXPECT_CONTEXT_ERROR(Code(NTE_NO_KEY), "Symmetric Key not found in this context", SizeOf(0xFF000000, 0));
}

TEST_F(ExportSessionKeyTest, AMissingPermissionIsReportedBeforeAMissingWrappingKey) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  m_context.GetSecretKey(key)->SetPermissions(0);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_PUBLIC_KEY), "\nCPExportKey Error: You do not have permission to export the key",
                       SizeOf(key, 0));
}

// Any of the calls to the module may fail.
struct FailureCase {
  const char* name;
  const char* entry;
  int call;
};

class ExportFailureTest : public ExportSessionKeyTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(ExportFailureTest, ReachesTheCallerAsTheModulesError) {
  BindToPair();
  const DWORD key = MakeSessionKey();
  m_module.FailOnCall(GetParam().entry, GetParam().call, CKR_DEVICE_REMOVED);
  DWORD returned = 0;
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, Export(key, Exchange(), 60, returned));
}

constexpr FailureCase kFailures[] = {
    {"ReadingTheLength", "C_GetAttributeValue", 1},
    {"ReadingTheValue", "C_GetAttributeValue", 2},
    {"EncryptInit", "C_EncryptInit", 1},
    {"Encrypt", "C_Encrypt", 1},
};

INSTANTIATE_TEST_SUITE_P(Calls, ExportFailureTest, ::testing::ValuesIn(kFailures),
                         [](const auto& row) { return row.param.name; });

}  // namespace

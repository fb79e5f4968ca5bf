// CPImportKey.
#include <gtest/gtest.h>

#include "common/FormatNumber.h"
#include "cryptoki/CryptokiError.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyEntryTest.h"
#include "module/KeyBlobBytes.h"

namespace {

const Bytes kImportedModulus = Counting(128, 0x81);

class CPImportKeyTest : public KeyEntryTest {
 protected:
  static std::string Lower8(std::uint64_t number) { return FormatNumber("%08x", static_cast<DWORD>(number)); }
  static std::string Begin(const void* data, std::size_t length, DWORD flags) {
    return FrameLines("CPImportKey") + Value("\tpbData: \t\t ", Lower8(reinterpret_cast<std::uintptr_t>(data))) +
           Value("\tcbDataLen: \t", Lower8(length)) + Value("\tdwFlags: \t", Lower8(flags));
  }
  BOOL CallWith(const Bytes& blob, HCRYPTKEY* key, DWORD flags = 0) {
    return CPImportKey(m_handle, blob.data(), static_cast<DWORD>(blob.size()), 77, flags, key);
  }
};

TEST_F(CPImportKeyTest, ImportingAPublicKeyIsLoggedFromEndToEnd) {
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, kImportedModulus);
  HCRYPTKEY key = kUntouched;
  ExpectDone(CallWith(blob, &key, 0xAB));
  EXPECT_EQ(Begin(blob.data(), 148, 0xAB) + LoginLines() + Line("\nCPImportKey Success"), TakeLog());
  EXPECT_EQ((Calls{"C_Logout", "C_LoginExtended", "C_GenerateRandom", "C_CreateObject"}), m_module.TakeCallNames());
  EXPECT_NO_THROW(Context().GetImportedPublicKey(static_cast<DWORD>(key)));
  EXPECT_EQ(0U, key >> 32U);
}

TEST_F(CPImportKeyTest, ImportingASessionKeyIsLoggedFromEndToEnd) {
  const Bytes blob = SimpleBlob(CALG_AES_128, Reversed(EncryptedKey(Counting(16, 1), 128)));
  HCRYPTKEY key = kUntouched;
  ExpectDone(CallWith(blob, &key, CRYPT_EXPORTABLE));
  EXPECT_EQ(Begin(blob.data(), 140, 1) + LoginLines() + Line("After Login") + Line("Decrypt Init") + Line("Decrypt") +
                Line("Decrypt 2") + Line("Create Secret Key") + Value("Secret Key Algorithm: ", "660E") +
                CreationLines() + Line("Secret Key Created") + Line("\nCPImportKey Success"),
            TakeLog());
  EXPECT_EQ(1U, Context().GetSecretKey(static_cast<DWORD>(key))->GetPermissions());
}

TEST_F(CPImportKeyTest, AHandlePointerIsRequiredByTheContext) {
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, kImportedModulus);
  ExpectRefused(Code(NTE_INVALID_PARAMETER), CallWith(blob, nullptr));
  EXPECT_EQ(Begin(blob.data(), 148, 0) + Line("Key Handle should not be NULL"), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPImportKeyTest, ABlobIsRequiredByTheContext) {
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_INVALID_PARAMETER), CPImportKey(m_handle, nullptr, 20, 0, 0, &key));
  EXPECT_EQ(Begin(nullptr, 20, 0) + Line("Data should not be NULL"), TakeLog());
  EXPECT_EQ(kUntouched, key);
}

TEST_F(CPImportKeyTest, AnUnknownContextIsReportedFirst) {
  ExpectRefused(Code(NTE_BAD_UID), CPImportKey(m_unknown, nullptr, 0, 0, 0, nullptr));
  EXPECT_EQ(Begin(nullptr, 0, 0) + Line("The context does not exist"), TakeLog());
}

TEST_F(CPImportKeyTest, AnInvalidBlobIsBadData) {
  HCRYPTKEY key = kUntouched;
  const Bytes blob = {6, 2};
  ExpectRefused(Code(NTE_BAD_DATA), CallWith(blob, &key));
  EXPECT_EQ(Begin(blob.data(), 2, 0) + Line("Blob Length is invalid"), TakeLog());
  EXPECT_EQ(kUntouched, key);
}

TEST_F(CPImportKeyTest, AnExportedExchangeKeyCanBeImported) {
  const HCRYPTKEY exchange = Context().GetExchangeKeyHandle();
  Bytes blob(148);
  DWORD length = 148;
  ExpectDone(CPExportKey(m_handle, exchange, 0, PUBLICKEYBLOB, 0, blob.data(), &length));
  HCRYPTKEY key = 0;
  ExpectDone(CallWith(blob, &key));
  Bytes again(148);
  ExpectDone(CPExportKey(m_handle, key, 0, PUBLICKEYBLOB, 0, again.data(), &length));
  EXPECT_EQ(PublicKeyBlob(CALG_RSA_SIGN, kImportedModulus), again);
}

TEST_F(CPImportKeyTest, AnExportedSignatureKeyCannotBeImported) {
  Bytes blob(148);
  DWORD length = 148;
  ExpectDone(CPExportKey(m_handle, Context().GetSignatureKeyHandle(), 0, PUBLICKEYBLOB, 0, blob.data(), &length));
  Forget();
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_BAD_ALGID), CallWith(blob, &key));
  EXPECT_EQ(Begin(blob.data(), 148, 0) + Line("\nCPImportKey Error: Bad Algorithm ID in PUBLICKEYBLOB"), TakeLog());
}

TEST_F(CPImportKeyTest, AModuleErrorIsNteFail) {
  m_module.FailNext("C_CreateObject", CKR_DEVICE_MEMORY);
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, kImportedModulus);
  HCRYPTKEY key = kUntouched;
  ExpectRefused(Code(NTE_FAIL), CallWith(blob, &key));
  EXPECT_EQ(Begin(blob.data(), 148, 0) + LoginLines() + Line(ErrorText(CKR_DEVICE_MEMORY)), TakeLog());
}

}  // namespace

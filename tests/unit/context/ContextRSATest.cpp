// Signing, verifying, encrypting and decrypting with the container's key pair. The results of the scripted module are
// readable: repeated 'S' or 'E', a zero byte, the input.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dialogs/ScriptedDialogs.h"
#include "fixtures/ContextTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/OpenContext.h"
#include "log/Logs.h"
#include "pin/PINCacheManager.h"

namespace {

using ::testing::EndsWith;

Bytes Reversed(Bytes bytes) { return Bytes(bytes.rbegin(), bytes.rend()); }

// What a key with a modulus of 16 bytes makes of "abc".
Bytes PaddedAbc(char filling) {
  Bytes block(12, static_cast<unsigned char>(filling));
  for (const char c : {'\0', 'a', 'b', 'c'}) block.push_back(static_cast<unsigned char>(c));
  return block;
}

class ContextRSATest : public ContextTest {
 protected:
  ContextRSATest() : m_token(m_module.InsertToken("Reader A")) {}

  void Bind(DWORD flags = 0, std::size_t modulusBytes = 16) {
    AddKeyPair(m_token, Text("one"), modulusBytes);
    m_open.Initialize("\\\\.\\Reader A\\one", flags, m_cryptoki, 1);
    const BYTE pin[] = {'1', '2', '3', '4'};
    m_open.LoginWithPIN(pin, sizeof(pin));
    m_module.ForgetCalls();
    TakeLog();
  }

  Bytes Sign(const std::string& data) {
    const DWORD dataLength = static_cast<DWORD>(data.size());
    Bytes signature(64, 0xEE);
    DWORD length = 64;
    m_open.Sign(reinterpret_cast<const BYTE*>(data.data()), &dataLength, signature.data(), &length);
    signature.resize(length);
    return signature;
  }

  void Verify(const std::string& data, const Bytes& signature, PublicKey* key = nullptr) {
    m_open.Verify(reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size()), signature.data(),
                  static_cast<DWORD>(signature.size()), key);
  }

  ScriptedToken& m_token;
  OpenContext m_open;
};

// --- Sign

TEST_F(ContextRSATest, TheModulesSignatureIsReversed) {
  Bind();
  EXPECT_EQ(Reversed(PaddedAbc('S')), Sign("abc"));
  EXPECT_EQ(
      (Calls{"C_LoginExtended(1, user 1, 1234)", "C_SignInit(1, CKM_RSA_PKCS, 2)", "C_Sign(1, 3 bytes, room 64)"}),
      m_module.TakeCalls());
  EXPECT_THAT(TakeLog(),
              EndsWith(Line("User already logged in") + Line("TELVOCSPContext::Sign Initialze Signing") +
                       Line("TELVOCSPContext::Sign Pre Signing") + Line("TELVOCSPContext::Sign Post Signing")));
}

TEST_F(ContextRSATest, WithoutABufferTheSizeIsReturnedAfterALogin) {
  Bind();
  const DWORD dataLength = 3;
  DWORD length = 0;
  m_open.Sign(reinterpret_cast<const BYTE*>("abc"), &dataLength, nullptr, &length);
  EXPECT_EQ(16U, length);
  EXPECT_EQ(1U, m_open.m_signPending);
  EXPECT_EQ((Calls{"C_LoginExtended", "C_SignInit", "C_Sign"}), m_module.TakeCallNames());
}

TEST_F(ContextRSATest, ReversingASignatureOfOneByteChangesNothing) {
  Bind();
  m_module.falsifyCount = [](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Sign") count = 1;
  };
  EXPECT_EQ(Bytes{'S'}, Sign("abc"));
}

TEST_F(ContextRSATest, AReturnedLengthBeyondTheBufferIsCutToTheBuffer) {
  Bind();
  m_module.falsifyCount = [](const std::string& entry, CK_ULONG& count) {
    if (entry == "C_Sign") count = 5000;
  };
  EXPECT_EQ(64U, Sign("abc").size());
}

TEST_F(ContextRSATest, WithoutAPrivateKeyThereIsNoSignatureAndNoLogin) {
  const DWORD dataLength = 3;
  DWORD length = 64;
  BYTE signature[64] = {};
  EXPECT_CONTEXT_ERROR(Code(NTE_NO_KEY), "Private Key not found for signing",
                       m_open.Sign(reinterpret_cast<const BYTE*>("abc"), &dataLength, signature, &length));
  EXPECT_EQ(0U, m_open.m_signPending);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ContextRSATest, AModuleErrorWhileSigningReachesTheCaller) {
  Bind();
  m_module.FailNext("C_Sign", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, Sign("abc"));
}

TEST_F(ContextRSATest, ABufferThatIsTooSmallIsRefusedByTheModule) {
  Bind();
  const DWORD dataLength = 3;
  DWORD length = 5;
  BYTE signature[5] = {};
  EXPECT_CRYPTOKI_ERROR(CKR_BUFFER_TOO_SMALL,
                        m_open.Sign(reinterpret_cast<const BYTE*>("abc"), &dataLength, signature, &length));
}

TEST_F(ContextRSATest, AfterACancelledSignatureTheNextFailsWithoutADialog) {
  Bind();
  g_pinCacheManager.GetPINCache("Reader A")->ClearPINCache();
  ScriptedDialogs dialogs;
  dialogs.OnNext(CancelDialog());
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), "User Interface cancelled by user", Sign("abc"));
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CANCELLED_BY_USER), "User Interface cancelled by user", Sign("abc"));
  EXPECT_EQ(1, dialogs.ShownCount());
  dialogs.OnNext(EnterPIN("1234"));
  EXPECT_EQ(Reversed(PaddedAbc('S')), Sign("abc"));
  EXPECT_EQ(2, dialogs.ShownCount());
}

// --- Verify

TEST_F(ContextRSATest, ASignatureIsReversedBeforeTheModuleVerifiesIt) {
  Bind();
  Verify("abc", Reversed(PaddedAbc('S')));
  EXPECT_EQ((Calls{"C_LoginExtended", "C_VerifyInit", "C_Verify"}), m_module.TakeCallNames());
}

TEST_F(ContextRSATest, ASignatureMadeHereIsAcceptedHere) {
  Bind();
  Verify("abc", Sign("abc"));
}

TEST_F(ContextRSATest, AWrongSignatureIsBad) {
  Bind();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_SIGNATURE), ErrorText(CKR_SIGNATURE_INVALID), Verify("abd", Sign("abc")));
}

TEST_F(ContextRSATest, ADeadSessionIsABadSignatureWithAnotherMessage) {
  Bind();
  m_module.FailNext("C_VerifyInit", CKR_SESSION_HANDLE_INVALID);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_SIGNATURE), ErrorText(CKR_SESSION_HANDLE_INVALID), Verify("abc", PaddedAbc('S')));
}

TEST_F(ContextRSATest, AnImportedKeyVerifiesInsteadOfTheContainersKey) {
  Bind();
  PublicKey imported(m_open.GetSession()->CreateObject(
      {MakeAttribute(CKA_CLASS, Number(CKO_PUBLIC_KEY)), MakeAttribute(CKA_KEY_TYPE, Number(CKK_RSA)),
       MakeAttribute(CKA_ID, {9}), MakeAttribute(CKA_MODULUS, Counting(16, 0x81)),
       MakeAttribute(CKA_VERIFY, Flag(true))}));
  m_module.ForgetCalls();
  Verify("abc", Reversed(PaddedAbc('S')), &imported);
  EXPECT_EQ("C_VerifyInit(1, CKM_RSA_PKCS, 3)", m_module.TakeCalls()[1]);
}

TEST_F(ContextRSATest, WithoutAPublicKeyTheModuleIsStillCalled) {
  m_token.Add(PrivateKeyObject(Text("one"), Counting(16, 0x81)));
  m_open.Initialize("\\\\.\\Reader A\\one", 0, m_cryptoki, 1);
  const BYTE pin[] = {'1', '2', '3', '4'};
  m_open.LoginWithPIN(pin, sizeof(pin));
  m_module.ForgetCalls();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_SIGNATURE), ErrorText(CKR_KEY_HANDLE_INVALID), Verify("abc", PaddedAbc('S')));
  EXPECT_EQ("C_VerifyInit(1, CKM_RSA_PKCS, 0)", m_module.TakeCalls()[1]);
}

TEST_F(ContextRSATest, AMessageAndASignatureAreRequiredToVerify) {
  Bind();
  const BYTE byte[] = {1};
  EXPECT_CONTEXT_ERROR(Code(ERROR_INVALID_PARAMETER), "Message Digest is NULL",
                       m_open.Verify(nullptr, 1, byte, 1, nullptr));
  EXPECT_CONTEXT_ERROR(Code(ERROR_INVALID_PARAMETER), "Message Digest is NULL",
                       m_open.Verify(byte, 0, byte, 1, nullptr));
  EXPECT_CONTEXT_ERROR(Code(ERROR_INVALID_PARAMETER), "Signature is NULL", m_open.Verify(byte, 1, nullptr, 1, nullptr));
  EXPECT_CONTEXT_ERROR(Code(ERROR_INVALID_PARAMETER), "Signature is NULL", m_open.Verify(byte, 1, byte, 0, nullptr));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ContextRSATest, ASilentContextWithoutAPINCannotVerify) {
  Bind(0x40);
  g_pinCacheManager.GetPINCache("Reader A")->ClearPINCache();
  EXPECT_CONTEXT_ERROR(Code(NTE_SILENT_CONTEXT),
                       "User is not logged in, No PIN Cache found and the current context is Silent",
                       Verify("abc", PaddedAbc('S')));
}

// --- Encrypt and decrypt

class ContextCipherTest : public ContextRSATest {
 protected:
  using Operation = void (CCSPContext::*)(const BYTE*, DWORD, BYTE*, DWORD*);

  // In one buffer, as the entry points do it.
  Bytes InPlace(Operation operation, const Bytes& data) {
    Bytes buffer = data;
    buffer.resize(64);
    DWORD length = 64;
    (m_open.*operation)(buffer.data(), static_cast<DWORD>(data.size()), buffer.data(), &length);
    buffer.resize(length);
    return buffer;
  }
};

TEST_F(ContextCipherTest, TheModulesCipherTextIsReturnedUnchanged) {
  Bind();
  EXPECT_EQ(PaddedAbc('E'), InPlace(&CCSPContext::Encrypt, Text("abc")));
  EXPECT_EQ((Calls{"C_LoginExtended(1, user 1, 1234)", "C_EncryptInit(1, CKM_RSA_PKCS, 1)",
                   "C_Encrypt(1, 3 bytes, room 64)"}),
            m_module.TakeCalls());
}

TEST_F(ContextCipherTest, ACipherTextIsReversedBeforeTheModuleDecryptsIt) {
  Bind();
  EXPECT_EQ(Text("abc"), InPlace(&CCSPContext::Decrypt, Reversed(PaddedAbc('E'))));
  EXPECT_EQ((Calls{"C_LoginExtended", "C_DecryptInit", "C_Decrypt"}), m_module.TakeCallNames());
}

TEST_F(ContextCipherTest, OnlyTheLoginIsLogged) {
  Bind();
  Verify("abc", Reversed(PaddedAbc('S')));
  EXPECT_THAT(TakeLog(), EndsWith(Line("Error in logging in to card") + Line("User already logged in")));
  InPlace(&CCSPContext::Encrypt, Text("abc"));
  EXPECT_THAT(TakeLog(), EndsWith(Line("Error in logging in to card") + Line("User already logged in")));
  InPlace(&CCSPContext::Decrypt, Reversed(PaddedAbc('E')));
  EXPECT_THAT(TakeLog(), EndsWith(Line("Error in logging in to card") + Line("User already logged in")));
}

TEST_F(ContextCipherTest, ACipherTextMadeHereMustBeReversedToBeDecryptedHere) {
  Bind();
  const Bytes cipher = InPlace(&CCSPContext::Encrypt, Text("abc"));
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_ENCRYPTED_DATA_INVALID), InPlace(&CCSPContext::Decrypt, cipher));
  EXPECT_EQ(Text("abc"), InPlace(&CCSPContext::Decrypt, Reversed(cipher)));
}

TEST_F(ContextCipherTest, WithoutDataTheModuleGetsANullInput) {
  Bind();
  DWORD length = 0;
  m_open.Encrypt(nullptr, 3, nullptr, &length);
  EXPECT_EQ("C_Encrypt(1, null of 3, null)", m_module.TakeCalls()[2]);
  EXPECT_EQ(16U, length);
}

TEST_F(ContextCipherTest, WithALengthOfZeroTheModuleGetsANullInput) {
  Bind();
  BYTE byte = 0;
  DWORD length = 1;
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_ENCRYPTED_DATA_INVALID), m_open.Decrypt(&byte, 0, &byte, &length));
  EXPECT_EQ("C_Decrypt(1, null of 0, room 1)", m_module.TakeCalls()[2]);
}

TEST_F(ContextCipherTest, WithoutAPublicKeyNothingIsEncrypted) {
  DWORD length = 0;
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEY), "Public Key does not exist for encrypting",
                       m_open.Encrypt(nullptr, 0, nullptr, &length));
}

TEST_F(ContextCipherTest, WithoutAPrivateKeyNothingIsDecrypted) {
  DWORD length = 0;
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEY), "Private Key does not exist for decrypting",
                       m_open.Decrypt(nullptr, 0, nullptr, &length));
}

TEST_F(ContextCipherTest, AModuleErrorIsNteFailWithItsMessage) {
  Bind();
  m_module.FailNext("C_EncryptInit", CKR_DEVICE_REMOVED);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_DEVICE_REMOVED), InPlace(&CCSPContext::Encrypt, Text("abc")));
  m_module.FailNext("C_DecryptInit", CKR_DEVICE_REMOVED);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_DEVICE_REMOVED), InPlace(&CCSPContext::Decrypt, Text("abc")));
}

TEST_F(ContextCipherTest, DataThatTheModuleFindsTooLongIsNteFail) {
  Bind();
  m_module.FailNext("C_Encrypt", CKR_DATA_LEN_RANGE);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_DATA_LEN_RANGE), InPlace(&CCSPContext::Encrypt, Text("abc")));
}

TEST_F(ContextCipherTest, AFailedLoginKeepsItsOwnError) {
  Bind(0x40);
  g_pinCacheManager.GetPINCache("Reader A")->ClearPINCache();
  EXPECT_CONTEXT_ERROR(Code(NTE_SILENT_CONTEXT),
                       "User is not logged in, No PIN Cache found and the current context is Silent",
                       InPlace(&CCSPContext::Encrypt, Text("abc")));
  EXPECT_CONTEXT_ERROR(Code(NTE_SILENT_CONTEXT),
                       "User is not logged in, No PIN Cache found and the current context is Silent",
                       InPlace(&CCSPContext::Decrypt, Text("abc")));
}

}  // namespace

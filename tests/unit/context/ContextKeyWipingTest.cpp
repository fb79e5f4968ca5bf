// The provider wipes key bytes from its memory.
#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <memory>

#include "fixtures/ContextTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "log/Logs.h"
#include "module/KeyBlobBytes.h"
#include "objects/CCSPHash.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKey.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "platform/HeapWatch.h"
#include "platform/ScriptedClock.h"

namespace {

// Watches the first buffer that holds a key: random bytes, a decrypted key, or a key to be encrypted.
class WatchingModule : public ScriptedModule {
 public:
  CK_RV C_GenerateRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG length) override {
    if (entry == "C_GenerateRandom") Watch(data, length);
    return ScriptedModule::C_GenerateRandom(session, data, length);
  }
  CK_RV C_Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG length, CK_BYTE_PTR out,
                  CK_ULONG_PTR outLength) override {
    if (entry == "C_Decrypt" && out != nullptr) Watch(out, *outLength);
    return ScriptedModule::C_Decrypt(session, data, length, out, outLength);
  }
  CK_RV C_Encrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG length, CK_BYTE_PTR out,
                  CK_ULONG_PTR outLength) override {
    if (entry == "C_Encrypt") Watch(data, length);
    return ScriptedModule::C_Encrypt(session, data, length, out, outLength);
  }

  std::string entry;
  std::unique_ptr<HeapWatch> watch;

 private:
  void Watch(const void* bytes, std::size_t length) {
    if (!watch) watch = std::make_unique<HeapWatch>(bytes, length);
  }
};

class ContextKeyWipingTest : public ContextTest {
 protected:
  ContextKeyWipingTest() {
    AddKeyPair(m_watching->InsertToken("Reader A"), Text("one"), 48);
    const auto cryptoki = boost::make_shared<TELVOCryptoki>(m_watching);
    cryptoki->Initialize();
    m_context.Initialize("\\\\.\\Reader A\\one", 0, cryptoki, 1);
    const BYTE pin[] = {'1', '2', '3', '4'};
    m_context.LoginWithPIN(pin, sizeof(pin));
    m_context.AssignKeyHandles();
  }

  DWORD Generate() {
    DWORD handle = 0;
    m_context.GenerateKeyPair(CALG_3DES, CRYPT_MODE_CBC, &handle, &m_factory);
    return handle;
  }
  void Import() {
    const Bytes blob = SimpleBlob(CALG_3DES, Reversed(EncryptedKey(Counting(24, 1), 48)));
    DWORD handle = 0;
    m_context.ImportKey(blob.data(), static_cast<DWORD>(blob.size()), &handle, &m_factory, 0);
  }
  void Export(DWORD key) {
    Bytes blob(60);
    DWORD length = 60;
    m_context.ExportSessionKey(key, m_context.GetExchangeKeyHandle(), blob.data(), &length);
  }
  void ExpectWiped() {
    ASSERT_TRUE(m_watching->watch);
    EXPECT_TRUE(m_watching->watch->WasReleased());
    EXPECT_TRUE(m_watching->watch->WasWiped());
  }

  boost::shared_ptr<WatchingModule> m_watching = boost::make_shared<WatchingModule>();
  ScriptedClock m_clock;
  CCSPSecretKeyFactory m_factory{g_secretKeyLog, m_clock.Clock()};
};

TEST_F(ContextKeyWipingTest, TheRandomBytesOfAGeneratedKeyAreWiped) {
  m_watching->entry = "C_GenerateRandom";
  Generate();
  ExpectWiped();
}

TEST_F(ContextKeyWipingTest, TheRandomBytesOfAKeyThatTheModuleRefusesAreWiped) {
  m_watching->entry = "C_GenerateRandom";
  m_watching->FailNext("C_CreateObject", CKR_DEVICE_MEMORY);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_MEMORY, Generate());
  ExpectWiped();
}

TEST_F(ContextKeyWipingTest, ADecryptedKeyIsWiped) {
  m_watching->entry = "C_Decrypt";
  Import();
  ExpectWiped();
}

TEST_F(ContextKeyWipingTest, ADecryptedKeyThatTheModuleRefusesIsWiped) {
  m_watching->entry = "C_Decrypt";
  m_watching->FailNext("C_CreateObject", CKR_DEVICE_MEMORY);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), ErrorText(CKR_DEVICE_MEMORY), Import());
  ExpectWiped();
}

TEST_F(ContextKeyWipingTest, AnExportedKeyIsWiped) {
  const DWORD key = Generate();
  m_watching->entry = "C_Encrypt";
  Export(key);
  ExpectWiped();
}

TEST_F(ContextKeyWipingTest, AKeyWhoseExportFailsIsWiped) {
  const DWORD key = Generate();
  m_watching->entry = "C_Encrypt";
  m_watching->FailNext("C_Encrypt", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, Export(key));
  ExpectWiped();
}

// --- Derived keys

using Digest = std::array<BYTE, 20>;

// The module's digest of the n-th message; with a filling, the digest as it is in a pad.
Digest DigestOf(int number, BYTE filling = 0) {
  Digest digest = {};
  for (std::size_t i = 0; i < digest.size(); ++i) {
    digest[i] = static_cast<BYTE>((0x11U + 0x40U * static_cast<unsigned>(number) + 7U * i) ^ filling);
  }
  return digest;
}

// A module that keeps no copy of its inputs and results.
class ForgetfulModule : public ScriptedModule {
 public:
  CK_RV C_DigestInit(CK_SESSION_HANDLE /*session*/, CK_MECHANISM_PTR /*mechanism*/) override { return CKR_OK; }
  CK_RV C_Digest(CK_SESSION_HANDLE /*session*/, CK_BYTE_PTR /*data*/, CK_ULONG /*length*/, CK_BYTE_PTR digest,
                 CK_ULONG_PTR digestLength) override {
    *digestLength = sizeof(Digest);
    if (digest != nullptr) {
      const Digest answer = DigestOf(m_digests++);
      std::copy(answer.begin(), answer.end(), digest);
    }
    return CKR_OK;
  }
  CK_RV C_CreateObject(CK_SESSION_HANDLE /*session*/, CK_ATTRIBUTE_PTR /*attributes*/, CK_ULONG /*count*/,
                       CK_OBJECT_HANDLE_PTR object) override {
    *object = 77;
    m_digests = 0;
    return CKR_OK;
  }

 private:
  int m_digests = 0;
};

class DerivationWipingTest : public ContextTest {
 protected:
  DerivationWipingTest() {
    const auto module = boost::make_shared<ForgetfulModule>();
    module->InsertToken("Reader A");
    const auto cryptoki = boost::make_shared<TELVOCryptoki>(module);
    cryptoki->Initialize();
    m_context.Initialize("\\\\.\\Reader A\\", 0, cryptoki, 1);
  }

  void Derive() {
    const BYTE message[] = {'a', 'b', 'c'};
    const auto hash = m_hashes.CreateHash(CALG_SHA1, m_context.GetSession());
    hash->AddData(message, sizeof(message));
    m_context.DeriveKey(hash, CALG_3DES, 24, &m_factory);
  }

  ScriptedClock m_clock;
  CCSPSecretKeyFactory m_factory{g_secretKeyLog, m_clock.Clock()};
  CCSPHashFactory m_hashes;
};

TEST_F(DerivationWipingTest, ADerivedKeyAndItsInputsAreNotLeftInMemory) {
  const Digest secrets[] = {DigestOf(0), DigestOf(0, 0x36), DigestOf(0, 0x5C), DigestOf(1), DigestOf(2)};
  for (const Digest& secret : secrets) {
    const HeapSearch search({{reinterpret_cast<const char*>(secret.data()), secret.size()}});
    Derive();
    EXPECT_TRUE(search.Found().empty()) << "secret " << &secret - secrets;
  }
}

}  // namespace

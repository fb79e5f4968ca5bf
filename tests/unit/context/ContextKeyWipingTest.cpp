// Key bytes leave nothing behind in the provider's memory.
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <memory>

#include "ContextTest.h"
#include "Expect.h"
#include "HeapWatch.h"
#include "KeyBlobBytes.h"
#include "ScriptedClock.h"
#include "log/Logs.h"
#include "objects/CCSPSecretKey.h"

namespace {

// Watches the first buffer that holds a key: random bytes, a key decrypted, a key to be encrypted.
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
  EXPECT_CONTEXT_ERROR(0x80090020, ErrorText(CKR_DEVICE_MEMORY), Import());
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

}  // namespace

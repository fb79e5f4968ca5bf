// CPHashSessionKey.
#include <boost/make_shared.hpp>
#include <chrono>
#include <cstring>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cryptoki/CryptokiError.h"
#include "cryptoki/LoginLock.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/HashEntryTest.h"
#include "objects/CCSPSecretKey.h"

namespace {

using ::testing::EndsWith;

// Like a key on the token: its length is known, and reading the value returns no length.
class FakeKey : public CCSPSecretKey {
 public:
  FakeKey(HCRYPTKEY id, Bytes value) : m_id(static_cast<DWORD>(id)), m_value(std::move(value)) {}
  DWORD GetKeyID() const override { return m_id; }
  DWORD GetKeyLength() const override { return static_cast<DWORD>(m_value.size()); }
  void GetKeyValue(BYTE* out, DWORD* length) override {
    m_reads.push_back((out == nullptr ? "null of " : "room ") + std::to_string(*length));
    if (m_failure != CKR_OK) throw CryptokiError(m_failure);
    if (m_onRead) m_onRead();
    if (out != nullptr) std::memcpy(out, m_value.data(), m_value.size());
  }
  void DestroyObject() override {}

  Calls m_reads;
  CK_RV m_failure = CKR_OK;
  std::function<void()> m_onRead;

 private:
  DWORD m_id;
  Bytes m_value;
};

class CPHashSessionKeyTest : public HashEntryTest {
 protected:
  CPHashSessionKeyTest() : m_context(g_contextList.FindContext(m_handle)) {}

  boost::shared_ptr<FakeKey> MakeKey(HCRYPTKEY id) {
    auto key = boost::make_shared<FakeKey>(id, Bytes{1, 2, 3});
    m_context->AddSecretKey(key);
    return key;
  }
  // From now on the context logs in silently.
  void RememberPIN() {
    m_context->LoginWithPIN(reinterpret_cast<const BYTE*>("1234"), 4);
    m_module.ForgetCalls();
    TakeLog();
  }
  static std::string Begin(const std::string& flags) {
    return FrameLines("CPHashSessionKey") + Value("\tdwFlags: \t", flags);
  }

  boost::shared_ptr<CCSPContext> m_context;
};

TEST_F(CPHashSessionKeyTest, WithEqualHandlesTheKeyReplacesTheDataAndTheHashIsFinished) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  const auto key = MakeKey(hash);
  RememberPIN();
  ExpectDone(CPHashSessionKey(m_handle, 0, hash, 0));
  EXPECT_EQ((Calls{"null of 3", "room 3"}), key->m_reads);
  EXPECT_EQ(1U, Object(hash)->IsFinished());
  EXPECT_THAT(TakeLog(), EndsWith("Data to be hashed: 01 02 03 \n"
                                  "Hash result: 00 00 00 03 01 02 03 00 00 00 00 00 00 00 00 00 00 00 00 00 \n" +
                                  Line("\nCPHashSessionKey Success")));
  // The context logs in again.
  EXPECT_EQ((Calls{"C_Logout", "C_LoginExtended", "C_DigestInit", "C_Digest", "C_Digest"}), m_module.TakeCallNames());
}

TEST_F(CPHashSessionKeyTest, NoOtherThreadLogsTheTokenOutBeforeTheKeyIsRead) {
  const HCRYPTHASH hash = MakeHash();
  const auto key = MakeKey(hash);
  RememberPIN();
  std::future<void> other;
  key->m_onRead = [&other] {
    if (other.valid()) return;
    other = std::async(std::launch::async, [] { const LoginLock lock; });
    EXPECT_EQ(std::future_status::timeout, other.wait_for(std::chrono::milliseconds(20)));
  };
  ExpectDone(CPHashSessionKey(m_handle, 0, hash, 0));
  other.get();
}

TEST_F(CPHashSessionKeyTest, LittleEndianReversesTheKey) {
  const HCRYPTHASH hash = MakeHash();
  MakeKey(hash);
  RememberPIN();
  ExpectDone(CPHashSessionKey(m_handle, 0, hash, 1));
  EXPECT_THAT(TakeLog(), ::testing::HasSubstr("Data to be hashed: 03 02 01 \n"));
}

TEST_F(CPHashSessionKeyTest, AKeyWhoseHandleNoHashHasIsABadHash) {
  const HCRYPTHASH hash = MakeHash();
  MakeKey(hash + 1);
  ExpectRefused(Code(NTE_BAD_HASH), CPHashSessionKey(m_handle, hash, hash + 1, 0));
  EXPECT_EQ(Begin("0") + Line("Hash not found in this context"), TakeLog());
}

TEST_F(CPHashSessionKeyTest, AHashWhoseHandleNoKeyHasIsNoKey) {
  const HCRYPTHASH hash = MakeHash();
  ExpectRefused(Code(NTE_NO_KEY), CPHashSessionKey(m_handle, hash, hash, 0));
  EXPECT_EQ(Begin("0") + Line("Symmetric Key not found in this context"), TakeLog());
}

TEST_F(CPHashSessionKeyTest, OtherFlagsAreRefusedBeforeTheContextIsLookedUp) {
  ExpectRefused(Code(NTE_BAD_FLAGS), CPHashSessionKey(m_unknown, 0, 0, 0x1A));
  EXPECT_EQ(Begin("1A") + Line("\nCPHashSessionKey Error: Invalid dwFlags"), TakeLog());
}

TEST_F(CPHashSessionKeyTest, AnUnknownContextIsABadUid) {
  ExpectRefused(Code(NTE_BAD_UID), CPHashSessionKey(m_unknown, 0, 0, 1));
  EXPECT_EQ(Begin("1") + Line("The context does not exist"), TakeLog());
}

TEST_F(CPHashSessionKeyTest, AFinishedHashIsRefusedBeforeTheLogin) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  Object(hash)->Finish();
  const auto key = MakeKey(hash);
  m_module.ForgetCalls();
  TakeLog();
  ExpectRefused(Code(NTE_BAD_HASH_STATE), CPHashSessionKey(m_handle, 0, hash, 0));
  EXPECT_EQ(Begin("0") + Line("\nCPHashSessionKey Error: Hash already in finished state"), TakeLog());
  EXPECT_EQ(Calls(), key->m_reads);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPHashSessionKeyTest, AModuleErrorLogsItsMessageAndSetsNteFail) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  MakeKey(hash)->m_failure = CKR_ATTRIBUTE_SENSITIVE;
  RememberPIN();
  ExpectRefused(Code(NTE_FAIL), CPHashSessionKey(m_handle, 0, hash, 0));
  EXPECT_THAT(TakeLog(), EndsWith(Line(ErrorText(CKR_ATTRIBUTE_SENSITIVE))));
  // The data is still there.
  DWORD length = 0;
  Object(hash)->GetData(nullptr, &length);
  EXPECT_EQ(3U, length);
}

}  // namespace

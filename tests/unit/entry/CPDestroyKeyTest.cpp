// CPDestroyKey.
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "cryptoki/CryptokiError.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyEntryTest.h"
#include "module/KeyBlobBytes.h"
#include "module/WaitingLogin.h"
#include "objects/CCSPSecretKeyFactory.h"

namespace {

class CPDestroyKeyTest : public KeyEntryTest {
 protected:
  static std::string Begin(HCRYPTKEY key) { return FrameLines("CPDestroyKey") + Value("\thkey: \t", Hex8(key)); }
  void ExpectDestroyed(HCRYPTKEY key) {
    ExpectDone(CPDestroyKey(m_handle, key));
    EXPECT_EQ(Begin(key) + Line("\nCPDestroyKey Success"), TakeLog());
  }
};

// The factory's record destroys the same object again. That the module refuses this is not reported.
TEST_F(CPDestroyKeyTest, ASessionKeyIsDestroyedTwiceOnTheToken) {
  const HCRYPTKEY key = MakeSessionKey();
  ASSERT_EQ(1U, OnToken().objects.count(4));
  ExpectDestroyed(key);
  EXPECT_EQ((Calls{"C_DestroyObject(1, 4)", "C_DestroyObject(1, 4)"}), m_module.TakeCalls());
  EXPECT_EQ(0U, OnToken().objects.count(4));
  EXPECT_EQ(0U, g_secretKeyFactory.Count());
}

// A key of the context that counts the factory's records when it is destroyed.
class LookingKey : public CCSPSecretKey {
 public:
  explicit LookingKey(DWORD id) : m_id(id) {}
  DWORD GetKeyID() const override { return m_id; }
  DWORD GetKeyLength() const override { return 0; }
  void GetKeyValue(BYTE* /*out*/, DWORD* /*length*/) override {}
  void DestroyObject() override { m_records = g_secretKeyFactory.Count(); }

  std::size_t m_records = 0;

 private:
  DWORD m_id;
};

TEST_F(CPDestroyKeyTest, TheContextsKeyIsDestroyedBeforeTheFactorysRecord) {
  const HCRYPTKEY handle = MakeSessionKey();
  Context().RemoveSecretKey(Context().GetSecretKey(static_cast<DWORD>(handle)).get());
  const auto key = boost::make_shared<LookingKey>(static_cast<DWORD>(handle));
  Context().AddSecretKey(key);
  Forget();
  ExpectDestroyed(handle);
  EXPECT_EQ(1U, key->m_records);
  EXPECT_EQ(0U, g_secretKeyFactory.Count());
  EXPECT_EQ((Calls{"C_DestroyObject(1, 4)"}), m_module.TakeCalls());
}

TEST_F(CPDestroyKeyTest, TheUpperBitsOfAHandleAreIgnored) {
  const HCRYPTKEY key = MakeSessionKey() | HCRYPTKEY{1} << 32U;
  ExpectDestroyed(key);
  EXPECT_EQ(0U, OnToken().objects.count(4));
  EXPECT_EQ(0U, g_secretKeyFactory.Count());
}

TEST_F(CPDestroyKeyTest, ADestroyedSessionKeyIsNoLongerFound) {
  const HCRYPTKEY key = MakeSessionKey();
  ExpectDestroyed(key);
  EXPECT_ANY_THROW(Context().GetSecretKey(static_cast<DWORD>(key)));
  Forget();
  ExpectDestroyed(key);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPDestroyKeyTest, NoOtherThreadLogsTheTokenOutWhileAKeyIsDestroyed) {
  const HCRYPTKEY key = MakeSessionKey();
  WaitingLogin login(m_module, "C_DestroyObject");
  ExpectDestroyed(key);
  EXPECT_TRUE(login.HadToWait());
}

TEST_F(CPDestroyKeyTest, OtherKeysStay) {
  const HCRYPTKEY first = MakeSessionKey();
  const HCRYPTKEY second = MakeSessionKey();
  ExpectDestroyed(first);
  EXPECT_NO_THROW(Context().GetSecretKey(static_cast<DWORD>(second)));
  EXPECT_EQ(1U, OnToken().objects.count(5));
}

TEST_F(CPDestroyKeyTest, AnImportedPublicKeyIsDestroyedOnce) {
  const HCRYPTKEY key = Import(PublicKeyBlob(CALG_RSA_KEYX, Counting(32, 0xA1)));
  ExpectDestroyed(key);
  EXPECT_EQ((Calls{"C_DestroyObject(1, 4)"}), m_module.TakeCalls());
  EXPECT_ANY_THROW(Context().GetImportedPublicKey(static_cast<DWORD>(key)));
}

TEST_F(CPDestroyKeyTest, AnUnknownKeyIsIgnored) {
  ExpectDestroyed(0x01FFFFFF);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPDestroyKeyTest, TheHandlesOfThePairAreIgnored) {
  ExpectDestroyed(Context().GetSignatureKeyHandle());
  ExpectDestroyed(Context().GetExchangeKeyHandle());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
  EXPECT_EQ(1U, Context().HasPrivateKey());
}

TEST_F(CPDestroyKeyTest, AnUnknownContextIsABadUid) {
  const HCRYPTKEY key = MakeSessionKey();
  ExpectRefused(Code(NTE_BAD_UID), CPDestroyKey(m_unknown, key));
  EXPECT_EQ(Begin(key) + Line("The context does not exist"), TakeLog());
  EXPECT_EQ(1U, g_secretKeyFactory.Count());
}

TEST_F(CPDestroyKeyTest, AFailureToDestroyASessionKeyIsNotReported) {
  const HCRYPTKEY key = MakeSessionKey();
  m_module.FailAlways("C_DestroyObject", CKR_DEVICE_REMOVED);
  ExpectDestroyed(key);
}

TEST_F(CPDestroyKeyTest, AFailureToDestroyAPublicKeyIsNteFail) {
  const HCRYPTKEY key = Import(PublicKeyBlob(CALG_RSA_KEYX, Counting(32, 0xA1)));
  m_module.FailNext("C_DestroyObject", CKR_DEVICE_REMOVED);
  ExpectRefused(Code(NTE_FAIL), CPDestroyKey(m_handle, key));
  EXPECT_EQ(Begin(key) + Line(ErrorText(CKR_DEVICE_REMOVED)), TakeLog());
}

}  // namespace

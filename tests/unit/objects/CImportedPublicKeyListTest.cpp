#include <cstdlib>
#include <gtest/gtest.h>

#include "cryptoki/Token.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "module/ScriptedModule.h"
#include "objects/CImportedPublicKeyList.h"

namespace {

void LeaveToItsOwner(CryptokiInterface* /*module*/) {}

class CImportedPublicKeyListTest : public ::testing::Test {
 protected:
  CImportedPublicKeyListTest() : m_token(0) {
    m_module.C_Initialize(nullptr);
    m_module.InsertToken("Reader");
    m_token.SetCryptoki(boost::shared_ptr<CryptokiInterface>(&m_module, LeaveToItsOwner));
    m_session = m_token.OpenSession(CKF_RW_SESSION | CKF_SERIAL_SESSION, nullptr, nullptr);
    m_module.ForgetCalls();
  }

  // A public key that is a session object.
  PublicKey MakeKey() {
    const std::list<Attribute> attributes = {
        MakeAttribute(CKA_CLASS, Number(CKO_PUBLIC_KEY)), MakeAttribute(CKA_KEY_TYPE, Number(CKK_RSA)),
        MakeAttribute(CKA_ID, {1, 2}), MakeAttribute(CKA_MODULUS, Counting(128, 0x81))};
    PublicKey key(m_session.CreateObject(attributes));
    m_module.ForgetCalls();
    return key;
  }

  ScriptedModule m_module;
  Token m_token;
  Session m_session;
  CImportedPublicKeyList m_list;
};

TEST_F(CImportedPublicKeyListTest, AnEmptyListHasNoKeyAndMakesNoCalls) {
  EXPECT_EQ(nullptr, m_list.GetKey(0));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CImportedPublicKeyListTest, AKeyIsFoundByItsId) {
  const PublicKey key = MakeKey();
  const DWORD id = m_list.AddKey(key);
  ASSERT_NE(nullptr, m_list.GetKey(id));
  EXPECT_EQ(key.GetHandle(), m_list.GetKey(id)->GetHandle());
  EXPECT_EQ(nullptr, m_list.GetKey(id + 1));
}

TEST_F(CImportedPublicKeyListTest, TwoKeysGetDifferentIds) {
  EXPECT_NE(m_list.AddKey(MakeKey()), m_list.AddKey(MakeKey()));
}

TEST_F(CImportedPublicKeyListTest, AnIdThatIsTakenIsGeneratedAgain) {
  std::srand(7);
  const DWORD first = m_list.AddKey(MakeKey());
  const DWORD expected = static_cast<DWORD>(std::rand()) % 0xFFFFFF;
  std::srand(7);
  EXPECT_EQ(expected, m_list.AddKey(MakeKey()));
  EXPECT_NE(first, expected);
}

TEST_F(CImportedPublicKeyListTest, RemovingAnUnknownIdChangesNeitherTheListNorTheToken) {
  m_list.RemoveKey(5);
  const DWORD id = m_list.AddKey(MakeKey());
  m_list.RemoveKey(id + 1);
  EXPECT_NE(nullptr, m_list.GetKey(id));
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CImportedPublicKeyListTest, ARemovedKeyIsDeletedFromTheTokenAndTheList) {
  const DWORD id = m_list.AddKey(MakeKey());
  m_list.RemoveKey(id);
  EXPECT_EQ(Calls{"C_DestroyObject(1, 1)"}, m_module.TakeCalls());
  EXPECT_EQ(nullptr, m_list.GetKey(id));
}

TEST_F(CImportedPublicKeyListTest, RemovingAKeyKeepsTheOthers) {
  const DWORD first = m_list.AddKey(MakeKey());
  const DWORD second = m_list.AddKey(MakeKey());
  m_list.RemoveKey(second);
  EXPECT_EQ(Calls{"C_DestroyObject(1, 2)"}, m_module.TakeCalls());
  EXPECT_EQ(nullptr, m_list.GetKey(second));
  ASSERT_NE(nullptr, m_list.GetKey(first));
  EXPECT_EQ(1U, m_list.GetKey(first)->GetHandle());
}

TEST_F(CImportedPublicKeyListTest, AKeyThatTheTokenDoesNotDeleteStaysInTheList) {
  const DWORD id = m_list.AddKey(MakeKey());
  m_module.FailNext("C_DestroyObject", CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_list.RemoveKey(id));
  EXPECT_NE(nullptr, m_list.GetKey(id));
}

TEST_F(CImportedPublicKeyListTest, DestroyingAListLeavesTheTokenAlone) {
  {
    CImportedPublicKeyList list;
    list.AddKey(MakeKey());
  }
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST(ImportedPublicKeyTest, AKeyThatWasNotAddedIsNotValid) {
  ImportedPublicKey key;
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEY_STATE), "Public Key state is invalid", key.GetPublicKey());
  key.SetPublicKey(PublicKey());
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEY_STATE), "Public Key state is invalid", key.GetPublicKey());
}

TEST(ImportedPublicKeyTest, ACopyHasKeyIdAndState) {
  ImportedPublicKey key;
  key.SetKeyID(42);
  key.SetValid();
  ImportedPublicKey copy(key);
  EXPECT_EQ(42U, copy.GetKeyID());
  copy.GetPublicKey();
}

}  // namespace

// The bridge over a module whose handles need 64 bits.
#include <cstdlib>
#include <gtest/gtest.h>

#include "WideModule.h"
#include "pkcs11/NativeTable.h"

namespace {

class BridgeTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { ::setenv("TELVO_BRIDGE_MODULE", TELVO_WIDE_MODULE, 1); }

  CK_SESSION_HANDLE Open() {
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(CKR_OK, m_bridge.C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &session));
    return session;
  }

  CK_FUNCTION_LIST& m_bridge = pkcs11::NativeTable().standard;
  CK_MECHANISM m_mechanism = {CKM_RSA_PKCS, nullptr, 0};
};

TEST_F(BridgeTest, SessionHandlesHave32BitsAndDiffer) {
  const CK_SESSION_HANDLE first = Open(), second = Open();
  EXPECT_NE(0, first);
  EXPECT_GT(0xFFFFFFFF, first);
  EXPECT_GT(0xFFFFFFFF, second);
  EXPECT_NE(first, second);
}

TEST_F(BridgeTest, AnObjectWithHandleZeroGetsANonzeroHandle) {
  CK_OBJECT_HANDLE found[2] = {};
  CK_ULONG count = 0;
  ASSERT_EQ(CKR_OK, m_bridge.C_FindObjects(Open(), found, 2, &count));
  ASSERT_EQ(2, count);
  EXPECT_NE(0, found[0]);
  EXPECT_NE(0, found[1]);
  EXPECT_NE(found[0], found[1]);
  EXPECT_GT(0xFFFFFFFF, found[1]);
}

TEST_F(BridgeTest, AnObjectThatIsFoundAgainHasTheSameHandle) {
  CK_OBJECT_HANDLE found[2] = {}, again[2] = {};
  CK_ULONG count = 0;
  m_bridge.C_FindObjects(Open(), found, 2, &count);
  m_bridge.C_FindObjects(Open(), again, 2, &count);
  EXPECT_EQ(found[0], again[0]);
  EXPECT_EQ(found[1], again[1]);
}

TEST_F(BridgeTest, TheModuleGetsItsOwnHandlesBack) {
  const CK_SESSION_HANDLE session = Open();
  CK_OBJECT_HANDLE found[2] = {};
  CK_ULONG count = 0;
  m_bridge.C_FindObjects(session, found, 2, &count);
  EXPECT_EQ(CKR_OK, m_bridge.C_SignInit(session, &m_mechanism, found[1]));
  EXPECT_EQ(CKR_KEY_HANDLE_INVALID, m_bridge.C_SignInit(session, &m_mechanism, found[0]));
}

TEST_F(BridgeTest, NewKeysGetHandlesOfTheBridge) {
  const CK_SESSION_HANDLE session = Open();
  CK_OBJECT_HANDLE publicKey = 0, privateKey = 0;
  ASSERT_EQ(CKR_OK, m_bridge.C_GenerateKeyPair(session, &m_mechanism, nullptr, 0, nullptr, 0, &publicKey, &privateKey));
  EXPECT_GT(0xFFFFFFFF, publicKey);
  EXPECT_NE(publicKey, privateKey);
  EXPECT_EQ(CKR_OK, m_bridge.C_SignInit(session, &m_mechanism, privateKey));
}

TEST_F(BridgeTest, AFailedCallLeavesTheCallersHandlesAlone) {
  CK_OBJECT_HANDLE publicKey = 77, privateKey = 78;
  EXPECT_EQ(CKR_ARGUMENTS_BAD,
            m_bridge.C_GenerateKeyPair(Open(), nullptr, nullptr, 0, nullptr, 0, &publicKey, &privateKey));
  EXPECT_EQ(77, publicKey);
  EXPECT_EQ(78, privateKey);
}

TEST_F(BridgeTest, TheModuleItselfRefusesAnUnknownHandle) {
  const CK_SESSION_HANDLE session = Open();
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, m_bridge.C_DestroyObject(session + 1, 1));
  EXPECT_EQ(CKR_OBJECT_HANDLE_INVALID, m_bridge.C_DestroyObject(session, 0));
  EXPECT_EQ(CKR_OBJECT_HANDLE_INVALID, m_bridge.C_DestroyObject(session, 99));
}

TEST_F(BridgeTest, ClosedSessionsAndDestroyedObjectsAreUnknown) {
  const CK_SESSION_HANDLE session = Open();
  CK_OBJECT_HANDLE found[2] = {};
  CK_ULONG count = 0;
  m_bridge.C_FindObjects(session, found, 2, &count);
  EXPECT_EQ(CKR_OK, m_bridge.C_DestroyObject(session, found[0]));
  EXPECT_EQ(CKR_OBJECT_HANDLE_INVALID, m_bridge.C_DestroyObject(session, found[0]));
  EXPECT_EQ(CKR_OK, m_bridge.C_CloseSession(session));
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, m_bridge.C_CloseSession(session));
}

TEST_F(BridgeTest, TheInitialisationStringIsPassedOn) {
  CK_C_INITIALIZE_ARGS arguments = {};
  arguments.flags = CKF_OS_LOCKING_OK;
  EXPECT_EQ(CKR_ARGUMENTS_BAD, m_bridge.C_Initialize(&arguments));
  char text[] = "a string of the module's own";
  arguments.pReserved = text;
  EXPECT_EQ(CKR_OK, m_bridge.C_Initialize(&arguments));
  EXPECT_EQ(kNoArguments, m_bridge.C_Initialize(nullptr));
}

CK_RV NoMutex(CK_VOID_PTR_PTR /*mutex*/) { return CKR_OK; }

TEST_F(BridgeTest, TheCallersMutexesAreNotPassedToTheModule) {
  CK_C_INITIALIZE_ARGS arguments = {};
  char text[] = "a string of the module's own";
  arguments.pReserved = text;
  arguments.CreateMutex = &NoMutex;
  EXPECT_EQ(CKR_CANT_LOCK, m_bridge.C_Initialize(&arguments));
  arguments.flags = CKF_OS_LOCKING_OK;
  EXPECT_EQ(CKR_OK, m_bridge.C_Initialize(&arguments));
}

TEST_F(BridgeTest, AnEntryThatTheModuleLacksIsNotSupported) {
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, m_bridge.C_Logout(Open()));
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, pkcs11::NativeTable().C_LoginExtended(Open(), CKU_USER, nullptr, 0));
}

}  // namespace

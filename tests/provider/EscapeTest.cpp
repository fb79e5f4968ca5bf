// The four exceptions that escape from exported functions, called without the system's CryptoAPI.
#include <gtest/gtest.h>

#include "RoadTest.h"
#include "platform/ExportOf.h"

namespace {

using AcquireFunction = BOOL(WINAPI*)(HCRYPTPROV*, LPCSTR, DWORD, void*);
using ReleaseFunction = BOOL(WINAPI*)(HCRYPTPROV, DWORD);
using GetParameterFunction = BOOL(WINAPI*)(HCRYPTPROV, DWORD, BYTE*, DWORD*, DWORD);
using SetParameterFunction = BOOL(WINAPI*)(HCRYPTPROV, DWORD, const BYTE*, DWORD);

class EscapeTest : public RoadTest {
 protected:
  BOOL Acquire(const char* container) { return m_acquire(&m_context, container, 0, nullptr); }

  template <typename Function>
  Function Export(const char* name) const {
    return ExportOf<Function>(m_provider.Library(), name);
  }

  AcquireFunction m_acquire = Export<AcquireFunction>("CPAcquireContext");
  HCRYPTPROV m_context = 0;
};

TEST_F(EscapeTest, AnUnknownHandleThrowsFromCPReleaseContext) {
  EXPECT_ANY_THROW(Export<ReleaseFunction>("CPReleaseContext")(0x0FFFFFFF, 0));
}

TEST_F(EscapeTest, AFailingTokenThrowsFromCPGetProvParamForItsSerial) {
  ASSERT_TRUE(Acquire(kContainer));
  const auto get = Export<GetParameterFunction>("CPGetProvParam");
  BYTE serial[16] = {};
  DWORD length = sizeof(serial);
  ASSERT_TRUE(get(m_context, PP_SMARTCARD_GUID, serial, &length, 0));
  m_module.FailNext("C_GetTokenInfo", CKR_DEVICE_REMOVED);
  EXPECT_ANY_THROW(get(m_context, PP_SMARTCARD_GUID, serial, &length, 0));
}

TEST_F(EscapeTest, AModuleErrorThrowsFromCPSetProvParam) {
  ASSERT_TRUE(Acquire(kContainer));
  m_module.FailNext("C_LoginExtended", CKR_PIN_INCORRECT);
  m_module.FailNext("C_GetSessionInfo", CKR_DEVICE_REMOVED);
  const BYTE pin[] = "1234";
  EXPECT_ANY_THROW(Export<SetParameterFunction>("CPSetProvParam")(m_context, PP_KEYEXCHANGE_PIN, pin, 0));
}

// No reader service answers here, and with two tokens the user has to choose one.
TEST_F(EscapeTest, TheReaderDialogThrowsFromCPAcquireContext) {
  m_module.InsertToken("TELVO Reader B");
  EXPECT_ANY_THROW(Acquire(nullptr));
}

}  // namespace

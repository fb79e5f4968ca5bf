// KeyEntryTest: the fixture of tests of the CP... functions of keys. The context is bound to the container "one", whose
// certificate, public and private key are the objects 1 to 3, and knows the PIN. The modulus has 128 bytes.
#pragma once

#include "HashEntryTest.h"
#include "KeyLines.h"
#include "objects/CCSPSecretKey.h"

class KeyEntryTest : public HashEntryTest {
 protected:
  KeyEntryTest() {
    const BYTE pin[] = {'1', '2', '3', '4'};
    Context().LoginWithPIN(pin, sizeof(pin));
    Forget();
  }

  CCSPContext& Context() { return *g_contextList.FindContext(m_handle); }
  ScriptedToken& OnToken() { return m_module.InsertToken("Reader A"); }

  // A session key of the context; what it called and logged is forgotten.
  HCRYPTKEY MakeSessionKey(ALG_ID algorithm = CALG_3DES) {
    HCRYPTKEY key = 0;
    EXPECT_TRUE(CPGenKey(m_handle, algorithm, CRYPT_EXPORTABLE, &key));
    Forget();
    return key;
  }
  HCRYPTKEY Import(const Bytes& blob, DWORD flags = 0) {
    HCRYPTKEY key = 0;
    EXPECT_TRUE(CPImportKey(m_handle, blob.data(), static_cast<DWORD>(blob.size()), 0, flags, &key));
    Forget();
    return key;
  }
  void Forget() {
    m_module.ForgetCalls();
    TakeLog();
    SetLastError(4711);
  }

  static std::string LoginLines() { return LoginBeginning() + Line("Log-in success"); }
  static constexpr HCRYPTKEY kUntouched = 0x123456789ABCDEF0;
};

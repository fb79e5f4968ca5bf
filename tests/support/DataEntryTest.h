// DataEntryTest: the fixture of tests of CPEncrypt and CPDecrypt: a context that is logged in, with a key pair of 16
// bytes and session keys of the test's choice. What the scripted module makes of data can be read
// (tests/support/ScriptedCrypto.cpp). The log holds the entry layer alone.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

#include "EntryTest.h"
#include "common/FormatNumber.h"
#include "entry/CCSPContextList.h"
#include "log/Logs.h"
#include "objects/CCSPSecretKeyFactory.h"

class DataEntryTest : public EntryTest {
 protected:
  DataEntryTest() : m_token(m_module.InsertToken("Reader A")) {
    AddKeyPair(m_token, Text("one"), 16);
    m_handle = AcquireHandle("\\\\.\\Reader A\\one");
    m_unknown = m_handle + 1;
    m_context = g_contextList.FindContext(m_handle);
    const BYTE pin[] = {'1', '2', '3', '4'};
    m_context->LoginWithPIN(pin, sizeof(pin));
    Silence(g_contextLog);
    m_module.ForgetCalls();
    TakeLog();
    SetLastError(4711);
  }

  // A session key of the context, in that mode. The first one is the token's object 3.
  boost::shared_ptr<CCSPSecretKey> MakeKey(ALG_ID algorithm, DWORD mode) {
    const bool isAES = algorithm == CALG_AES_128;
    const CK_OBJECT_HANDLE object = m_token.Add(SecretKeyObject(isAES ? CKK_AES : CKK_DES, Bytes(isAES ? 16 : 8)));
    const auto key = g_secretKeyFactory.CreateSecretKey(algorithm, m_context->GetSession(), object);
    key->SetMode(mode);
    m_context->AddSecretKey(key);
    return key;
  }
  HCRYPTKEY MakeKeyHandle(ALG_ID algorithm = CALG_DES, DWORD mode = CRYPT_MODE_CBC) {
    return MakeKey(algorithm, mode)->GetKeyID();
  }
  // The lowest bit above a handle's own 32.
  static constexpr HCRYPTKEY kUpperBit = HCRYPTKEY{1} << 32U;
  // Of a public key that was brought into the context.
  HCRYPTKEY ImportPublicKey() { return Access::ImportedKeys(*m_context).AddKey(PublicKey()); }

  HCRYPTKEY SignatureKey() { return m_context->GetSignatureKeyHandle(); }
  HCRYPTKEY ExchangeKey() { return m_context->GetExchangeKeyHandle(); }
  // Which is no key's.
  HCRYPTKEY NoKey() {
    HCRYPTKEY handle = 1;
    while (handle == SignatureKey() || handle == ExchangeKey()) ++handle;
    return handle;
  }

  // The call failed with that code.
  static void ExpectRefused(DWORD code, BOOL result) {
    EXPECT_FALSE(result);
    EXPECT_EQ(code, GetLastError());
  }
  static void ExpectDone(BOOL result) {
    EXPECT_TRUE(result);
    EXPECT_EQ(0U, GetLastError());
  }
  static std::string Hex8(std::uint64_t number) { return FormatNumber("%08X", static_cast<DWORD>(number)); }
  static std::string Hex8(const void* pointer) { return Hex8(reinterpret_cast<std::uintptr_t>(pointer)); }
  static Bytes Turned(Bytes data) {
    for (unsigned char& byte : data) byte = static_cast<unsigned char>(byte ^ 0x5A);
    return data;
  }

  ScriptedToken& m_token;
  HCRYPTPROV m_handle = 0;
  HCRYPTPROV m_unknown = 0;
  boost::shared_ptr<CCSPContext> m_context;

 private:
  // A way into what a context keeps to itself.
  struct Access : CCSPContext {
    static CImportedPublicKeyList& ImportedKeys(CCSPContext& context) { return context.*(&Access::m_importedKeys); }
  };
};

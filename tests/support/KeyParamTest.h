// KeyParamTest: the fixture of tests of the parameters of keys: a context with a container, with a session key of each
// class and with an imported public key. Logged are the entry layer, the contexts and the session keys.
#pragma once

#include <boost/make_shared.hpp>
#include <map>
#include <string>

#include "EntryTest.h"
#include "common/FormatNumber.h"
#include "cryptoki/CryptokiError.h"
#include "entry/CCSPContextList.h"
#include "objects/C3DESKey.h"
#include "objects/C3DES_112Key.h"
#include "objects/CAES_128Key.h"
#include "objects/CDESKey.h"

enum class KeyKind { kDes, kTwoKeyTripleDes, kTripleDes, kAes, kSignaturePair, kExchangePair, kImported };

inline const char* NameOf(KeyKind kind) {
  static constexpr const char* kNames[] = {"Des",           "TwoKeyTripleDes", "TripleDes", "Aes",
                                           "SignaturePair", "ExchangePair",    "Imported"};
  return kNames[static_cast<int>(kind)];
}

constexpr KeyKind kSessionKeys[] = {KeyKind::kDes, KeyKind::kTwoKeyTripleDes, KeyKind::kTripleDes, KeyKind::kAes};
constexpr KeyKind kKeyPairs[] = {KeyKind::kSignaturePair, KeyKind::kExchangePair};
constexpr KeyKind kOtherKeys[] = {KeyKind::kSignaturePair, KeyKind::kExchangePair, KeyKind::kImported};
constexpr KeyKind kAllKeys[] = {KeyKind::kDes,           KeyKind::kTwoKeyTripleDes, KeyKind::kTripleDes, KeyKind::kAes,
                                KeyKind::kSignaturePair, KeyKind::kExchangePair,    KeyKind::kImported};

class KeyParamTest : public EntryTest {
 protected:
  KeyParamTest() : m_token(m_module.InsertToken("Reader A")) { SetLastError(4711); }

  // A container whose pair has 1024 bits. The imported key has 512.
  void Begin() {
    AddContainer(m_token, Text("one"));
    BeginWithToken();
  }
  // The same with what is on the token.
  void BeginWithToken(DWORD flags = 0) {
    const CK_OBJECT_HANDLE object = m_token.Add(PublicKeyObject(Text("imported"), Counting(64, 0x81)));
    OpenContext context;
    context.Initialize("\\\\.\\Reader A\\one", flags, m_cryptoki, 1);
    // The handles of the pair are drawn first, so that the others can differ.
    context.AssignKeyHandles();
    m_handles[KeyKind::kSignaturePair] = context.GetSignatureKeyHandle();
    m_handles[KeyKind::kExchangePair] = context.GetExchangeKeyHandle();
    PublicKey imported;
    imported.Bind(*context.GetSession(), object);
    imported.Retrieve();
    do {
      m_handles[KeyKind::kImported] = context.m_importedKeys.AddKey(imported);
    } while (m_handles[KeyKind::kImported] == m_handles[KeyKind::kSignaturePair] ||
             m_handles[KeyKind::kImported] == m_handles[KeyKind::kExchangePair]);
    AddSessionKey<CDESKey>(context, KeyKind::kDes, 0xA00001);
    AddSessionKey<C3DES_112Key>(context, KeyKind::kTwoKeyTripleDes, 0xA00002);
    AddSessionKey<C3DESKey>(context, KeyKind::kTripleDes, 0xA00003);
    AddSessionKey<CAES_128Key>(context, KeyKind::kAes, 0xA00004);
    m_handle = g_contextList.AddContext(context);
    m_unknownKey = 0xA0000F;
    m_module.ForgetCalls();
    TakeLog();
    SetLastError(4711);
  }

  CCSPContext& Context() { return *g_contextList.FindContext(m_handle); }
  CCSPSecretKey& SessionKey(KeyKind kind) { return *Context().GetSecretKey(static_cast<DWORD>(m_handles.at(kind))); }
  // The mechanism that the module gets from the key, with the IV.
  std::string MechanismOf(KeyKind kind) {
    m_module.ForgetCalls();
    DWORD length = 0;
    try {
      SessionKey(kind).Encrypt(nullptr, 0, nullptr, &length);
    } catch (const CryptokiError&) {
      // There is no such object on the token.
    }
    const std::string call = m_module.TakeCalls().at(0);
    return call.substr(std::string("C_EncryptInit(1, ").size(),
                       call.rfind(", ") - std::string("C_EncryptInit(1, ").size());
  }
  DWORD SaltLength(KeyKind kind) {
    DWORD length = 0;
    SessionKey(kind).GetSalt(nullptr, &length);
    return length;
  }

  static std::string Hex8(std::uint64_t number) { return FormatNumber("%08X", static_cast<DWORD>(number)); }
  static std::string Hex8(const void* pointer) { return Hex8(reinterpret_cast<std::uintptr_t>(pointer)); }

  ScriptedToken& m_token;
  HCRYPTPROV m_handle = 0;
  HCRYPTKEY m_unknownKey = 0;
  std::map<KeyKind, HCRYPTKEY> m_handles;

 private:
  class OpenContext : public TELVOCSPContext {
   public:
    OpenContext() : TELVOCSPContext(static_cast<HINSTANCE>(nullptr)) {}
    using CCSPContext::m_importedKeys;
  };

  template <typename Key>
  void AddSessionKey(CCSPContext& context, KeyKind kind, DWORD id) {
    const auto key = boost::make_shared<Key>();
    key->Bind(context.GetSession(), 77, id);
    key->SetMode(CRYPT_MODE_CBC);
    key->SetPermissions(1);
    context.AddSecretKey(key);
    m_handles[kind] = id;
  }
};

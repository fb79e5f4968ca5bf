// KeyTest: the fixture of tests of a context's operations on keys. The context is bound to the container "one" of
// "Reader A" and knows the PIN. The key pair, if there is one, are the objects 1 and 2; its modulus counts up from
// 0x81.
#pragma once

#include <string>

#include "ContextTest.h"
#include "Expect.h"
#include "KeyLines.h"
#include "ScriptedClock.h"
#include "log/Logs.h"
#include "objects/CCSPSecretKey.h"
#include "objects/CCSPSecretKeyFactory.h"

class KeyTest : public ContextTest {
 protected:
  KeyTest() : m_token(m_module.InsertToken("Reader A")), m_factory(g_secretKeyLog, m_clock.Clock()) {}

  void BindToPair(std::size_t modulusBytes = 48) {
    AddKeyPair(m_token, Text("one"), modulusBytes);
    Bind("one", 0);
  }
  void BindToNewContainer(const std::string& container = "one") { Bind(container, CRYPT_NEWKEYSET); }

  // The lines and the call of a login, with the PIN that is known; the token takes it for a second login.
  static std::string LoginLines() {
    return LoginBeginning() + Line("Error in logging in to card") + Line("User already logged in");
  }
  const std::string m_loginCall = "C_LoginExtended(1, user 1, 1234)";

  // The call that makes the object of a session key.
  static std::string CreationCall(const std::string& keyType, const std::string& value) {
    return "C_CreateObject(1, {CKA_CLASS=4, CKA_KEY_TYPE=" + keyType +
           ", CKA_ID=0000000000000000... (128 bytes), CKA_LABEL=0000000000000000... (128 bytes), CKA_DERIVE=true, "
           "CKA_ENCRYPT=true, CKA_DECRYPT=true, CKA_SIGN=true, CKA_VERIFY=false, CKA_WRAP=true, CKA_UNWRAP=true, "
           "CKA_PRIVATE=true, CKA_SENSITIVE=false, CKA_TOKEN=false, CKA_EXTRACTABLE=true, CKA_MODIFIABLE=true, "
           "CKA_VALUE=" +
           value + "})";
  }

  // An attribute of an object on the token.
  Bytes AttributeOf(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    return m_token.objects[object].attributes[type];
  }
  Bytes ValueOf(CCSPSecretKey& key) { return AttributeOf(key.GetObjectHandle(), CKA_VALUE); }

  // A generated session key of the context; what it called and logged is forgotten.
  DWORD MakeSessionKey(ALG_ID algorithm = CALG_3DES) {
    DWORD handle = 0;
    m_context.GenerateKeyPair(algorithm, CRYPT_MODE_CBC, &handle, &m_factory);
    Forget();
    return handle;
  }
  void Forget() {
    m_module.ForgetCalls();
    TakeLog();
  }

  ScriptedToken& m_token;
  ScriptedClock m_clock;
  CCSPSecretKeyFactory m_factory;

 private:
  void Bind(const std::string& container, DWORD flags) {
    m_context.Initialize(("\\\\.\\Reader A\\" + container).c_str(), flags, m_cryptoki, 1);
    const BYTE pin[] = {'1', '2', '3', '4'};
    m_context.LoginWithPIN(pin, sizeof(pin));
    m_context.AssignKeyHandles();
    Forget();
  }
};

// SecretKeyTest: the fixture of tests of session keys, on an open session of a scripted module and with a factory whose
// clock nobody waits for. The log holds nothing but what the test itself brings about.
#pragma once

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <string>

#include "LogTest.h"
#include "ScriptedClock.h"
#include "ScriptedModule.h"
#include "cryptoki/Session.h"
#include "cryptoki/Token.h"
#include "log/Logs.h"
#include "objects/CCSPSecretKeyFactory.h"

class SecretKeyTest : public LogTest {
 protected:
  SecretKeyTest() : m_token(m_module->InsertToken("Reader A")) {
    Token token(0);
    token.SetCryptoki(m_module);
    m_session = boost::make_shared<Session>(token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr));
    m_module->ForgetCalls();
    TakeLog();
  }

  // A key object of the token.
  CK_OBJECT_HANDLE MakeObject(CK_KEY_TYPE type = CKK_DES, std::size_t length = 8) {
    return m_token.Add(SecretKeyObject(type, Counting(length, 1)));
  }
  boost::shared_ptr<CCSPSecretKey> Make(ALG_ID algorithm, CK_OBJECT_HANDLE object) {
    return m_factory.CreateSecretKey(algorithm, m_session.get(), object);
  }

  boost::shared_ptr<ScriptedModule> m_module = boost::make_shared<ScriptedModule>();
  ScriptedToken& m_token;
  boost::shared_ptr<Session> m_session;
  ScriptedClock m_clock;
  CCSPSecretKeyFactory m_factory{g_secretKeyLog, m_clock.Clock()};
};

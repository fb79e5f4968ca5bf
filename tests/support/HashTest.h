// HashTest: the fixture of tests of hashes, on an open session of a scripted module. The log holds their lines only.
#pragma once

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <string>

#include "LogTest.h"
#include "ScriptedModule.h"
#include "cryptoki/Session.h"
#include "cryptoki/Token.h"
#include "objects/CCSPHashFactory.h"

class HashTest : public LogTest {
 protected:
  HashTest() {
    m_module->InsertToken("Reader A");
    Token token(0);
    token.SetCryptoki(m_module);
    m_session = boost::make_shared<Session>(token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr));
    m_module->ForgetCalls();
    TakeLog();
  }

  boost::shared_ptr<CCSPHash> Make(ALG_ID algorithm) { return m_factory.CreateHash(algorithm, m_session.get()); }
  boost::shared_ptr<CCSPHash> MakeOf(ALG_ID algorithm, const std::string& message) {
    auto hash = Make(algorithm);
    Add(*hash, message);
    return hash;
  }
  static void Add(CCSPHash& hash, const std::string& message) {
    const Bytes bytes = Text(message);
    hash.AddData(bytes.data(), static_cast<DWORD>(bytes.size()));
  }

  // What GetHash, GetPreSignData and GetData give, the length first.
  static Bytes ValueOf(CCSPHash& hash) { return Fetch(hash, &CCSPHash::GetHash); }
  static Bytes PreSignDataOf(CCSPHash& hash) { return Fetch(hash, &CCSPHash::GetPreSignData); }
  static Bytes DataOf(CCSPHash& hash) { return Fetch(hash, &CCSPHash::GetData); }
  // The scripted module's digest of a short message.
  static Bytes DigestOf(const std::string& message, std::size_t length) {
    Bytes digest = {0, 0, 0, static_cast<unsigned char>(message.size())};
    for (const char c : message) digest.push_back(static_cast<unsigned char>(c));
    digest.resize(length);
    return digest;
  }

  boost::shared_ptr<ScriptedModule> m_module = boost::make_shared<ScriptedModule>();
  boost::shared_ptr<Session> m_session;
  CCSPHashFactory m_factory;

 private:
  static Bytes Fetch(CCSPHash& hash, void (CCSPHash::*get)(BYTE*, DWORD*)) {
    DWORD length = 0;
    (hash.*get)(nullptr, &length);
    Bytes bytes(length);
    (hash.*get)(bytes.data(), &length);
    EXPECT_EQ(bytes.size(), length);
    return bytes;
  }
};

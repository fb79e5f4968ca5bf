// Which part of the provider writes to which of the twelve log objects. Here each object writes to its own file.
#include <array>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <new>
#include <string>

#include "context/UnplugThread.h"
#include "context/unreached/CertificateHelpers.h"
#include "dialogs/CLoginEX.h"
#include "dialogs/ScriptedDialogs.h"
#include "dialogs/unreached/CChangePwdDlg.h"
#include "entry/ProviderInterface.h"
#include "fixtures/ContextTest.h"
#include "fixtures/Expect.h"
#include "fixtures/Renew.h"
#include "log/Logs.h"
#include "module/AnsweringSession.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "pin/PINCacheManager.h"

namespace {

struct Named {
  const char* name;
  CCSPLog& log;
};

const Named kObjects[] = {
    {"pin cache", g_pinCacheLog},     {"entry", g_entryLog},       {"change password", g_changePwdLog},
    {"context", g_contextLog},        {"hash", g_hashLog},         {"login", g_loginLog},
    {"session keys", g_secretKeyLog}, {"cryptoki", g_cryptokiLog}, {"unused", g_unusedLog},
    {"objects", g_objectLog},         {"session", g_sessionLog},   {"certificates", g_certificateLog},
};

class LogObjectsTest : public ContextTest {
 protected:
  LogObjectsTest() {
    for (const Named& object : kObjects) {
      m_registry.SetText(kProductKey, "CSPDIR", m_folder.File(object.name));
      Renew(object.log, 200000U);
    }
  }

  // The objects that wrote since the last call, in the order of the table.
  std::string Writers() {
    std::string writers;
    for (std::size_t i = 0; i < m_sizes.size(); ++i) {
      const std::size_t size = ReadFile(m_folder.File(kObjects[i].name)).size();
      if (size != m_sizes[i]) writers += (writers.empty() ? "" : ", ") + std::string(kObjects[i].name);
      m_sizes[i] = size;
    }
    return writers;
  }

 private:
  std::array<std::size_t, std::size(kObjects)> m_sizes = {};
};

TEST_F(LogObjectsTest, ThePINCacheWritesToThePINCacheLog) {
  CTELVOPINCache().SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
  EXPECT_EQ("pin cache", Writers());
  g_pinCacheManager.GetPINCache("Reader A");
  EXPECT_EQ("pin cache", Writers());
}

TEST_F(LogObjectsTest, TheFunctionsWriteToTheEntryLog) {
  DWORD length = 0;
  HCRYPTKEY key = 0;
  HCRYPTHASH hash = 0;
  CPGenRandom(0, 0, nullptr);
  EXPECT_EQ("entry", Writers());
  CPGetProvParam(0, PP_NAME, nullptr, &length, 0);
  EXPECT_EQ("entry", Writers());
  CPGetUserKey(0, AT_SIGNATURE, &key);
  EXPECT_EQ("entry", Writers());
  CPCreateHash(0, CALG_SHA1, 0, 0, &hash);
  EXPECT_EQ("entry", Writers());
  CPSignHash(0, 0, AT_SIGNATURE, nullptr, 0, nullptr, &length);
  EXPECT_EQ("entry", Writers());
}

TEST_F(LogObjectsTest, TheBarePINDialogWritesToTheChangePasswordLog) {
  ScriptedDialogs dialogs;
  dialogs.OnNext([](ScriptedDialog& dialog) {
    dialog.Type(1106, "1");
    dialog.Click(1105);
  });
  CChangePwdDlg dialog;
  dialog.SetPINLimits(0, 8);
  dialog.DoModal();
  EXPECT_EQ("change password", Writers());
}

TEST_F(LogObjectsTest, TheContextWritesToTheContextLog) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  Initialize("\\\\.\\Reader A\\one", 0);
  EXPECT_EQ("context, objects", Writers());
  m_context.LoginWithPIN(reinterpret_cast<const BYTE*>("1234"), 4);
  EXPECT_EQ("pin cache, context", Writers());
  { const UnplugThread watcher("Reader A", 0, nullptr, 0); }
  EXPECT_EQ("context", Writers());
}

TEST_F(LogObjectsTest, AHashWritesToTheHashLog) {
  AddContainer(m_module.InsertToken("Reader A"), Text("one"));
  Initialize("\\\\.\\Reader A\\one", 0);
  Writers();
  CCSPHashFactory factory;
  const auto hash = factory.CreateHash(CALG_SHA1, m_context.GetSession());
  hash->AddData(reinterpret_cast<const BYTE*>("abc"), 3);
  hash->Finish();
  EXPECT_EQ("hash", Writers());
}

TEST_F(LogObjectsTest, TheLoginDialogWritesToTheLoginLog) {
  ScriptedDialogs dialogs;
  AnsweringSession session;
  CLoginEX dialog;
  dialog.SetSession(&session);
  dialogs.OnNext(EnterPIN("1234"));
  dialog.DoModal();
  EXPECT_EQ("login", Writers());
}

TEST_F(LogObjectsTest, TheSessionKeyFactoryWritesToTheSessionKeyLog) {
  const CCSPSecretKeyFactory factory;
  EXPECT_EQ("session keys", Writers());
}

TEST_F(LogObjectsTest, TheModuleAsAWholeWritesToTheCryptokiLog) {
  { const TELVOCryptoki cryptoki(m_functions); }
  EXPECT_EQ("cryptoki", Writers());
}

TEST_F(LogObjectsTest, AnObjectWritesToTheObjectLog) {
  EXPECT_THROW(CryptokiObject().Update({}), CryptokiError);
  EXPECT_EQ("objects", Writers());
}

TEST_F(LogObjectsTest, ASessionWritesToTheSessionLog) {
  EXPECT_THROW(Session().CreateObject(std::list<Attribute>()), CryptokiError);
  EXPECT_EQ("session", Writers());
}

TEST_F(LogObjectsTest, ClassifyingCertificatesWritesToTheCertificateLog) {
  IsSelfSigned(nullptr);
  EXPECT_EQ("certificates", Writers());
}

}  // namespace

#include "CallersStage.h"

#include <stdexcept>

#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "fixtures/LogFile.h"
#include "fixtures/Renew.h"
#include "log/Logs.h"
#include "module/KeyBlobBytes.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "pin/PINCacheManager.h"

namespace {

#if defined(_WIN32)
constexpr char kNowhere[] = "nul";
#else
constexpr char kNowhere[] = "/dev/null";
#endif

void Require(BOOL done, const char* what) {
  if (done == FALSE) throw std::runtime_error(what);
}

}  // namespace

CallersStage::CallersStage(bool logging) : m_loaded(m_module) {
  m_registry.SetText(kProductKey, "CSPLOG", logging ? "1" : "0");
  m_registry.SetText(kProductKey, "CSPDIR", kNowhere);
  RestartLogs();
  SetDialogHost(&m_canceller);
  g_cryptoWrapper = CCryptoWrapper();
  Renew(g_secretKeyFactory, g_secretKeyLog, m_clock.Clock());
  ScriptedToken& token = m_module.InsertToken("TELVO Reader A");
  token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
  token.Add(PublicKeyObject(Text("one"), Counting(kModulusBytes, 0x81)));
  token.Add(PrivateKeyObject(Text("one"), Counting(kModulusBytes, 0x81)));
  Require(CPAcquireContext(&m_context, "one", 0, nullptr), "no context");
  const BYTE pin[] = "1234";
  Require(CPSetProvParam(m_context, PP_SIGNATURE_PIN, pin, 0), "the PIN is refused");
  Require(CPGetUserKey(m_context, AT_KEYEXCHANGE, &m_pair), "no pair");
  Require(CPGenKey(m_context, CALG_3DES, CRYPT_MODE_CBC, &m_sessionKey), "no session key");
  const DWORD permissions = 0x3F;
  Require(CPSetKeyParam(m_context, m_sessionKey, KP_PERMISSIONS, reinterpret_cast<const BYTE*>(&permissions), 0),
          "no permissions");
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, Counting(kModulusBytes, 0x91));
  Require(CPImportKey(m_context, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &m_importedKey), "no import");
}

CallersStage::~CallersStage() {
  Renew(g_contextList);
  Renew(g_hashFactory);
  Renew(g_pinCacheManager);
  Renew(g_secretKeyFactory, g_secretKeyLog, CCSPSecretKeyFactory::SystemClock());
  g_cryptoWrapper = CCryptoWrapper();
  SetDialogHost(nullptr);
}

HCRYPTHASH CallersStage::MakeHash() const {
  HCRYPTHASH hash = 0;
  const BYTE message[] = {'a', 'b', 'c'};
  Require(CPCreateHash(m_context, CALG_SHA1, 0, 0, &hash), "no hash");
  Require(CPHashData(m_context, hash, message, sizeof(message), 0), "nothing is hashed");
  return hash;
}

#include "ContextTest.h"

#include <boost/make_shared.hpp>
#include <new>

#include "common/CCSPContextError.h"
#include "common/FormatNumber.h"
#include "cryptoki/CryptokiError.h"
#include "log/Logs.h"
#include "pin/PINCacheManager.h"

namespace {

void LeaveToItsOwner(CryptokiInterface* /*module*/) {}

}  // namespace

void ContextTest::Silence(CCSPLog& log) { new (&log) CCSPLog(0); }
void ContextTest::ListenTo(CCSPLog& log) { new (&log) CCSPLog(200000); }

ContextTest::ContextTest() : m_functions(&m_module, LeaveToItsOwner), m_cryptoki(new TELVOCryptoki(m_functions)) {
  for (CCSPLog* log : {&g_pinCacheLog, &g_loginLog, &g_secretKeyLog, &g_cryptokiLog, &g_objectLog, &g_sessionLog}) {
    Silence(*log);
  }
  g_pinCacheManager.~PINCacheManager();
  new (&g_pinCacheManager) PINCacheManager();
  m_cryptoki->Initialize();
  m_module.ForgetCalls();
}

ContextTest::~ContextTest() = default;

void ContextTest::AddKeyPair(ScriptedToken& token, const Bytes& id, std::size_t modulusBytes) {
  token.Add(PublicKeyObject(id, Counting(modulusBytes, 0x81)));
  token.Add(PrivateKeyObject(id, Counting(modulusBytes, 0x81)));
}

void ContextTest::AddContainer(ScriptedToken& token, const Bytes& id) {
  token.Add(CertificateObject(id, "label", {0x30, 0x00}));
  AddKeyPair(token, id);
}

boost::shared_ptr<TELVOCSPContext> ContextTest::Acquire(const char* name, DWORD flags) {
  auto context = boost::make_shared<TELVOCSPContext>(static_cast<HINSTANCE>(nullptr));
  context->Initialize(name, flags, m_cryptoki, 1);
  m_module.ForgetCalls();
  TakeLog();
  return context;
}

void ContextTest::Initialize(const char* name, DWORD flags) { m_context.Initialize(name, flags, m_cryptoki, 1); }

std::string ContextTest::InitializeError(const char* name, DWORD flags) {
  try {
    Initialize(name, flags);
    return "nothing";
  } catch (const CCSPContextError& error) {
    return FormatNumber("%08X", error.GetCode()) + ": " + error.GetMessage();
  } catch (const CryptokiError& error) {
    return "module " + FormatNumber("%X", error.GetCode());
  }
}

std::string ContextTest::CertificateID() {
  if (m_context.HasCertificate() == 0) return "none";
  CK_ULONG length = 0;
  m_context.GetDefaultCertificate()->GetID(nullptr, &length);
  std::string id(length, ' ');
  m_context.GetDefaultCertificate()->GetID(reinterpret_cast<BYTE*>(id.data()), &length);
  return id;
}

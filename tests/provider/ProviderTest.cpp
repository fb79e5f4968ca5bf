#include "ProviderTest.h"

#include <boost/make_shared.hpp>

#include "common/FormatNumber.h"
#include "cryptoki/Pkcs11.h"

namespace {

// The module stays loaded and initialised for the whole program, whatever the provider does with it.
boost::shared_ptr<CryptokiInterface> TheModule() {
  static const auto module = [] {
    auto functions = boost::make_shared<CryptokiFunctions>("telvopkcs11.dll");
    functions->Load();
    functions->C_Initialize(nullptr);
    return functions;
  }();
  return module;
}

}  // namespace

std::string Named(const std::string& reader, const std::string& container) {
  return "\\\\.\\" + reader + "\\" + container;
}

ProviderTest::ProviderTest(Cards cards, Logging logging)
    : m_cryptoki(TheModule()),
      m_cardA(m_cryptoki, kReaderA, Environment("TELVO_CARDS") + "/a"),
      m_cardB(m_cryptoki, kReaderB, Environment("TELVO_CARDS") + "/b"),
      m_provider(logging) {
  // A session that an earlier test left open would keep its card logged in.
  for (const CK_SLOT_ID slot : {0U, 1U}) TheModule()->C_CloseAllSessions(slot);
  for (SoftToken* card : {&m_cardA, &m_cardB}) {
    card->Insert();
    if (cards == Cards::kEmptied) card->Clear();
  }
}

ProviderTest::~ProviderTest() { Release(); }

bool ProviderTest::Acquire(const char* container, DWORD flags) {
  HCRYPTPROV handle = 0;
  if (CryptAcquireContextA(&handle, container, kProviderName, PROV_RSA_FULL, flags) == FALSE) return false;
  Release();
  m_handle = handle;
  m_acquired = (flags & CRYPT_DELETEKEYSET) == 0;
  return true;
}

std::string ProviderTest::AcquireResult(const char* container, DWORD flags) {
  return Result(Acquire(container, flags) ? TRUE : FALSE);
}

std::string ProviderTest::Result(BOOL done) { return done != FALSE ? "true" : FormatNumber("%08X", GetLastError()); }

void ProviderTest::Release() {
  if (m_acquired) CryptReleaseContext(m_handle, 0);
  m_acquired = false;
}

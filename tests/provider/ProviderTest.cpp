#include "ProviderTest.h"

#include <boost/make_shared.hpp>
#include <cstdlib>

#include "common/FormatNumber.h"
#include "cryptoki/Pkcs11.h"

const char kProviderName[] = "Brenholt Devices CSP v4.5";

namespace {

const char kProviderKey[] = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Brenholt Devices CSP v4.5";
const char kTypeKey[] = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 001";

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

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
    : m_logFile(m_folder.File("csp.log")),
      m_cryptoki(TheModule()),
      m_cardA(m_cryptoki, kReaderA, Environment("TELVO_CARDS") + "/a"),
      m_cardB(m_cryptoki, kReaderB, Environment("TELVO_CARDS") + "/b") {
  // A session that an earlier test left open would keep its card logged in.
  for (const CK_SLOT_ID slot : {0U, 1U}) TheModule()->C_CloseAllSessions(slot);
  for (SoftToken* card : {&m_cardA, &m_cardB}) {
    card->Insert();
    if (cards == Cards::kEmptied) card->Clear();
  }
  m_registry.SetValue(kProviderKey, "Type", REG_DWORD, std::string("\1\0\0\0", 4));
  m_registry.SetText(kProviderKey, "Image Path", Environment("TELVO_PROVIDER"));
  m_registry.SetText(kTypeKey, "Name", kProviderName);
  m_registry.SetText(kProductKey, "CSPLOG", logging == Logging::kOn ? "1" : "0");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  m_library = LoadLibraryA(Environment("TELVO_PROVIDER").c_str());
  EXPECT_NE(nullptr, m_library);
  TakeLog();
}

ProviderTest::~ProviderTest() {
  Release();
  FreeLibrary(m_library);
}

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

std::string ProviderTest::TakeLog() {
  std::string text = ReadFile(m_logFile).substr(m_taken);
  m_taken += text.size();
  for (std::size_t end = text.find('\r'); end != std::string::npos; end = text.find('\r', end)) text.erase(end, 1);
  return text;
}

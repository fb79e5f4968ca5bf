#include "ProviderRegistration.h"

#include <cstdlib>
#include <gtest/gtest.h>

const char kProviderName[] = "Brenholt Devices CSP v4.5";

namespace {

const char kProviderKey[] = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Brenholt Devices CSP v4.5";
const char kTypeKey[] = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 001";

}  // namespace

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

ProviderRegistration::ProviderRegistration(Logging logging) : m_logFile(m_folder.File("csp.log")) {
  m_registry.SetValue(kProviderKey, "Type", REG_DWORD, {PROV_RSA_FULL, 0, 0, 0});
  m_registry.SetText(kProviderKey, "Image Path", Environment("TELVO_PROVIDER"));
  m_registry.SetText(kTypeKey, "Name", kProviderName);
  m_registry.SetText(kProductKey, "CSPLOG", logging == Logging::kOn ? "1" : "0");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  m_library = LoadLibraryA(Environment("TELVO_PROVIDER").c_str());
  EXPECT_NE(nullptr, m_library);
  TakeLog();
}

ProviderRegistration::~ProviderRegistration() { FreeLibrary(m_library); }

std::string ProviderRegistration::TakeLog() {
  std::string text = ReadFile(m_logFile).substr(m_taken);
  m_taken += text.size();
  for (std::size_t end = text.find('\r'); end != std::string::npos; end = text.find('\r', end)) text.erase(end, 1);
  return text;
}

#include "platform/TestRegistry.h"

const char* const kProductKey = "SOFTWARE\\Brenholt Devices Ltd.\\TELVO SDK";
const char* const kOlderProductKey = "SOFTWARE\\Brenholt Devices Ltd.\\TELVO-Quillkey Client Kit";
const char* const kOldestProductKey =
    "SOFTWARE\\Brenholt Devices Ltd.\\BHD Quillkey Cryptographic USB Token Client Kit";

#if defined(_WIN32)

namespace {

// The certificate functions hash and verify with a system provider, which they look up once and keep.
void LoadTheSystemsProvider() {
  const BYTE byte = 0;
  BYTE hash[20];
  DWORD length = sizeof(hash);
  CryptHashCertificate(0, CALG_SHA1, 0, &byte, sizeof(byte), hash, &length);
}

}  // namespace

TestRegistry::TestRegistry() : m_root("Software\\telvo-tests\\" + std::to_string(GetCurrentProcessId())) {
  LoadTheSystemsProvider();
  HKEY root = nullptr;
  RegCreateKeyExA(HKEY_CURRENT_USER, m_root.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &root, nullptr);
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, root);
  RegCloseKey(root);
}

TestRegistry::~TestRegistry() {
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegDeleteTreeA(HKEY_CURRENT_USER, m_root.c_str());
}

void TestRegistry::AddKey(const std::string& key) {
  HKEY handle = nullptr;
  RegCreateKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, nullptr);
  RegCloseKey(handle);
}

#else

#include <cstdlib>
#include <fstream>

TestRegistry::TestRegistry() : m_root(m_folder.File("registry")) { setenv("TELVO_REGISTRY", m_root.c_str(), 1); }

TestRegistry::~TestRegistry() { unsetenv("TELVO_REGISTRY"); }

void TestRegistry::AddKey(const std::string& key) {
  HKEY handle = nullptr;
  if (RegOpenKeyA(HKEY_LOCAL_MACHINE, key.c_str(), &handle) == ERROR_SUCCESS) {
    RegCloseKey(handle);
    return;
  }
  std::ofstream(m_root, std::ios::app) << '[' << key << "]\n";
}

#endif

void TestRegistry::SetText(const std::string& key, const std::string& name, const std::string& text) {
  SetValue(key, name, REG_SZ, text + '\0');
}

void TestRegistry::SetValue(const std::string& key, const std::string& name, DWORD type, const std::string& bytes) {
  AddKey(key);
  HKEY handle = nullptr;
  if (RegOpenKeyA(HKEY_LOCAL_MACHINE, key.c_str(), &handle) != ERROR_SUCCESS) return;
  RegSetValueExA(handle, name.c_str(), 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                 static_cast<DWORD>(bytes.size()));
  RegCloseKey(handle);
}

std::string TestRegistry::GetText(const std::string& key, const std::string& name) const {
  HKEY handle = nullptr;
  if (RegOpenKeyA(HKEY_LOCAL_MACHINE, key.c_str(), &handle) != ERROR_SUCCESS) return "(none)";
  char text[512] = {};
  DWORD length = sizeof(text) - 1;
  const LONG result = RegQueryValueExA(handle, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(text), &length);
  RegCloseKey(handle);
  return result == ERROR_SUCCESS ? text : "(none)";
}

#include "settings/Settings.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kProductKeys[] = {
    "SOFTWARE\\Brenholt Devices Ltd.\\TELVO SDK",
    "SOFTWARE\\Brenholt Devices Ltd.\\TELVO-Quillkey Client Kit",
    "SOFTWARE\\Brenholt Devices Ltd.\\BHD Quillkey Cryptographic USB Token Client Kit",
};

}  // namespace

bool StoredSetting::IsOn() const { return std::strtol(text, nullptr, 10) != 0; }

Settings::Settings() {
  for (const char* name : kProductKeys) {
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, name, &m_key) == ERROR_SUCCESS) return;
    m_key = nullptr;
  }
}

Settings::~Settings() {
  if (m_key != nullptr) RegCloseKey(m_key);
}

// The type is not checked, only reported: telvotool warns of an odd one.
StoredSetting Settings::Read(const Setting& setting) const {
  StoredSetting stored;
  stored.length = setting.limit;
  const LSTATUS status = ReadValue(setting.name, reinterpret_cast<BYTE*>(stored.text), &stored.length, &stored.type);
  stored.tooLong = status == static_cast<LSTATUS>(ERROR_MORE_DATA);
  stored.found = status == ERROR_SUCCESS || stored.tooLong;
  if (stored.IsUsed()) return stored;
  // A query that failed may have left anything in the buffer.
  std::memset(stored.text, 0, sizeof(stored.text));
  std::string_view(setting.fallback).copy(stored.text, sizeof(stored.text) - 1);
  if (!stored.found) stored.length = 0;
  return stored;
}

LSTATUS Settings::ReadValue(const char* name, BYTE* buffer, DWORD* length, DWORD* type) const {
  if (m_key == nullptr) return ERROR_FILE_NOT_FOUND;
  return RegQueryValueExA(m_key, name, nullptr, type, buffer, length);
}

LSTATUS Settings::WriteString(const char* name, const void* data, DWORD length) const {
  if (m_key == nullptr) return ERROR_FILE_NOT_FOUND;
  return RegSetValueExA(m_key, name, 0, REG_SZ, static_cast<const BYTE*>(data), length);
}

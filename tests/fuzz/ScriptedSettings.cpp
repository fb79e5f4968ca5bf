#include "ScriptedSettings.h"

#include <algorithm>
#include <cstring>

#include "Must.h"
#include "platform/StandIn.h"

namespace {

constexpr unsigned kKeys = 3;
const HKEY kOpenKey = reinterpret_cast<HKEY>(0x51);

ScriptedSettings* g_settings = nullptr;

}  // namespace

ScriptedSettings::ScriptedSettings(FuzzedDataProvider& data) : m_keys(data.ConsumeIntegralInRange(0U, 7U)) {
  for (const char* name : {"CSPLOG", "CSPDIR", "PINCACHE"}) {
    if (data.ConsumeIntegralInRange(0, 7) != 7) m_values[name] = AnyValue(data);
  }
  if (data.ConsumeIntegralInRange(0, 3) == 3) setResult = ERROR_ACCESS_DENIED;
  g_settings = this;
}

ScriptedSettings::~ScriptedSettings() { g_settings = nullptr; }

ScriptedSettings::Value ScriptedSettings::AnyValue(FuzzedDataProvider& data) {
  constexpr LSTATUS kFailures[] = {ERROR_SUCCESS, ERROR_SUCCESS, ERROR_SUCCESS, ERROR_ACCESS_DENIED};
  const char* const usual[] = {"0", "1", " 12x", "-1", "x", ""};
  Value value{data.ConsumeIntegralInRange<DWORD>(0, 12), "", data.PickValueInArray(kFailures)};
  if (data.ConsumeBool()) {
    value.bytes = data.PickValueInArray(usual) + std::string(1, '\0');
  } else {
    value.bytes = data.ConsumeBytesAsString(data.ConsumeIntegralInRange<std::size_t>(0, 300));
  }
  return value;
}

const ScriptedSettings::Value* ScriptedSettings::Find(const std::string& name) const {
  const auto found = m_values.find(name);
  return m_keys == 0 || found == m_values.end() ? nullptr : &found->second;
}

// The provider tries the three keys one after another, until one opens.
LSTATUS ScriptedSettings::Open(HKEY* key) {
  const bool opens = (m_keys >> m_asked & 1U) != 0;
  m_asked = opens || m_asked + 1 == kKeys ? 0 : m_asked + 1;
  if (!opens) return ERROR_FILE_NOT_FOUND;
  ++m_open;
  *key = kOpenKey;
  return ERROR_SUCCESS;
}

LSTATUS ScriptedSettings::Query(const char* name, DWORD* type, BYTE* data, DWORD* length) {
  const Value* const value = Find(name);
  const DWORD room = *length;
  const auto fill = [&] { std::memset(data, '9', room); };
  if (value == nullptr || value->failure != ERROR_SUCCESS) {
    fill();
    return value == nullptr ? ERROR_FILE_NOT_FOUND : value->failure;
  }
  if (type != nullptr) *type = value->type;
  *length = static_cast<DWORD>(value->bytes.size());
  if (value->bytes.size() > room) {
    fill();
    return ERROR_MORE_DATA;
  }
  std::copy(value->bytes.begin(), value->bytes.end(), data);
  return ERROR_SUCCESS;
}

extern "C" {

LSTATUS WINAPI SCRIPTED(RegOpenKeyA)(HKEY, LPCSTR, PHKEY key) {
  return g_settings == nullptr ? ERROR_FILE_NOT_FOUND : g_settings->Open(key);
}

LSTATUS WINAPI SCRIPTED(RegQueryValueExA)(HKEY key, LPCSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD length) {
  Must(key == kOpenKey);
  return g_settings->Query(name, type, data, length);
}

LSTATUS WINAPI SCRIPTED(RegSetValueExA)(HKEY key, LPCSTR, DWORD, DWORD type, const BYTE*, DWORD) {
  Must(key == kOpenKey && type == REG_SZ);
  return g_settings->setResult;
}

LSTATUS WINAPI SCRIPTED(RegCloseKey)(HKEY key) {
  Must(key == kOpenKey);
  g_settings->Close();
  return ERROR_SUCCESS;
}

void REAL(kernel32, Sleep)(DWORD milliseconds);
void WINAPI SCRIPTED(Sleep)(DWORD milliseconds) {
  if (milliseconds == INFINITE) REAL(kernel32, Sleep)(milliseconds);
}
}

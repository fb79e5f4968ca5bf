#include "telvotool/Registry.h"

#include <vector>

#include "settings/Settings.h"
#include "telvotool/Errors.h"

namespace tool {

const char kProviderPath[] = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Brenholt Devices CSP v4.5";
const char kProductPath[] = "SOFTWARE\\Brenholt Devices Ltd.\\TELVO SDK";

namespace {

void RequireWritten(LSTATUS status, const std::string& what) {
  if (status != ERROR_SUCCESS) throw Failure(what + " cannot be written into the registry", static_cast<DWORD>(status));
}

}  // namespace

RegistryKey OpenForReading(const std::string& path) {
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key);
  return RegistryKey(status == ERROR_SUCCESS ? key : nullptr);
}

RegistryKey CreateForWriting(const std::string& path) {
  HKEY key = nullptr;
  RequireWritten(
      RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &key, nullptr),
      "HKLM\\" + path);
  return RegistryKey(key);
}

RegistryKey ProductKeyForWriting() {
  const Settings existing;
  if (existing.Key() == nullptr) return CreateForWriting(kProductPath);
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExA(existing.Key(), nullptr, 0, KEY_READ | KEY_WRITE, &key);
  if (status != ERROR_SUCCESS) throw Failure("the product's settings cannot be written", static_cast<DWORD>(status));
  return RegistryKey(key);
}

std::optional<std::string> ReadText(const RegistryKey& key, const char* name) {
  DWORD length = 0;
  constexpr DWORD kTypes = RRF_RT_REG_SZ;  // a string with variables is returned expanded, as this type
  if (RegGetValueA(key.Get(), nullptr, name, kTypes, nullptr, nullptr, &length) != ERROR_SUCCESS) return std::nullopt;
  std::vector<char> text(length + 1);
  if (RegGetValueA(key.Get(), nullptr, name, kTypes, nullptr, text.data(), &length) != ERROR_SUCCESS)
    return std::nullopt;
  return std::string(text.data());
}

std::optional<DWORD> ReadNumber(const RegistryKey& key, const char* name) {
  DWORD number = 0;
  DWORD length = sizeof(number);
  if (RegGetValueA(key.Get(), nullptr, name, RRF_RT_REG_DWORD, nullptr, &number, &length) != ERROR_SUCCESS)
    return std::nullopt;
  return number;
}

void WriteText(const RegistryKey& key, const char* name, const std::string& text) {
  RequireWritten(RegSetValueExA(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                static_cast<DWORD>(text.size() + 1)),
                 name);
}

void WriteNumber(const RegistryKey& key, const char* name, DWORD number) {
  RequireWritten(RegSetValueExA(key.Get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof(number)),
                 name);
}

}  // namespace tool

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <vector>

#include "adapter/System.h"

namespace adapter::system {
namespace {

// The settings are below the first of these that exists, as those of the provider are.
constexpr const wchar_t* kProductKeys[] = {
    L"SOFTWARE\\Brenholt Devices Ltd.\\TELVO SDK",
    L"SOFTWARE\\Brenholt Devices Ltd.\\TELVO-Quillkey Client Kit",
    L"SOFTWARE\\Brenholt Devices Ltd.\\BHD Quillkey Cryptographic USB Token Client Kit",
};

const wchar_t* ProductKey() {
  for (const wchar_t* name : kProductKeys) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, name, 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
    RegCloseKey(key);
    return name;
  }
  return kProductKeys[0];
}

std::wstring Wide(const std::string& text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string Narrow(const std::wstring& text) {
  const int size = static_cast<int>(text.size());
  const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), length, nullptr, nullptr);
  return narrow;
}

std::wstring FileOf(HMODULE module) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) return path.substr(0, length);
    path.resize(path.size() * 2);
  }
}

std::string ErrorText(DWORD code) {
  wchar_t* text = nullptr;
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                     nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::string words = length == 0 ? "error " + std::to_string(code) : Narrow(std::wstring(text, length));
  LocalFree(text);
  while (!words.empty() && (words.back() == '\n' || words.back() == '\r' || words.back() == '.')) words.pop_back();
  return words;
}

}  // namespace

std::optional<std::string> Environment(const char* name) {
  const std::wstring wideName = Wide(name);
  std::wstring value(GetEnvironmentVariableW(wideName.c_str(), nullptr, 0), L'\0');
  if (value.empty()) return std::nullopt;
  value.resize(GetEnvironmentVariableW(wideName.c_str(), value.data(), static_cast<DWORD>(value.size())));
  if (value.empty()) return std::nullopt;
  return Narrow(value);
}

std::optional<std::string> RegistryText(const char* name) {
  const std::wstring wideName = Wide(name);
  const wchar_t* const key = ProductKey();
  DWORD length = 0;
  const auto get = [&](wchar_t* text) {
    return RegGetValueW(HKEY_LOCAL_MACHINE, key, wideName.c_str(), RRF_RT_REG_SZ, nullptr, text, &length) ==
           ERROR_SUCCESS;
  };
  if (!get(nullptr)) return std::nullopt;
  std::wstring text(length / sizeof(wchar_t) + 1, L'\0');
  length = static_cast<DWORD>(text.size() * sizeof(wchar_t));
  if (!get(text.data()) || text.front() == L'\0') return std::nullopt;
  return Narrow(text.c_str());
}

std::string LibraryFolder() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<const wchar_t*>(&LibraryFolder), &module);
  const std::wstring path = FileOf(module);
  return Narrow(path.substr(0, path.find_last_of(L"\\/")));
}

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

bool IsAbsolute(const std::string& path) {
  return !path.empty() && (IsSeparator(path.front()) || (path.size() >= 2 && path[1] == ':'));
}

File OpenFile(const std::string& path, const char* mode) {
  // This flag keeps a child process from inheriting the file.
  return File(_wfopen(Wide(path).c_str(), Wide(std::string(mode) + 'N').c_str()));
}

Library Load(const std::string& path, std::string& error) {
  // The folder of the library is searched for its dependencies.
  const DWORD flags = IsAbsolute(path) ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
  Library library(LoadLibraryExW(Wide(path).c_str(), nullptr, flags));
  if (!library) error = ErrorText(GetLastError());
  return library;
}

void Unload::operator()(void* handle) const { FreeLibrary(static_cast<HMODULE>(handle)); }

void* FindSymbol(const Library& library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library.get()), name));
}

std::string FindLibrary(const std::string& name) {
  std::wstring path(32768, L'\0');
  const DWORD length =
      SearchPathW(nullptr, Wide(name).c_str(), L".dll", static_cast<DWORD>(path.size()), path.data(), nullptr);
  if (length == 0 || length >= path.size()) return name;
  return Narrow(path.substr(0, length));
}

void StayLoaded() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<LPCWSTR>(&StayLoaded), &module);
}

std::uint64_t ThreadNumber() { return GetCurrentThreadId(); }

std::string LocalTime() {
  SYSTEMTIME time = {};
  GetLocalTime(&time);
  char text[64] = {};
  static_cast<void>(std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u.%03u", time.wYear, time.wMonth,
                                  time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds));
  return text;
}

}  // namespace adapter::system

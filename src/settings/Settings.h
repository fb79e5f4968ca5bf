// The provider's settings: what an administrator stores in the registry.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <string_view>

// What the string of a setting means.
enum class SettingForm {
  kSwitch,  // a decimal number; off when it is 0 or not a number
  kPath,    // the complete path of a file
};

// Setting: one value of the registry.
struct Setting {
  const char* name;
  SettingForm form;
  DWORD limit;           // bytes that the value may have, its terminating zero included
  const char* fallback;  // used instead when the value is absent or longer
};

// A new setting is a new row here, and a new SettingForm if none fits.
inline constexpr Setting kSettings[] = {
    {"CSPLOG", SettingForm::kSwitch, 31, "0"},  // 32 bytes would leave no room for a terminating zero: off
    {"CSPDIR", SettingForm::kPath, 260, ""},
    {"PINCACHE", SettingForm::kSwitch, 32, "1"},
};

// The row of that name. When the result is constexpr, a name without a row does not compile.
constexpr const Setting& SettingNamed(std::string_view name) {
  for (const Setting& setting : kSettings) {
    if (name == setting.name) return setting;
  }
  throw "no such setting";
}

constexpr DWORD LongestSetting() {
  DWORD longest = 0;
  for (const Setting& setting : kSettings) longest = setting.limit > longest ? setting.limit : longest;
  return longest;
}

// What the registry holds for a setting.
struct StoredSetting {
  bool found = false;    // the value exists, however long
  bool tooLong = false;  // it is longer than the limit, so that the fallback is used
  DWORD type = 0;        // REG_SZ and so on
  DWORD length = 0;      // in bytes
  // The string that is used. The type does not matter: the bytes of any value are read as a string, up to the first
  // zero byte.
  char text[LongestSetting() + 1] = {};

  // Whether the value itself is used, and not the fallback.
  bool IsUsed() const { return found && !tooLong; }
  // Whether the string is a number other than 0. Spaces may come before the number, anything after it.
  bool IsOn() const;
};

// Settings: the registry key with the settings, open as long as the object lives. Static objects may use it in their
// constructors: it needs no other object of the process and allocates no memory.
class Settings {
 public:
  // Opens the first of the product's three keys below HKEY_LOCAL_MACHINE that exists, newest product name first. A
  // value that is missing below that key is not looked for below the next one.
  Settings();
  ~Settings();
  Settings(const Settings&) = delete;
  Settings& operator=(const Settings&) = delete;

  // The open key; null when none of the three exists. The object keeps it and closes it.
  HKEY Key() const { return m_key; }

  StoredSetting Read(const Setting& setting) const;
  bool IsOn(const Setting& setting) const { return Read(setting).IsOn(); }

  // ReadValue reads any value, of any type, into `buffer` of `*length` bytes; `*length` becomes the value's length and
  // `*type`, if it is not null, its type. ERROR_FILE_NOT_FOUND when there is no key or no such value, ERROR_MORE_DATA
  // when the value is longer, or another code of the registry.
  LSTATUS ReadValue(const char* name, BYTE* buffer, DWORD* length, DWORD* type = nullptr) const;
  // Stores `length` bytes as a string. ERROR_FILE_NOT_FOUND when there is no key, or another code of the registry.
  LSTATUS WriteString(const char* name, const void* data, DWORD length) const;

 private:
  HKEY m_key = nullptr;
};

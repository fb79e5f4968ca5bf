// The provider's settings: what an administrator stores in the registry.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <string_view>

// What the text of a setting says.
enum class SettingForm {
  kSwitch,  // a decimal number; off when it is 0 or no number
  kPath,    // the complete path of a file
};

// Setting: one value of the registry.
struct Setting {
  const char* name;
  SettingForm form;
  DWORD limit;           // bytes that the value may have, its terminating zero included
  const char* fallback;  // what counts when the value is absent or longer
};

// A new setting is a new row here.
inline constexpr Setting kSettings[] = {
    {"CSPLOG", SettingForm::kSwitch, 31, "0"},  // 32 bytes would leave no room for a terminating zero: off
    {"CSPDIR", SettingForm::kPath, 260, ""},
    {"PINCACHE", SettingForm::kSwitch, 32, "1"},
};

// The row of that name. A name without a row does not compile where the result is constexpr.
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
  bool found = false;    // the value is there, however long
  bool tooLong = false;  // it is longer than the limit, so that the fallback counts
  DWORD type = 0;        // REG_SZ and so on
  DWORD length = 0;      // in bytes
  // The text that counts. The type is not looked at: a value of every type is read as the text that its bytes spell, up
  // to the first zero byte.
  char text[LongestSetting() + 1] = {};

  // Whether the value itself counts, and not the fallback.
  bool IsUsed() const { return found && !tooLong; }
  // Whether the text is a number other than 0. Blanks may come before it and anything after it.
  bool IsOn() const;
};

// Settings: the key of the registry that has the settings, open as long as the object lives. It needs no other object
// of the process, so that static objects may use it while they are constructed, and it allocates no memory.
class Settings {
 public:
  // Opens the first of the product's three keys below HKEY_LOCAL_MACHINE that exists, newest product name first. A
  // value that is missing below that key is not looked for below the next one.
  Settings();
  ~Settings();
  Settings(const Settings&) = delete;
  Settings& operator=(const Settings&) = delete;

  // The open key; null when none of the three exists. It stays the object's.
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

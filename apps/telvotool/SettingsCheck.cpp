#include "telvotool/SettingsCheck.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace tool {

namespace {

bool IsStringType(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

std::string TypeName(DWORD type) {
  switch (type) {
    case REG_NONE:
      return "REG_NONE";
    case REG_BINARY:
      return "REG_BINARY";
    case REG_DWORD:
      return "REG_DWORD";
    case REG_DWORD_BIG_ENDIAN:
      return "REG_DWORD_BIG_ENDIAN";
    case REG_QWORD:
      return "REG_QWORD";
    default:
      return "number " + std::to_string(type);
  }
}

std::string EffectOf(const Setting& setting, const StoredSetting& stored) {
  if (setting.form == SettingForm::kSwitch) return stored.IsOn() ? "on" : "off";
  std::string text = stored.text;
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c >= 0 && c < ' '; }, '?');
  return text.empty() ? "not set" : "\"" + text + "\"";
}

bool IsNumber(const char* text) {
  char* end = nullptr;
  static_cast<void>(std::strtol(text, &end, 10));
  return end != text;
}

bool IsComplete(const std::string& path) {
  const auto isSeparator = [](char c) { return c == '\\' || c == '/'; };
  if (path.size() < 3) return false;
  if (isSeparator(path[0])) return isSeparator(path[1]);
  return std::isalpha(static_cast<unsigned char>(path[0])) != 0 && path[1] == ':' && isSeparator(path[2]);
}

bool IsFolder(const std::string& path) {
  const DWORD attributes = GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

std::optional<Oddity> OddityOf(const Setting& setting, const StoredSetting& stored) {
  if (!stored.found) return std::nullopt;
  const std::string effect = "it counts as " + EffectOf(setting, stored);
  if (stored.tooLong) {
    return Oddity{"it has " + std::to_string(stored.length) + " bytes, and at most " + std::to_string(setting.limit) +
                      " are read: " + effect,
                  "store a shorter one"};
  }
  if (!IsStringType(stored.type)) {
    return Oddity{"its type is " + TypeName(stored.type) + ", and its bytes are read as text: " + effect,
                  "store it as a string (REG_SZ)"};
  }
  if (setting.form == SettingForm::kSwitch && !IsNumber(stored.text)) {
    return Oddity{"it is no number: " + effect, "store 0 or 1"};
  }
  return std::nullopt;
}

std::optional<Oddity> OddityOfLogFile(const std::string& path) {
  if (path.empty()) return std::nullopt;
  if (!IsComplete(path)) {
    return Oddity{"it is no complete path: each program logs into its current folder",
                  "begin it with a drive, like C:\\Temp\\csp.log"};
  }
  if (IsFolder(path)) return Oddity{"it names a folder: nothing is logged", "name a file in it"};
  if (!IsFolder(path.substr(0, path.find_last_of("\\/") + 1))) {
    return Oddity{"the folder of the file is not there: nothing is logged", "make the folder, or name another file"};
  }
  return std::nullopt;
}

}  // namespace tool

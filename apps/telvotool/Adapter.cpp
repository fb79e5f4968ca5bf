// adapter: which PKCS #11 module is behind the provider.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <shlobj.h>

#include "adapter/Module.h"
#include "adapter/System.h"
#include "telvotool/AdapterModule.h"
#include "telvotool/Commands.h"
#include "telvotool/Errors.h"
#include "telvotool/Files.h"
#include "telvotool/Image.h"
#include "telvotool/Registry.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

constexpr char kValueName[] = "AdapterSettings";

// The options of "use", and the keys of the settings file.
struct Key {
  const char* option;
  const char* key;
};
constexpr Key kKeys[] = {
    {"--init", "initialisation"},   {"--label", "label"},
    {"--serial", "serial"},         {"--reader", "reader"},
    {"--tries", "tries"},           {"--keep-login", "keep_login"},
    {"--login-life", "login_life"}, {"--default-certificate", "default_certificate"},
    {"--trace", "trace"},
};

std::string Absolute(const std::string& path) {
  return Narrow(std::filesystem::absolute(std::filesystem::path(Wide(path))).wstring());
}

// The complete path of the module. Its name alone is enough if Windows finds it.
std::string ModulePath(const std::string& given) {
  const std::string found = FindLibrary(given);
  std::string path = Absolute(found.empty() ? given : found);
  if (!std::filesystem::exists(std::filesystem::path(Wide(path)))) {
    throw Failure(path + " is not there", kNotThere, "give the complete path of the module");
  }
  const std::string ownPlace = FindLibrary("telvopkcs11.dll");
  if (!ownPlace.empty() && SameButCase(path, Absolute(ownPlace))) {
    throw Failure(path + " is the library that the provider loads", kFailed, "name the module below the adapter");
  }
  return path;
}

std::string SettingsText(const std::string& module, const Options& options) {
  std::string text = "# Written by telvotool adapter use.\nmodule = " + module + '\n';
  for (const Key& key : kKeys) {
    if (!options.Has(key.option)) continue;
    std::string value = options.Value(key.option);
    if (value.find_first_of("\r\n") != std::string::npos) throw UsageError(std::string(key.option) + " takes one line");
    if (key.option == std::string("--trace")) value = Absolute(value);
    text += std::string(key.key) + " = " + value + '\n';
  }
  return text;
}

// A wrong option is refused with the error text of the settings file, without file and line.
adapter::Settings SettingsOf(const std::string& text) {
  try {
    return adapter::ParseSettings(text, "");
  } catch (const adapter::SettingsError& error) {
    const std::string words = error.what();
    throw UsageError(words.substr(words.find(": ") + 2));
  }
}

AdapterModule ProbeOrFail(const adapter::Settings& settings) {
  try {
    return Probe(settings);
  } catch (const adapter::ModuleError& error) {
    throw Failure(error.what(), kFailed, "\"telvotool adapter use PATH\" names another module, or other settings");
  }
}

// The file that is registered, or a new one for all users, which administrators may write.
std::string PathForWriting() {
  if (const auto registered = adapter::system::RegistryText(kValueName)) return *registered;
  wchar_t folder[MAX_PATH] = {};
  if (SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder) != S_OK) {
    throw Failure("Windows does not tell the folder of its programs' data", GetLastError());
  }
  return Narrow(folder) + "\\Brenholt Devices\\TELVO CSP\\telvopkcs11-adapter.conf";
}

// A reader finds either the old file or the new one, even after a crash.
void ReplaceFile(const std::string& path, const std::string& text) {
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(Wide(path)).parent_path(), error);
  const std::string fresh = path + ".new";
  WriteWholeFile(fresh, Bytes(text.begin(), text.end()));
  if (MoveFileExW(Wide(fresh).c_str(), Wide(path).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) ==
      FALSE) {
    const DWORD code = GetLastError();
    DeleteFileW(Wide(fresh).c_str());
    throw Failure(path + " cannot be replaced", code);
  }
}

void Print(const AdapterSlot& slot) {
  std::printf("token: \"%s\", serial %s, in %s%s\n", slot.label.c_str(), slot.serial.c_str(), slot.reader.c_str(),
              slot.isShown ? "" : "; left out by the settings");
  std::printf("  has: %s\n", slot.has.empty() ? "-" : Listed(slot.has).c_str());
  std::printf("  cannot have: %s\n", slot.lacks.empty() ? "-" : Listed(slot.lacks).c_str());
}

void Print(const std::string& file, const adapter::Settings& settings, const AdapterModule& module) {
  std::printf("settings: %s\n", file.c_str());
  std::printf("module: %s, %s\n", settings.module.c_str(), module.description.c_str());
  for (const AdapterSlot& slot : module.slots) Print(slot);
  if (module.slots.empty()) std::printf("token: none is in\n");
  std::printf("the adapter does: %s\n", kEmulated);
}

int Use(const Options& options) {
  const std::string text = SettingsText(ModulePath(options.Operands()[1]), options);
  const adapter::Settings settings = SettingsOf(text);
  const AdapterModule module = ProbeOrFail(settings);
  const std::string path = PathForWriting();
  const RegistryKey key = ProductKeyForWriting();
  ReplaceFile(path, text);
  WriteText(key, kValueName, path);
  Print(path, settings, module);
  return kDone;
}

int Show() {
  const std::string path = AdapterSettingsPath();
  if (!std::filesystem::exists(std::filesystem::path(Wide(path)))) {
    throw Failure("the adapter has no settings: " + path + " is not there", kNotThere,
                  "\"telvotool adapter use PATH\" names the module");
  }
  const adapter::Settings settings = adapter::ReadSettings(path);
  Print(path, settings, ProbeOrFail(settings));
  return kDone;
}

}  // namespace

int ManageAdapter(const Options& options) {
  const auto& operands = options.Operands();
  if (operands[0] == "use" && operands.size() == 2) return Use(options);
  if (operands[0] != "show" || operands.size() != 1) throw UsageError("it is \"adapter use PATH\" or \"adapter show\"");
  const auto isGiven = [&](const Key& key) { return options.Has(key.option); };
  if (std::any_of(std::begin(kKeys), std::end(kKeys), isGiven)) throw UsageError("\"adapter show\" takes no options");
  return Show();
}

}  // namespace tool

// register, unregister and log: the commands that work on the registry.
#include <cstdio>
#include <filesystem>

#include "settings/Settings.h"
#include "telvotool/Commands.h"
#include "telvotool/Container.h"
#include "telvotool/Errors.h"
#include "telvotool/Image.h"
#include "telvotool/Registry.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

// A path that the provider accepts: complete, in a folder that exists, and not too long.
std::string LogPath(const std::string& given) {
  constexpr std::size_t kLongest = 259;
  const std::filesystem::path path(Wide(given));
  if (!path.is_absolute()) throw UsageError("PATH is the complete path of a file, like C:\\Temp\\csp.log");
  if (given.size() > kLongest) throw UsageError("PATH has at most 259 characters");
  if (std::filesystem::is_directory(path)) throw UsageError("PATH is a file, not a folder");
  if (!std::filesystem::is_directory(path.parent_path())) {
    throw Failure("the folder of " + given + " is not there", DWORD{ERROR_PATH_NOT_FOUND});
  }
  return given;
}

void PrintLogSetting() {
  const Settings settings;
  const StoredSetting file = settings.Read(SettingNamed("CSPDIR"));
  std::printf("log: %s, file: %s\n", settings.IsOn(SettingNamed("CSPLOG")) ? "on" : "off",
              file.text[0] == '\0' ? "-" : file.text);
}

}  // namespace

int Register(const Options& options) {
  const std::string given = options.Value("--dll", FindLibrary("telvocsp.dll"));
  if (given.empty()) {
    throw Failure("telvocsp.dll is neither beside this program nor in the system folder", kNotThere,
                  "give its path by --dll");
  }
  const std::string path = Narrow(std::filesystem::absolute(std::filesystem::path(Wide(given))).wstring());
  RequireLibrary(path);
  const RegistryKey key = CreateForWriting(kProviderPath);
  WriteNumber(key, "Type", PROV_RSA_FULL);
  WriteText(key, "Image Path", path);
  WriteNumber(key, "SigInFile", 0);
  std::printf("registered: %s, type 1, %s\n", kProviderName, path.c_str());
  return kDone;
}

int Unregister(const Options&) {
  if (!OpenForReading(kProviderPath)) {
    std::printf("not registered: %s\n", kProviderName);
    return kDone;
  }
  const LSTATUS status = RegDeleteKeyA(HKEY_LOCAL_MACHINE, kProviderPath);
  if (status != ERROR_SUCCESS) throw Failure("the registration cannot be removed", static_cast<DWORD>(status));
  std::printf("unregistered: %s\n", kProviderName);
  return kDone;
}

int SwitchLog(const Options& options) {
  const auto& operands = options.Operands();
  if (!operands.empty()) {
    const bool on = operands[0] == "on" && operands.size() == 2;
    if (!on && !(operands[0] == "off" && operands.size() == 1))
      throw UsageError("it is \"log on PATH\" or \"log off\"");
    const std::string path = on ? LogPath(operands[1]) : "";
    const RegistryKey key = ProductKeyForWriting();
    WriteText(key, "CSPLOG", on ? "1" : "0");
    if (on) WriteText(key, "CSPDIR", path);
  }
  PrintLogSetting();
  return kDone;
}

}  // namespace tool

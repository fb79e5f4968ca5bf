#include "telvotool/BugReport.h"

#include "common/Platform.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "settings/Settings.h"
#include "telvotool/Doctor.h"
#include "telvotool/Image.h"
#include "telvotool/Registry.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

// The version in a file's properties, "4.5.0.0"; a hyphen when it has none.
std::string VersionOf(const std::string& path) {
  const std::wstring wide = Wide(path);
  const DWORD length = path.empty() ? 0 : GetFileVersionInfoSizeW(wide.c_str(), nullptr);
  std::vector<std::uint64_t> buffer(length / sizeof(std::uint64_t) + 1);  // aligned for the structure
  void* found = nullptr;
  UINT size = 0;
  if (length == 0 || GetFileVersionInfoW(wide.c_str(), 0, length, buffer.data()) == FALSE ||
      VerQueryValueW(buffer.data(), L"\\", &found, &size) == FALSE) {
    return "-";
  }
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(found);
  return std::to_string(HIWORD(info.dwFileVersionMS)) + "." + std::to_string(LOWORD(info.dwFileVersionMS)) + "." +
         std::to_string(HIWORD(info.dwFileVersionLS)) + "." + std::to_string(LOWORD(info.dwFileVersionLS));
}

std::string OwnPath() {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH - 1);
  return Narrow(path);
}

std::string SystemVersion() {
  const RegistryKey key = OpenForReading("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion");
  std::string text = ReadText(key, "ProductName").value_or("Windows");
  text += ", build " + ReadText(key, "CurrentBuild").value_or("-");
  if (const std::optional<DWORD> revision = ReadNumber(key, "UBR")) text += "." + std::to_string(*revision);
  // Only Wine has this function.
  const HMODULE system = GetModuleHandleA("ntdll.dll");
  using Version = const char*(CDECL*)();
  const FARPROC wine = system == nullptr ? nullptr : GetProcAddress(system, "wine_get_version");
  if (wine != nullptr) text += std::string(", Wine ") + reinterpret_cast<Version>(reinterpret_cast<void*>(wine))();
  return text;
}

std::vector<std::string> Versions() {
  const RegistryKey provider = OpenForReading(kProviderPath);
  const std::string image = provider ? ReadText(provider, "Image Path").value_or("") : "";
  const std::string library = image.find('\\') == std::string::npos ? FindLibrary(image) : image;
  return {"telvotool.exe " + VersionOf(OwnPath()), "telvocsp.dll " + VersionOf(library),
          "telvopkcs11.dll " + VersionOf(FindLibrary("telvopkcs11.dll")), SystemVersion()};
}

std::vector<std::string> StoredSettings() {
  std::vector<std::string> lines;
  const Settings settings;
  for (const Setting& setting : kSettings) {
    const StoredSetting stored = settings.Read(setting);
    lines.push_back(std::string(setting.name) + ": " + (stored.found ? "\"" : "not set, counts as \"") + stored.text +
                    "\"" + (stored.found ? ", type " + std::to_string(stored.type) : ""));
  }
  return lines;
}

std::string Environment(const char* name) {
  wchar_t text[MAX_PATH] = {};
  const DWORD length = GetEnvironmentVariableW(Wide(name).c_str(), text, MAX_PATH);
  return length < MAX_PATH ? Narrow(std::wstring(text, length)) : "";
}

char LowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsWordsEnd(const std::string& text, std::size_t at) {
  return at >= text.size() || std::string("\\/ :;,.\"'()\n").find(text[at]) != std::string::npos;
}

// Replaces a name wherever it is a whole word, in upper or lower case.
std::string Without(std::string text, const std::string& name) {
  if (name.empty()) return text;
  const auto same = [](char a, char b) { return LowerCase(a) == LowerCase(b); };
  std::size_t from = 0;
  while (true) {
    const auto found =
        std::search(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), name.begin(), name.end(), same);
    if (found == text.end()) return text;
    const auto at = static_cast<std::size_t>(found - text.begin());
    from = at + name.size();
    if ((at != 0 && !IsWordsEnd(text, at - 1)) || !IsWordsEnd(text, from)) continue;
    text.replace(at, name.size(), kLeftOut);
    from = at + std::string(kLeftOut).size();
  }
}

void AddPart(std::string& report, const char* title, const std::vector<std::string>& lines) {
  report += std::string("\n## ") + title + "\n\n";
  for (const std::string& line : lines) report += "    " + line + "\n";
}

}  // namespace

std::string BugReport(const std::vector<std::string>& selfTest) {
  std::string report =
      "# telvotool report\n\n"
      "It holds no PIN, no key and no certificate. Names and serial numbers of cards, and those of user and computer,\n"
      "are left out. Names of readers and paths of files are in it: read it before you send it.\n";
  std::vector<std::string> findings;
  Examine([&findings](const std::string& line) { findings.push_back(line); }, Names::kLeftOut);
  AddPart(report, "Versions", Versions());
  AddPart(report, "Doctor", findings);
  AddPart(report, "Settings", StoredSettings());
  AddPart(report, "Self-test", selfTest);
  for (const char* name : {"USERNAME", "COMPUTERNAME", "USERDOMAIN"}) report = Without(report, Environment(name));
  return report;
}

}  // namespace tool

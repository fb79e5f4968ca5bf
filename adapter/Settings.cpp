#include "adapter/Settings.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "adapter/System.h"

namespace adapter {
namespace {

std::size_t EndOfFolder(const std::string& path) {
  const auto last = std::find_if(path.rbegin(), path.rend(), system::IsSeparator);
  return static_cast<std::size_t>(path.rend() - last);
}

class Parser : private pkcs11::SettingsFile {
 public:
  explicit Parser(const std::string& fileName)
      : SettingsFile(fileName, "[token]"), m_folder(fileName.substr(0, EndOfFolder(fileName))) {}

  Settings Parse(std::string_view text) {
    Walk(text);
    if (!m_settings.names.empty()) CloseBlock();
    if (m_settings.module.empty()) Fail("there is no 'module'");
    return std::move(m_settings);
  }

 private:
  struct Key {
    const char* name;
    void (Parser::*read)(std::string_view value);
  };
  static const Key kGlobalKeys[];
  static const Key kTokenKeys[];

  ReadValue FindKey(const std::string& name, bool inBlock) override;

  void BeginBlock() override {
    if (!m_settings.names.empty()) CloseBlock();
    m_settings.names.emplace_back();
  }

  void CloseBlock() const {
    const std::vector<TokenName>& names = m_settings.names;
    const TokenName& last = names.back();
    if (last.serial.empty() == last.label.empty()) FailInBlock("a [token] has either a 'serial' or a 'label'");
    if (last.name.empty()) FailInBlock("a [token] has a 'name'");
    for (auto name = names.begin(); name != names.end() - 1; ++name) {
      if (name->name == last.name) FailInBlock("a second [token] with the name '" + last.name + '\'');
      if (name->serial == last.serial && name->label == last.label) FailInBlock("a second [token] for the same token");
    }
  }

  std::string Resolved(std::string_view value) const {
    const std::string path(value);
    return system::IsAbsolute(path) ? path : m_folder + path;
  }

  void ReadModule(std::string_view value) {
    const bool hasFolder = std::any_of(value.begin(), value.end(), system::IsSeparator);
    m_settings.module = hasFolder ? Resolved(value) : std::string(value);
  }
  void ReadTrace(std::string_view value) { m_settings.trace = Resolved(value); }
  void ReadInitialisation(std::string_view value) { m_settings.initialisation = std::string(value); }
  void ReadLabel(std::string_view value) { m_settings.label = Text(value, 32); }
  void ReadSerial(std::string_view value) { m_settings.serial = Text(value, 16); }
  void ReadReader(std::string_view value) { m_settings.reader = Text(value, 64); }
  void ReadDefaultCertificate(std::string_view value) { m_settings.defaultCertificate = std::string(value); }

  void ReadTries(std::string_view value) {
    if (!ReadNumber(value, kMaxTries, m_settings.tries)) {
      Fail("'tries' is a number from 1 to " + std::to_string(kMaxTries));
    }
  }

  void ReadKeepLogin(std::string_view value) {
    if (value != "yes" && value != "no") Fail("'keep_login' is 'yes' or 'no'");
    m_settings.keepLogin = value == "yes";
  }

  void ReadLoginLife(std::string_view value) {
    constexpr unsigned kDay = 86400;
    unsigned seconds = 0;
    if (!ReadNumber(value, kDay, seconds))
      Fail("'login_life' is a number of seconds from 1 to " + std::to_string(kDay));
    m_settings.loginLife = std::chrono::seconds(seconds);
  }

  void ReadTokenLabel(std::string_view value) { m_settings.names.back().label = Text(value, 32); }
  void ReadTokenSerial(std::string_view value) { m_settings.names.back().serial = Text(value, 16); }
  void ReadTokenName(std::string_view value) { m_settings.names.back().name = Text(value, 64); }

  const std::string m_folder;  // with the separator at its end, or empty
  Settings m_settings;
};

const Parser::Key Parser::kGlobalKeys[] = {
    {"module", &Parser::ReadModule},
    {"initialisation", &Parser::ReadInitialisation},
    {"label", &Parser::ReadLabel},
    {"serial", &Parser::ReadSerial},
    {"reader", &Parser::ReadReader},
    {"tries", &Parser::ReadTries},
    {"keep_login", &Parser::ReadKeepLogin},
    {"login_life", &Parser::ReadLoginLife},
    {"default_certificate", &Parser::ReadDefaultCertificate},
    {"trace", &Parser::ReadTrace},
};

const Parser::Key Parser::kTokenKeys[] = {
    {"serial", &Parser::ReadTokenSerial},
    {"label", &Parser::ReadTokenLabel},
    {"name", &Parser::ReadTokenName},
};

Parser::ReadValue Parser::FindKey(const std::string& name, bool inBlock) {
  return inBlock ? FindRow(*this, kTokenKeys, name) : FindRow(*this, kGlobalKeys, name);
}

// Windows editors put this mark at the start of a UTF-8 file.
constexpr std::string_view kMark = "\xEF\xBB\xBF";

}  // namespace

Settings ParseSettings(std::string_view text, const std::string& fileName) {
  if (text.substr(0, kMark.size()) == kMark) text.remove_prefix(kMark.size());
  return Parser(fileName).Parse(text);
}

Settings ReadSettings(const std::string& path) {
  const system::File file = system::OpenFile(path, "rb");
  if (!file) throw SettingsError(path + ":0: " + std::strerror(errno));
  std::string text;
  char piece[4096];
  while (const std::size_t length = std::fread(piece, 1, sizeof piece, file.get())) text.append(piece, length);
  if (std::ferror(file.get()) != 0) throw SettingsError(path + ":0: the file cannot be read");
  return ParseSettings(text, path);
}

std::string SettingsPath(const std::string& adapterFolder) {
  if (const auto named = system::Environment("TELVO_ADAPTER_CONF")) return *named;
  if (const auto registered = system::RegistryText("AdapterSettings")) return *registered;
  return adapterFolder + "/telvopkcs11-adapter.conf";
}

Settings LoadSettings() { return ReadSettings(SettingsPath(system::LibraryFolder())); }

}  // namespace adapter

#include "Settings.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "Files.h"

namespace softtoken {
namespace {

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string Numbered(const char* text, std::size_t number) { return text + std::to_string(number); }

SlotSettings DefaultSlot(std::size_t number) {
  SlotSettings slot;
  slot.reader = Numbered("Software Reader ", number);
  slot.label = Numbered("Software Token ", number);
  const std::string digits = std::to_string(number);
  slot.serial = std::string(16 - digits.size(), '0') + digits;
  slot.pin = MakeSecret("12345678");
  slot.soPin = MakeSecret("87654321");
  return slot;
}

bool IsLetterOrDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

class Parser : private pkcs11::SettingsFile {
 public:
  Parser(const std::string& fileName, const std::optional<std::string>& defaultState)
      : SettingsFile(fileName, "[slot]"), m_folder(FolderOf(fileName)) {
    if (defaultState) m_settings.stateFolder = *defaultState;
  }

  Settings Parse(std::string_view text) {
    Walk(text);
    if (m_settings.slots.empty() && !m_settings.noReaders) Fail("there is no [slot]");
    if (!m_settings.slots.empty()) CloseBlock();
    if (m_settings.stateFolder.empty()) Fail("there is no 'state', and HOME is not set");
    return std::move(m_settings);
  }

 private:
  struct Key {
    const char* name;
    void (Parser::*read)(std::string_view value);
  };
  static const Key kGlobalKeys[];
  static const Key kSlotKeys[];

  ReadValue FindKey(const std::string& name, bool inBlock) override;

  void BeginBlock() override {
    if (m_settings.noReaders) Fail("a [slot] behind 'readers = none'");
    if (!m_settings.slots.empty()) CloseBlock();
    m_settings.slots.push_back(DefaultSlot(m_settings.slots.size() + 1));
  }

  // A block without a reader or serial gets the defaults, which another block may have as well.
  void CloseBlock() {
    const SlotSettings& last = m_settings.slots.back();
    for (std::size_t i = 0; i + 1 < m_settings.slots.size(); ++i) {
      const SlotSettings& slot = m_settings.slots[i];
      if (slot.reader == last.reader) FailInBlock("a second slot with the reader '" + last.reader + '\'');
      if (slot.serial == last.serial) FailInBlock("a second slot with the serial '" + last.serial + '\'');
    }
  }

  Secret Pin(std::string_view value) const {
    if (value.size() < kMinPinLength || value.size() > kMaxPinLength) {
      Fail("a PIN has " + std::to_string(kMinPinLength) + " to " + std::to_string(kMaxPinLength) + " characters");
    }
    return MakeSecret(value);
  }

  void ReadState(std::string_view value) { m_settings.stateFolder = Resolve(m_folder, std::string(value)); }
  void ReadSoftHsm(std::string_view value) { m_settings.softHsm = Resolve(m_folder, std::string(value)); }

  void ReadWrongPin(std::string_view value) {
    if (value != "tries" && value != "incorrect") Fail("'wrong_pin' is 'tries' or 'incorrect'");
    m_settings.wrongPin = value == "tries" ? WrongPinAnswer::Tries : WrongPinAnswer::Incorrect;
  }

  void ReadReaders(std::string_view value) {
    if (value != "none") Fail("'readers' is 'none'; a reader is a [slot]");
    m_settings.noReaders = true;
  }

  SlotSettings& Slot() { return m_settings.slots.back(); }
  void ReadReader(std::string_view value) { Slot().reader = Text(value, 64); }
  void ReadLabel(std::string_view value) { Slot().label = Text(value, 32); }
  void ReadPin(std::string_view value) { Slot().pin = Pin(value); }
  void ReadSoPin(std::string_view value) { Slot().soPin = Pin(value); }
  void ReadDefaultCertificate(std::string_view value) { Slot().defaultCertificate = std::string(value); }

  void ReadSerial(std::string_view value) {
    if (value.size() != 16 || !std::all_of(value.begin(), value.end(), IsLetterOrDigit)) {
      Fail("a serial has 16 letters and digits");
    }
    Slot().serial = std::string(value);
  }

  void ReadTries(std::string_view value) {
    if (!ReadNumber(value, kMaxTries, Slot().tries)) {
      Fail("'tries' is a number from 1 to " + std::to_string(kMaxTries));
    }
  }

  // What follows `word` and spaces. No value when the line has another word, or nothing follows.
  static std::string_view After(std::string_view word, std::string_view value) {
    const std::size_t length = word.size();
    if (value.size() <= length + 1 || value.substr(0, length) != word) return {};
    return value[length] == ' ' || value[length] == '\t' ? Trimmed(value.substr(length)) : std::string_view();
  }

  void ReadPresence(std::string_view value) {
    constexpr unsigned kMostLooks = 1000000;
    if (value == "always") {
      Slot().presence = PresenceKind::Always;
    } else if (value == "never") {
      Slot().presence = PresenceKind::Never;
    } else if (value == "reader") {
      Slot().presence = PresenceKind::Reader;
    } else if (const std::string_view path = After("file", value); !path.empty()) {
      Slot().presence = PresenceKind::File;
      Slot().presenceFile = Resolve(m_folder, std::string(path));
    } else if (ReadNumber(After("looks", value), kMostLooks, Slot().presenceLooks)) {
      Slot().presence = PresenceKind::Looks;
    } else {
      Fail("'presence' is 'always', 'never', 'reader', 'file PATH' or 'looks N'");
    }
  }

  const std::string m_folder;
  Settings m_settings;
};

const Parser::Key Parser::kGlobalKeys[] = {
    {"state", &Parser::ReadState},
    {"softhsm", &Parser::ReadSoftHsm},
    {"wrong_pin", &Parser::ReadWrongPin},
    {"readers", &Parser::ReadReaders},
};

const Parser::Key Parser::kSlotKeys[] = {
    {"reader", &Parser::ReadReader},
    {"label", &Parser::ReadLabel},
    {"serial", &Parser::ReadSerial},
    {"pin", &Parser::ReadPin},
    {"so_pin", &Parser::ReadSoPin},
    {"tries", &Parser::ReadTries},
    {"default_certificate", &Parser::ReadDefaultCertificate},
    {"presence", &Parser::ReadPresence},
};

Parser::ReadValue Parser::FindKey(const std::string& name, bool inBlock) {
  return inBlock ? FindRow(*this, kSlotKeys, name) : FindRow(*this, kGlobalKeys, name);
}

std::optional<std::string> Environment(const char* name) {
  const char* const value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

}  // namespace

Settings ParseSettings(std::string_view text, const std::string& fileName,
                       const std::optional<std::string>& defaultState) {
  return Parser(fileName, defaultState).Parse(text);
}

Settings LoadSettings() {
  const std::optional<std::string> named = Environment("TELVO_SOFTTOKEN_CONF");
  const std::optional<std::string> home = Environment("HOME");
  if (!named && !home) throw SettingsError("neither TELVO_SOFTTOKEN_CONF nor HOME is set");
  const std::string file = std::filesystem::absolute(named ? *named : *home + "/.config/telvopkcs11.conf").string();
  const std::optional<std::string> state = home ? std::optional(*home + "/.local/share/telvopkcs11") : std::nullopt;
  try {
    if (const std::optional<Secret> text = ReadFile(file)) return ParseSettings(TextOf(*text), file, state);
  } catch (const std::system_error& error) {
    throw SettingsError(error.what());
  }
  if (named) throw SettingsError(file + ": there is no such file, and TELVO_SOFTTOKEN_CONF names it");
  Settings settings;
  settings.stateFolder = *state;
  settings.slots.push_back(DefaultSlot(1));
  return settings;
}

}  // namespace softtoken

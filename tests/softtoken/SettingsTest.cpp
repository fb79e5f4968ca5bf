#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

#include "Settings.h"
#include "TokenTest.h"

namespace softtoken {
namespace {

using testing::TemporaryFolder;
using testing::WriteFile;

Settings Parse(const std::string& text) { return ParseSettings(text, "/conf/token.conf", "/home/x/state"); }

TEST(SettingsTest, AnEmptySlotHasDefaults) {
  const Settings settings = Parse("[slot]\n");
  EXPECT_EQ("/home/x/state", settings.stateFolder);
  EXPECT_EQ("/usr/lib/softhsm/libsofthsm2.so", settings.softHsm);
  EXPECT_EQ(WrongPinAnswer::Tries, settings.wrongPin);
  ASSERT_EQ(1u, settings.slots.size());
  const SlotSettings& slot = settings.slots[0];
  EXPECT_EQ("Software Reader 1", slot.reader);
  EXPECT_EQ("Software Token 1", slot.label);
  EXPECT_EQ("0000000000000001", slot.serial);
  EXPECT_EQ("12345678", TextOf(slot.pin));
  EXPECT_EQ("87654321", TextOf(slot.soPin));
  EXPECT_EQ(3u, slot.tries);
  EXPECT_EQ("", slot.defaultCertificate);
  EXPECT_EQ(PresenceKind::Always, slot.presence);
}

TEST(SettingsTest, EveryKeyIsRead) {
  const Settings settings = Parse(
      "# a comment\n"
      "; another\n"
      "state = /var/state\n"
      "  softhsm=/opt/softhsm.so  \r\n"
      "wrong_pin = incorrect\n"
      "\n"
      "[slot]\n"
      "reader = TELVO Reader A 00 00\n"
      "label = My card = mine # really\n"
      "serial = 0123456789abcDEF\n"
      "pin = 1234\n"
      "so_pin = 1234567890123456\n"
      "tries = 15\n"
      "default_certificate = Signing\n"
      "presence = never\n"
      "[slot]\n"
      "presence = reader\n"
      "[slot]\n"
      "presence = always");
  EXPECT_EQ("/var/state", settings.stateFolder);
  EXPECT_EQ("/opt/softhsm.so", settings.softHsm);
  EXPECT_EQ(WrongPinAnswer::Incorrect, settings.wrongPin);
  ASSERT_EQ(3u, settings.slots.size());
  EXPECT_EQ(PresenceKind::Always, settings.slots[2].presence);
  const SlotSettings& slot = settings.slots[0];
  EXPECT_EQ("TELVO Reader A 00 00", slot.reader);
  EXPECT_EQ("My card = mine # really", slot.label);
  EXPECT_EQ("0123456789abcDEF", slot.serial);
  EXPECT_EQ("1234", TextOf(slot.pin));
  EXPECT_EQ("1234567890123456", TextOf(slot.soPin));
  EXPECT_EQ(15u, slot.tries);
  EXPECT_EQ("Signing", slot.defaultCertificate);
  EXPECT_EQ(PresenceKind::Never, slot.presence);
  EXPECT_EQ("0000000000000002", settings.slots[1].serial);
  EXPECT_EQ(PresenceKind::Reader, settings.slots[1].presence);
}

TEST(SettingsTest, RelativePathsStartAtTheFolderOfTheFile) {
  const Settings settings = Parse("state = state\nsofthsm = lib/hsm.so\n[slot]\npresence = file  in/card A\n");
  EXPECT_EQ("/conf/state", settings.stateFolder);
  EXPECT_EQ("/conf/lib/hsm.so", settings.softHsm);
  EXPECT_EQ(PresenceKind::File, settings.slots[0].presence);
  EXPECT_EQ("/conf/in/card A", settings.slots[0].presenceFile);
}

TEST(SettingsTest, ACardMayBePresentForANumberOfLooks) {
  const Settings settings = Parse("[slot]\npresence = looks 12\n");
  EXPECT_EQ(PresenceKind::Looks, settings.slots[0].presence);
  EXPECT_EQ(12u, settings.slots[0].presenceLooks);
}

TEST(SettingsTest, ThereMayBeNoReader) { EXPECT_TRUE(Parse("readers = none\n").slots.empty()); }

TEST(SettingsTest, ASlotMayUseTheDefaultReaderNameOfALaterOne) {
  const Settings settings = Parse("[slot]\nreader = Software Reader 2\n[slot]\nreader = Software Reader 1\n");
  EXPECT_EQ("Software Reader 1", settings.slots[1].reader);
}

struct BadCase {
  const char* name;
  const char* text;
  const char* message;
};

void PrintTo(const BadCase& test, std::ostream* out) { *out << test.name; }

class BadSettingsTest : public ::testing::TestWithParam<BadCase> {};

TEST_P(BadSettingsTest, NameFileAndLine) {
  try {
    Parse(GetParam().text);
    FAIL() << "accepted";
  } catch (const SettingsError& error) {
    EXPECT_STREQ(GetParam().message, error.what());
  }
}

const BadCase kBadCases[] = {
    {"Empty", "", "/conf/token.conf:0: there is no [slot]"},
    {"NoSlot", "state = x\n", "/conf/token.conf:1: there is no [slot]"},
    {"NoKey", "[slot]\nreader\n", "/conf/token.conf:2: this is neither 'key = value' nor [slot]"},
    {"NoValue", "state =\n[slot]\n", "/conf/token.conf:1: 'state' has no value"},
    {"UnknownBlock", "[slots]\n", "/conf/token.conf:1: unknown block [slots]"},
    {"UnknownGlobalKey", "\npin = 1234\n", "/conf/token.conf:2: unknown key 'pin' before the first [slot]"},
    {"UnknownSlotKey", "[slot]\nstate = x\n", "/conf/token.conf:2: unknown key 'state' in a [slot]"},
    {"KeyTwice", "[slot]\ntries = 1\ntries = 2\n", "/conf/token.conf:3: 'tries' is given twice"},
    {"WrongPin", "wrong_pin = maybe\n", "/conf/token.conf:1: 'wrong_pin' is 'tries' or 'incorrect'"},
    {"LongReader", "[slot]\nreader = 12345678901234567890123456789012345678901234567890123456789012345\n",
     "/conf/token.conf:2: the value has more than 64 bytes"},
    {"LongLabel", "[slot]\nlabel = 123456789012345678901234567890123\n",
     "/conf/token.conf:2: the value has more than 32 bytes"},
    {"ShortSerial", "[slot]\nserial = 123\n", "/conf/token.conf:2: a serial has 16 letters and digits"},
    {"SerialThatIsAPath", "[slot]\nserial = ../../../../../..\n",
     "/conf/token.conf:2: a serial has 16 letters and digits"},
    {"ShortPin", "[slot]\npin = 123\n", "/conf/token.conf:2: a PIN has 4 to 16 characters"},
    {"LongSoPin", "[slot]\nso_pin = 12345678901234567\n", "/conf/token.conf:2: a PIN has 4 to 16 characters"},
    {"NoTries", "[slot]\ntries = 0\n", "/conf/token.conf:2: 'tries' is a number from 1 to 15"},
    {"ManyTries", "[slot]\ntries = 16\n", "/conf/token.conf:2: 'tries' is a number from 1 to 15"},
    {"TriesThatOverflow", "[slot]\ntries = 4294967297\n", "/conf/token.conf:2: 'tries' is a number from 1 to 15"},
    {"TriesWithASuffix", "[slot]\ntries = 3x\n", "/conf/token.conf:2: 'tries' is a number from 1 to 15"},
    {"Presence", "[slot]\npresence = sometimes\n",
     "/conf/token.conf:2: 'presence' is 'always', 'never', 'reader', 'file PATH' or 'looks N'"},
    {"PresenceLooksWithoutNumber", "[slot]\npresence = looks many\n",
     "/conf/token.conf:2: 'presence' is 'always', 'never', 'reader', 'file PATH' or 'looks N'"},
    {"PresenceZeroLooks", "[slot]\npresence = looks 0\n",
     "/conf/token.conf:2: 'presence' is 'always', 'never', 'reader', 'file PATH' or 'looks N'"},
    {"Readers", "readers = 2\n", "/conf/token.conf:1: 'readers' is 'none'; a reader is a [slot]"},
    {"SlotWithoutReaders", "readers = none\n[slot]\n", "/conf/token.conf:2: a [slot] behind 'readers = none'"},
    {"PresenceFileWithoutPath", "[slot]\npresence = file\n",
     "/conf/token.conf:2: 'presence' is 'always', 'never', 'reader', 'file PATH' or 'looks N'"},
    {"ReaderTwice", "[slot]\nreader = A\n[slot]\nreader = A\nlabel = x\n",
     "/conf/token.conf:3: a second slot with the reader 'A'"},
    {"SerialTwice", "[slot]\nserial = 0000000000000002\n[slot]\n[slot]\n",
     "/conf/token.conf:3: a second slot with the serial '0000000000000002'"},
};

INSTANTIATE_TEST_SUITE_P(Settings, BadSettingsTest, ::testing::ValuesIn(kBadCases),
                         [](const auto& test) { return test.param.name; });

TEST(SettingsTest, WithoutHomeTheStateMustBeNamed) {
  EXPECT_THROW(ParseSettings("[slot]\n", "/conf/token.conf", std::nullopt), SettingsError);
  EXPECT_EQ("/s", ParseSettings("state = /s\n[slot]\n", "/conf/token.conf", std::nullopt).stateFolder);
}

class LoadSettingsTest : public ::testing::Test {
 protected:
  LoadSettingsTest() {
    ::setenv("HOME", m_home.Path().c_str(), 1);
    ::unsetenv("TELVO_SOFTTOKEN_CONF");
  }

  const TemporaryFolder m_home;
};

TEST_F(LoadSettingsTest, WithoutAFileThereIsOneDefaultToken) {
  const Settings settings = LoadSettings();
  EXPECT_EQ(m_home.Path() + "/.local/share/telvopkcs11", settings.stateFolder);
  ASSERT_EQ(1u, settings.slots.size());
  EXPECT_EQ("Software Token 1", settings.slots[0].label);
}

TEST_F(LoadSettingsTest, TheFileInTheHomeFolderIsRead) {
  std::filesystem::create_directory(m_home.Path() + "/.config");
  WriteFile(m_home.Path() + "/.config/telvopkcs11.conf", "[slot]\nlabel = From home\n");
  EXPECT_EQ("From home", LoadSettings().slots[0].label);
}

TEST_F(LoadSettingsTest, TheFileFromTheEnvironmentTakesPrecedence) {
  std::filesystem::create_directory(m_home.Path() + "/.config");
  WriteFile(m_home.Path() + "/.config/telvopkcs11.conf", "[slot]\nlabel = From home\n");
  WriteFile(m_home.Path() + "/other.conf", "state = s\n[slot]\nlabel = Other\n");
  ::setenv("TELVO_SOFTTOKEN_CONF", (m_home.Path() + "/other.conf").c_str(), 1);
  const Settings settings = LoadSettings();
  EXPECT_EQ("Other", settings.slots[0].label);
  EXPECT_EQ(m_home.Path() + "/s", settings.stateFolder);
}

TEST_F(LoadSettingsTest, ANamedFileMustExist) {
  ::setenv("TELVO_SOFTTOKEN_CONF", (m_home.Path() + "/missing.conf").c_str(), 1);
  EXPECT_THROW(LoadSettings(), SettingsError);
}

TEST_F(LoadSettingsTest, AFolderIsNotASettingsFile) {
  ::setenv("TELVO_SOFTTOKEN_CONF", m_home.Path().c_str(), 1);
  EXPECT_THROW(LoadSettings(), SettingsError);
}

TEST_F(LoadSettingsTest, ARelativeNameStartsAtTheCurrentFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  WriteFile(m_home.Path() + "/here.conf", "state = s\n[slot]\n");
  std::filesystem::current_path(m_home.Path());
  ::setenv("TELVO_SOFTTOKEN_CONF", "here.conf", 1);
  const std::string state = LoadSettings().stateFolder;
  std::filesystem::current_path(before);
  EXPECT_EQ(m_home.Path() + "/s", state);
}

TEST_F(LoadSettingsTest, WithoutHomeAndAFileLoadingFails) {
  ::unsetenv("HOME");
  EXPECT_THROW(LoadSettings(), SettingsError);
}

}  // namespace
}  // namespace softtoken

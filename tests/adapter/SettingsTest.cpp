#include <filesystem>
#include <gtest/gtest.h>

#include "Variable.h"
#include "adapter/Settings.h"
#include "platform/TempFolder.h"

namespace adapter::testing {
namespace {

Settings Parse(const std::string& text) { return ParseSettings(text, "/conf/adapter.conf"); }

TEST(AdapterSettingsTest, OnlyTheModuleMustBeGiven) {
  const Settings settings = Parse("module = /lib/module.so\n");
  EXPECT_EQ("/lib/module.so", settings.module);
  EXPECT_EQ("", settings.initialisation);
  EXPECT_EQ("", settings.label + settings.serial + settings.reader);
  EXPECT_EQ(3u, settings.tries);
  EXPECT_TRUE(settings.keepLogin);
  EXPECT_EQ(std::chrono::minutes(5), settings.loginLife);
  EXPECT_EQ("", settings.defaultCertificate + settings.trace);
  EXPECT_TRUE(settings.names.empty());
}

TEST(AdapterSettingsTest, EveryKeyIsRead) {
  const Settings settings = Parse(
      "# a comment\n"
      "module = /lib/module.so\r\n"
      "initialisation = configdir='sql:/home/x' flags=readOnly\n"
      "label = My token\n"
      "  serial=0123456789abcdef  \n"
      "reader = A reader 00 00\n"
      "tries = 15\n"
      "keep_login = no\n"
      "login_life = 86400\n"
      "default_certificate = Signing = mine\n"
      "trace = /tmp/trace.txt\n"
      "; another comment\n"
      "[token]\n"
      "serial = 12\n"
      "name = First\n"
      "[token]\n"
      "label = A label\n"
      "name = Second");
  EXPECT_EQ("/lib/module.so", settings.module);
  EXPECT_EQ("configdir='sql:/home/x' flags=readOnly", settings.initialisation);
  EXPECT_EQ("My token", settings.label);
  EXPECT_EQ("0123456789abcdef", settings.serial);
  EXPECT_EQ("A reader 00 00", settings.reader);
  EXPECT_EQ(15u, settings.tries);
  EXPECT_FALSE(settings.keepLogin);
  EXPECT_EQ(std::chrono::hours(24), settings.loginLife);
  EXPECT_EQ("Signing = mine", settings.defaultCertificate);
  EXPECT_EQ("/tmp/trace.txt", settings.trace);
  ASSERT_EQ(2u, settings.names.size());
  EXPECT_EQ("12", settings.names[0].serial);
  EXPECT_EQ("First", settings.names[0].name);
  EXPECT_EQ("A label", settings.names[1].label);
  EXPECT_EQ("Second", settings.names[1].name);
}

TEST(AdapterSettingsTest, RelativePathsStartAtTheFolderOfTheFile) {
  const Settings settings = Parse("module = lib/module.so\ntrace = trace.txt\n");
  EXPECT_EQ("/conf/lib/module.so", settings.module);
  EXPECT_EQ("/conf/trace.txt", settings.trace);
}

TEST(AdapterSettingsTest, AModuleWithoutAFolderIsLeftToTheLoader) {
  EXPECT_EQ("opensc-pkcs11.so", Parse("module = opensc-pkcs11.so\n").module);
}

TEST(AdapterSettingsTest, KeepLoginMayBeYes) { EXPECT_TRUE(Parse("module = m\nkeep_login = yes\n").keepLogin); }

TEST(AdapterSettingsTest, AByteOrderMarkIsSkipped) { EXPECT_EQ("m", Parse("\xEF\xBB\xBFmodule = m\n").module); }

struct BadCase {
  const char* name;
  const char* text;
  const char* message;
};

void PrintTo(const BadCase& test, std::ostream* out) { *out << test.name; }

class BadAdapterSettingsTest : public ::testing::TestWithParam<BadCase> {};

TEST_P(BadAdapterSettingsTest, NameFileAndLine) {
  try {
    Parse(GetParam().text);
    FAIL() << "accepted";
  } catch (const SettingsError& error) {
    EXPECT_STREQ(GetParam().message, error.what());
  }
}

constexpr char kLong33[] = "123456789012345678901234567890123";

const std::string kLongLabel = std::string("module = m\nlabel = ") + kLong33;
const std::string kLongTokenLabel = std::string("module = m\n[token]\nlabel = ") + kLong33;
const std::string kLongReader = std::string("module = m\nreader = ") + kLong33 + kLong33;
const std::string kLongName = std::string("module = m\n[token]\nname = ") + kLong33 + kLong33;

const BadCase kBadCases[] = {
    {"Empty", "", "/conf/adapter.conf:0: there is no 'module'"},
    {"NoModule", "tries = 1\n\n", "/conf/adapter.conf:2: there is no 'module'"},
    {"NoKey", "module\n", "/conf/adapter.conf:1: this is neither 'key = value' nor [token]"},
    {"NoValue", "module =\n", "/conf/adapter.conf:1: 'module' has no value"},
    {"UnknownBlock", "module = m\n[slot]\n", "/conf/adapter.conf:2: unknown block [slot]"},
    {"UnknownKey", "pin = 1234\n", "/conf/adapter.conf:1: unknown key 'pin' before the first [token]"},
    {"UnknownTokenKey", "[token]\nmodule = m\n", "/conf/adapter.conf:2: unknown key 'module' in a [token]"},
    {"KeyTwice", "module = m\nmodule = n\n", "/conf/adapter.conf:2: 'module' is given twice"},
    {"LongLabel", kLongLabel.c_str(), "/conf/adapter.conf:2: the value has more than 32 bytes"},
    {"LongSerial", "serial = 12345678901234567\n", "/conf/adapter.conf:1: the value has more than 16 bytes"},
    {"LongReader", kLongReader.c_str(), "/conf/adapter.conf:2: the value has more than 64 bytes"},
    {"NoTries", "tries = 0\n", "/conf/adapter.conf:1: 'tries' is a number from 1 to 15"},
    {"ManyTries", "tries = 16\n", "/conf/adapter.conf:1: 'tries' is a number from 1 to 15"},
    {"TriesWithASuffix", "tries = 3x\n", "/conf/adapter.conf:1: 'tries' is a number from 1 to 15"},
    {"KeepLogin", "keep_login = true\n", "/conf/adapter.conf:1: 'keep_login' is 'yes' or 'no'"},
    {"NoLife", "login_life = 0\n", "/conf/adapter.conf:1: 'login_life' is a number of seconds from 1 to 86400"},
    {"LongLife", "login_life = 86401\n", "/conf/adapter.conf:1: 'login_life' is a number of seconds from 1 to 86400"},
    {"NegativeLife", "login_life = -1\n", "/conf/adapter.conf:1: 'login_life' is a number of seconds from 1 to 86400"},
    {"LongTokenLabel", kLongTokenLabel.c_str(), "/conf/adapter.conf:3: the value has more than 32 bytes"},
    {"LongName", kLongName.c_str(), "/conf/adapter.conf:3: the value has more than 64 bytes"},
    {"TokenWithoutSerialOrLabel", "module = m\n[token]\nname = A\n",
     "/conf/adapter.conf:2: a [token] has either a 'serial' or a 'label'"},
    {"TokenWithSerialAndLabel", "module = m\n[token]\nserial = 1\nlabel = 2\nname = A\n",
     "/conf/adapter.conf:2: a [token] has either a 'serial' or a 'label'"},
    {"TokenWithoutName", "module = m\n\n[token]\nserial = 1\n[token]\n",
     "/conf/adapter.conf:3: a [token] has a 'name'"},
    {"NameTwice", "module = m\n[token]\nserial = 1\nname = A\n[token]\nlabel = 1\nname = A\n",
     "/conf/adapter.conf:5: a second [token] with the name 'A'"},
    {"TokenTwice", "module = m\n[token]\nserial = 1\nname = A\n[token]\nserial = 1\nname = B\n",
     "/conf/adapter.conf:5: a second [token] for the same token"},
};

INSTANTIATE_TEST_SUITE_P(Settings, BadAdapterSettingsTest, ::testing::ValuesIn(kBadCases),
                         [](const auto& test) { return test.param.name; });

TEST(AdapterSettingsTest, AFileIsRead) {
  const TempFolder folder;
  WriteFile(folder.File("adapter.conf"), "module = lib/m\n");
  EXPECT_EQ(folder.File("lib/m"), ReadSettings(folder.File("adapter.conf")).module);
}

TEST(AdapterSettingsTest, AMissingFileIsNamed) {
  const TempFolder folder;
  try {
    ReadSettings(folder.File("missing.conf"));
    FAIL() << "accepted";
  } catch (const SettingsError& error) {
    EXPECT_EQ(folder.File("missing.conf") + ":0: No such file or directory", error.what());
  }
}

TEST(AdapterSettingsTest, AFolderIsRefused) {
  const TempFolder folder;
  EXPECT_THROW(ReadSettings(folder.File("")), SettingsError);
}

TEST(AdapterSettingsTest, TheDefaultFileIsNextToTheAdapter) {
  EXPECT_EQ("/lib/telvo/telvopkcs11-adapter.conf", SettingsPath("/lib/telvo"));
}

TEST(AdapterSettingsTest, TheFileFromTheEnvironmentTakesPrecedence) {
  const TempFolder folder;
  WriteFile(folder.File("other.conf"), "module = /m\nlabel = Other\n");
  const Variable named("TELVO_ADAPTER_CONF", folder.File("other.conf"));
  EXPECT_EQ(folder.File("other.conf"), SettingsPath("/lib/telvo"));
  EXPECT_EQ("Other", LoadSettings().label);
}

TEST(AdapterSettingsTest, AnEmptyVariableIsIgnored) {
  const Variable empty("TELVO_ADAPTER_CONF", "");
  EXPECT_EQ("/lib/telvo/telvopkcs11-adapter.conf", SettingsPath("/lib/telvo"));
}

}  // namespace
}  // namespace adapter::testing

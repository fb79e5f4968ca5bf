#include <gtest/gtest.h>

#include "platform/TestRegistry.h"
#include "settings/Settings.h"

namespace {

constexpr const Setting& kLog = SettingNamed("CSPLOG");
constexpr const Setting& kLogFile = SettingNamed("CSPDIR");
constexpr const Setting& kPinCache = SettingNamed("PINCACHE");

class SettingsTest : public ::testing::Test {
 protected:
  // The setting when the registry contains `bytes` of `type`.
  StoredSetting ReadWith(const Setting& setting, DWORD type, const std::string& bytes) {
    m_registry.SetValue(kProductKey, setting.name, type, bytes);
    return Settings().Read(setting);
  }
  StoredSetting ReadWith(const Setting& setting, const std::string& text) {
    return ReadWith(setting, REG_SZ, text + '\0');
  }

  TestRegistry m_registry;
};

// --- The key

TEST_F(SettingsTest, WithoutAnyKeyEverySettingHasItsFallback) {
  const Settings settings;
  EXPECT_EQ(nullptr, settings.Key());
  EXPECT_FALSE(settings.Read(kLog).found);
  EXPECT_FALSE(settings.IsOn(kLog));
  EXPECT_STREQ("", settings.Read(kLogFile).text);
  EXPECT_TRUE(settings.IsOn(kPinCache));
}

TEST_F(SettingsTest, WithoutAnyKeyNothingIsReadOrWritten) {
  const Settings settings;
  BYTE buffer[8] = {};
  DWORD length = sizeof(buffer);
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, settings.ReadValue("CSPLOG", buffer, &length));
  EXPECT_EQ(sizeof(buffer), length);
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, settings.WriteString("CSPLOG", "1", 2));
}

TEST_F(SettingsTest, TheNewestKeyThatExistsIsRead) {
  m_registry.SetText(kOldestProductKey, "CSPDIR", "oldest");
  EXPECT_STREQ("oldest", Settings().Read(kLogFile).text);
  m_registry.SetText(kOlderProductKey, "CSPDIR", "older");
  EXPECT_STREQ("older", Settings().Read(kLogFile).text);
  m_registry.SetText(kProductKey, "CSPDIR", "newest");
  EXPECT_STREQ("newest", Settings().Read(kLogFile).text);
}

TEST_F(SettingsTest, AValueMissingUnderTheNewestKeyIsNotLookedForUnderTheNext) {
  m_registry.AddKey(kProductKey);
  m_registry.SetText(kOlderProductKey, "PINCACHE", "0");
  EXPECT_FALSE(Settings().Read(kPinCache).found);
  EXPECT_TRUE(Settings().IsOn(kPinCache));
}

// --- A value

TEST_F(SettingsTest, AValueIsReadWithItsTypeAndLength) {
  const StoredSetting stored = ReadWith(kLogFile, "C:\\csp.log");
  EXPECT_TRUE(stored.IsUsed());
  EXPECT_EQ(DWORD{REG_SZ}, stored.type);
  EXPECT_EQ(11U, stored.length);
  EXPECT_STREQ("C:\\csp.log", stored.text);
}

TEST_F(SettingsTest, AnEmptyStringIsAValue) {
  EXPECT_TRUE(ReadWith(kLogFile, "").IsUsed());
  EXPECT_TRUE(ReadWith(kPinCache, "").IsUsed());
  EXPECT_FALSE(Settings().IsOn(kPinCache));
}

TEST_F(SettingsTest, AValueAtItsLengthLimitIsUsed) {
  EXPECT_TRUE(ReadWith(kLog, REG_BINARY, std::string(31, '1')).IsOn());
  EXPECT_FALSE(ReadWith(kPinCache, REG_BINARY, std::string(32, '0')).IsOn());
  EXPECT_EQ(std::string(260, 'x'), ReadWith(kLogFile, REG_BINARY, std::string(260, 'x')).text);
}

TEST_F(SettingsTest, ALongerValueIsFoundButTheFallbackIsUsed) {
  const StoredSetting log = ReadWith(kLog, REG_BINARY, std::string(32, '1'));
  EXPECT_TRUE(log.found);
  EXPECT_TRUE(log.tooLong);
  EXPECT_EQ(32U, log.length);
  EXPECT_FALSE(log.IsUsed());
  EXPECT_FALSE(log.IsOn());
  EXPECT_TRUE(ReadWith(kPinCache, REG_BINARY, std::string(33, '0')).IsOn());
  const StoredSetting file = ReadWith(kLogFile, REG_BINARY, std::string(261, 'x'));
  EXPECT_TRUE(file.tooLong);
  EXPECT_STREQ("", file.text);
}

// --- A switch

struct SwitchCase {
  const char* name;
  std::string text;
  bool on;
};

class SwitchTextTest : public SettingsTest, public ::testing::WithParamInterface<SwitchCase> {};

TEST_P(SwitchTextTest, IsReadTheSameWayForEverySwitch) {
  EXPECT_EQ(GetParam().on, ReadWith(kLog, GetParam().text).IsOn());
  EXPECT_EQ(GetParam().on, ReadWith(kPinCache, GetParam().text).IsOn());
}

const SwitchCase kTexts[] = {
    {"Zero", "0", false},
    {"One", "1", true},
    {"SpacesBeforeTheNumber", "  1", true},
    {"LettersAfterTheNumber", "1abc", true},
    {"LettersAfterAZero", "0abc", false},
    {"LettersBeforeTheNumber", "a1", false},
    {"Negative", "-1", true},
    {"ZerosBeforeTheNumber", "0001", true},
    {"Hexadecimal", "0x1", false},
    {"MoreThan32Bits", "4294967296", true},
};
INSTANTIATE_TEST_SUITE_P(Texts, SwitchTextTest, ::testing::ValuesIn(kTexts),
                         [](const auto& row) { return std::string(row.param.name); });

// --- A switch of a number type: its four bytes are read as a string, the lowest byte first.

TEST_F(SettingsTest, TheTypeOfASwitchIsIgnored) {
  EXPECT_FALSE(ReadWith(kLog, REG_DWORD, std::string("\1\0\0\0", 4)).IsOn());
  EXPECT_TRUE(ReadWith(kLog, REG_DWORD, std::string("1\0\0\0", 4)).IsOn());
  const StoredSetting pinCache = ReadWith(kPinCache, REG_DWORD, std::string("\1\0\0\0", 4));
  EXPECT_FALSE(pinCache.IsOn());
  EXPECT_EQ(DWORD{REG_DWORD}, pinCache.type);
  EXPECT_EQ(4U, pinCache.length);
}

bool IsOnAsNumber(DWORD number) {
  StoredSetting stored;
  for (unsigned i = 0; i < 4; ++i) stored.text[i] = static_cast<char>(number >> 8 * i & 0xFFU);
  return stored.IsOn();
}

TEST(NumberTypedSwitchTest, Below256OnlyTheCodesOfTheDigitsOneToNineAreOn) {
  for (DWORD number = 0; number < 256; ++number)
    EXPECT_EQ(number >= '1' && number <= '9', IsOnAsNumber(number)) << number;
}

TEST(NumberTypedSwitchTest, AnyNumberWithThoseCodesInItsLowestByteIsOn) {
  for (DWORD lowest = '1'; lowest <= '9'; ++lowest) EXPECT_TRUE(IsOnAsNumber(0xFFFFFF00U | lowest)) << lowest;
}

TEST(NumberTypedSwitchTest, SpacesASignAndZerosMayPrecedeTheDigit) {
  EXPECT_TRUE(IsOnAsNumber(0x00003120));   // " 1"
  EXPECT_TRUE(IsOnAsNumber(0x0000392D));   // "-9"
  EXPECT_TRUE(IsOnAsNumber(0x00003130));   // "01"
  EXPECT_TRUE(IsOnAsNumber(0x31302B09));   // a tab, "+01"
  EXPECT_FALSE(IsOnAsNumber(0x00313000));  // the zero byte ends the string
  EXPECT_FALSE(IsOnAsNumber(0x00312D2D));  // "--1"
  EXPECT_FALSE(IsOnAsNumber(0x30303030));  // "0000"
}

}  // namespace

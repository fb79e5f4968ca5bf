#include <filesystem>
#include <gtest/gtest.h>

#include "platform/TempFolder.h"
#include "platform/TestRegistry.h"
#include "telvotool/SettingsCheck.h"

namespace {

struct OddityCase {
  const char* name;
  const char* setting;
  DWORD type;
  std::string bytes;
  const char* what;  // empty: nothing is odd
};

class OddityTest : public ::testing::TestWithParam<OddityCase> {};

TEST_P(OddityTest, IsReported) {
  TestRegistry registry;
  registry.SetValue(kProductKey, GetParam().setting, GetParam().type, GetParam().bytes);
  for (const Setting& setting : kSettings) {
    const auto oddity = tool::OddityOf(setting, Settings().Read(setting));
    const bool isThis = std::string(setting.name) == GetParam().setting;
    EXPECT_EQ(isThis ? GetParam().what : "", oddity ? oddity->what : "") << setting.name;
  }
}

const std::string kNumberOne("\1\0\0\0", 4);
const OddityCase kCases[] = {
    {"SwitchOn", "CSPLOG", REG_SZ, std::string("1\0", 2), ""},
    {"SwitchOff", "PINCACHE", REG_SZ, std::string("0\0", 2), ""},
    {"SwitchOfExpandableType", "PINCACHE", REG_EXPAND_SZ, std::string("1\0", 2), ""},
    {"Path", "CSPDIR", REG_SZ, std::string("C:\\csp.log\0", 11), ""},
    {"NumberTypedLog", "CSPLOG", REG_DWORD, kNumberOne,
     "its type is REG_DWORD, and its bytes are read as text: it counts as off"},
    {"NumberTypedLogThatIsOn", "CSPLOG", REG_DWORD, std::string("1\0\0\0", 4),
     "its type is REG_DWORD, and its bytes are read as text: it counts as on"},
    {"NumberTypedPinCache", "PINCACHE", REG_DWORD, kNumberOne,
     "its type is REG_DWORD, and its bytes are read as text: it counts as off"},
    {"LongNumber", "PINCACHE", REG_QWORD, kNumberOne + std::string(4, '\0'),
     "its type is REG_QWORD, and its bytes are read as text: it counts as off"},
    {"Bytes", "PINCACHE", REG_BINARY, "1", "its type is REG_BINARY, and its bytes are read as text: it counts as on"},
    {"NumberTypedPath", "CSPDIR", REG_DWORD, kNumberOne,
     "its type is REG_DWORD, and its bytes are read as text: it counts as \"?\""},
    {"NumberTypedPathOfZero", "CSPDIR", REG_DWORD, std::string(4, '\0'),
     "its type is REG_DWORD, and its bytes are read as text: it counts as not set"},
    {"UnknownType", "PINCACHE", 99, "0", "its type is number 99, and its bytes are read as text: it counts as off"},
    {"LongLog", "CSPLOG", REG_SZ, std::string(31, '1') + '\0',
     "it has 32 bytes, and at most 31 are read: it counts as off"},
    {"LongPinCache", "PINCACHE", REG_SZ, std::string(32, '0') + '\0',
     "it has 33 bytes, and at most 32 are read: it counts as on"},
    {"LongPath", "CSPDIR", REG_SZ, std::string(260, 'x') + '\0',
     "it has 261 bytes, and at most 260 are read: it counts as not set"},
    {"LongestLog", "CSPLOG", REG_SZ, std::string(30, '1') + '\0', ""},
    {"Word", "CSPLOG", REG_SZ, std::string("yes\0", 4), "it is no number: it counts as off"},
    {"EmptySwitch", "PINCACHE", REG_SZ, std::string(1, '\0'), "it is no number: it counts as off"},
};
INSTANTIATE_TEST_SUITE_P(Values, OddityTest, ::testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SettingsCheckTest, WithoutValuesNothingIsOdd) {
  const TestRegistry registry;
  for (const Setting& setting : kSettings) EXPECT_FALSE(tool::OddityOf(setting, Settings().Read(setting)));
}

std::string WhatIsOddAboutTheLogFile(const std::string& path) {
  const auto oddity = tool::OddityOfLogFile(path);
  return oddity ? oddity->what : "";
}

TEST(SettingsCheckTest, ALogFileMustBeAFileInAnExistingFolder) {
  const TempFolder folder;
  const std::string inside = std::filesystem::absolute(folder.File("csp.log")).string();
  EXPECT_EQ("", WhatIsOddAboutTheLogFile(inside));
  EXPECT_EQ("the folder of the file is not there: nothing is logged", WhatIsOddAboutTheLogFile(inside + "/csp.log"));
  std::filesystem::create_directory(inside);
  EXPECT_EQ("it names a folder: nothing is logged", WhatIsOddAboutTheLogFile(inside));
  EXPECT_EQ("", WhatIsOddAboutTheLogFile(inside + "\\csp.log"));
  EXPECT_EQ("", WhatIsOddAboutTheLogFile("C:\\csp.log"));
}

TEST(SettingsCheckTest, ALogFileNeedsACompletePath) {
  constexpr char kNotComplete[] = "it is no complete path: each program logs into its current folder";
  for (const char* path : {"csp.log", "a", "C:csp.log", "\\csp.log", "%TEMP%\\csp.log"}) {
    EXPECT_EQ(kNotComplete, WhatIsOddAboutTheLogFile(path)) << path;
  }
  EXPECT_EQ("", WhatIsOddAboutTheLogFile(""));
}

}  // namespace

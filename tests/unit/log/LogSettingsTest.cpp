// The log's values in the registry, and their effect on the log objects constructed afterwards.
#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "fixtures/LogFile.h"
#include "log/CCSPLog.h"
#include "platform/TestRegistry.h"

namespace {

#if defined(_WIN32)
const std::string kLineEnd = "\r\n";
#else
const std::string kLineEnd = "\n";
#endif

class LogSettingsTest : public ::testing::Test {
 protected:
  LogSettingsTest() : m_logFile(m_folder.File("csp.log")) { g_logStarted = 1; }
  ~LogSettingsTest() override { g_logStarted = 1; }

  bool WritesWith(const std::string& csplog) {
    m_registry.SetText(kProductKey, "CSPLOG", csplog);
    m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
    return Writes();
  }

  // Whether an object constructed now writes to the file.
  bool Writes() {
    CCSPLog log(10);
    log.WriteLine("x");
    return std::filesystem::exists(m_logFile);
  }

  TempFolder m_folder;
  TestRegistry m_registry;
  std::string m_logFile;
};

TEST_F(LogSettingsTest, ANonzeroNumberTurnsTheLogOn) { EXPECT_TRUE(WritesWith("00000001")); }

TEST_F(LogSettingsTest, ANegativeNumberTurnsTheLogOn) { EXPECT_TRUE(WritesWith("-1")); }

TEST_F(LogSettingsTest, SpacesBeforeTheNumberAreIgnored) { EXPECT_TRUE(WritesWith("  1")); }

TEST_F(LogSettingsTest, LettersAfterTheNumberAreIgnored) { EXPECT_TRUE(WritesWith("1abc")); }

TEST_F(LogSettingsTest, ZeroLeavesTheLogOffAndCreatesNoFile) { EXPECT_FALSE(WritesWith("0")); }

TEST_F(LogSettingsTest, AStringThatIsNotANumberLeavesTheLogOff) { EXPECT_FALSE(WritesWith("yes")); }

TEST_F(LogSettingsTest, AMissingSwitchLeavesTheLogOff) {
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  EXPECT_FALSE(Writes());
}

TEST_F(LogSettingsTest, WithoutAnyProductKeyTheLogIsOff) { EXPECT_FALSE(Writes()); }

TEST_F(LogSettingsTest, ASwitchStoredAsANumberLeavesTheLogOff) {
  m_registry.SetValue(kProductKey, "CSPLOG", REG_DWORD, std::string("\x01\0\0\0", 4));
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  EXPECT_FALSE(Writes());
}

TEST_F(LogSettingsTest, ASwitchStoredAsANumberThatReadsAsADigitTurnsTheLogOn) {
  m_registry.SetValue(kProductKey, "CSPLOG", REG_DWORD, std::string("1\0\0\0", 4));
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  EXPECT_TRUE(Writes());
}

TEST_F(LogSettingsTest, ASwitchOf31BytesIsRead) { EXPECT_TRUE(WritesWith("000000000000000000000000000001")); }

TEST_F(LogSettingsTest, ASwitchOf32BytesLeavesTheLogOff) {
  EXPECT_FALSE(WritesWith("0000000000000000000000000000001"));
}

TEST_F(LogSettingsTest, ASwitchOfMoreThan32BytesLeavesTheLogOff) {
  EXPECT_FALSE(WritesWith("00000000000000000000000000000001"));
}

TEST_F(LogSettingsTest, WithoutAFileNameNothingIsWrittenAndTheStartLineStaysPending) {
  g_logStarted = 0;
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  CCSPLog log(10);
  log.WriteLine("x");
  EXPECT_EQ(0, g_logStarted);
}

TEST_F(LogSettingsTest, TheFirstObjectThatFindsAFileNameWritesTheStartLine) {
  g_logStarted = 0;
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  CCSPLog first(10);
  CCSPLog second(10);
  EXPECT_EQ(0, g_logStarted);
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  CCSPLog third(10);
  EXPECT_EQ(1, g_logStarted);
  const std::string startLine = ReadFile(m_logFile);
  EXPECT_EQ(0U, startLine.find(kLineEnd + kLineEnd + "****************************** LOG START - "));
  first.WriteLine("x");
  second.WriteLine("x");
  EXPECT_EQ(startLine, ReadFile(m_logFile));
  third.WriteLine("x");
  EXPECT_EQ(startLine + "x   " + kLineEnd, ReadFile(m_logFile));
}

TEST_F(LogSettingsTest, AfterAMissingFolderTheNextObjectWritesNoStartLine) {
  g_logStarted = 0;
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kProductKey, "CSPDIR", m_folder.File("nowhere/csp.log"));
  CCSPLog first(10);
  EXPECT_EQ(1, g_logStarted);
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  CCSPLog second(10);
  EXPECT_FALSE(std::filesystem::exists(m_logFile));
}

TEST_F(LogSettingsTest, AFileNameOfMoreThan260BytesCountsAsMissing) {
  g_logStarted = 0;
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile + std::string(260, 'x'));
  CCSPLog log(10);
  log.WriteLine("x");
  EXPECT_EQ(0, g_logStarted);
}

TEST_F(LogSettingsTest, AFileNameOf260BytesWithoutATerminatorIsCutOrTooLong) {
  std::string name = m_folder.File("");
  while (name.size() < 260) name += (name.size() % 64 == 0) ? "./" : "/";
  name = name.substr(0, 252) + "csp.logX";
  ASSERT_EQ(260U, name.size());
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetValue(kProductKey, "CSPDIR", REG_SZ, name);
  CCSPLog log(10);
  log.WriteLine("x");
#if defined(_WIN32)
  // The platform's own registry adds the terminator, and the value is then too long.
  EXPECT_FALSE(std::filesystem::exists(m_logFile));
#else
  EXPECT_TRUE(std::filesystem::exists(m_logFile));
#endif
}

TEST_F(LogSettingsTest, AFolderThatDoesNotExistMakesItemsVanish) {
  m_logFile = m_folder.File("nowhere/csp.log");
  EXPECT_FALSE(WritesWith("1"));
}

TEST_F(LogSettingsTest, WhenTheFolderIsCreatedLaterThereIsNoStartLine) {
  g_logStarted = 0;
  m_logFile = m_folder.File("later/csp.log");
  EXPECT_FALSE(WritesWith("1"));
  EXPECT_EQ(1, g_logStarted);
  std::filesystem::create_directory(m_folder.File("later"));
  EXPECT_TRUE(Writes());
  EXPECT_EQ(std::string::npos, ReadFile(m_logFile).find("LOG START"));
}

TEST_F(LogSettingsTest, AFolderInsteadOfAFileMakesItemsVanish) {
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kProductKey, "CSPDIR", m_folder.File("."));
  CCSPLog log(1);
  log.WriteLine("x");
  log.WriteBytes("x", reinterpret_cast<const BYTE*>("x"), 1, true);
  log.WriteHexDump(reinterpret_cast<const BYTE*>("x"), 1);
  EXPECT_TRUE(std::filesystem::is_empty(m_folder.File(".")));
}

TEST_F(LogSettingsTest, TheSecondKeyIsUsedWhenTheFirstIsMissing) {
  m_registry.SetText(kOlderProductKey, "CSPLOG", "1");
  m_registry.SetText(kOlderProductKey, "CSPDIR", m_logFile);
  EXPECT_TRUE(Writes());
}

TEST_F(LogSettingsTest, TheThirdKeyIsUsedWhenBothOthersAreMissing) {
  m_registry.SetText(kOldestProductKey, "CSPLOG", "1");
  m_registry.SetText(kOldestProductKey, "CSPDIR", m_logFile);
  EXPECT_TRUE(Writes());
}

TEST_F(LogSettingsTest, AValueMissingUnderTheFirstKeyIsNotLookedForUnderTheNext) {
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kOlderProductKey, "CSPLOG", "1");
  m_registry.SetText(kOlderProductKey, "CSPDIR", m_logFile);
  EXPECT_FALSE(Writes());
}

TEST_F(LogSettingsTest, TheFirstObjectWritesTheStartLineWithTheTime) {
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  g_logStarted = 0;
  const std::time_t before = std::time(nullptr);
  CCSPLog log(10);
  const std::time_t after = std::time(nullptr);
  EXPECT_EQ(1, g_logStarted);

  const auto lineAt = [](std::time_t when) {
    return std::string("\n\n****************************** LOG START - ") + std::ctime(&when) +
           " ******************************   \n";
  };
  std::string bytes = ReadFile(m_logFile);
#if defined(_WIN32)
  for (std::size_t i = bytes.find('\r'); i != std::string::npos; i = bytes.find('\r')) bytes.erase(i, 1);
#endif
  EXPECT_TRUE(bytes == lineAt(before) || bytes == lineAt(after)) << bytes;
}

TEST_F(LogSettingsTest, TheStartLineIsNotCounted) {
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  g_logStarted = 0;
  CCSPLog log(1);
  log.WriteLine("the one item");
  EXPECT_NE(std::string::npos, ReadFile(m_logFile).find("the one item"));
}

TEST_F(LogSettingsTest, AProcessWritesOneStartLineForAnyNumberOfObjects) {
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  g_logStarted = 0;
  CCSPLog first(10);
  const std::string afterFirst = ReadFile(m_logFile);
  CCSPLog second(10);
  EXPECT_EQ(afterFirst, ReadFile(m_logFile));
}

TEST_F(LogSettingsTest, WithLoggingOffTheFirstObjectUsesUpTheStartLine) {
  g_logStarted = 0;
  CCSPLog off(10);
  EXPECT_EQ(1, g_logStarted);
  EXPECT_TRUE(WritesWith("1"));
  EXPECT_EQ(std::string::npos, ReadFile(m_logFile).find("LOG START"));
}

TEST_F(LogSettingsTest, WithoutAFolderTheStartLineIsLostForGood) {
  m_logFile = m_folder.File("later/csp.log");
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  g_logStarted = 0;
  CCSPLog log(10);
  std::filesystem::create_directory(m_folder.File("later"));
  log.WriteLine("an item");
  CCSPLog another(10);
  const std::string text = ReadFile(m_logFile);
  EXPECT_NE(std::string::npos, text.find("an item"));
  EXPECT_EQ(std::string::npos, text.find("LOG START"));
}

TEST_F(LogSettingsTest, RegistryChangesAffectOnlyObjectsConstructedLater) {
  m_registry.SetText(kProductKey, "CSPLOG", "0");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  CCSPLog early(10);
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  early.WriteLine("x");
  EXPECT_FALSE(std::filesystem::exists(m_logFile));
}

TEST_F(LogSettingsTest, WithTheSwitchOffTheFileNameIsNotReadAndNothingIsEverWritten) {
  m_registry.SetText(kProductKey, "CSPLOG", "0");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  CCSPLog log(10);
  EXPECT_TRUE(log.SetEnabled(true));
  log.WriteLine("x");
  EXPECT_FALSE(std::filesystem::exists(m_logFile));
}

TEST_F(LogSettingsTest, AnExistingObjectKeepsWritingWhenTheSwitchIsTurnedOff) {
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  CCSPLog log(10);
  EXPECT_TRUE(log.SetEnabled(false));
  log.WriteLine("x");
  EXPECT_TRUE(std::filesystem::exists(m_logFile));
}

TEST_F(LogSettingsTest, SetEnabledStoresEightDigits) {
  m_registry.AddKey(kProductKey);
  CCSPLog log(10);
  EXPECT_TRUE(log.SetEnabled(true));
  EXPECT_EQ("00000001", m_registry.GetText(kProductKey, "CSPLOG"));
  EXPECT_TRUE(log.SetEnabled(false));
  EXPECT_EQ("00000000", m_registry.GetText(kProductKey, "CSPLOG"));
}

TEST_F(LogSettingsTest, SetEnabledReturnsTrueEvenWhenNothingCouldBeStored) {
  CCSPLog log(10);
  EXPECT_TRUE(log.SetEnabled(true));
}

TEST_F(LogSettingsTest, ReadRegistryValueReturnsTheValueAndItsLength) {
  m_registry.SetText(kProductKey, "SOMETHING", "text");
  CCSPLog log(10);
  BYTE buffer[8] = {};
  DWORD length = sizeof(buffer);
  EXPECT_TRUE(log.ReadRegistryValue("SOMETHING", buffer, &length));
  EXPECT_EQ(5U, length);
  EXPECT_STREQ("text", reinterpret_cast<const char*>(buffer));
}

TEST_F(LogSettingsTest, ReadRegistryValueFailsForAMissingOrTooLongValueAndWithoutAKey) {
  CCSPLog log(10);
  BYTE buffer[4] = {};
  DWORD length = sizeof(buffer);
  EXPECT_FALSE(log.ReadRegistryValue("SOMETHING", buffer, &length));
  m_registry.AddKey(kProductKey);
  length = sizeof(buffer);
  EXPECT_FALSE(log.ReadRegistryValue("SOMETHING", buffer, &length));
  m_registry.SetText(kProductKey, "SOMETHING", "text");
  length = sizeof(buffer);
  EXPECT_FALSE(log.ReadRegistryValue("SOMETHING", buffer, &length));
}

TEST_F(LogSettingsTest, WriteRegistryValueStoresAStringUnderTheFirstKeyThatOpens) {
  CCSPLog log(10);
  EXPECT_FALSE(log.WriteRegistryValue("SOMETHING", "text", 5));
  m_registry.AddKey(kOlderProductKey);
  m_registry.AddKey(kOldestProductKey);
  EXPECT_TRUE(log.WriteRegistryValue("SOMETHING", "text", 5));
  EXPECT_EQ("text", m_registry.GetText(kOlderProductKey, "SOMETHING"));
  EXPECT_EQ("(none)", m_registry.GetText(kOldestProductKey, "SOMETHING"));
}

}  // namespace

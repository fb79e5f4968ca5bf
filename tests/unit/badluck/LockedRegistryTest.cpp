// The registry is locked down: the user who runs the program may not open the provider's keys, or may not read their
// values. The fallbacks are then used: CSPLOG off, CSPDIR empty, PINCACHE on.
#include <filesystem>
#include <gtest/gtest.h>

#include "BadLuckTest.h"
#include "platform/LockedRegistry.h"
#include "settings/Settings.h"

namespace {

bool Everything(const std::string& /*name*/) { return true; }
bool Nothing(const std::string& /*name*/) { return false; }

class LockedRegistryTest : public BadLuckTest {
 protected:
  // The administrator's settings are the opposite of the fallbacks.
  LockedRegistryTest() { m_registry.SetText(kProductKey, "PINCACHE", "0"); }

  static void ExpectFallbacks() {
    EXPECT_FALSE(Settings().IsOn(SettingNamed("CSPLOG")));
    EXPECT_STREQ("", Settings().Read(SettingNamed("CSPDIR")).text);
    EXPECT_TRUE(Settings().IsOn(SettingNamed("PINCACHE")));
  }
};

TEST_F(LockedRegistryTest, KeysThatCannotBeOpenedLeaveTheFallbacks) {
  const LockedRegistry locked(&Everything, &Nothing);
  EXPECT_EQ(nullptr, Settings().Key());
  ExpectFallbacks();
}

TEST_F(LockedRegistryTest, ValuesThatCannotBeReadLeaveTheFallbacks) {
  const LockedRegistry locked(&Nothing, &Everything);
  EXPECT_NE(nullptr, Settings().Key());
  ExpectFallbacks();
}

TEST_F(LockedRegistryTest, AKeyThatCannotBeOpenedIsSkippedForTheNextOne) {
  m_registry.SetText(kOlderProductKey, "CSPDIR", "older");
  const LockedRegistry locked([](const std::string& key) { return key == kProductKey; }, &Nothing);
  EXPECT_STREQ("older", Settings().Read(SettingNamed("CSPDIR")).text);
}

TEST_F(LockedRegistryTest, NothingIsLoggedAndThePINIsNeededOnce) {
  InsertCard("Reader A");
  const LockedRegistry locked(&Everything, &Nothing);
  g_logStarted = 0;
  RestartLogs();
  HCRYPTPROV provider = 0;
  EXPECT_EQ("done", Acquire("one", CRYPT_SILENT, provider));
  EXPECT_EQ("done", GivePIN(provider, "1234"));
  EXPECT_EQ("done", Sign(provider));
  EXPECT_EQ("done", Sign(provider));
  EXPECT_EQ("done", Answer(CPReleaseContext(provider, 0)));
  EXPECT_TRUE(KeepsPIN("Reader A"));
  EXPECT_FALSE(std::filesystem::exists(m_logFile));
}

}  // namespace

#include <gtest/gtest.h>
#include <set>

#include "telvotool/Commands.h"

namespace {

TEST(CommandsTest, EachCommandHasWhatTheHelpShows) {
  std::set<std::string> names;
  for (const tool::Command& command : tool::Commands()) {
    EXPECT_TRUE(names.insert(command.name).second) << command.name;
    EXPECT_NE(nullptr, command.run) << command.name;
    EXPECT_LE(command.least, command.most) << command.name;
    EXPECT_NE('\0', command.summary[0]) << command.name;
    EXPECT_EQ(0U, std::string(command.examples).rfind("  ", 0)) << command.name;
    for (const std::string& option : command.options) EXPECT_NE(nullptr, tool::FindOption(option)) << option;
  }
}

TEST(CommandsTest, WrongUsageExitsWithTwo) {
  EXPECT_EQ(2, tool::RunCommandLine({}));
  EXPECT_EQ(2, tool::RunCommandLine({"nonsense"}));
  EXPECT_EQ(2, tool::RunCommandLine({"sign"}));
  EXPECT_EQ(2, tool::RunCommandLine({"sign", "one", "two"}));
  EXPECT_EQ(2, tool::RunCommandLine({"doctor", "--loudly"}));
}

TEST(CommandsTest, HelpExitsWithZeroAndRunsNoCommand) {
  EXPECT_EQ(0, tool::RunCommandLine({"--help"}));
  for (const tool::Command& command : tool::Commands()) EXPECT_EQ(0, tool::RunCommandLine({command.name, "--help"}));
}

}  // namespace

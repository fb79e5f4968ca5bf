// LogTest: the fixture of tests that read the log. Logging is on, into a file of the test's own, and the
// start line is taken as written.
#pragma once

#include <gtest/gtest.h>
#include <string>

#include "TempFolder.h"
#include "TestRegistry.h"

// What WriteLine, and Write with a value, leave in the file.
std::string Line(const std::string& text);
std::string Value(const std::string& label, const std::string& value);

// Brings up the twelve log objects anew, from what the registry says now.
void RestartLogs();

class LogTest : public ::testing::Test {
 protected:
  LogTest();
  ~LogTest() override;

  // What was logged since the last take. Line ends are single characters here on both targets.
  std::string TakeLog();
  // The file as it stands, byte for byte.
  std::string LogBytes() const { return ReadFile(m_logFile); }

  TempFolder m_folder;
  TestRegistry m_registry;
  std::string m_logFile;

 private:
  std::size_t m_taken = 0;
};

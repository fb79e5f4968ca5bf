// ProviderRegistration: telvocsp.dll registered under its name in a registry of the test's own, loaded so that it stays
// between two contexts, and its log. The environment names the library (TELVO_PROVIDER).
#pragma once

#include "common/Platform.h"

#include <string>

#include "platform/TempFolder.h"
#include "platform/TestRegistry.h"

extern const char kProviderName[];

class ProviderRegistration {
 public:
  enum class Logging { kOff, kOn };
  explicit ProviderRegistration(Logging logging = Logging::kOn);
  ~ProviderRegistration();
  ProviderRegistration(const ProviderRegistration&) = delete;
  ProviderRegistration& operator=(const ProviderRegistration&) = delete;

  TestRegistry& Registry() { return m_registry; }
  HMODULE Library() const { return m_library; }
  // What stands in the log behind the line that says when it started, or since the last time.
  std::string TakeLog();

 private:
  TempFolder m_folder;
  TestRegistry m_registry;
  std::string m_logFile;
  HMODULE m_library = nullptr;
  std::size_t m_taken = 0;
};

// The value of a variable of the environment; empty when there is none.
std::string Environment(const char* name);

// ProviderRegistration: registers telvocsp.dll under its name in the test's own registry, keeps it loaded between
// contexts, and reads its log. The environment variable TELVO_PROVIDER names the library.
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
  // The log lines since the start line, or since the last call.
  std::string TakeLog();

 private:
  TempFolder m_folder;
  TestRegistry m_registry;
  std::string m_logFile;
  HMODULE m_library = nullptr;
  std::size_t m_taken = 0;
};

// The value of an environment variable; empty when it is not set.
std::string Environment(const char* name);

// TestRegistry: stands in for HKEY_LOCAL_MACHINE of this process as long as it lives, empty at first. On
// Windows the predefined key is redirected, in the host build the registry file is one of the test's own. The
// certificate functions of Windows keep a provider that they found in the real one.
#pragma once

#include "common/Platform.h"

#include <string>

#include "platform/TempFolder.h"

// The product's keys, in the order in which they are tried.
extern const char* const kProductKey;
extern const char* const kOlderProductKey;
extern const char* const kOldestProductKey;

class TestRegistry {
 public:
  TestRegistry();
  ~TestRegistry();
  TestRegistry(const TestRegistry&) = delete;
  TestRegistry& operator=(const TestRegistry&) = delete;

  void AddKey(const std::string& key);
  // Stores a string with its terminating zero; `key` is added when it is not there.
  void SetText(const std::string& key, const std::string& name, const std::string& text);
  void SetValue(const std::string& key, const std::string& name, DWORD type, const std::string& bytes);
  // The bytes of a value up to the first zero; "(none)" when it is not there.
  std::string GetText(const std::string& key, const std::string& name) const;

 private:
  TempFolder m_folder;
  std::string m_root;
};

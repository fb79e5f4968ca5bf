// TestRegistry: replaces HKEY_LOCAL_MACHINE of this process while it lives; empty at first. On Windows the
// predefined key is redirected; in the host build the test has its own registry file. The certificate
// functions of Windows keep the provider that they found in the real registry.
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
  // Stores a string with its terminating zero; `key` is added if it does not exist.
  void SetText(const std::string& key, const std::string& name, const std::string& text);
  void SetValue(const std::string& key, const std::string& name, DWORD type, const std::string& bytes);
  // The bytes of a value up to the first zero; "(none)" when it does not exist.
  std::string GetText(const std::string& key, const std::string& name) const;

 private:
  TempFolder m_folder;
  std::string m_root;
};

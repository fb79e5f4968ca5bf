// UserRegistry: replaces HKEY_CURRENT_USER of this process while it lives; empty at first, so that the
// user's certificate stores and key containers are the test's own. Windows only.
#pragma once

#include "common/Platform.h"

#include <string>

class UserRegistry {
 public:
  UserRegistry() : m_root("Software\\telvo-tests\\user-" + std::to_string(GetCurrentProcessId())) {
    HKEY root = nullptr;
    RegCreateKeyExA(HKEY_CURRENT_USER, m_root.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &root, nullptr);
    RegOverridePredefKey(HKEY_CURRENT_USER, root);
    RegCloseKey(root);
  }
  ~UserRegistry() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegDeleteTreeA(HKEY_CURRENT_USER, m_root.c_str());
  }
  UserRegistry(const UserRegistry&) = delete;
  UserRegistry& operator=(const UserRegistry&) = delete;

 private:
  std::string m_root;
};

// LockedRegistry: while it lives, keys or values of the registry are refused with ERROR_ACCESS_DENIED, as for a user
// without read permission. The unit tests define RegOpenKeyA and RegQueryValueExA themselves; all other functions are
// the system's.
#pragma once

#include <functional>
#include <string>

class LockedRegistry {
 public:
  using IsLocked = std::function<bool(const std::string& name)>;
  // A key cannot be opened when `keys` returns true for it. A value cannot be read when `values` does.
  LockedRegistry(IsLocked keys, IsLocked values);
  ~LockedRegistry();
  LockedRegistry(const LockedRegistry&) = delete;
  LockedRegistry& operator=(const LockedRegistry&) = delete;
};

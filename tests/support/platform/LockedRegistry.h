// LockedRegistry: while it lives, keys or values of the registry are refused with ERROR_ACCESS_DENIED, as to a user
// whom the administrator lets read nothing. The unit tests define the two functions themselves; others are the system's
// own.
#pragma once

#include <functional>
#include <string>

class LockedRegistry {
 public:
  using IsLocked = std::function<bool(const std::string& name)>;
  // A key for which `keys` answers true cannot be opened, a value for which `values` does cannot be read.
  LockedRegistry(IsLocked keys, IsLocked values);
  ~LockedRegistry();
  LockedRegistry(const LockedRegistry&) = delete;
  LockedRegistry& operator=(const LockedRegistry&) = delete;
};

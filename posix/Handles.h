// What a HANDLE of the host build points to.
#pragma once

#include <windows.h>

// An object that can be waited for. CloseHandle calls Close, which frees the object if it was allocated.
class HostHandle {
 public:
  HostHandle(const HostHandle&) = delete;
  HostHandle& operator=(const HostHandle&) = delete;

  virtual DWORD Wait(DWORD milliseconds) = 0;
  virtual void Close() = 0;

 protected:
  constexpr HostHandle() = default;
  ~HostHandle() = default;
};

inline HostHandle* FromHandle(HANDLE handle) { return static_cast<HostHandle*>(handle); }
inline HANDLE ToHandle(HostHandle* object) { return object; }

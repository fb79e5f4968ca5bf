// OpenHandles: how many handles this process has open; on Linux, how many files. Wine does not count them. There, and
// on Windows, the system gives the lowest number that is free: so many handles are opened that no number below is left,
// and the highest of them tells.
#pragma once

#include "common/Platform.h"

#ifdef _WIN32

#include <algorithm>
#include <iterator>

inline long OpenHandles() {
  HANDLE taken[1000];
  ULONG_PTR highest = 0;
  for (HANDLE& handle : taken) {
    handle = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    highest = std::max(highest, reinterpret_cast<ULONG_PTR>(handle));
  }
  for (const HANDLE handle : taken) CloseHandle(handle);
  return static_cast<long>(highest / 4) - static_cast<long>(std::size(taken));
}

#else

#include <filesystem>
#include <iterator>

inline long OpenHandles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<long>(std::distance(begin(files), end(files)));
}

#endif

// OpenHandles: how many handles this process has open; on Linux, how many files. Wine does not count them: there, and
// on Windows, it is the number of the handle that comes next, because the system gives the lowest one that is free.
#pragma once

#include "common/Platform.h"

#ifdef _WIN32

inline long OpenHandles() {
  const HANDLE next = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  const auto number = static_cast<long>(reinterpret_cast<ULONG_PTR>(next) / 4);
  CloseHandle(next);
  return number;
}

#else

#include <filesystem>
#include <iterator>

inline long OpenHandles() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return static_cast<long>(std::distance(begin(files), end(files)));
}

#endif

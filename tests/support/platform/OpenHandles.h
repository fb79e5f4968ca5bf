// OpenHandles: the number of handles that this process has open; on Linux, of files. Wine does not count handles.
// Windows and Wine assign the lowest free number, so this opens enough handles to fill every gap and computes the count
// from the highest number.
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

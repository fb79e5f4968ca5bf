// Platform: the functions of the system that the provider calls. Each may be made to fail, by the number of the call.
// Only calls of a thread that is at work inside the provider count, and the waits of its watchers.
#pragma once

#include "common/Platform.h"

#include <string>
#include <vector>

class Platform {
 public:
  // Counts from now on, and keeps the names. The n-th call fails with that code, none with 0; with `fromThenOn` those
  // after it, too.
  static void Fail(int n, DWORD code, bool fromThenOn);
  // The functions that were called since, in their order.
  static std::vector<std::string> TakeCalls();

  // Whether the system had no pages for VirtualAlloc since: an allocation that failed, too.
  static bool LackedPages();

  // Counts a call. The code with which it is to fail; 0 when it is not. A watcher's call is one of its thread.
  static DWORD Refusal(const char* function, bool ofWatcher = false);
};

// Platform: the system functions that the provider calls. A call can be made to fail, by its number. Only calls of
// threads inside the provider and the waits of its watchers count.
#pragma once

#include "common/Platform.h"

#include <string>
#include <vector>

class Platform {
 public:
  // Starts counting calls and recording their names. The n-th call fails with `code`; with 0 none does. With
  // `fromThenOn` all later calls fail, too.
  static void Fail(int n, DWORD code, bool fromThenOn);
  // The functions called since then, in order.
  static std::vector<std::string> TakeCalls();

  // Whether VirtualAlloc has failed since then, which is a failed allocation, too.
  static bool LackedPages();

  // Counts a call. Returns the code with which it must fail, or 0. `ofWatcher`: the call comes from a watcher's thread.
  static DWORD Refusal(const char* function, bool ofWatcher = false);
};

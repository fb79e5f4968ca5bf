// The time of a clock some milliseconds from now, in the form that pthread waits take.
#pragma once

#include <windows.h>

#include <ctime>

inline timespec After(DWORD milliseconds, clockid_t clock) {
  timespec time = {};
  clock_gettime(clock, &time);
  time.tv_sec += static_cast<time_t>(milliseconds / 1000);
  time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
  if (time.tv_nsec >= 1000000000) {
    time.tv_nsec -= 1000000000;
    ++time.tv_sec;
  }
  return time;
}

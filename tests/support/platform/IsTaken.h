// IsTaken: whether somebody holds a mutex now. Nobody waits, so that a test needs no time limit.
#pragma once

#include <future>
#include <mutex>

// Another thread asks: a mutex may let its holder in twice.
template <typename Mutex>
bool IsTaken(Mutex& mutex) {
  return std::async(std::launch::async,
                    [&mutex] { return !std::unique_lock<Mutex>(mutex, std::try_to_lock).owns_lock(); })
      .get();
}

// IsTaken: whether a mutex is locked now. Nothing waits, so a test needs no time limit.
#pragma once

#include <future>
#include <mutex>

// Another thread tries the lock, because a mutex may let its owner lock it twice.
template <typename Mutex>
bool IsTaken(Mutex& mutex) {
  return std::async(std::launch::async,
                    [&mutex] { return !std::unique_lock<Mutex>(mutex, std::try_to_lock).owns_lock(); })
      .get();
}

#include "cryptoki/LoginLock.h"

#include "common/Platform.h"

#include <atomic>
#include <thread>
#include <utility>

namespace {

// Asking for the thread's id clears the last error on Windows, which a caller of the provider may be about to read.
std::thread::id ThisThread() {
  const DWORD lastError = GetLastError();
  const std::thread::id id = std::this_thread::get_id();
  SetLastError(lastError);
  return id;
}

struct State {
  std::mutex mutex;
  // The thread that holds the mutex, or the id of no thread. Other threads may read it at any time: what they see is
  // never their own id.
  std::atomic<std::thread::id> owner{std::thread::id()};
  unsigned holds = 0;  // how often the owner has taken the lock; under the mutex
};

State& TheState() {
  static State state;
  return state;
}

bool IsOwner() { return TheState().owner == ThisThread(); }

void Take(unsigned holds) {
  State& state = TheState();
  state.mutex.lock();
  state.owner = ThisThread();
  state.holds = holds;
}

void GiveBack() {
  State& state = TheState();
  state.owner = std::thread::id();
  state.mutex.unlock();
}

}  // namespace

std::mutex& LoginLock::Mutex() { return TheState().mutex; }

LoginLock::LoginLock() {
  if (IsOwner()) {
    ++TheState().holds;
  } else {
    Take(1);
  }
}

LoginLock::~LoginLock() {
  if (--TheState().holds == 0) GiveBack();
}

LoginLock::Pause::Pause() : m_holds(IsOwner() ? std::exchange(TheState().holds, 0) : 0) {
  if (m_holds != 0) GiveBack();
}

LoginLock::Pause::~Pause() {
  if (m_holds != 0) Take(m_holds);
}

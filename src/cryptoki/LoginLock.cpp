#include "cryptoki/LoginLock.h"

#include "common/Platform.h"

#include <atomic>
#include <utility>

namespace {

struct State {
  std::mutex mutex;
  // The thread that holds the mutex, or 0. A thread may read it without the mutex: it only compares the value with its
  // own id, and only the thread itself writes that.
  std::atomic<DWORD> owner{0};
  unsigned holds = 0;  // how often the owner has taken the lock; under the mutex
};

State& TheState() {
  static State state;
  return state;
}

bool IsOwner() { return TheState().owner == GetCurrentThreadId(); }

void Take(unsigned holds) {
  State& state = TheState();
  state.mutex.lock();
  state.owner = GetCurrentThreadId();
  state.holds = holds;
}

void GiveBack() {
  State& state = TheState();
  state.owner = 0;
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

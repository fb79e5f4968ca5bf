// Threads, events and waiting for them.
#include <cerrno>
#include <ctime>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <utility>

#include "Deadline.h"
#include "Handles.h"

namespace {

// One mutex guards the state of all events and threads. There are few of them, so a wait for several can be a wait for
// one condition. Both are constant-initialised, because static objects wait in their destructors.
std::mutex g_stateMutex;
pthread_cond_t g_stateChanged = PTHREAD_COND_INITIALIZER;

// A state that is set once: what a manual-reset event and a thread have in common.
class Signal {
 public:
  void Set() {
    const std::lock_guard<std::mutex> lock(g_stateMutex);
    m_set = true;
    pthread_cond_broadcast(&g_stateChanged);
  }
  bool IsSet() const { return m_set; }  // to be called under g_stateMutex

 private:
  bool m_set = false;
};

// The exception that ends a terminated thread. Code that catches everything may swallow it: the next sleep or wait of
// the thread throws it again. (pthread cancellation must not be swallowed, and acts in every call that may block.)
struct Terminated {};

// Set when the running thread must end. Null on a thread that CreateThread did not start.
thread_local const Signal* t_terminated = nullptr;

// Waits at most `milliseconds` for reached(), which is called under the lock, and returns whether it became true. This
// is the only place where a thread is terminated.
template <typename Reached>
bool WaitUntil(Reached reached, DWORD milliseconds) {
  const timespec end = After(milliseconds == INFINITE ? 0 : milliseconds, CLOCK_MONOTONIC);
  const std::lock_guard<std::mutex> lock(g_stateMutex);
  while (true) {
    if (t_terminated != nullptr && t_terminated->IsSet()) throw Terminated();
    if (reached()) return true;
    if (milliseconds == INFINITE) {
      pthread_cond_wait(&g_stateChanged, g_stateMutex.native_handle());
    } else if (pthread_cond_clockwait(&g_stateChanged, g_stateMutex.native_handle(), CLOCK_MONOTONIC, &end) ==
               ETIMEDOUT) {
      return reached();
    }
  }
}

class SignalledHandle : public HostHandle {
 public:
  virtual const Signal& GetSignal() const = 0;
  DWORD Wait(DWORD milliseconds) final {
    return WaitUntil([this] { return GetSignal().IsSet(); }, milliseconds) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
  }

 protected:
  ~SignalledHandle() = default;
};

class Event final : public SignalledHandle {
 public:
  const Signal& GetSignal() const override { return m_signal; }
  void Close() override { const std::unique_ptr<Event> owned(this); }
  void Set() { m_signal.Set(); }

 private:
  Signal m_signal;
};

class Thread final : public SignalledHandle {
 public:
  ~Thread() {
    if (m_started && !m_joined) pthread_detach(m_thread);
  }
  const Signal& GetSignal() const override { return m_state->ended; }
  void Close() override { const std::unique_ptr<Thread> owned(this); }

  bool Start(LPTHREAD_START_ROUTINE routine, LPVOID argument) {
    auto start = std::make_unique<StartRecord>(StartRecord{routine, argument, m_state});
    m_started = pthread_create(&m_thread, nullptr, &Run, start.get()) == 0;
    if (m_started) static_cast<void>(start.release());  // the thread owns it now
    return m_started;
  }

  void Terminate() {
    if (m_joined) return;
    m_state->terminated.Set();
    pthread_join(m_thread, nullptr);
    m_joined = true;
  }

 private:
  struct State {
    Signal terminated;
    Signal ended;
  };
  struct StartRecord {
    LPTHREAD_START_ROUTINE routine;
    LPVOID argument;
    std::shared_ptr<State> state;
  };
  struct SetAtEnd {
    Signal& signal;
    ~SetAtEnd() { signal.Set(); }
  };

  static void* Run(void* argument) {
    const std::unique_ptr<StartRecord> start(static_cast<StartRecord*>(argument));
    const SetAtEnd setAtEnd{start->state->ended};
    t_terminated = &start->state->terminated;
    try {
      start->routine(start->argument);
    } catch (const Terminated&) {
      // The thread ends here.
    }
    return nullptr;
  }

  std::shared_ptr<State> m_state = std::make_shared<State>();
  pthread_t m_thread = {};
  bool m_started = false;
  bool m_joined = false;
};

}  // namespace

HANDLE CreateThread(void*, SIZE_T, LPTHREAD_START_ROUTINE routine, LPVOID argument, DWORD, LPDWORD) {
  auto thread = std::make_unique<Thread>();
  return thread->Start(routine, argument) ? ToHandle(thread.release()) : nullptr;
}

BOOL TerminateThread(HANDLE thread, DWORD) {
  static_cast<Thread*>(FromHandle(thread))->Terminate();
  return TRUE;
}

void Sleep(DWORD milliseconds) {
  WaitUntil([] { return false; }, milliseconds);
}

HANDLE CreateEventA(void*, BOOL, BOOL, LPCSTR) { return ToHandle(std::make_unique<Event>().release()); }

BOOL SetEvent(HANDLE event) {
  if (event == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  static_cast<Event*>(FromHandle(event))->Set();
  return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) { return FromHandle(handle)->Wait(milliseconds); }

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL, DWORD milliseconds) {
  DWORD reached = 0;
  const auto anySet = [&] {
    for (reached = 0; reached < count; ++reached) {
      if (static_cast<SignalledHandle*>(FromHandle(handles[reached]))->GetSignal().IsSet()) return true;
    }
    return false;
  };
  return WaitUntil(anySet, milliseconds) ? WAIT_OBJECT_0 + reached : WAIT_TIMEOUT;
}

BOOL CloseHandle(HANDLE handle) {
  FromHandle(handle)->Close();
  return TRUE;
}

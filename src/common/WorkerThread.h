// WorkerThread: a thread that can be ended while the library is unloaded.
//
// The system holds the loader's lock while it unloads the library or ends the process. A thread needs that lock to end,
// so nobody can wait for its end there. Terminating it while it runs or waits for a lock may leave a lock taken
// forever. So a thread that is done with its work signals that and then sleeps, without any lock, until it is
// terminated.
#pragma once

#include "common/Platform.h"

#include <functional>

class WorkerThread {
 public:
  // Starts a thread of normal priority and default stack size that runs `work`. When it cannot be started nothing is
  // reported. An exception ends the work like a return.
  explicit WorkerThread(std::function<unsigned()> work);
  // Does not end the thread: it must be terminated before.
  ~WorkerThread();
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  // Waits until the work is done or the thread has ended, at most `milliseconds`. At the end of a process the system
  // has already ended its threads.
  void WaitUntilDone(DWORD milliseconds) const;
  void Terminate();

 private:
  static DWORD WINAPI Run(LPVOID worker);

  std::function<unsigned()> m_work;
  HANDLE m_done;    // event
  HANDLE m_thread;  // null when it could not be started
};

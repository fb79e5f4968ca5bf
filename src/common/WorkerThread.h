// WorkerThread: a thread that the unloading of the library can put an end to.
//
// The library is unloaded, and the process ended, under the loader's lock. A thread that ends needs that lock, so it
// cannot be waited for by its handle there, and killing it while it runs or queues for the lock may leave some lock
// taken for good. So the thread, when its work is done, says so and sleeps, holding nothing, until it is terminated.
#pragma once

#include "common/Platform.h"

#include <functional>

class WorkerThread {
 public:
  // Starts a thread of normal priority and default stack size that runs `work`. That it cannot be started is not
  // reported. An exception ends the work as if it were done.
  explicit WorkerThread(std::function<unsigned()> work);
  // Leaves the thread itself alone; it must be terminated by then.
  ~WorkerThread();
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  // Waits until the work is done, or the thread is dead, as all are when the process ends; `milliseconds` at most.
  void WaitUntilDone(DWORD milliseconds) const;
  void Terminate();

 private:
  static DWORD WINAPI Run(LPVOID worker);

  std::function<unsigned()> m_work;
  HANDLE m_done;    // event
  HANDLE m_thread;  // null when it could not be started
};

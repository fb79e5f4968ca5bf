#include "common/WorkerThread.h"

#include <utility>

WorkerThread::WorkerThread(std::function<unsigned()> work)
    : m_work(std::move(work)),
      m_done(CreateEventA(nullptr, TRUE, FALSE, nullptr)),
      m_thread(CreateThread(nullptr, 0, &WorkerThread::Run, this, 0, nullptr)) {}

WorkerThread::~WorkerThread() {
  if (m_thread != nullptr) CloseHandle(m_thread);
  if (m_done != nullptr) CloseHandle(m_done);
}

DWORD WINAPI WorkerThread::Run(LPVOID worker) {
  auto* const self = static_cast<WorkerThread*>(worker);
  unsigned result = 0;
  try {
    result = self->m_work();
  } catch (...) {
    // The work is over, but the program that loaded the provider goes on. Everything is caught, because the provider's
    // own exceptions do not derive from std::exception.
  }
  SetEvent(self->m_done);
  Sleep(INFINITE);
  return result;
}

void WorkerThread::WaitUntilDone(DWORD milliseconds) const {
  if (m_thread == nullptr) return;
  const HANDLE either[] = {m_thread, m_done};
  WaitForMultipleObjects(m_done == nullptr ? 1 : 2, either, FALSE, milliseconds);
}

void WorkerThread::Terminate() {
  if (m_thread != nullptr) TerminateThread(m_thread, 0);
}

#include "log/LogTurn.h"

namespace {

constexpr DWORD kLongestWait = 100;  // milliseconds

}  // namespace

LogTurn::LogTurn() : m_mutex(CreateMutexA(nullptr, FALSE, "telvocsp-log")), m_taken(false) {
  if (m_mutex == nullptr) return;
  const DWORD result = WaitForSingleObject(m_mutex, kLongestWait);
  m_taken = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

LogTurn::~LogTurn() {
  if (m_taken) ReleaseMutex(m_mutex);
  if (m_mutex != nullptr) CloseHandle(m_mutex);
}

#include "context/UnplugThreadManager.h"

#include "log/Logs.h"

namespace {

bool SystemNeedsPolling() {
  OSVERSIONINFOA version = {};
  static_assert(sizeof(version) == 148, "the short form");
  version.dwOSVersionInfoSize = sizeof(version);
  const BOOL known = GetVersionExA(&version);
  return NeedsPolling(known, version);
}

}  // namespace

bool NeedsPolling(BOOL known, const OSVERSIONINFOA& version) {
  return known == FALSE || (version.dwMajorVersion == 5 && version.dwMinorVersion == 2);
}

UnplugThreadManager::UnplugThreadManager() : UnplugThreadManager(SystemNeedsPolling()) {}

UnplugThreadManager::UnplugThreadManager(bool polling) : m_context(0), m_polling(polling ? 1 : 0) {
  if (m_polling == 0) SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &m_context);
}

UnplugThreadManager::~UnplugThreadManager() {
  g_contextLog.WriteLine("\n~UnplugThreadManager()");
  if (m_context == 0) return;
  for (const std::unique_ptr<UnplugThread>& thread : m_threads) {
    thread->AskToStop();
    SCardCancel(m_context);
    // Required: once for each thread, although there is one context. All but the first fail.
    SCardReleaseContext(m_context);
  }
  // Else each load and unload of the library would leave a context with the service.
  if (m_threads.empty()) SCardReleaseContext(m_context);
  m_threads.clear();
}

void UnplugThreadManager::AddUnplugThread(const std::string& readerName, DWORD slotId,
                                          const boost::shared_ptr<CryptokiInterface>& cryptoki) {
  g_contextLog.WriteLine("\nAddUnplugThread ");
  if (m_context == 0) return;
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (IsWatched(readerName)) {
    g_contextLog.WriteLine("\nA thread for this reader is already running");
    return;
  }
  g_contextLog.WriteLine("\nRunning new thread");
  auto thread = std::make_unique<UnplugThread>(readerName, slotId, cryptoki, m_context);
  thread->Start(m_polling != 0 ? &UnplugThread::PollSlots : &UnplugThread::WatchReader);
  m_threads.push_back(std::move(thread));
}

bool UnplugThreadManager::IsWatched(const std::string& readerName) const {
  for (const std::unique_ptr<UnplugThread>& thread : m_threads) {
    g_contextLog.WriteLine("\nAddUnplugThread Loop ");
    if (thread->GetReaderName() == readerName) return true;
  }
  return false;
}

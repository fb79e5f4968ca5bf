// UnplugThreadManager: keeps one UnplugThread for each reader that a context was bound to, as long as the library is
// loaded. One instance serves the process.
//
// Nothing here reports a failure. Without PC/SC no reader is watched, and a PIN stays cached until the process ends or
// the token refuses it.
#pragma once

#include <boost/shared_ptr.hpp>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "common/SmartCard.h"
#include "context/UnplugThread.h"

// Whether a system of this version has no PC/SC that can be waited for: version 5.2, or an unknown one. `known` is the
// result of GetVersionExA.
bool NeedsPolling(BOOL known, const OSVERSIONINFOA& version);

class UnplugThreadManager {
 public:
  // Asks the system for its version and, unless it needs polling, PC/SC for the one context of all threads.
  UnplugThreadManager();
  explicit UnplugThreadManager(bool polling);
  // Asks all threads to stop. Then each gets half a second, and is terminated.
  ~UnplugThreadManager();
  UnplugThreadManager(const UnplugThreadManager&) = delete;
  UnplugThreadManager& operator=(const UnplugThreadManager&) = delete;

  // Starts watching a reader that is not watched yet. Without a PC/SC context nothing is started. May be called from
  // several threads.
  void AddUnplugThread(const std::string& readerName, DWORD slotId,
                       const boost::shared_ptr<CryptokiInterface>& cryptoki);

 private:
  bool IsWatched(const std::string& readerName) const;

  std::list<std::unique_ptr<UnplugThread>> m_threads;  // in order of creation
  SCARDCONTEXT m_context;                              // 0 when none was established
  DWORD m_polling;
  // Guards m_threads. The destructor does not lock it: a thread that was killed at the end of the process may hold it.
  std::mutex m_mutex;
};

// Defined in entry/ProcessObjects.cpp.
extern UnplugThreadManager g_unplugThreadManager;

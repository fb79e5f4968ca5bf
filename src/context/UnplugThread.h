// UnplugThread: waits for the card to leave one reader and then clears the reader's PIN cache. It does nothing else:
// the next module call finds out that a session's card is gone.
#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <memory>
#include <optional>
#include <string>

#include "common/SmartCard.h"
#include "common/WorkerThread.h"
#include "cryptoki/CryptokiInterface.h"

class UnplugThread {
 public:
  // `readerName` is the name of the PC/SC reader. `context` stays the caller's. `slotId` has no effect. Nothing runs
  // before Start.
  UnplugThread(std::string readerName, DWORD slotId, boost::shared_ptr<CryptokiInterface> cryptoki,
               SCARDCONTEXT context);
  // Waits half a second for a thread that was asked to stop, and then terminates it.
  virtual ~UnplugThread();
  UnplugThread(const UnplugThread&) = delete;
  UnplugThread& operator=(const UnplugThread&) = delete;

  const std::string& GetReaderName() const { return m_readerName; }

  // Runs one of the two bodies on its own thread. A failure to start it is ignored.
  using Body = unsigned (UnplugThread::*)();
  void Start(Body body);
  // The body ends at its next check. The caller must also cancel a wait in PC/SC.
  void AskToStop() { m_running = 0; }

  // The body that waits in PC/SC: it sleeps until something changes in the reader. Returns 0 once the thread is asked
  // to stop, and NTE_INVALID_HANDLE at once without a context.
  unsigned WatchReader();
  // The body for systems without a wait in PC/SC: asks the module for its slots over and over, without a pause. Returns
  // 0 once the thread is asked to stop.
  unsigned PollSlots();

 private:
  void ClearPINCache() const;
  std::optional<bool> IsTokenInReader(CK_ULONG count) const;
  bool IsOwnSlot(CK_SLOT_ID slot) const;

  std::string m_readerName;
  // Required: the field stays, though nothing reads it: both bodies find their reader by its name.
  [[maybe_unused]] DWORD m_slotId;
  std::unique_ptr<WorkerThread> m_thread;
  boost::shared_ptr<CryptokiInterface> m_cryptoki;
  SCARDCONTEXT m_context;
  std::atomic<DWORD> m_running;
};

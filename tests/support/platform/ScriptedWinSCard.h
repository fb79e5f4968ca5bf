// ScriptedWinSCard: PC/SC for unit tests. The unit tests define the SCard... functions of winscard.h themselves, and
// the current instance decides what they do. Without one there is no service, so the process-wide watcher manager
// starts nothing.
//
//   ScriptedWinSCard pcsc;
//   pcsc.InsertCard("TELVO Reader A");
//   ... what is tested waits on the reader ...
//   pcsc.RemoveCard("TELVO Reader A");
//   EXPECT_TRUE(pcsc.AwaitWaits("TELVO Reader A", 1));
//
// A wait behaves as in PC/SC: it returns when the card's presence differs from dwCurrentState. Calls may come from
// several threads. A waiting thread must have returned, or be dead, before the instance is destroyed.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "common/SmartCard.h"

class ScriptedWinSCard {
 public:
  ScriptedWinSCard();
  ~ScriptedWinSCard();
  ScriptedWinSCard(const ScriptedWinSCard&) = delete;
  ScriptedWinSCard& operator=(const ScriptedWinSCard&) = delete;

  // --- Setup

  // Adds a reader after the existing ones. Readers are listed in that order.
  void AddReader(const std::string& reader);
  // Adds the reader if it does not exist.
  void InsertCard(const std::string& reader);
  void RemoveCard(const std::string& reader);

  // --- Orders

  // The next call of a function returns `result` and does nothing: FailNext("SCardListReadersA", ...).
  void FailNext(const std::string& function, DWORD result);
  // The next wait on the reader runs `action` and at once returns `result` with this event state. Orders queue up.
  void AnswerNextWait(const std::string& reader, DWORD result, DWORD eventState, std::function<void()> action = {});
  // Runs before each call. A code other than 0 becomes the call's result.
  std::function<DWORD(const std::string& function)> refuse;
  // Waits on the reader last the given time and then fail. Cancelling does not end them earlier.
  void IgnoreCancelOn(const std::string& reader, DWORD milliseconds);

  // --- What happened

  // The calls since the last take: "SCardEstablishContext(0)", "SCardListReadersA(1)",
  // "SCardGetStatusChangeA(1, INFINITE, TELVO Reader A 00000020)". Contexts count up from 1. Groups of readers follow
  // the context when there are any: "SCardListReadersA(1, SCard$DefaultReaders)".
  std::vector<std::string> TakeCalls();
  // The same without the waits.
  std::vector<std::string> TakeCallsButWaits();
  // Waits, for some seconds at most, until `count` waits on the reader have begun in total and one of them is
  // blocked. Returns false if that does not happen.
  bool AwaitWaits(const std::string& reader, int count);
  // How many waits on the reader have begun, and how many have ended.
  int WaitsBegun(const std::string& reader);
  int WaitsOver(const std::string& reader);

  // --- The functions of winscard.h

  LONG EstablishContext(DWORD scope, SCARDCONTEXT* context);
  LONG ReleaseContext(SCARDCONTEXT context);
  LONG ListReaders(SCARDCONTEXT context, LPCSTR groups, LPSTR readers, LPDWORD length);
  LONG FreeMemory(SCARDCONTEXT context, const void* memory);
  LONG GetStatusChange(SCARDCONTEXT context, DWORD timeout, SCARD_READERSTATEA* states, DWORD count);
  LONG Cancel(SCARDCONTEXT context);

 private:
  struct Answer {
    DWORD result;
    DWORD eventState;
    std::function<void()> action;
  };
  struct Reader {
    std::string name;
    bool there = false;  // an order may name a reader that does not exist
    bool hasCard = false;
    DWORD deafFor = 0;  // milliseconds
    std::deque<Answer> answers;
    int begun = 0;
    int idle = 0;
    int over = 0;
  };
  using Lock = std::unique_lock<std::mutex>;

  Reader& FindReader(const std::string& name);
  // Records the call and returns the result ordered for it, or SCARD_S_SUCCESS.
  DWORD Announce(const std::string& function, const std::string& arguments);
  DWORD Wait(Lock& lock, SCARDCONTEXT context, DWORD timeout, SCARD_READERSTATEA& state);

  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::deque<Reader> m_readers;  // keeps references valid
  std::set<SCARDCONTEXT> m_contexts;
  std::map<SCARDCONTEXT, int> m_cancellings;
  std::deque<std::vector<char>> m_memory;
  std::map<std::string, std::deque<DWORD>> m_orders;
  std::vector<std::string> m_calls;
  SCARDCONTEXT m_nextContext = 1;
};

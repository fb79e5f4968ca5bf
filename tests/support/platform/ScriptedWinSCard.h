// ScriptedWinSCard: PC/SC for unit tests. The unit tests define the SCard... functions of winscard.h themselves, and
// the instance that lives decides what they do; without one there is no service, so that the process-wide manager of
// the watchers starts nothing.
//
//   ScriptedWinSCard pcsc;
//   pcsc.InsertCard("TELVO Reader A");
//   ... what is tested waits on the reader ...
//   pcsc.RemoveCard("TELVO Reader A");
//   EXPECT_TRUE(pcsc.AwaitWaits("TELVO Reader A", 1));
//
// A wait behaves as in PC/SC: it returns when the card's presence is another than in dwCurrentState. Calls may come
// from several threads. A thread that waits must have come back, or be dead, before the instance goes.
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

  // --- The stage

  // Adds a reader, behind those that are there. Readers are listed in that order.
  void AddReader(const std::string& reader);
  // A reader that is not there yet is added.
  void InsertCard(const std::string& reader);
  void RemoveCard(const std::string& reader);

  // --- Orders

  // The next call of a function answers `result` and does nothing: FailNext("SCardListReadersA", ...).
  void FailNext(const std::string& function, DWORD result);
  // The next wait on the reader runs `action` and returns `result` with this event state, at once. Orders queue up.
  void AnswerNextWait(const std::string& reader, DWORD result, DWORD eventState, std::function<void()> action = {});
  // Asked before each call: another code than 0 is the answer.
  std::function<DWORD(const std::string& function)> refuse;
  // Waits on the reader last the given time and then fail, whatever comes; no cancelling ends them.
  void IgnoreCancelOn(const std::string& reader, DWORD milliseconds);

  // --- What happened

  // The calls since the last take: "SCardEstablishContext(0)", "SCardListReadersA(1)",
  // "SCardGetStatusChangeA(1, INFINITE, TELVO Reader A 00000020)". Contexts count up from 1. Groups of readers follow
  // the context when there are any: "SCardListReadersA(1, SCard$DefaultReaders)".
  std::vector<std::string> TakeCalls();
  // The same without the waits.
  std::vector<std::string> TakeCallsButWaits();
  // Waits, for some seconds at most, until `count` waits on the reader have begun altogether, and the last of them
  // finds nothing to return for; false when it does not come to that.
  bool AwaitWaits(const std::string& reader, int count);
  // The waits on the reader that have begun and those that are over.
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
    bool there = false;  // orders may speak of a reader that is not
    bool hasCard = false;
    DWORD deafFor = 0;  // milliseconds
    std::deque<Answer> answers;
    int begun = 0;
    int idle = 0;
    int over = 0;
  };
  using Lock = std::unique_lock<std::mutex>;

  Reader& FindReader(const std::string& name);
  // Writes the call down and returns what was ordered for it, or SCARD_S_SUCCESS.
  DWORD Announce(const std::string& function, const std::string& arguments);
  DWORD Wait(Lock& lock, SCARDCONTEXT context, DWORD timeout, SCARD_READERSTATEA& state);

  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::deque<Reader> m_readers;  // references stay good
  std::set<SCARDCONTEXT> m_contexts;
  std::map<SCARDCONTEXT, int> m_cancellings;
  std::deque<std::vector<char>> m_memory;
  std::map<std::string, std::deque<DWORD>> m_orders;
  std::vector<std::string> m_calls;
  SCARDCONTEXT m_nextContext = 1;
};

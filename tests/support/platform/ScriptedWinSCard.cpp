#include "platform/ScriptedWinSCard.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr std::chrono::seconds kPatience(10);

std::atomic<ScriptedWinSCard*> g_scriptedWinSCard{nullptr};

// Runs `body` on the current instance; without one there is no service. A C function must not throw.
template <typename Body>
LONG WithScripted(Body body) {
  ScriptedWinSCard* const scripted = g_scriptedWinSCard;
  if (scripted == nullptr) return static_cast<LONG>(SCARD_E_NO_SERVICE);
  try {
    return body(*scripted);
  } catch (const std::bad_alloc&) {
    return static_cast<LONG>(SCARD_E_NO_MEMORY);
  }
}

std::string Hex(DWORD value) {
  char text[9] = {};
  std::snprintf(text, sizeof(text), "%08X", static_cast<unsigned>(value));
  return text;
}

std::string TimeoutText(DWORD timeout) { return timeout == INFINITE ? "INFINITE" : std::to_string(timeout); }

}  // namespace

ScriptedWinSCard::ScriptedWinSCard() { g_scriptedWinSCard = this; }

ScriptedWinSCard::~ScriptedWinSCard() { g_scriptedWinSCard = nullptr; }

ScriptedWinSCard::Reader& ScriptedWinSCard::FindReader(const std::string& name) {
  for (Reader& reader : m_readers) {
    if (reader.name == name) return reader;
  }
  m_readers.emplace_back();
  m_readers.back().name = name;
  return m_readers.back();
}

void ScriptedWinSCard::AddReader(const std::string& reader) {
  const Lock lock(m_mutex);
  FindReader(reader).there = true;
}

void ScriptedWinSCard::InsertCard(const std::string& reader) {
  const Lock lock(m_mutex);
  FindReader(reader).there = true;
  FindReader(reader).hasCard = true;
  m_changed.notify_all();
}

void ScriptedWinSCard::RemoveCard(const std::string& reader) {
  const Lock lock(m_mutex);
  FindReader(reader).hasCard = false;
  m_changed.notify_all();
}

void ScriptedWinSCard::FailNext(const std::string& function, DWORD result) {
  const Lock lock(m_mutex);
  m_orders[function].push_back(result);
}

void ScriptedWinSCard::AnswerNextWait(const std::string& reader, DWORD result, DWORD eventState,
                                      std::function<void()> action) {
  const Lock lock(m_mutex);
  FindReader(reader).answers.push_back({result, eventState, std::move(action)});
  m_changed.notify_all();
}

void ScriptedWinSCard::IgnoreCancelOn(const std::string& reader, DWORD milliseconds) {
  const Lock lock(m_mutex);
  FindReader(reader).deafFor = milliseconds;
}

std::vector<std::string> ScriptedWinSCard::TakeCalls() {
  const Lock lock(m_mutex);
  return std::exchange(m_calls, {});
}

std::vector<std::string> ScriptedWinSCard::TakeCallsButWaits() {
  std::vector<std::string> calls = TakeCalls();
  const auto isWait = [](const std::string& call) { return call.rfind("SCardGetStatusChangeA", 0) == 0; };
  calls.erase(std::remove_if(calls.begin(), calls.end(), isWait), calls.end());
  return calls;
}

bool ScriptedWinSCard::AwaitWaits(const std::string& reader, int count) {
  Lock lock(m_mutex);
  Reader& awaited = FindReader(reader);
  return m_changed.wait_for(lock, kPatience, [&] { return awaited.begun >= count && awaited.idle > 0; });
}

int ScriptedWinSCard::WaitsBegun(const std::string& reader) {
  const Lock lock(m_mutex);
  return FindReader(reader).begun;
}

int ScriptedWinSCard::WaitsOver(const std::string& reader) {
  const Lock lock(m_mutex);
  return FindReader(reader).over;
}

DWORD ScriptedWinSCard::Announce(const std::string& function, const std::string& arguments) {
  m_calls.push_back(function + "(" + arguments + ")");
  if (refuse) {
    const DWORD refused = refuse(function);
    if (refused != 0) return refused;
  }
  std::deque<DWORD>& orders = m_orders[function];
  if (orders.empty()) return static_cast<DWORD>(SCARD_S_SUCCESS);
  const DWORD result = orders.front();
  orders.pop_front();
  return result;
}

LONG ScriptedWinSCard::EstablishContext(DWORD scope, SCARDCONTEXT* context) {
  const Lock lock(m_mutex);
  const DWORD ordered = Announce("SCardEstablishContext", std::to_string(scope));
  if (ordered != 0) return static_cast<LONG>(ordered);
  *context = m_nextContext++;
  m_contexts.insert(*context);
  return SCARD_S_SUCCESS;
}

LONG ScriptedWinSCard::ReleaseContext(SCARDCONTEXT context) {
  const Lock lock(m_mutex);
  const DWORD ordered = Announce("SCardReleaseContext", std::to_string(context));
  if (ordered != 0) return static_cast<LONG>(ordered);
  if (m_contexts.erase(context) == 0) return static_cast<LONG>(SCARD_E_INVALID_HANDLE);
  ++m_cancellings[context];
  m_changed.notify_all();
  return SCARD_S_SUCCESS;
}

LONG ScriptedWinSCard::ListReaders(SCARDCONTEXT context, LPCSTR groups, LPSTR readers, LPDWORD length) {
  const Lock lock(m_mutex);
  const std::string ofGroups = groups != nullptr ? std::string(", ") + groups : "";
  const DWORD ordered = Announce("SCardListReadersA", std::to_string(context) + ofGroups);
  if (ordered != 0) return static_cast<LONG>(ordered);
  if (m_contexts.count(context) == 0) return static_cast<LONG>(SCARD_E_INVALID_HANDLE);
  std::string names;
  for (const Reader& reader : m_readers) {
    if (reader.there) names += reader.name + '\0';
  }
  if (names.empty()) return static_cast<LONG>(SCARD_E_NO_READERS_AVAILABLE);
  names += '\0';

  const DWORD room = std::exchange(*length, static_cast<DWORD>(names.size()));
  if (readers == nullptr) return SCARD_S_SUCCESS;
  if (room == SCARD_AUTOALLOCATE) {
    m_memory.emplace_back(names.begin(), names.end());
    char* const memory = m_memory.back().data();
    std::memcpy(readers, &memory, sizeof(memory));
    return SCARD_S_SUCCESS;
  }
  if (room < names.size()) return static_cast<LONG>(SCARD_E_INSUFFICIENT_BUFFER);
  std::memcpy(readers, names.data(), names.size());
  return SCARD_S_SUCCESS;
}

LONG ScriptedWinSCard::FreeMemory(SCARDCONTEXT context, const void* memory) {
  const Lock lock(m_mutex);
  const DWORD ordered = Announce("SCardFreeMemory", std::to_string(context));
  if (ordered != 0) return static_cast<LONG>(ordered);
  const auto found = std::find_if(m_memory.begin(), m_memory.end(),
                                  [memory](const std::vector<char>& block) { return block.data() == memory; });
  if (found == m_memory.end()) return static_cast<LONG>(SCARD_E_INVALID_PARAMETER);
  std::vector<char>().swap(*found);  // the others stay where they are
  return SCARD_S_SUCCESS;
}

LONG ScriptedWinSCard::Cancel(SCARDCONTEXT context) {
  const Lock lock(m_mutex);
  const DWORD ordered = Announce("SCardCancel", std::to_string(context));
  if (ordered != 0) return static_cast<LONG>(ordered);
  if (m_contexts.count(context) == 0) return static_cast<LONG>(SCARD_E_INVALID_HANDLE);
  ++m_cancellings[context];
  m_changed.notify_all();
  return SCARD_S_SUCCESS;
}

LONG ScriptedWinSCard::GetStatusChange(SCARDCONTEXT context, DWORD timeout, SCARD_READERSTATEA* states, DWORD count) {
  Lock lock(m_mutex);
  std::string arguments = std::to_string(context) + ", " + TimeoutText(timeout);
  for (DWORD i = 0; i < count; ++i) {
    arguments += std::string(", ") + states[i].szReader + " " + Hex(states[i].dwCurrentState);
  }
  const DWORD ordered = Announce("SCardGetStatusChangeA", arguments);
  if (ordered != 0) return static_cast<LONG>(ordered);
  if (count != 1) return static_cast<LONG>(SCARD_E_INVALID_PARAMETER);  // no test needs another count

  Reader& reader = FindReader(states->szReader);
  ++reader.begun;
  if (const DWORD deafFor = reader.deafFor) {
    lock.unlock();  // the thread may be killed here
    Sleep(deafFor);
    lock.lock();
    ++reader.over;
    return static_cast<LONG>(SCARD_E_CANCELLED);
  }
  const DWORD result = Wait(lock, context, timeout, *states);
  ++reader.over;
  return static_cast<LONG>(result);
}

DWORD ScriptedWinSCard::Wait(Lock& lock, SCARDCONTEXT context, DWORD timeout, SCARD_READERSTATEA& state) {
  Reader& reader = FindReader(state.szReader);
  const int cancellings = m_cancellings[context];
  const auto cancelled = [&] { return m_cancellings[context] != cancellings; };
  const auto changed = [&] {
    return reader.there && reader.hasCard != ((state.dwCurrentState & SCARD_STATE_PRESENT) != 0);
  };
  const auto isOver = [&] { return cancelled() || !reader.answers.empty() || changed(); };
  if (m_contexts.count(context) == 0) return static_cast<DWORD>(SCARD_E_INVALID_HANDLE);
  if (!reader.there && reader.answers.empty()) return static_cast<DWORD>(SCARD_E_UNKNOWN_READER);

  ++reader.idle;
  m_changed.notify_all();
  bool over = true;
  if (timeout == INFINITE) {
    m_changed.wait(lock, isOver);
  } else {
    over = m_changed.wait_for(lock, std::chrono::milliseconds(timeout), isOver);
  }
  --reader.idle;
  if (!over) return static_cast<DWORD>(SCARD_E_TIMEOUT);
  if (cancelled()) return static_cast<DWORD>(SCARD_E_CANCELLED);
  if (!reader.answers.empty()) {
    const Answer answer = reader.answers.front();
    reader.answers.pop_front();
    if (answer.action) answer.action();
    state.dwEventState = answer.eventState;
    return answer.result;
  }
  state.dwEventState = SCARD_STATE_CHANGED | (reader.hasCard ? SCARD_STATE_PRESENT : SCARD_STATE_EMPTY);
  return static_cast<DWORD>(SCARD_S_SUCCESS);
}

// The functions themselves, in place of the system's.

LONG WINAPI SCardEstablishContext(DWORD scope, LPCVOID, LPCVOID, LPSCARDCONTEXT context) {
  *context = 0;
  return WithScripted([&](ScriptedWinSCard& scripted) { return scripted.EstablishContext(scope, context); });
}

LONG WINAPI SCardReleaseContext(SCARDCONTEXT context) {
  return WithScripted([&](ScriptedWinSCard& scripted) { return scripted.ReleaseContext(context); });
}

LONG WINAPI SCardListReadersA(SCARDCONTEXT context, LPCSTR groups, LPSTR readers, LPDWORD length) {
  return WithScripted(
      [&](ScriptedWinSCard& scripted) { return scripted.ListReaders(context, groups, readers, length); });
}

LONG WINAPI SCardFreeMemory(SCARDCONTEXT context, LPCVOID memory) {
  return WithScripted([&](ScriptedWinSCard& scripted) { return scripted.FreeMemory(context, memory); });
}

LONG WINAPI SCardGetStatusChangeA(SCARDCONTEXT context, DWORD timeout, LPSCARD_READERSTATEA states, DWORD count) {
  return WithScripted(
      [&](ScriptedWinSCard& scripted) { return scripted.GetStatusChange(context, timeout, states, count); });
}

LONG WINAPI SCardCancel(SCARDCONTEXT context) {
  return WithScripted([&](ScriptedWinSCard& scripted) { return scripted.Cancel(context); });
}

#include "PcscLite.h"

#include <PCSC/winscard.h>
#include <algorithm>
#include <chrono>
#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace pcsclite {
namespace {

using Clock = std::chrono::steady_clock;

// The polling interval of a wait. The service itself polls its readers every 400 ms.
constexpr std::chrono::milliseconds kPause(50);

// libpcsclite's header defines both with the width of its own DWORD.
constexpr std::uint32_t kAutoAllocate = 0xFFFFFFFF;
constexpr std::uint32_t kInfinite = 0xFFFFFFFF;

struct Context {
  SCARDCONTEXT context = 0;
  std::uint32_t cancellings = 0;              // a wait ends when this has changed
  std::list<std::unique_ptr<char[]>> memory;  // handed out by ListReaders
};

// Guards the contexts, their contents, and every call of libpcsclite. It is held only briefly.
std::mutex g_mutex;
std::uint64_t g_nextContext = 0x1000;

// Created at the first use, which may be before main. Destroyed after the static objects whose constructors used it.
std::map<std::uint64_t, std::shared_ptr<Context>>& Contexts() {
  static std::map<std::uint64_t, std::shared_ptr<Context>> contexts;
  return contexts;
}

// To be called under g_mutex. Null for an unknown context.
std::shared_ptr<Context> Find(std::uint64_t context) {
  const auto found = Contexts().find(context);
  return found == Contexts().end() ? nullptr : found->second;
}

std::vector<SCARD_READERSTATE> ToPcscLite(const ReaderState* readers, std::uint32_t count) {
  std::vector<SCARD_READERSTATE> states(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    states[i].szReader = readers[i].reader;
    states[i].dwCurrentState = readers[i].currentState;
  }
  return states;
}

void FromPcscLite(const std::vector<SCARD_READERSTATE>& states, ReaderState* readers) {
  for (const SCARD_READERSTATE& state : states) {
    ReaderState& reader = *readers++;
    reader.eventState = static_cast<std::uint32_t>(state.dwEventState);
    reader.atrLength = static_cast<std::uint32_t>(std::min<DWORD>(state.cbAtr, sizeof(state.rgbAtr)));
    std::memcpy(reader.atr, state.rgbAtr, reader.atrLength);
  }
}

}  // namespace

std::int32_t EstablishContext(std::uint64_t* context) {
  const std::lock_guard<std::mutex> lock(g_mutex);
  auto established = std::make_shared<Context>();
  const LONG result = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &established->context);
  if (result != SCARD_S_SUCCESS) return static_cast<std::int32_t>(result);
  *context = g_nextContext++;
  Contexts()[*context] = std::move(established);
  return SCARD_S_SUCCESS;
}

std::int32_t ReleaseContext(std::uint64_t context) {
  const std::lock_guard<std::mutex> lock(g_mutex);
  const std::shared_ptr<Context> found = Find(context);
  if (!found) return static_cast<std::int32_t>(SCARD_E_INVALID_HANDLE);
  ++found->cancellings;
  Contexts().erase(context);
  return static_cast<std::int32_t>(SCardReleaseContext(found->context));
}

std::int32_t ListReaders(std::uint64_t context, char* readers, std::uint32_t* length) {
  const std::lock_guard<std::mutex> lock(g_mutex);
  const std::shared_ptr<Context> found = Find(context);
  if (!found) return static_cast<std::int32_t>(SCARD_E_INVALID_HANDLE);
  DWORD needed = 0;
  LONG result = SCardListReaders(found->context, nullptr, nullptr, &needed);
  if (result != SCARD_S_SUCCESS) return static_cast<std::int32_t>(result);
  auto names = std::make_unique<char[]>(needed);
  result = SCardListReaders(found->context, nullptr, names.get(), &needed);
  if (result != SCARD_S_SUCCESS) return static_cast<std::int32_t>(result);

  const std::uint32_t room = std::exchange(*length, static_cast<std::uint32_t>(needed));
  if (readers == nullptr) return SCARD_S_SUCCESS;
  if (room == kAutoAllocate) {
    char* const handedOut = names.get();
    std::memcpy(readers, &handedOut, sizeof(handedOut));
    found->memory.push_back(std::move(names));
    return SCARD_S_SUCCESS;
  }
  if (room < needed) return static_cast<std::int32_t>(SCARD_E_INSUFFICIENT_BUFFER);
  std::memcpy(readers, names.get(), needed);
  return SCARD_S_SUCCESS;
}

std::int32_t FreeMemory(std::uint64_t context, const void* memory) {
  const std::lock_guard<std::mutex> lock(g_mutex);
  const std::shared_ptr<Context> found = Find(context);
  if (!found) return static_cast<std::int32_t>(SCARD_E_INVALID_HANDLE);
  const auto before = found->memory.size();
  found->memory.remove_if([memory](const std::unique_ptr<char[]>& names) { return names.get() == memory; });
  return static_cast<std::int32_t>(found->memory.size() < before ? SCARD_S_SUCCESS : SCARD_E_INVALID_PARAMETER);
}

std::int32_t GetStatusChange(std::uint64_t context, std::uint32_t timeout, ReaderState* readers, std::uint32_t count) {
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(timeout);
  std::unique_lock<std::mutex> lock(g_mutex);
  const std::shared_ptr<Context> found = Find(context);
  if (!found) return static_cast<std::int32_t>(SCARD_E_INVALID_HANDLE);
  const std::uint32_t cancellings = found->cancellings;
  std::vector<SCARD_READERSTATE> states = ToPcscLite(readers, count);
  LONG result = SCARD_E_TIMEOUT;
  for (;;) {
    result = SCardGetStatusChange(found->context, 0, states.data(), static_cast<DWORD>(states.size()));
    if (result != SCARD_E_TIMEOUT || (timeout != kInfinite && Clock::now() >= end)) break;
    lock.unlock();
    std::this_thread::sleep_for(kPause);
    lock.lock();
    if (found->cancellings != cancellings) {
      result = SCARD_E_CANCELLED;
      break;
    }
  }
  FromPcscLite(states, readers);
  return static_cast<std::int32_t>(result);
}

std::int32_t Cancel(std::uint64_t context) {
  const std::lock_guard<std::mutex> lock(g_mutex);
  const std::shared_ptr<Context> found = Find(context);
  if (!found) return static_cast<std::int32_t>(SCARD_E_INVALID_HANDLE);
  ++found->cancellings;
  return SCARD_S_SUCCESS;
}

}  // namespace pcsclite

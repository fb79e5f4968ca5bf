#include "PcscLite.h"

#include <PCSC/winscard.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace pcsclite {
namespace {

using Clock = std::chrono::steady_clock;

// A wait looks this often whether it was cancelled. SCardCancel of libpcsclite does nothing for a wait that is about to
// begin, and comes after the one that it is to end.
constexpr std::chrono::milliseconds kSlice(100);

// In libpcsclite's header both have the width of its own DWORD.
constexpr std::uint32_t kAutoAllocate = 0xFFFFFFFF;
constexpr std::uint32_t kInfinite = 0xFFFFFFFF;

struct Context {
  SCARDCONTEXT context = 0;
  std::atomic<std::uint32_t> cancellings{0};  // a wait ends when it has become another
  std::list<std::unique_ptr<char[]>> memory;  // handed out by ListReaders
};

// Over the contexts and what they hold; never held during a wait.
std::mutex g_mutex;
std::uint64_t g_nextContext = 0x1000;

// There from the first use on, which may come before main, and until the last static object that used it is gone.
std::map<std::uint64_t, std::shared_ptr<Context>>& Contexts() {
  static std::map<std::uint64_t, std::shared_ptr<Context>> contexts;
  return contexts;
}

// Under g_mutex; null for a context that there is none of.
std::shared_ptr<Context> Find(std::uint64_t context) {
  const auto found = Contexts().find(context);
  return found == Contexts().end() ? nullptr : found->second;
}

// The libpcsclite context of one wait.
class OwnContext {
 public:
  OwnContext() : m_result(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &m_context)) {}
  ~OwnContext() {
    if (m_result == SCARD_S_SUCCESS) SCardReleaseContext(m_context);
  }
  OwnContext(const OwnContext&) = delete;
  OwnContext& operator=(const OwnContext&) = delete;

  LONG Result() const { return m_result; }

  // Waits until `end`, or for good without one, or until isCancelled().
  template <typename IsCancelled>
  LONG Wait(std::optional<Clock::time_point> end, std::vector<SCARD_READERSTATE>& states,
            IsCancelled isCancelled) const {
    while (!isCancelled()) {
      auto slice = kSlice;
      if (end) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now());
        slice = std::clamp(left, std::chrono::milliseconds(0), kSlice);
      }
      const LONG result = SCardGetStatusChange(m_context, static_cast<DWORD>(slice.count()), states.data(),
                                               static_cast<DWORD>(states.size()));
      if (result != SCARD_E_TIMEOUT || (end && Clock::now() >= *end)) return result;
    }
    return SCARD_E_CANCELLED;
  }

 private:
  SCARDCONTEXT m_context = 0;
  LONG m_result;
};

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
  auto established = std::make_shared<Context>();
  const LONG result = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &established->context);
  if (result != SCARD_S_SUCCESS) return static_cast<std::int32_t>(result);
  const std::lock_guard<std::mutex> lock(g_mutex);
  *context = g_nextContext++;
  Contexts()[*context] = std::move(established);
  return SCARD_S_SUCCESS;
}

std::int32_t ReleaseContext(std::uint64_t context) {
  std::shared_ptr<Context> released;
  {
    const std::lock_guard<std::mutex> lock(g_mutex);
    released = Find(context);
    if (!released) return static_cast<std::int32_t>(SCARD_E_INVALID_HANDLE);
    ++released->cancellings;
    Contexts().erase(context);
  }
  return static_cast<std::int32_t>(SCardReleaseContext(released->context));
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
  std::shared_ptr<Context> found;
  std::uint32_t cancellings = 0;
  {
    const std::lock_guard<std::mutex> lock(g_mutex);
    found = Find(context);
    if (!found) return static_cast<std::int32_t>(SCARD_E_INVALID_HANDLE);
    cancellings = found->cancellings;
  }
  const OwnContext own;
  if (own.Result() != SCARD_S_SUCCESS) return static_cast<std::int32_t>(own.Result());
  std::optional<Clock::time_point> end;
  if (timeout != kInfinite) end = Clock::now() + std::chrono::milliseconds(timeout);
  std::vector<SCARD_READERSTATE> states = ToPcscLite(readers, count);
  const LONG result = own.Wait(end, states, [&] { return found->cancellings != cancellings; });
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

#include "context/UnplugThread.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "cryptoki/CryptokiError.h"
#include "cryptoki/ReadList.h"
#include "log/Logs.h"
#include "pin/PINCacheManager.h"

namespace {

constexpr DWORD kPause = 200;        // milliseconds; bounds the rate of waits that fail at once
constexpr DWORD kLongestStop = 500;  // milliseconds

constexpr DWORD kNoReadersAvailable = static_cast<DWORD>(SCARD_E_NO_READERS_AVAILABLE);

// Required: a wait that returns without a change counts as a removal.
bool IsRemoval(DWORD result, DWORD event) {
  return result == kNoReadersAvailable || (event & SCARD_STATE_CHANGED) == 0 || (event & SCARD_STATE_EMPTY) != 0;
}

SCARD_READERSTATEA ReaderState(const std::string& readerName, DWORD currentState) {
  SCARD_READERSTATEA state = {};
  state.szReader = readerName.c_str();
  state.dwCurrentState = currentState;
  return state;
}

// The module pads its field with spaces; the reader's name has none at its end.
std::string WithoutTrailingSpaces(const std::string& text) { return text.substr(0, text.find_last_not_of(' ') + 1); }

}  // namespace

UnplugThread::UnplugThread(std::string readerName, DWORD slotId, boost::shared_ptr<CryptokiInterface> cryptoki,
                           SCARDCONTEXT context)
    : m_readerName(std::move(readerName)),
      m_slotId(slotId),
      m_cryptoki(std::move(cryptoki)),
      m_context(context),
      m_running(1) {}

UnplugThread::~UnplugThread() {
  if (m_thread) {
    m_thread->WaitUntilDone(kLongestStop);
    m_thread->Terminate();
  }
  g_contextLog.WriteLine("Unplug Thread deleted");
}

void UnplugThread::Start(Body body) {
  m_thread = std::make_unique<WorkerThread>([this, body] { return (this->*body)(); });
}

unsigned UnplugThread::WatchReader() {
  if (m_context == 0) return static_cast<unsigned>(NTE_INVALID_HANDLE);
  SCARD_READERSTATEA state = ReaderState(m_readerName, SCARD_STATE_PRESENT);
  while (m_running == 1) {
    Sleep(kPause);
    const DWORD result = static_cast<DWORD>(SCardGetStatusChangeA(m_context, INFINITE, &state, 1));
    if (m_running != 1) break;  // the wait was cancelled
    if (result != static_cast<DWORD>(SCARD_S_SUCCESS) && result != kNoReadersAvailable) {
      g_contextLog.WriteLine("Reader was unplugged");
      g_contextLog.WriteFormatted("SCardGetStatusChange: ", result, "%08X", true);
      continue;
    }
    const DWORD event = state.dwEventState;
    if (IsRemoval(result, event)) {
      g_contextLog.WriteLine("\nCard was removed");
      ClearPINCache();
      state = ReaderState(m_readerName, 0);
    }
    state.dwCurrentState = event;
  }
  return 0;
}

void UnplugThread::ClearPINCache() const {
  const boost::shared_ptr<CTELVOPINCache> cache = g_pinCacheManager.GetPINCache(m_readerName);
  if (!cache) return;
  g_contextLog.WriteLine("\nClearing PIN Cache");
  cache->ClearPINCache();
}

unsigned UnplugThread::PollSlots() {
  g_contextLog.WriteLine("Unplug thread started!\n");
  CK_ULONG count = 0;
  CK_ULONG last = 0;
  while (m_running != 0) {
    g_contextLog.WriteLine("Unplug thread running...\n");
    if (!m_cryptoki || m_cryptoki->C_GetSlotList(CK_TRUE, nullptr, &count) != CKR_OK) {
      g_contextLog.WriteLine("Failed to get slot list, restarting loop.\n");
    } else if (count > last) {
      last = count;
    } else if (count < last && IsTokenInReader(count) == false) {
      // Required: `last` keeps the higher count, so the cache is cleared in each round until there are as many tokens
      // again.
      ClearPINCache();
    }
  }
  g_contextLog.WriteLine("Unplug thread stopped!\n");
  return 0;
}

// Whether one of the `count` slots with a token is this reader's. No value when the module does not list them.
std::optional<bool> UnplugThread::IsTokenInReader(CK_ULONG count) const {
  try {
    const std::vector<CK_SLOT_ID> slots = ReadList<CK_SLOT_ID>(
        count, [this](CK_SLOT_ID* list, CK_ULONG* length) { return m_cryptoki->C_GetSlotList(CK_TRUE, list, length); });
    return std::any_of(slots.begin(), slots.end(), [this](CK_SLOT_ID slot) { return IsOwnSlot(slot); });
  } catch (const CryptokiError&) {
    g_contextLog.WriteLine("Failed to get slot list, restarting loop.\n");
    return std::nullopt;
  }
}

bool UnplugThread::IsOwnSlot(CK_SLOT_ID slot) const {
  CK_SLOT_INFO info = {};
  if (m_cryptoki->C_GetSlotInfo(slot, &info) != CKR_OK) {
    g_contextLog.WriteDecimal("Failed to get slot info on slot ", static_cast<DWORD>(slot), true);
    return false;
  }
  const CK_UTF8CHAR* const text = info.slotDescription;
  const std::string description(text, std::find(text, text + sizeof(info.slotDescription), CK_UTF8CHAR{0}));
  if (description.empty()) g_contextLog.WriteHex("Failed to convert UTF8 string. Code ", GetLastError(), true);
  return WithoutTrailingSpaces(description) == m_readerName;
}

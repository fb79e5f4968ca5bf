// The functions of WinSCard as a Windows program calls them. posix/PcscLite.cpp does the work.
//
// A Windows thread may be killed while it waits, by TerminateThread or at the end of the process. A lock that it holds
// at that moment is never released, whether it belongs to the C library, to libpcsclite or to PcscLite.cpp. So the
// thread takes no lock: it writes its request into a slot of fixed memory, posts a semaphore, and waits on another one.
// A Linux thread, which is never killed, does the actual waiting and then posts that one.
#include <atomic>
#include <cstring>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <thread>

#include "PcscLite.h"

#define TELVO_WINDOWS_ABI __attribute__((ms_abi))

namespace {

constexpr std::uint32_t kMaxReaders = 16;
constexpr std::size_t kMaxName = 128;
constexpr std::int32_t kInvalidParameter = static_cast<std::int32_t>(0x80100004);
constexpr std::int32_t kNoMemory = static_cast<std::int32_t>(0x80100006);

// A slot whose Windows thread was killed stays occupied; there are more than a test can lose.
enum class State { kFree, kTaken, kAsked };
struct Slot {
  std::atomic<State> state{State::kFree};
  std::uint64_t context;
  std::uint32_t timeout;
  std::uint32_t count;
  pcsclite::ReaderState readers[kMaxReaders];
  char names[kMaxReaders][kMaxName];
  std::int32_t result;
  sem_t answered;
};
Slot g_slots[256];
sem_t g_asked;

void Await(sem_t& semaphore) {
  while (sem_wait(&semaphore) != 0) {
  }
}

void Answer(Slot& slot) {
  slot.result = pcsclite::GetStatusChange(slot.context, slot.timeout, slot.readers, slot.count);
  sem_post(&slot.answered);
}

// Starts a thread for each request, until the process ends.
[[noreturn]] void Dispatch() {
  for (;;) {
    Await(g_asked);
    for (Slot& slot : g_slots) {
      State expected = State::kAsked;
      if (slot.state.compare_exchange_strong(expected, State::kTaken)) std::thread(Answer, std::ref(slot)).detach();
    }
  }
}

// The threads inherit a mask that blocks all signals: those of Wine are not for them.
bool StartDispatcher() {
  sem_init(&g_asked, 0, 0);
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread(Dispatch).detach();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return true;
}

Slot* TakeSlot() {
  for (Slot& slot : g_slots) {
    State expected = State::kFree;
    if (slot.state.compare_exchange_strong(expected, State::kTaken)) return &slot;
  }
  return nullptr;
}

}  // namespace

extern "C" {

std::int32_t TELVO_WINDOWS_ABI BridgeEstablishContext(std::uint32_t, const void*, const void*, std::uint64_t* context) {
  // Not std::call_once: it reaches a thread-local variable of another library, which crashes in a Wine library.
  static const bool started = StartDispatcher();
  static_cast<void>(started);
  return pcsclite::EstablishContext(context);
}

std::int32_t TELVO_WINDOWS_ABI BridgeReleaseContext(std::uint64_t context) { return pcsclite::ReleaseContext(context); }

std::int32_t TELVO_WINDOWS_ABI BridgeListReaders(std::uint64_t context, const char*, char* readers,
                                                 std::uint32_t* length) {
  return pcsclite::ListReaders(context, readers, length);
}

std::int32_t TELVO_WINDOWS_ABI BridgeFreeMemory(std::uint64_t context, const void* memory) {
  return pcsclite::FreeMemory(context, memory);
}

std::int32_t TELVO_WINDOWS_ABI BridgeCancel(std::uint64_t context) { return pcsclite::Cancel(context); }

std::int32_t TELVO_WINDOWS_ABI BridgeGetStatusChange(std::uint64_t context, std::uint32_t timeout,
                                                     pcsclite::ReaderState* readers, std::uint32_t count) {
  if (count > kMaxReaders) return kInvalidParameter;
  Slot* const slot = TakeSlot();
  if (slot == nullptr) return kNoMemory;
  slot->context = context;
  slot->timeout = timeout;
  slot->count = count;
  sem_init(&slot->answered, 0, 0);
  for (std::uint32_t i = 0; i < count; ++i) {
    slot->readers[i] = readers[i];
    std::strncpy(slot->names[i], readers[i].reader, kMaxName - 1);
    slot->readers[i].reader = slot->names[i];
  }
  slot->state = State::kAsked;
  sem_post(&g_asked);
  Await(slot->answered);

  const std::int32_t result = slot->result;
  for (std::uint32_t i = 0; i < count; ++i) {
    readers[i].eventState = slot->readers[i].eventState;
    readers[i].atrLength = slot->readers[i].atrLength;
    std::memcpy(readers[i].atr, slot->readers[i].atr, sizeof(readers[i].atr));
  }
  slot->state = State::kFree;
  return result;
}

}  // extern "C"

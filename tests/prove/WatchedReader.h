// WatchedReader: knows since when a card has been in a PC/SC reader or out of it. It watches the reader with its own
// context, so it learns of a change as early as any program can. Without the service no card is in.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "common/SmartCard.h"

class WatchedReader {
 public:
  using Clock = std::chrono::steady_clock;

  explicit WatchedReader(std::string name) : m_name(std::move(name)) {
    std::thread([this] { Watch(); }).detach();
  }
  // The watching thread ends with the process.
  ~WatchedReader() = delete;

  // Waits until the card is in or out, and returns since when. Throws std::runtime_error after ten seconds.
  Clock::time_point Await(bool in) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return m_in == in; })) {
      throw std::runtime_error(in ? "the reader shows no card" : "the reader still shows a card");
    }
    return m_since;
  }

  bool IsIn() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_in;
  }

 private:
  void Watch() {
    for (;;) {
      SCARDCONTEXT context = 0;
      if (SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &context) == SCARD_S_SUCCESS) WatchWith(context);
      SCardReleaseContext(context);
      SetState(false);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));  // before it asks for the service again
    }
  }

  // Returns when the service goes away.
  void WatchWith(SCARDCONTEXT context) {
    SCARD_READERSTATEA state = {};
    state.szReader = m_name.c_str();
    while (static_cast<DWORD>(SCardGetStatusChangeA(context, INFINITE, &state, 1)) ==
           static_cast<DWORD>(SCARD_S_SUCCESS)) {
      SetState((state.dwEventState & SCARD_STATE_PRESENT) != 0);
      state.dwCurrentState = state.dwEventState;
    }
  }

  void SetState(bool in) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_in == in) return;
    m_in = in;
    m_since = Clock::now();
    m_changed.notify_all();
  }

  const std::string m_name;
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_in = false;
  Clock::time_point m_since;
};

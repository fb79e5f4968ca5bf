// ScriptedClock: the clock of a factory of session keys whose pauses are its seconds, so that nobody waits: by itself
// it stands still, and each pause takes it on.
#pragma once

#include <atomic>

#include "objects/CCSPSecretKeyFactory.h"

class ScriptedClock {
 public:
  // May be read and slept on by several threads. This object must outlive it.
  CCSPSecretKeyFactory::Clock Clock() {
    return {[this] { return m_seconds.load(); },
            [this](DWORD milliseconds) {
              m_slept += milliseconds;
              if (m_goesOn) ++m_seconds;
            }};
  }
  void Set(std::time_t seconds) { m_seconds = seconds; }
  void StandStill() { m_goesOn = false; }
  // What was slept in all, in ms.
  DWORD Slept() const { return m_slept; }

 private:
  std::atomic<std::time_t> m_seconds{1000000};
  std::atomic<DWORD> m_slept{0};
  std::atomic<bool> m_goesOn{true};
};

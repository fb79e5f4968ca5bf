// ScriptedClock: the clock of a session key factory, without real waiting. Each pause advances it by one second;
// otherwise it stands still.
#pragma once

#include <atomic>

#include "objects/CCSPSecretKeyFactory.h"

class ScriptedClock {
 public:
  // Several threads may read it and sleep on it. This object must outlive it.
  CCSPSecretKeyFactory::Clock Clock() {
    return {[this] { return m_seconds.load(); },
            [this](DWORD milliseconds) {
              m_slept += milliseconds;
              if (m_goesOn) ++m_seconds;
            }};
  }
  void Set(std::time_t seconds) { m_seconds = seconds; }
  void StandStill() { m_goesOn = false; }
  // The total time slept, in ms.
  DWORD Slept() const { return m_slept; }

 private:
  std::atomic<std::time_t> m_seconds{1000000};
  std::atomic<DWORD> m_slept{0};
  std::atomic<bool> m_goesOn{true};
};

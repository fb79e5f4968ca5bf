// StandForAPicture: keeps a window open while a script takes a picture of it. Creates the file "$TELVO_HOLD.shown"
// when the window is ready, and waits until the file "$TELVO_HOLD" is deleted.
#pragma once

#include "common/Platform.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

inline void StandForAPicture() {
  const char* const hold = std::getenv("TELVO_HOLD");
  ASSERT_NE(nullptr, hold) << "TELVO_HOLD is not set";
  std::ofstream(std::string(hold) + ".shown") << "shown";
  while (std::ifstream(hold)) Sleep(20);
}

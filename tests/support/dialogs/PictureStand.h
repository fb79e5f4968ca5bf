// StandForAPicture: lets a script look at what a test shows. Tells it by the file "$TELVO_HOLD.shown" that the window
// is ready, and stands until the file "$TELVO_HOLD" is gone.
#pragma once

#include "common/Platform.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

inline void StandForAPicture() {
  const char* const hold = std::getenv("TELVO_HOLD");
  ASSERT_NE(nullptr, hold) << "TELVO_HOLD names no file";
  std::ofstream(std::string(hold) + ".shown") << "shown";
  while (std::ifstream(hold)) Sleep(20);
}

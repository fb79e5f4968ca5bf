// EntryTest: the fixture of tests that call the CP... functions, on a scripted module that the provider really loads.
// The log holds the lines of the entry layer and of the contexts.
#pragma once

#include "ContextTest.h"
#include "LoadedModule.h"
#include "ScriptedClock.h"
#include "entry/ProviderInterface.h"

class EntryTest : public ContextTest {
 protected:
  EntryTest();
  ~EntryTest() override;

  // The lines before the first banner: program and process.
  static std::string ProcessLines();
  // Banner and name.
  static std::string FrameLines(const std::string& function);

  // Acquires a context and forgets what was logged and called.
  HCRYPTPROV AcquireHandle(const char* container, DWORD flags = 0);

  LoadedModule m_loaded;
  ScriptedClock m_clock;  // of the factory of session keys
};

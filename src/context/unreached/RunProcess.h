// A program that is run without a window. No flow of the provider does so. Windows only.
#pragma once

#include "common/Platform.h"

// Runs a command line. With `wait` it returns when the program has ended, and gives its exit code; the messages of the
// calling thread's windows are served meanwhile. `exitCode` is not touched otherwise, and may be null. False, with the
// last error, when the program cannot be started.
bool RunProcess(const char* commandLine, bool wait, DWORD* exitCode);

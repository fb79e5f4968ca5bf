// Runs a program without a window. Built because it is prescribed; no application reaches it. Windows only.
#pragma once

#include "common/Platform.h"

// Runs a command line. With `wait` it returns when the program has ended, and gives its exit code; the messages of the
// calling thread's windows are served meanwhile. `exitCode` is not touched otherwise, and may be null. False, with the
// last error, when the program cannot be started.
bool RunProcess(const char* commandLine, bool wait, DWORD* exitCode);

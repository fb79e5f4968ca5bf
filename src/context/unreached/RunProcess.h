// RunProcess: a program that is run without a window. Windows only.
//
// Unreached: built and tested because the product must have it, though nothing in the provider uses it.
#pragma once

#include "common/Platform.h"

// Runs a command line. With `wait` it returns when the program has ended, and gives its exit code; the messages of the
// calling thread's windows are served meanwhile. `exitCode` is not touched otherwise, and may be null. False, with the
// last error, when the program cannot be started.
bool RunProcess(const char* commandLine, bool wait, DWORD* exitCode);

// The one header through which the sources reach the platform's functions. On Windows these are the system's
// own; in the host build posix/include provides the subset that the sources call.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <wincrypt.h>

// A macro that would rename our own operations of that name, in one source file and not in another.
#undef GetMessage

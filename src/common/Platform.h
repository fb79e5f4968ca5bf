// The platform's functions. All sources include this header for them. On Windows they are the system's own; in the host
// build posix/include declares those that the sources call.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <wincrypt.h>

// In some source files this macro would rename our own operations of that name.
#undef GetMessage

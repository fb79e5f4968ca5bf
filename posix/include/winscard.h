// The subset of WinSCard that the provider calls, with the published names, types and layout, for the host build, on
// libpcsclite (WinSCard.cpp). Results are SCARD_... codes; windows.h defines them, as winerror.h does on Windows.
#pragma once

#include <windows.h>

using SCARDCONTEXT = ULONG_PTR;
using LPSCARDCONTEXT = SCARDCONTEXT*;

constexpr DWORD SCARD_SCOPE_USER = 0;
constexpr DWORD SCARD_AUTOALLOCATE = 0xFFFFFFFF;

constexpr DWORD SCARD_STATE_UNAWARE = 0x00000000;
constexpr DWORD SCARD_STATE_CHANGED = 0x00000002;
constexpr DWORD SCARD_STATE_EMPTY = 0x00000010;
constexpr DWORD SCARD_STATE_PRESENT = 0x00000020;

struct SCARD_READERSTATEA {
  LPCSTR szReader;
  LPVOID pvUserData;
  DWORD dwCurrentState;
  DWORD dwEventState;
  DWORD cbAtr;
  BYTE rgbAtr[36];
};
using LPSCARD_READERSTATEA = SCARD_READERSTATEA*;

LONG SCardEstablishContext(DWORD scope, LPCVOID reserved1, LPCVOID reserved2, LPSCARDCONTEXT context);
// Waits on the context are cancelled first.
LONG SCardReleaseContext(SCARDCONTEXT context);

// Writes the names of all readers, each with its terminating zero, and a zero after the last; ignores `groups`. With a
// `*length` of SCARD_AUTOALLOCATE, `readers` is the address of a pointer to allocated memory, which SCardFreeMemory or
// the release of the context frees. With a null `readers`, only `*length` is set. Without a reader the result is
// SCARD_E_NO_READERS_AVAILABLE. When `*length` is too small, the result is SCARD_E_INSUFFICIENT_BUFFER, and `*length`
// becomes the length needed.
LONG SCardListReadersA(SCARDCONTEXT context, LPCSTR groups, LPSTR readers, LPDWORD length);
LONG SCardFreeMemory(SCARDCONTEXT context, LPCVOID memory);

// Waits, at most `timeout` milliseconds, until the state of one of the readers differs from its dwCurrentState. Any
// number of threads may wait on one context.
LONG SCardGetStatusChangeA(SCARDCONTEXT context, DWORD timeout, LPSCARD_READERSTATEA readers, DWORD count);
// Ends every current wait on the context with SCARD_E_CANCELLED. Does not wait until they have ended.
LONG SCardCancel(SCARDCONTEXT context);

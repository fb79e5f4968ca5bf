// WinSCard on libpcsclite. PcscLite.cpp does the work; this file translates the types.
#include <cstddef>
#include <winscard.h>

#include "PcscLite.h"

static_assert(sizeof(SCARD_READERSTATEA) == sizeof(pcsclite::ReaderState) &&
                  offsetof(SCARD_READERSTATEA, dwEventState) == offsetof(pcsclite::ReaderState, eventState) &&
                  offsetof(SCARD_READERSTATEA, rgbAtr) == offsetof(pcsclite::ReaderState, atr),
              "one layout under two names");

LONG SCardEstablishContext(DWORD, LPCVOID, LPCVOID, LPSCARDCONTEXT context) {
  return pcsclite::EstablishContext(context);
}

LONG SCardReleaseContext(SCARDCONTEXT context) { return pcsclite::ReleaseContext(context); }

LONG SCardListReadersA(SCARDCONTEXT context, LPCSTR, LPSTR readers, LPDWORD length) {
  return pcsclite::ListReaders(context, readers, length);
}

LONG SCardFreeMemory(SCARDCONTEXT context, LPCVOID memory) { return pcsclite::FreeMemory(context, memory); }

LONG SCardGetStatusChangeA(SCARDCONTEXT context, DWORD timeout, LPSCARD_READERSTATEA readers, DWORD count) {
  return pcsclite::GetStatusChange(context, timeout, reinterpret_cast<pcsclite::ReaderState*>(readers), count);
}

LONG SCardCancel(SCARDCONTEXT context) { return pcsclite::Cancel(context); }

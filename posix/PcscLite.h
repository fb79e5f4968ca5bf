// libpcsclite, as it must behave to pass for Windows' WinSCard, in types of Windows' widths. It includes nothing of
// either: both headers define the same names, with different types.
//
// Results are SCARD_... codes, the same numbers on both sides. Contexts are numbers that are not used twice.
//
// libpcsclite keeps a context locked while a wait on it lasts: a second wait on it would come after the first, and so
// would the cancelling. Contexts in turn share a table of the readers' states without a lock. On Windows any number of
// threads wait on one context. So a wait here is a question that is asked again and again, each time for a moment and
// under one lock, until the answer is another or the wait is cancelled.
#pragma once

#include <cstdint>

namespace pcsclite {

// The layout of SCARD_READERSTATEA.
struct ReaderState {
  const char* reader;
  void* userData;
  std::uint32_t currentState;
  std::uint32_t eventState;
  std::uint32_t atrLength;
  std::uint8_t atr[36];
};
static_assert(sizeof(ReaderState) == 64, "as on 64-bit Windows");

// What each does stands at the function of the same name in winscard.h.
std::int32_t EstablishContext(std::uint64_t* context);
std::int32_t ReleaseContext(std::uint64_t context);
std::int32_t ListReaders(std::uint64_t context, char* readers, std::uint32_t* length);
std::int32_t FreeMemory(std::uint64_t context, const void* memory);
std::int32_t GetStatusChange(std::uint64_t context, std::uint32_t timeout, ReaderState* readers, std::uint32_t count);
std::int32_t Cancel(std::uint64_t context);

}  // namespace pcsclite

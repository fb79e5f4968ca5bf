// libpcsclite with the behaviour of Windows' WinSCard, and with types of the same width as on Windows. This header
// includes neither of their headers: both define the same names, with different types.
//
// Results are SCARD_... codes, which are the same numbers on both sides. Contexts are numbers, and none is used twice.
//
// On Windows any number of threads may wait on one context. libpcsclite locks a context during a wait, so a second
// wait, or a cancel, would first wait for the end of the first one. It also shares the table of the readers' states
// between contexts without a lock. So a wait here polls: it asks for the state repeatedly, each time under one lock,
// until the state has changed or the wait is cancelled.
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

// winscard.h describes the functions of the same names.
std::int32_t EstablishContext(std::uint64_t* context);
std::int32_t ReleaseContext(std::uint64_t context);
std::int32_t ListReaders(std::uint64_t context, char* readers, std::uint32_t* length);
std::int32_t FreeMemory(std::uint64_t context, const void* memory);
std::int32_t GetStatusChange(std::uint64_t context, std::uint32_t timeout, ReaderState* readers, std::uint32_t count);
std::int32_t Cancel(std::uint64_t context);

}  // namespace pcsclite

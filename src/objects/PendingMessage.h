// PendingMessage: the bytes that were added to a hash, as one array. Adding copies them once, and the module reads them
// without another copy. A message of up to 64 KiB is wiped when it is released; the memory of a longer one is returned
// to the system. It uses the memory of the message and at most 1 MiB more. When a message outgrows its reserved
// addresses it is moved, and uses the old memory as well until that is done.
#pragma once

#include "common/Platform.h"

#include <cstddef>

#include "common/PageMemory.h"
#include "common/WipeMemory.h"

class PendingMessage {
 public:
  PendingMessage() = default;
  PendingMessage(const PendingMessage& other) { Append(other.Data(), other.m_length); }
  PendingMessage& operator=(const PendingMessage& other);
  ~PendingMessage() = default;

  std::size_t Length() const { return m_length; }
  // A null `data` or a length of 0 adds nothing.
  void Append(const BYTE* data, std::size_t length);
  void Clear();
  // Copies the whole message to `out`, which must have space for it.
  void CopyTo(BYTE* out) const;
  // The whole message. This object owns it; it is valid until the message changes. Null when there is none.
  BYTE* Whole() { return m_length == 0 ? nullptr : const_cast<BYTE*>(Data()); }

 private:
  const BYTE* Data() const { return m_long.Data() != nullptr ? m_long.Data() : m_short.Data(); }
  // Makes space for that many bytes in all, and returns where they begin.
  BYTE* MakeSpace(std::size_t length);
  BYTE* MoveTo(WipedBuffer next);
  BYTE* MoveTo(PageMemory next);

  WipedBuffer m_short{0};  // a short message
  PageMemory m_long;       // a long one
  std::size_t m_length = 0;
};

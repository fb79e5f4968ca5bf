// PendingMessage: the bytes that a hash was given and has not sent yet, in order, as one array, so that adding some
// costs one copy and taking them none. Up to 64 KiB are wiped when they go; more than that goes back to the system. The
// memory is that of the message and at most 1 MiB; while a message that outgrew what was reserved for it is moved, its
// old memory besides.
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
  // Copies the whole message to `out`, which has room for it.
  void CopyTo(BYTE* out) const;
  // The whole message, owned by this object and valid until it changes. Null when there is none.
  BYTE* Whole() { return m_length == 0 ? nullptr : const_cast<BYTE*>(Data()); }

 private:
  const BYTE* Data() const { return m_long.Data() != nullptr ? m_long.Data() : m_short.Data(); }
  // Makes room for so many bytes; returns where they begin.
  BYTE* MakeRoom(std::size_t length);
  BYTE* MoveTo(WipedBuffer next);
  BYTE* MoveTo(PageMemory next);

  WipedBuffer m_short{0};  // a short message
  PageMemory m_long;       // a long one
  std::size_t m_length = 0;
};

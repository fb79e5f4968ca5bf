// PendingMessage: the bytes that a hash was given and has not sent yet, in order. They lie in blocks, so that adding
// some costs one copy, and are wiped when they go. While they are brought together they are there twice; otherwise the
// memory is that of the message and at most 1 MiB.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <list>

#include "common/WipeMemory.h"

class PendingMessage {
 public:
  PendingMessage() = default;
  PendingMessage(const PendingMessage& other);
  PendingMessage& operator=(const PendingMessage& other);
  ~PendingMessage() = default;

  std::size_t Length() const { return m_length; }
  // A null `data` or a length of 0 adds nothing.
  void Append(const BYTE* data, std::size_t length);
  void Clear();
  // Copies the whole message to `out`, which has room for it.
  void CopyTo(BYTE* out) const;
  // The whole message as one array, owned by this object and valid until it changes. Null when there is none.
  BYTE* Whole();

 private:
  struct Block {
    explicit Block(std::size_t size) : bytes(size) {}
    WipedBuffer bytes;
    std::size_t used = 0;
  };

  std::list<Block> m_blocks;  // all but the last are full
  std::size_t m_length = 0;
};

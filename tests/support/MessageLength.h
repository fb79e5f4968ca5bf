// MessageLength: a hash that believes its message to be longer than it is, as nobody has the memory for 4 GiB.
#pragma once

#include <cstddef>

#include "objects/CCSPHash.h"

class MessageLength {
 public:
  // The message of `hash` has that length until this object's end. Its bytes must not be read meanwhile.
  MessageLength(CCSPHash& hash, std::size_t length);
  ~MessageLength();
  MessageLength(const MessageLength&) = delete;
  MessageLength& operator=(const MessageLength&) = delete;

 private:
  std::size_t& m_length;
  std::size_t m_before;
};

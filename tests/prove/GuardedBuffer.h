// GuardedBuffer: bytes that end at an inaccessible page. An access past their end faults at once. A write before their
// start is detected later.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <memory>

class GuardedBuffer {
 public:
  enum class Access { kReadWrite, kReadOnly };
  // `content` may be null: then the bytes are 0xA5.
  GuardedBuffer(std::size_t length, const void* content, Access access);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  BYTE* Data() const { return m_data; }
  std::size_t Length() const { return m_length; }
  // Whether nothing was written right before the start.
  bool IsFrontWhole() const;

  // An address that can be neither read nor written.
  static void* Forbidden();

 private:
  BYTE* m_pages;
  std::size_t m_room;  // before the inaccessible page
  BYTE* m_data;
  std::size_t m_length;
};

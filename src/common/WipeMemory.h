// Memory that held secrets is overwritten before it is released.
#pragma once

#include "common/Platform.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

// WipeMemory overwrites `length` bytes with zeros. With a null `memory` it does nothing.
inline void WipeMemory(void* memory, std::size_t length) {
  if (memory != nullptr) SecureZeroMemory(memory, length);
}

// WipeString overwrites the characters of a string, which keeps its length.
inline void WipeString(std::string& text) { WipeMemory(text.data(), text.size()); }

// StringWiper wipes a string at the end of its block.
class StringWiper {
 public:
  explicit StringWiper(std::string& text) : m_text(text) {}
  ~StringWiper() { WipeString(m_text); }
  StringWiper(const StringWiper&) = delete;
  StringWiper& operator=(const StringWiper&) = delete;

 private:
  std::string& m_text;
};

// WipedBuffer is a byte array that is zero at first and that its destructor wipes. It can be moved, but not copied.
class WipedBuffer {
 public:
  explicit WipedBuffer(std::size_t length) : m_bytes(std::make_unique<BYTE[]>(length)), m_length(length) {}
  WipedBuffer(WipedBuffer&& other) noexcept
      : m_bytes(std::move(other.m_bytes)), m_length(std::exchange(other.m_length, 0)) {}
  WipedBuffer& operator=(WipedBuffer&& other) noexcept {
    WipedBuffer moved(std::move(other));
    std::swap(m_bytes, moved.m_bytes);
    std::swap(m_length, moved.m_length);
    return *this;
  }
  WipedBuffer(const WipedBuffer&) = delete;
  WipedBuffer& operator=(const WipedBuffer&) = delete;
  ~WipedBuffer() { WipeMemory(m_bytes.get(), m_length); }

  BYTE* Data() { return m_bytes.get(); }
  const BYTE* Data() const { return m_bytes.get(); }
  std::size_t Length() const { return m_length; }

 private:
  std::unique_ptr<BYTE[]> m_bytes;
  std::size_t m_length;
};

// A copy of `length` bytes. With a null `data` it is empty.
inline WipedBuffer WipedCopy(const BYTE* data, std::size_t length) {
  WipedBuffer copy(data != nullptr ? length : 0);
  if (copy.Length() != 0) std::copy_n(data, length, copy.Data());
  return copy;
}

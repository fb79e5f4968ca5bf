// Memory that held secrets is overwritten before it is given back.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <memory>
#include <string>

// WipeMemory overwrites `length` bytes with zeros; a null `memory` is left alone.
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

// WipedBuffer is a byte array, zeroed at first and wiped when it dies. It can be moved, not copied.
class WipedBuffer {
 public:
  explicit WipedBuffer(std::size_t length) : m_bytes(std::make_unique<BYTE[]>(length)), m_length(length) {}
  WipedBuffer(WipedBuffer&&) = default;
  WipedBuffer& operator=(WipedBuffer&&) = delete;
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

#include "objects/PendingMessage.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t kSmallestArray = 256;
constexpr std::size_t kLongestShortMessage = std::size_t{64} * 1024;
constexpr std::size_t kStep = std::size_t{1} << 20U;  // the memory of a long message grows by this
// Reserve eight times the need: address space is cheap.
constexpr std::size_t kReserve = 8;

}  // namespace

PendingMessage& PendingMessage::operator=(const PendingMessage& other) {
  PendingMessage copy(other);
  std::swap(m_short, copy.m_short);
  std::swap(m_long, copy.m_long);
  std::swap(m_length, copy.m_length);
  return *this;
}

void PendingMessage::Append(const BYTE* data, std::size_t length) {
  if (data == nullptr || length == 0) return;
  std::copy_n(data, length, MakeSpace(m_length + length) + m_length);
  m_length += length;
}

BYTE* PendingMessage::MakeSpace(std::size_t length) {
  if (m_long.Data() == nullptr && length <= kLongestShortMessage) {
    if (length <= m_short.Length()) return m_short.Data();
    return MoveTo(WipedBuffer(std::max({length, 2 * m_short.Length(), kSmallestArray})));
  }
  const std::size_t stepped = (length + kStep - 1) / kStep * kStep;
  if (stepped > m_long.Reserved()) {
    PageMemory next(kReserve * stepped);
    next.Extend(stepped);
    return MoveTo(std::move(next));
  }
  m_long.Extend(stepped);
  return m_long.Data();
}

BYTE* PendingMessage::MoveTo(WipedBuffer next) {
  CopyTo(next.Data());
  m_short = std::move(next);
  return m_short.Data();
}

BYTE* PendingMessage::MoveTo(PageMemory next) {
  CopyTo(next.Data());
  m_long = std::move(next);
  m_short = WipedBuffer(0);
  return m_long.Data();
}

void PendingMessage::Clear() {
  m_short = WipedBuffer(0);
  m_long = PageMemory();
  m_length = 0;
}

void PendingMessage::CopyTo(BYTE* out) const { std::copy_n(Data(), m_length, out); }

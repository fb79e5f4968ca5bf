#include "objects/PendingMessage.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t kSmallestBlock = 256;
constexpr std::size_t kLargestReserve = std::size_t{1} << 20U;

}  // namespace

PendingMessage::PendingMessage(const PendingMessage& other) {
  if (other.m_length == 0) return;
  m_blocks.emplace_back(other.m_length);
  other.CopyTo(m_blocks.back().bytes.Data());
  m_blocks.back().used = other.m_length;
  m_length = other.m_length;
}

PendingMessage& PendingMessage::operator=(const PendingMessage& other) {
  PendingMessage copy(other);
  m_blocks.swap(copy.m_blocks);
  std::swap(m_length, copy.m_length);
  return *this;
}

void PendingMessage::Append(const BYTE* data, std::size_t length) {
  if (data == nullptr) return;
  while (length != 0) {
    if (m_blocks.empty() || m_blocks.back().used == m_blocks.back().bytes.Length()) {
      // A short message gets a small block, a long one a block that is not much beside it.
      m_blocks.emplace_back(std::max(length, std::clamp(m_length, kSmallestBlock, kLargestReserve)));
    }
    Block& last = m_blocks.back();
    const std::size_t part = std::min(length, last.bytes.Length() - last.used);
    std::copy_n(data, part, last.bytes.Data() + last.used);
    last.used += part;
    m_length += part;
    data += part;
    length -= part;
  }
}

void PendingMessage::Clear() {
  m_blocks.clear();
  m_length = 0;
}

void PendingMessage::CopyTo(BYTE* out) const {
  for (const Block& block : m_blocks) out = std::copy_n(block.bytes.Data(), block.used, out);
}

BYTE* PendingMessage::Whole() {
  if (m_length == 0) return nullptr;
  if (m_blocks.size() > 1) {
    PendingMessage joined(*this);
    m_blocks.swap(joined.m_blocks);
  }
  return m_blocks.front().bytes.Data();
}

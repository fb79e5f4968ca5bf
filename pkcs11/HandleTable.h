// Our own handles for the values of a module: 32 bits, never 0, and never used twice at the same time.
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "pkcs11/Failure.h"

namespace pkcs11 {

// HandleTable gives each value an upper handle: the next free number. A number is used again only after all
// others. Values keep their address until they are erased.
template <typename Value>
class HandleTable {
 public:
  // The first handle is the one after `last`, so that a table can go on where another ended.
  explicit HandleTable(CK_ULONG last = 0) : m_last(static_cast<std::uint32_t>(last)) {}

  // The handle that was assigned last.
  CK_ULONG Last() const { return m_last; }

  // Throws Failure{CKR_HOST_MEMORY} when all handles are in use.
  CK_ULONG Insert(Value value) {
    Require(m_values.size() < UINT32_MAX, CKR_HOST_MEMORY);
    do {
      ++m_last;
    } while (m_last == 0 || m_values.count(m_last) != 0);
    m_values.emplace(m_last, std::move(value));
    return m_last;
  }

  // Find returns null for a handle that is not in use.
  Value* Find(CK_ULONG handle) {
    const auto found = m_values.find(handle);
    return found == m_values.end() ? nullptr : &found->second;
  }

  bool Erase(CK_ULONG handle) { return m_values.erase(handle) != 0; }

  template <typename Condition>
  void EraseIf(Condition condition) {
    for (auto entry = m_values.begin(); entry != m_values.end();) {
      entry = condition(entry->second) ? m_values.erase(entry) : std::next(entry);
    }
  }

  auto begin() { return m_values.begin(); }
  auto end() { return m_values.end(); }
  auto begin() const { return m_values.begin(); }
  auto end() const { return m_values.end(); }

 private:
  std::map<CK_ULONG, Value> m_values;
  std::uint32_t m_last;
};

}  // namespace pkcs11

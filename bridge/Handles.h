// The handles that a Windows program sees, of 32 bits, and those of the module, of 64 bits.
#pragma once

#include <map>
#include <mutex>

#include "pkcs11/HandleTable.h"

namespace bridge {

// Handles gives each native handle an upper one: always the same, until the native one is forgotten. Its functions may
// be called from any thread.
class Handles {
 public:
  // `none` is a native handle that the module surely does not know.
  explicit Handles(CK_ULONG none) : m_none(none) {}

  CK_ULONG UpperOf(CK_ULONG native) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto known = m_uppers.find(native);
    if (known != m_uppers.end()) return known->second;
    const CK_ULONG upper = m_natives.Insert(native);
    m_uppers.emplace(native, upper);
    return upper;
  }

  // For an unknown handle: `none`, so that the module refuses it in its own way.
  CK_ULONG NativeOf(CK_ULONG upper) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const CK_ULONG* const native = m_natives.Find(upper);
    return native == nullptr ? m_none : *native;
  }

  void Forget(CK_ULONG upper) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const CK_ULONG* const native = m_natives.Find(upper);
    if (native == nullptr) return;
    m_uppers.erase(*native);
    m_natives.Erase(upper);
  }

 private:
  const CK_ULONG m_none;
  std::mutex m_mutex;
  pkcs11::HandleTable<CK_ULONG> m_natives;
  std::map<CK_ULONG, CK_ULONG> m_uppers;
};

}  // namespace bridge

// Maps the 32-bit handles that a Windows program sees to the 64-bit handles of the module.
#pragma once

#include <map>
#include <mutex>

#include "pkcs11/HandleTable.h"

namespace bridge {

// Handles gives each native handle an upper handle and keeps that pair until Forget. Its functions may be called from
// any thread.
class Handles {
 public:
  // `none` is a native handle that is never valid in the module.
  explicit Handles(CK_ULONG none) : m_none(none) {}

  CK_ULONG UpperOf(CK_ULONG native) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto known = m_uppers.find(native);
    if (known != m_uppers.end()) return known->second;
    const CK_ULONG upper = m_natives.Insert(native);
    m_uppers.emplace(native, upper);
    return upper;
  }

  // Returns `none` for an unknown handle, so that the module refuses it with its own result.
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

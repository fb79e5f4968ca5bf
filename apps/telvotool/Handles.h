// Handles of CryptoAPI and of the registry that close themselves. Each can be moved and not copied.
#pragma once

#include "common/Platform.h"

#include <utility>

namespace tool {

// Close is one of the functions below, which close a handle of this type.
template <typename Handle, void (*Close)(Handle)>
class Held {
 public:
  Held() = default;
  explicit Held(Handle handle) : m_handle(handle) {}
  Held(Held&& other) noexcept : m_handle(std::exchange(other.m_handle, Handle{})) {}
  Held& operator=(Held&& other) noexcept {
    std::swap(m_handle, other.m_handle);
    return *this;
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() {
    if (m_handle != Handle{}) Close(m_handle);
  }

  Handle Get() const { return m_handle; }
  explicit operator bool() const { return m_handle != Handle{}; }
  Handle Release() { return std::exchange(m_handle, Handle{}); }
  // Where a function of the platform stores the handle. Only for an object without a handle.
  Handle* Receive() { return &m_handle; }

 private:
  Handle m_handle{};
};

inline void CloseProvider(HCRYPTPROV handle) { CryptReleaseContext(handle, 0); }
inline void CloseKey(HCRYPTKEY handle) { CryptDestroyKey(handle); }
inline void CloseHash(HCRYPTHASH handle) { CryptDestroyHash(handle); }
inline void CloseStore(HCERTSTORE handle) { CertCloseStore(handle, 0); }
inline void CloseCertificate(PCCERT_CONTEXT handle) { CertFreeCertificateContext(handle); }
inline void CloseMessage(HCRYPTMSG handle) { CryptMsgClose(handle); }
inline void CloseRegistryKey(HKEY handle) { RegCloseKey(handle); }

using ProviderHandle = Held<HCRYPTPROV, CloseProvider>;
using KeyHandle = Held<HCRYPTKEY, CloseKey>;
using HashHandle = Held<HCRYPTHASH, CloseHash>;
using StoreHandle = Held<HCERTSTORE, CloseStore>;
using CertificateHandle = Held<PCCERT_CONTEXT, CloseCertificate>;
using MessageHandle = Held<HCRYPTMSG, CloseMessage>;
using RegistryKey = Held<HKEY, CloseRegistryKey>;

}  // namespace tool

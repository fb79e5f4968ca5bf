// Keys and hashes of the rows, and steps that many rows begin with.
#pragma once

#include "common/Platform.h"

#include <string>

#include "Side.h"

// A key or a hash, which is destroyed at the end.
template <BOOL(WINAPI* destroy)(ULONG_PTR)>
class Owned {
 public:
  Owned() = default;
  explicit Owned(ULONG_PTR handle) : m_handle(handle) {}
  // Keeps the last error of the call before.
  ~Owned() {
    const DWORD lastError = GetLastError();
    if (m_handle != 0) destroy(m_handle);
    SetLastError(lastError);
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  operator ULONG_PTR() const { return m_handle; }  // NOLINT: a row reads like the call
  ULONG_PTR* Out() { return &m_handle; }
  void Forget() { m_handle = 0; }

 private:
  ULONG_PTR m_handle = 0;
};
using Key = Owned<CryptDestroyKey>;
using Hash = Owned<CryptDestroyHash>;

// Steps that many rows begin with. They throw StepFailed.
Key Pair(HCRYPTPROV context, DWORD keySpec = AT_KEYEXCHANGE);
Key Generated(HCRYPTPROV context, ALG_ID algorithm, DWORD flags);
Hash HashOf(HCRYPTPROV context, ALG_ID algorithm, const std::string& data = "abc");
DWORD NumberOf(HCRYPTKEY key, DWORD parameter);
Bytes Signature(HCRYPTHASH hash, DWORD keySpec = AT_KEYEXCHANGE, DWORD flags = 0);
std::string HashValue(HCRYPTHASH hash);  // the answer, with the beginning of the value
Bytes Exported(HCRYPTKEY key, DWORD type, HCRYPTKEY exchangeKey = 0);
// A session key of the platform's provider with the bytes 1, 2, 3, ..., in a SIMPLEBLOB for the pair of the context.
Bytes SimpleBlobFor(HCRYPTPROV context, ALG_ID algorithm, DWORD length);
// A SIMPLEBLOB needs the pair that it was made for.
Key Imported(HCRYPTPROV context, const Bytes& blob, HCRYPTKEY pair = 0, DWORD flags = CRYPT_EXPORTABLE);
// A key from SimpleBlobFor, imported into a context with a pair.
Key Session(HCRYPTPROV context, ALG_ID algorithm, DWORD length);

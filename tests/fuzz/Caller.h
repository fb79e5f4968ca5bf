// Caller: a program that calls the provider in any order, with any arguments, and keeps the handles that it gets. It
// checks the last error of each call, the exceptions that it throws, and what it writes: buffers have exactly the
// declared length.
#pragma once

#include "common/Platform.h"

#include <functional>
#include <memory>
#include <vector>

#include "InterfaceStage.h"
#include "entry/ProviderInterface.h"

// The exceptions that a function may throw.
enum class Leaves { kNothing, kContextError, kModuleError, kRuntimeError };

// A buffer and its declared length. Either may be null.
class Buffer {
 public:
  // Has at least `least` bytes, whatever length it declares.
  explicit Buffer(FuzzedDataProvider& data, DWORD least = 0);

  BYTE* Data() const { return m_hasData ? m_bytes.get() : nullptr; }
  DWORD* Length() { return m_hasLength ? &m_length : nullptr; }
  // What was written.
  Bytes Content() const { return Bytes(m_bytes.get(), m_bytes.get() + (m_length < m_room ? m_length : m_room)); }

 private:
  DWORD m_room;
  DWORD m_length;
  bool m_hasData;
  bool m_hasLength;
  std::unique_ptr<BYTE[]> m_bytes;
};

class Caller {
 public:
  Caller(FuzzedDataProvider& data, InterfaceStage& stage) : m_data(data), m_stage(stage) {}

  // Usually creates what most calls need: a context, its pair, a hash with data, a session key, an imported key.
  void Prepare();
  // Makes the next call that the input describes.
  void CallOne();
  void ReleaseAll();

 private:
  using Call = std::function<BOOL()>;
  // Returns whether the call succeeded. A result that is neither TRUE nor FALSE must be `odd`.
  bool Make(const Call& call, Leaves leaves = Leaves::kNothing, BOOL odd = TRUE);

  // The last handle or another one; sometimes 0, an unknown handle, or one with a different upper half.
  template <typename Handle>
  Handle Any(const std::vector<Handle>& handles);
  HCRYPTPROV Context() { return Any(m_contexts); }
  HCRYPTHASH Hash() { return Any(m_hashes); }
  HCRYPTKEY Key() { return Any(m_keys); }
  // Mostly 0.
  DWORD Flags();
  Bytes Message();

  // CallerContexts.cpp
  void Acquire();
  void Release();
  void GetProvParam();
  void Enumerate();
  void GetStore();
  void SetProvParam();
  void GenRandom();
  // CallerHashes.cpp
  void CreateHash();
  void HashData();
  void HashSessionKey();
  void GetHashParam();
  void SetHashParam();
  void DestroyHash();
  void SignHash();
  void VerifySignature();
  void DuplicateHash();
  // CallerKeys.cpp
  void GenKey();
  void DeriveKey();
  void GetUserKey();
  void DestroyKey();
  void ExportKey();
  void ImportKey();
  Bytes AnyBlob();
  void Encrypt();
  void Decrypt();
  void GetKeyParam();
  void SetKeyParam();
  Bytes KeyParamValue(DWORD param);
  void SetSalt();
  void DuplicateKey();

  FuzzedDataProvider& m_data;
  InterfaceStage& m_stage;
  std::vector<HCRYPTPROV> m_contexts;
  std::vector<HCRYPTHASH> m_hashes;
  std::vector<HCRYPTKEY> m_keys;
  Bytes m_signature;  // the last one
  Bytes m_blob;
};

template <typename Handle>
Handle Caller::Any(const std::vector<Handle>& handles) {
  const int kind = m_data.ConsumeIntegralInRange(0, 31);
  if (kind == 31 || handles.empty()) return 0;
  if (kind == 30) return 0x12345678;
  if (kind < 16) return handles.back();
  const Handle handle = handles[m_data.ConsumeIntegralInRange<std::size_t>(0, handles.size() - 1)];
  return kind == 29 ? handle + (Handle{1} << 32U) : handle;
}

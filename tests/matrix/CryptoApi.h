// CryptoAPI as the flows call it: on Windows the system's functions, in the host build the provider's own, which also
// take the context of a key or a hash.
//
// Bytes are passed and returned as vectors. A function that fails throws ApiError.
#pragma once

#include "common/Platform.h"

#include <stdexcept>
#include <string>
#include <vector>

using Bytes = std::vector<BYTE>;

struct ApiError : std::runtime_error {
  ApiError(const char* function, DWORD lastError);
  DWORD code;
};

// Registers the provider as long as the object lives. On Windows TELVO_PROVIDER in the environment is its library.
class Registered {
 public:
  Registered();
  ~Registered();
  Registered(const Registered&) = delete;
  Registered& operator=(const Registered&) = delete;

 private:
  struct State;
  State* m_state;
};

// An open context, which is released at the end.
class Context {
 public:
  // A null name means the default container.
  Context(const char* name, DWORD flags);
  Context(const std::string& name, DWORD flags) : Context(name.c_str(), flags) {}
  ~Context();
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  void SetPin(const std::string& pin) const;
  // Reads a parameter into a buffer of 128 bytes and returns it as a string; empty at the end of a list.
  std::string GetText(DWORD parameter, DWORD flags = 0) const;
  HCERTSTORE OpenUserStore() const;
  Bytes Random(DWORD length) const;

  HCRYPTKEY UserKey() const;  // that of AT_KEYEXCHANGE
  HCRYPTKEY Generate(ALG_ID algorithm, DWORD flags) const;
  HCRYPTKEY Import(const Bytes& blob) const;
  // The provider returns too small a length with a SIMPLEBLOB, so the length from the query with a null buffer is used.
  Bytes Export(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type) const;
  void SetKey(HCRYPTKEY key, DWORD parameter, const BYTE* value) const;
  Bytes Certificate(HCRYPTKEY key) const;
  void Destroy(HCRYPTKEY key) const;

  // `length` and `room` are passed to the provider unchanged. It changes the buffer and returns the new length.
  DWORD Encrypt(HCRYPTKEY key, Bytes& data, DWORD length, DWORD room) const;
  DWORD Decrypt(HCRYPTKEY key, bool final, Bytes& data, DWORD length) const;

  // Signatures of the data, or of a value that is already hashed. The lowest byte comes first.
  Bytes Sign(ALG_ID algorithm, const Bytes& data) const;
  Bytes SignValue(ALG_ID algorithm, const Bytes& value) const;
  // False for NTE_BAD_SIGNATURE.
  bool Verify(ALG_ID algorithm, const Bytes& data, const Bytes& signature, HCRYPTKEY key) const;

 private:
  Bytes SignHash(HCRYPTHASH hash) const;
  HCRYPTHASH Hash(ALG_ID algorithm, const Bytes& data) const;

  HCRYPTPROV m_handle = 0;
};

void DeleteContainer(const std::string& name);

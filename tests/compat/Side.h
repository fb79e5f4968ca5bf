// A provider as the rows see it: this one, on the software token, or the platform's own, which keeps keys in the
// registry.
#pragma once

#include "common/Platform.h"

#include <string>

#include "Answer.h"

extern const char kReader[];

class Side {
 public:
  static const Side& Platform();
  static const Side& This();

  bool IsThis() const { return this == &This(); }
  const char* Provider() const { return m_provider; }
  DWORD Type() const { return m_type; }
  // The name of a container, with the reader where there are readers.
  std::string Container(const std::string& name) const;
  // A name that no other row has.
  std::string NewName() const;
  // Where there are PINs.
  void GivePin(HCRYPTPROV context) const;

  // Makes the container "prepared": pairs of 1024 bits, and a certificate for AT_KEYEXCHANGE where it can be kept.
  void Prepare() const;

 private:
  Side(const char* provider, DWORD type) : m_provider(provider), m_type(type) {}

  const char* m_provider;
  DWORD m_type;
};

// A context, which is released at the end. Throws StepFailed.
class Context {
 public:
  Context(const Side& side, const char* name, DWORD flags);
  ~Context();
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  operator HCRYPTPROV() const { return m_handle; }  // NOLINT: a row reads as the call does
  void Release();

 private:
  HCRYPTPROV m_handle = 0;
};

// The prepared container, with the PIN.
class Prepared : public Context {
 public:
  explicit Prepared(const Side& side, DWORD flags = 0);
};

class Verifying : public Context {
 public:
  explicit Verifying(const Side& side) : Context(side, nullptr, CRYPT_VERIFYCONTEXT) {}
};

// A new container with the PIN and without keys, which is deleted at the end.
class Fresh {
 public:
  explicit Fresh(const Side& side) : Fresh(side, side.Container(side.NewName())) {}
  ~Fresh();
  Fresh(const Fresh&) = delete;
  Fresh& operator=(const Fresh&) = delete;
  operator HCRYPTPROV() const { return m_context; }  // NOLINT: a row reads as the call does
  const std::string& Name() const { return m_name; }

 private:
  Fresh(const Side& side, const std::string& name);

  const Side& m_side;
  std::string m_name;
  Context m_context;
};

// A key or a hash, which is destroyed at the end.
template <BOOL(WINAPI* destroy)(ULONG_PTR)>
class Owned {
 public:
  Owned() = default;
  explicit Owned(ULONG_PTR handle) : m_handle(handle) {}
  // The last error is that of the call before.
  ~Owned() {
    const DWORD lastError = GetLastError();
    if (m_handle != 0) destroy(m_handle);
    SetLastError(lastError);
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  operator ULONG_PTR() const { return m_handle; }  // NOLINT: a row reads as the call does
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
std::string HashValue(HCRYPTHASH hash);  // the answer, with the beginning of the value
Bytes Exported(HCRYPTKEY key, DWORD type, HCRYPTKEY exchangeKey = 0);
// A session key of the platform's provider with the bytes 1, 2, 3, ..., in a SIMPLEBLOB for the pair of the context.
Bytes SimpleBlobFor(HCRYPTPROV context, ALG_ID algorithm, DWORD length);
// A SIMPLEBLOB wants the pair that it is for.
Key Imported(HCRYPTPROV context, const Bytes& blob, HCRYPTKEY pair = 0, DWORD flags = CRYPT_EXPORTABLE);
// Such a key as SimpleBlobFor makes, imported into a context with a pair.
Key Session(HCRYPTPROV context, ALG_ID algorithm, DWORD length);

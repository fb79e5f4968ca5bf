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
  // Does nothing where there are no PINs.
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
  operator HCRYPTPROV() const { return m_handle; }  // NOLINT: a row reads like the call
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
  operator HCRYPTPROV() const { return m_context; }  // NOLINT: a row reads like the call
  const std::string& Name() const { return m_name; }

 private:
  Fresh(const Side& side, const std::string& name);

  const Side& m_side;
  std::string m_name;
  Context m_context;
};

// Attribute: a CK_ATTRIBUTE that owns its value. Each object has its own copy of the bytes and overwrites it with zeros
// before it releases it, because a value may be key material.
#pragma once

#include "common/Platform.h"

#include <boost/shared_array.hpp>
#include <cstddef>

#include "cryptoki/Pkcs11.h"

class Attribute {
 public:
  // Type 0, no value.
  Attribute() = default;
  // An attribute made here. Copies the bytes; a null `value` or a `length` of 0 gives no value.
  Attribute(CK_ATTRIBUTE_TYPE type, const void* value, std::size_t length);
  // An attribute that the module filled in. Copies the bytes of a source that has an address and a length that is
  // neither 0 nor CK_UNAVAILABLE_INFORMATION. From any other source only type and length are taken.
  explicit Attribute(const CK_ATTRIBUTE& source);
  Attribute(const Attribute& source);
  // Takes type and length. Required: a source without a value leaves the old bytes in place, under the new length.
  Attribute& operator=(const CK_ATTRIBUTE& source);
  Attribute& operator=(const Attribute& source);
  virtual ~Attribute();

  // Replaces the value with a copy of `length` bytes. With a null `value` or a `length` of 0 nothing changes, not even
  // the type.
  void SetValue(const BYTE* value, CK_ULONG length, CK_ATTRIBUTE_TYPE type);
  void SetValue(const BYTE* value, CK_ULONG length);
  // Wipes and releases the value; the type stays.
  void Clear();

  CK_ATTRIBUTE_TYPE GetType() const { return m_type; }
  void SetType(CK_ATTRIBUTE_TYPE type) { m_type = type; }
  CK_ULONG GetLength() const { return m_length; }
  // The object's own bytes, null without a value. Only GetReadableLength of them exist.
  BYTE* GetValue() const { return m_value.get(); }
  // The length, but never more than there are bytes.
  CK_ULONG GetReadableLength() const;
  // What the module gets. It points at this object's bytes.
  CK_ATTRIBUTE ToTemplate() const;

 private:
  void Release();
  // Makes a value of `length` bytes: the first `count` come from `bytes`, the rest are zero.
  void Assign(const BYTE* bytes, CK_ULONG count, CK_ULONG length);

  CK_ATTRIBUTE_TYPE m_type = 0;
  boost::shared_array<BYTE> m_value;
  CK_ULONG m_length = 0;
  // The size of the value's memory. After an assignment the length may differ from it.
  CK_ULONG m_allocated = 0;
};

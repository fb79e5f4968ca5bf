// Attribute: the value form of a CK_ATTRIBUTE. Each object owns a copy of the bytes, which is overwritten
// with zeros before it is given back: attribute values may be key material.
#pragma once

#include "common/Platform.h"

#include <boost/shared_array.hpp>

#include "cryptoki/Pkcs11.h"

class Attribute {
 public:
  // Type 0, no value.
  Attribute() = default;
  // Copies the bytes of a source that has an address and a length that is neither 0 nor
  // CK_UNAVAILABLE_INFORMATION. Of any other source the length is kept, without a value.
  explicit Attribute(const CK_ATTRIBUTE& source);
  Attribute(const Attribute& source);
  // Takes type and length; the value is replaced only by a source that has one.
  //
  // Required: a source without a value leaves the old bytes in place, under the new length.
  Attribute& operator=(const CK_ATTRIBUTE& source);
  Attribute& operator=(const Attribute& source);
  virtual ~Attribute();

  // Replaces the value by a copy of `length` bytes. Without `value` or with `length` 0 nothing changes, not
  // even the type.
  void SetValue(const BYTE* value, CK_ULONG length, CK_ATTRIBUTE_TYPE type);
  void SetValue(const BYTE* value, CK_ULONG length);
  // Wipes and releases the value; the type stays.
  void Clear();

  CK_ATTRIBUTE_TYPE GetType() const { return m_type; }
  void SetType(CK_ATTRIBUTE_TYPE type) { m_type = type; }
  CK_ULONG GetLength() const { return m_length; }
  // The inner bytes, null without a value. Only GetReadableLength of them exist.
  BYTE* GetValue() const { return m_value.get(); }
  // The length, but never more than there are bytes.
  CK_ULONG GetReadableLength() const;
  // The form that the module gets. It points at this object's bytes.
  CK_ATTRIBUTE ToTemplate() const;

 private:
  void Release();
  // Makes the value `length` bytes, the first `count` of them from `bytes` and the rest zero.
  void Assign(const BYTE* bytes, CK_ULONG count, CK_ULONG length);

  CK_ATTRIBUTE_TYPE m_type = 0;
  boost::shared_array<BYTE> m_value;
  CK_ULONG m_length = 0;
  // The size of the value's memory, which the length can differ from after an assignment.
  CK_ULONG m_allocated = 0;
};

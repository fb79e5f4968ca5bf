#include "cryptoki/Attribute.h"

#include <algorithm>
#include <cstring>

#include "common/WipeMemory.h"

namespace {

bool IsLength(CK_ULONG length) { return length != 0 && length != CK_UNAVAILABLE_INFORMATION; }

}  // namespace

Attribute::Attribute(CK_ATTRIBUTE_TYPE type, const void* value, std::size_t length) : m_type(type) {
  SetValue(static_cast<const BYTE*>(value), static_cast<CK_ULONG>(length));
}

Attribute::Attribute(const CK_ATTRIBUTE& source) { *this = source; }

Attribute::Attribute(const Attribute& source) { *this = source; }

Attribute& Attribute::operator=(const CK_ATTRIBUTE& source) {
  m_type = source.type;
  m_length = source.ulValueLen;
  if (source.pValue != nullptr && IsLength(m_length)) {
    Assign(static_cast<const BYTE*>(source.pValue), m_length, m_length);
  }
  return *this;
}

Attribute& Attribute::operator=(const Attribute& source) {
  if (this == &source) return *this;
  m_type = source.m_type;
  m_length = source.m_length;
  if (source.m_value && IsLength(m_length)) Assign(source.m_value.get(), source.GetReadableLength(), m_length);
  return *this;
}

Attribute::~Attribute() { Release(); }

void Attribute::SetValue(const BYTE* value, CK_ULONG length, CK_ATTRIBUTE_TYPE type) {
  if (value == nullptr || length == 0) return;
  m_type = type;
  SetValue(value, length);
}

void Attribute::SetValue(const BYTE* value, CK_ULONG length) {
  if (value == nullptr || length == 0) return;
  Assign(value, length, length);
  m_length = length;
}

void Attribute::Clear() {
  Release();
  m_length = 0;
}

CK_ULONG Attribute::GetReadableLength() const { return std::min(m_length, m_allocated); }

CK_ATTRIBUTE Attribute::ToTemplate() const {
  return CK_ATTRIBUTE{m_type, m_value.get(), m_value ? GetReadableLength() : m_length};
}

void Attribute::Release() {
  WipeMemory(m_value.get(), m_allocated);
  m_value.reset();
  m_allocated = 0;
}

void Attribute::Assign(const BYTE* bytes, CK_ULONG count, CK_ULONG length) {
  // The new bytes are made first: the source may be this object's own value.
  const boost::shared_array<BYTE> fresh(new BYTE[length]());
  std::memcpy(fresh.get(), bytes, count);
  Release();
  m_value = fresh;
  m_allocated = length;
}

// AttributeTemplate: a list of attributes as the array of CK_ATTRIBUTE that the module takes. It points into the list,
// which must outlive it; no value is copied.
#pragma once

#include <list>
#include <vector>

#include "cryptoki/Attribute.h"

class AttributeTemplate {
 public:
  explicit AttributeTemplate(const std::list<Attribute>& attributes) {
    m_items.reserve(attributes.size());
    for (const Attribute& attribute : attributes) m_items.push_back(attribute.ToTemplate());
  }

  // Adds an attribute of type 0 without a value.
  void AddEmpty() { m_items.push_back(CK_ATTRIBUTE{0, nullptr, 0}); }

  // Null for an empty list.
  CK_ATTRIBUTE* Data() { return m_items.empty() ? nullptr : m_items.data(); }
  CK_ULONG Count() const { return static_cast<CK_ULONG>(m_items.size()); }

 private:
  std::vector<CK_ATTRIBUTE> m_items;
};

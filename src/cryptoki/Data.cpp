#include "cryptoki/Data.h"

Data::~Data() = default;

void Data::Update(const std::list<Attribute>& attributes) {
  CryptokiObject::Update(attributes);
  for (const Attribute& attribute : attributes) {
    if (attribute.GetType() == CKA_APPLICATION) m_application = DecodedText(attribute);
  }
}

void Data::GetID(BYTE* out, CK_ULONG* length) { CopyCached(CKA_OBJECT_ID, out, length); }

void Data::Retrieve() {
  ReadValues({CKA_APPLICATION});
  m_application = DecodedText(m_attributes.back());
}

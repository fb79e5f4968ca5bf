#include "cryptoki/CryptokiObject.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "cryptoki/AttributeTemplate.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/DecodeText.h"
#include "cryptoki/ReadValues.h"
#include "log/Logs.h"

namespace {

BYTE FirstByte(const Attribute& attribute) {
  return attribute.GetReadableLength() > 0 ? attribute.GetValue()[0] : BYTE{0};
}

CK_BBOOL IsOne(const Attribute& attribute) { return FirstByte(attribute) == 1 ? CK_TRUE : CK_FALSE; }

}  // namespace

CryptokiObject& CryptokiObject::operator=(const CryptokiObject& other) {
  if (this == &other) return *this;
  ICryptokiSettable::operator=(other);
  // New attributes are made instead of assigning each: an assigned one could keep the old bytes (see
  // Attribute::operator=).
  SetAttributes(other.m_attributes);
  m_label = other.m_label;
  m_modifiable = other.m_modifiable;
  m_private = other.m_private;
  m_token = other.m_token;
  m_extractable = other.m_extractable;
  m_sensitive = other.m_sensitive;
  m_class = other.m_class;
  return *this;
}

CryptokiObject::~CryptokiObject() = default;

CryptokiObject CryptokiObject::Create(const std::list<Attribute>& attributes) {
  AttributeTemplate items(attributes);
  items.AddEmpty();
  CK_OBJECT_HANDLE handle = 0;
  Check(Module().C_CreateObject(m_sessionHandle, items.Data(), items.Count(), &handle));
  CryptokiObject created;
  created.m_sessionHandle = m_sessionHandle;
  created.m_objectHandle = handle;
  return created;
}

void CryptokiObject::Destroy() {
  CryptokiInterface& module = BoundModule();
  const CK_RV result = module.C_DestroyObject(m_sessionHandle, m_objectHandle);
  m_objectHandle = 0;
  Check(result);
}

void CryptokiObject::Update(const std::list<Attribute>& attributes) {
  g_objectLog.WriteLine("CryptokiObject::Update - Entry");
  if (attributes.empty()) {
    g_objectLog.WriteLine("CryptokiObject::Update - attrList.size() == 0");
    throw CryptokiError(CKR_ARGUMENTS_BAD);
  }
  CryptokiInterface& module = BoundModule();
  AttributeTemplate items(attributes);
  g_objectLog.WriteLine("CryptokiObject::Update - SetAttributeValue");
  const CK_RV result = module.C_SetAttributeValue(m_sessionHandle, m_objectHandle, items.Data(), items.Count());
  g_objectLog.WriteLine("CryptokiObject::Update - AfterSetAttributeValue");
  if (result != CKR_OK) {
    g_objectLog.WriteLine("CryptokiObject::Update - throw error");
    throw CryptokiError(result);
  }
  for (const Attribute& attribute : attributes) {
    g_objectLog.WriteLine("CryptokiObject::Update - for 1");
    UpdateCached(attribute);
  }
  g_objectLog.WriteLine("CryptokiObject::Update - Exit");
}

void CryptokiObject::UpdateCached(const Attribute& attribute) {
  for (Attribute& cached : m_attributes) {
    g_objectLog.WriteLine("CryptokiObject::Update - for 2");
    if (cached.GetType() != attribute.GetType()) continue;
    g_objectLog.WriteLine("CryptokiObject::Update - if");
    cached.SetValue(attribute.GetValue(), attribute.GetReadableLength());
    g_objectLog.WriteLine("CryptokiObject::Update - before Switch");
    switch (attribute.GetType()) {
      case CKA_EXTRACTABLE:
        m_extractable = IsOne(attribute);
        break;
      case CKA_MODIFIABLE:
        m_modifiable = IsOne(attribute);
        break;
      case CKA_SENSITIVE:
        m_sensitive = IsOne(attribute);
        break;
      case CKA_TOKEN:
        m_token = IsOne(attribute);
        break;
      case CKA_PRIVATE:
        m_private = IsOne(attribute);
        break;
      case CKA_LABEL:
        m_label = DecodedText(attribute);
        break;
      default:
        break;
    }
  }
}

std::list<Attribute>& CryptokiObject::GetAttributes() { return m_attributes; }

Attribute CryptokiObject::GetAttribute(CK_ATTRIBUTE_TYPE type) {
  if (const Attribute* cached = FindAttribute(type)) return *cached;
  ReadValues({type});
  return m_attributes.back();
}

CK_OBJECT_CLASS CryptokiObject::GetClass() const { return m_class; }

std::string& CryptokiObject::GetLabel() { return m_label; }

bool CryptokiObject::IsModifiable() const { return m_modifiable != 0; }

bool CryptokiObject::IsPrivate() const { return m_private != 0; }

bool CryptokiObject::IsToken() const { return m_token != 0; }

bool CryptokiObject::IsExtractable() const { return m_extractable != 0; }

bool CryptokiObject::IsSensitive() const { return m_sensitive != 0; }

void CryptokiObject::GetID(BYTE* out, CK_ULONG* length) { CopyCached(CKA_ID, out, length); }

CK_OBJECT_HANDLE CryptokiObject::GetHandle() const { return m_objectHandle; }

void CryptokiObject::SetAttributes(const std::list<Attribute>& attributes) {
  std::list<Attribute>(attributes).swap(m_attributes);
}

void CryptokiObject::Retrieve() {
  BoundModule();
  m_attributes.clear();
  ReadFields({FieldOf(CKA_CLASS, m_class), FieldOf(CKA_MODIFIABLE, m_modifiable), FieldOf(CKA_PRIVATE, m_private),
              FieldOf(CKA_TOKEN, m_token)});
  ReadValues({m_class == CKO_DATA ? CKA_OBJECT_ID : CKA_ID, CKA_LABEL});
  m_label = DecodedText(m_attributes.back());
}

void CryptokiObject::Bind(const ICryptokiSettable& session, CK_OBJECT_HANDLE handle) {
  SetCryptoki(session.GetCryptoki());
  m_sessionHandle = session.GetSessionHandle();
  m_objectHandle = handle;
}

CryptokiInterface& CryptokiObject::BoundModule() const {
  if (m_sessionHandle == 0 || m_objectHandle == 0) throw CryptokiError(CKR_ARGUMENTS_BAD);
  return Module();
}

void CryptokiObject::ReadFields(std::initializer_list<Field> fields) {
  std::vector<CK_ATTRIBUTE> items;
  for (const Field& field : fields) items.push_back(CK_ATTRIBUTE{field.type, field.value, field.size});
  Check(BoundModule().C_GetAttributeValue(m_sessionHandle, m_objectHandle, items.data(),
                                          static_cast<CK_ULONG>(items.size())));
  auto item = items.begin();
  for (const Field& field : fields) m_attributes.push_back(FilledAttribute(*item++, field.size));
}

void CryptokiObject::ReadValues(std::initializer_list<CK_ATTRIBUTE_TYPE> types) {
  CryptokiInterface& module = BoundModule();
  m_attributes.splice(m_attributes.end(), ::ReadValues(types, [&](CK_ATTRIBUTE* items, CK_ULONG count) {
                        return module.C_GetAttributeValue(m_sessionHandle, m_objectHandle, items, count);
                      }));
}

const Attribute* CryptokiObject::FindAttribute(CK_ATTRIBUTE_TYPE type) const {
  const auto found = std::find_if(m_attributes.begin(), m_attributes.end(),
                                  [type](const Attribute& attribute) { return attribute.GetType() == type; });
  return found != m_attributes.end() ? &*found : nullptr;
}

std::string CryptokiObject::DecodedText(const Attribute& attribute) {
  return DecodeText(attribute.GetValue(), static_cast<DWORD>(attribute.GetReadableLength()));
}

void CryptokiObject::CopyCached(CK_ATTRIBUTE_TYPE type, BYTE* out, CK_ULONG* length, StepLog log) const {
  log("GetModulus - Entry");
  log("GetModulus - Check attrList.size()");
  if (m_attributes.empty()) {
    log("GetModulus - Exit: CKR_ARGUMENTS_BAD");
    throw CryptokiError(CKR_ARGUMENTS_BAD);
  }
  log("GetModulus - Iterating through attribute list");
  const Attribute* const cached = FindAttribute(type);
  if (cached == nullptr) {
    log("GetModulus - Exit: CKR_ATTRIBUTE_TYPE_INVALID");
    throw CryptokiError(CKR_ATTRIBUTE_TYPE_INVALID);
  }
  log("GetModulus - ATTR_MODULUS Found");
  const CK_ULONG needed = cached->GetReadableLength();
  if (out == nullptr) {
    log("GetModulus - pModulus is NULL, returning ulModulusLen");
    *length = needed;
    log("GetModulus - Exit");
    return;
  }
  log("GetModulus - Trying to get Modulus");
  if (*length < needed) {
    log("GetModulus - ulModulusLen is too small. Getting proper length");
    *length = needed;
    log("GetModulus - Exit: CKR_BUFFER_TOO_SMALL");
    throw CryptokiError(CKR_BUFFER_TOO_SMALL);
  }
  log("GetModulus - Copying modulus");
  if (needed > 0) std::memcpy(out, cached->GetValue(), needed);
  log("GetModulus - Exit: pModulus retrieved");
}

void CryptokiObject::LogStep(const char* line) { g_objectLog.WriteLine(line); }
void CryptokiObject::LogNothing(const char* /*line*/) {}

void CryptokiObject::StoreFields(const std::list<Attribute>& attributes, std::initializer_list<Field> fields) {
  for (const Attribute& attribute : attributes) {
    for (const Field& field : fields) {
      if (field.type != attribute.GetType()) continue;
      std::memset(field.value, 0, field.size);
      const CK_ULONG count = std::min(field.size, attribute.GetReadableLength());
      if (count > 0) std::memcpy(field.value, attribute.GetValue(), count);
    }
  }
}

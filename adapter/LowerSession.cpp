#include "adapter/LowerSession.h"

#include <algorithm>
#include <array>

namespace adapter {

using pkcs11::Check;
using pkcs11::Failure;
using pkcs11::Secret;

namespace {

// The most that a module may report: the bytes of one attribute, and the objects of one search.
constexpr CK_ULONG kLongestValue = CK_ULONG{1} << 20U;
constexpr std::size_t kMostObjects = 100000;

// Results of a read that has handled every attribute of the template.
bool IsPartial(CK_RV result) {
  return result == CKR_OK || result == CKR_ATTRIBUTE_SENSITIVE || result == CKR_ATTRIBUTE_TYPE_INVALID ||
         result == CKR_BUFFER_TOO_SMALL;
}

bool IsReadable(const CK_ATTRIBUTE& attribute) { return attribute.ulValueLen <= kLongestValue; }

}  // namespace

bool IsRemoval(CK_RV result) {
  return result == CKR_DEVICE_REMOVED || result == CKR_TOKEN_NOT_PRESENT || result == CKR_TOKEN_NOT_RECOGNIZED ||
         result == CKR_SESSION_HANDLE_INVALID || result == CKR_SESSION_CLOSED;
}

CK_RV LowerSession::Judged(CK_RV result) {
  if (!IsRemoval(result)) return result;
  Gone();
  throw Failure{CKR_DEVICE_REMOVED};
}

CK_RV LowerSession::OpenWith(CK_FLAGS flags, CK_SESSION_HANDLE& handle) {
  return m_module.Call<&CK_FUNCTION_LIST::C_OpenSession>(m_slot, flags, CK_VOID_PTR{nullptr}, CK_NOTIFY{nullptr},
                                                         &handle);
}

CK_SESSION_HANDLE LowerSession::OpenNew() {
  CK_SESSION_HANDLE handle = 0;
  CK_RV result = OpenWith(CKF_SERIAL_SESSION | CKF_RW_SESSION, handle);
  if (result == CKR_TOKEN_WRITE_PROTECTED) result = OpenWith(CKF_SERIAL_SESSION, handle);
  Check(result);
  return handle;
}

void LowerSession::Open() {
  if (!IsOpen()) m_handle = OpenNew();
}

void LowerSession::Close() {
  if (IsOpen()) m_module.Call<&CK_FUNCTION_LIST::C_CloseSession>(*m_handle);
  m_handle.reset();
}

void LowerSession::Gone() {
  Close();
  ++m_presence;
}

void LowerSession::Renew() {
  const CK_SESSION_HANDLE fresh = OpenNew();
  Close();
  m_handle = fresh;
}

std::vector<CK_OBJECT_HANDLE> LowerSession::Find(std::vector<CK_ATTRIBUTE> wanted) {
  Check(Begin<&CK_FUNCTION_LIST::C_FindObjectsInit>(wanted.empty() ? nullptr : wanted.data(),
                                                    static_cast<CK_ULONG>(wanted.size())));
  std::vector<CK_OBJECT_HANDLE> found;
  std::array<CK_OBJECT_HANDLE, 64> piece = {};
  CK_ULONG got = 0;
  CK_RV result = CKR_OK;
  do {
    got = 0;
    result = Call<&CK_FUNCTION_LIST::C_FindObjects>(piece.data(), static_cast<CK_ULONG>(piece.size()), &got);
    if (result == CKR_OK && (got > piece.size() || found.size() > kMostObjects)) result = CKR_GENERAL_ERROR;
    if (result == CKR_OK) found.insert(found.end(), piece.begin(), piece.begin() + got);
  } while (result == CKR_OK && got != 0);
  // A failure here does not fail the search: the list is complete.
  Call<&CK_FUNCTION_LIST::C_FindObjectsFinal>();
  Check(result);
  return found;
}

Values LowerSession::Read(CK_OBJECT_HANDLE object, const std::vector<CK_ATTRIBUTE_TYPE>& types) {
  Values values;
  std::vector<CK_ATTRIBUTE> readable = AskLengths(object, types);
  if (ReadTogether(object, readable, values)) return values;
  values = Values();
  for (const CK_ATTRIBUTE& attribute : readable) ReadOne(object, attribute, values);
  return values;
}

// The attributes that can be read, with their lengths. A module that stops at an attribute it cannot read is asked for
// each one separately.
std::vector<CK_ATTRIBUTE> LowerSession::AskLengths(CK_OBJECT_HANDLE object,
                                                   const std::vector<CK_ATTRIBUTE_TYPE>& types) {
  std::vector<CK_ATTRIBUTE> attributes;
  attributes.reserve(types.size());
  for (const CK_ATTRIBUTE_TYPE type : types) attributes.push_back({type, nullptr, CK_UNAVAILABLE_INFORMATION});
  const CK_RV result =
      Call<&CK_FUNCTION_LIST::C_GetAttributeValue>(object, attributes.data(), static_cast<CK_ULONG>(attributes.size()));
  if (result == CKR_OBJECT_HANDLE_INVALID) return {};
  if (!IsPartial(result)) {
    for (CK_ATTRIBUTE& attribute : attributes) {
      attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
      if (!IsPartial(Call<&CK_FUNCTION_LIST::C_GetAttributeValue>(object, &attribute, CK_ULONG{1}))) {
        attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
      }
    }
  }
  attributes.erase(std::remove_if(attributes.begin(), attributes.end(),
                                  [](const CK_ATTRIBUTE& attribute) { return !IsReadable(attribute); }),
                   attributes.end());
  return attributes;
}

// Returns false when the values have to be read one by one. `attributes` keeps the lengths from the query.
bool LowerSession::ReadTogether(CK_OBJECT_HANDLE object, std::vector<CK_ATTRIBUTE>& attributes, Values& values) {
  if (attributes.empty()) return true;
  std::vector<Secret> buffers;
  std::vector<CK_ATTRIBUTE> filled = attributes;
  for (CK_ATTRIBUTE& attribute : filled) {
    // One byte at least: a null pointer would ask for the length.
    buffers.emplace_back(std::max<CK_ULONG>(attribute.ulValueLen, 1));
    attribute.pValue = buffers.back().data();
  }
  const CK_RV result =
      Call<&CK_FUNCTION_LIST::C_GetAttributeValue>(object, filled.data(), static_cast<CK_ULONG>(filled.size()));
  if (result != CKR_OK) return false;
  for (std::size_t i = 0; i < filled.size(); ++i) {
    if (filled[i].ulValueLen > attributes[i].ulValueLen) continue;  // a lie, or not there
    buffers[i].resize(filled[i].ulValueLen);
    values.Set(filled[i].type, std::move(buffers[i]));
  }
  return true;
}

void LowerSession::ReadOne(CK_OBJECT_HANDLE object, CK_ATTRIBUTE attribute, Values& values) {
  Secret buffer(std::max<CK_ULONG>(attribute.ulValueLen, 1));
  attribute.pValue = buffer.data();
  const CK_ULONG room = attribute.ulValueLen;
  const CK_RV result = Call<&CK_FUNCTION_LIST::C_GetAttributeValue>(object, &attribute, CK_ULONG{1});
  if (result != CKR_OK || attribute.ulValueLen > room) return;
  buffer.resize(attribute.ulValueLen);
  values.Set(attribute.type, std::move(buffer));
}

}  // namespace adapter

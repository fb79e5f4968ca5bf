// The entries of Adapter about objects.
#include <algorithm>
#include <tuple>

#include "adapter/Adapter.h"
#include "adapter/Certificate.h"
#include "adapter/Completion.h"
#include "adapter/ReadObject.h"
#include "adapter/Templates.h"

namespace adapter {

using pkcs11::AsksFor;
using pkcs11::Check;
using pkcs11::CheckTemplate;
using pkcs11::Making;
using pkcs11::NumberIn;
using pkcs11::Require;

namespace {

// The order of objects in a search: the token's first, then by class, label and identifier.
auto RankOf(const Object& object, CK_OBJECT_HANDLE handle) {
  return std::make_tuple(!object.IsOnToken(), object.Class(), object.values.Bytes(CKA_LABEL),
                         object.values.Bytes(CKA_ID), handle);
}

// The parts of a key that never leave the token, and the value of a key that hides it.
bool IsSensitive(const Object& object, CK_ATTRIBUTE_TYPE type) {
  const CK_OBJECT_CLASS objectClass = object.Class();
  if (objectClass == CKO_PRIVATE_KEY) {
    return type == CKA_PRIVATE_EXPONENT || type == CKA_PRIME_1 || type == CKA_PRIME_2 || type == CKA_EXPONENT_1 ||
           type == CKA_EXPONENT_2 || type == CKA_COEFFICIENT || type == CKA_VALUE;
  }
  const bool hides = object.values.Flag(CKA_SENSITIVE) || !object.values.Flag(CKA_EXTRACTABLE);
  return objectClass == CKO_SECRET_KEY && type == CKA_VALUE && hides;
}

}  // namespace

bool Adapter::IsVisible(const Session& session, const Object& object) {
  if (object.slot != session.slot) return false;
  // A private key may be seen before a login, but not used.
  return object.IsPrivateKey() || !object.NeedsLogin() || TokenOf(session).User().IsUser();
}

Object& Adapter::ObjectOf(const Session& session, CK_OBJECT_HANDLE handle, CK_RV otherwise) {
  Object* const object = m_objects.Find(handle);
  Require(object != nullptr && IsVisible(session, *object), otherwise);
  return *object;
}

void Adapter::RequireMayChange(const Session& session) {
  Require(session.readWrite, CKR_SESSION_READ_ONLY);
  Require(TokenOf(session).User().IsUser(), CKR_USER_NOT_LOGGED_IN);
}

template <auto Entry, typename... A>
CK_RV Adapter::CallOnObject(Token& token, Object& object, A... arguments) {
  const CK_RV result = token.Session().Call<Entry>(token.Objects().Lower(object), arguments...);
  if (result != CKR_OBJECT_HANDLE_INVALID) return result;
  object.lower.reset();
  return token.Session().Call<Entry>(token.Objects().Lower(object), arguments...);
}

CK_RV Adapter::C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                              CK_OBJECT_HANDLE_PTR object) {
  const Session& entered = Enter(session);
  CheckTemplate(attributes, count);
  Require(object != nullptr, CKR_ARGUMENTS_BAD);
  const CK_OBJECT_CLASS objectClass = NumberIn(attributes, count, CKA_CLASS, CKO_VENDOR_DEFINED);
  Require(objectClass != CKO_VENDOR_DEFINED, CKR_TEMPLATE_INCOMPLETE);
  if (AsksFor(attributes, count, CKA_TOKEN)) {
    RequireMayChange(entered);
    *object = CreateOnToken(entered, attributes, count);
    return CKR_OK;
  }
  // Private operations stay on the token, so the adapter keeps no private keys.
  Require(objectClass != CKO_PRIVATE_KEY, CKR_TEMPLATE_INCONSISTENT);
  const auto taken = pkcs11::TemplateFor(Making::Created, objectClass, attributes, count);
  *object = CreateInSession(session, Values(taken.data(), static_cast<CK_ULONG>(taken.size())));
  return CKR_OK;
}

CK_OBJECT_HANDLE Adapter::CreateInSession(CK_SESSION_HANDLE session, Values values) {
  const CK_OBJECT_CLASS objectClass = values.Number(CKA_CLASS).value_or(CKO_VENDOR_DEFINED);
  const bool isPublicKey = objectClass == CKO_PUBLIC_KEY;
  const bool isSecretKey = objectClass == CKO_SECRET_KEY;
  Require(isSecretKey || isPublicKey || objectClass == CKO_CERTIFICATE || objectClass == CKO_DATA,
          CKR_ATTRIBUTE_VALUE_INVALID);
  Require((!isPublicKey && !isSecretKey) || values.Number(CKA_KEY_TYPE), CKR_TEMPLATE_INCOMPLETE);
  const bool hasNumbers = !values.Bytes(CKA_MODULUS).empty() && !values.Bytes(CKA_PUBLIC_EXPONENT).empty();
  Require(!isPublicKey || hasNumbers, CKR_TEMPLATE_INCOMPLETE);
  Require(!isSecretKey || !values.Bytes(CKA_VALUE).empty(), CKR_TEMPLATE_INCOMPLETE);
  if (isSecretKey) values.SetNumber(CKA_VALUE_LEN, static_cast<CK_ULONG>(values.Bytes(CKA_VALUE).size()));
  CompleteSessionObject(values);
  const CK_SLOT_ID slot = m_sessions.Find(session)->slot;
  return m_objects.Insert({slot, session, std::nullopt, 0, std::move(values)});
}

CK_OBJECT_HANDLE Adapter::CreateOnToken(const Session& session, const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  Token& token = TokenOf(session);
  const CK_OBJECT_CLASS objectClass = NumberIn(attributes, count, CKA_CLASS, CKO_VENDOR_DEFINED);
  std::vector<CK_ATTRIBUTE> taken = TemplateForModule(Making::Created, objectClass, attributes, count);
  CK_OBJECT_HANDLE lower = 0;
  Check(token.Session().Call<&CK_FUNCTION_LIST::C_CreateObject>(taken.data(), static_cast<CK_ULONG>(taken.size()),
                                                                &lower));
  return token.Objects().Adopt(lower, Values(taken.data(), static_cast<CK_ULONG>(taken.size())));
}

CK_RV Adapter::C_CopyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                            CK_ULONG count, CK_OBJECT_HANDLE_PTR newObject) {
  const Session& entered = Enter(session);
  CheckTemplate(attributes, count);
  Require(newObject != nullptr, CKR_ARGUMENTS_BAD);
  Object& original = ObjectOf(entered, object);
  if (!original.IsOnToken()) {
    Require(!AsksFor(attributes, count, CKA_TOKEN), CKR_TEMPLATE_INCONSISTENT);
    Values values = original.values;
    for (const auto& [type, value] : Values(attributes, count)) values.Set(type, value);
    *newObject = CreateInSession(session, std::move(values));
    return CKR_OK;
  }
  RequireMayChange(entered);
  Token& token = TokenOf(entered);
  CK_OBJECT_HANDLE lower = 0;
  Check(CallOnObject<&CK_FUNCTION_LIST::C_CopyObject>(token, original, attributes, count, &lower));
  *newObject = token.Objects().Adopt(lower, Values(attributes, count));
  return CKR_OK;
}

CK_RV Adapter::C_DestroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
  const Session& entered = Enter(session);
  Object& known = ObjectOf(entered, object);
  if (!known.IsOnToken()) {
    m_objects.Erase(object);
    return CKR_OK;
  }
  RequireMayChange(entered);
  Token& token = TokenOf(entered);
  Check(CallOnObject<&CK_FUNCTION_LIST::C_DestroyObject>(token, known));
  token.Objects().Removed(object);
  return CKR_OK;
}

CK_RV Adapter::ReadAttribute(const Session& session, Object& object, CK_ATTRIBUTE& attribute) {
  if (IsSensitive(object, attribute.type)) {
    attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_ATTRIBUTE_SENSITIVE;
  }
  const pkcs11::Secret* const value = object.values.Find(attribute.type);
  const bool isKnown = value != nullptr || !object.IsOnToken() || IsRead(object.Class(), attribute.type);
  if (isKnown) return Answer(value, attribute);
  // A stand-in has nothing else. What a private object hides without a login stays hidden.
  Token& token = TokenOf(session);
  if (object.NeedsLogin() && !token.User().IsUser()) return Answer(nullptr, attribute);
  const Values read = token.Session().Read(token.Objects().Lower(object), {attribute.type});
  return Answer(read.Find(attribute.type), attribute);
}

CK_RV Adapter::C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                                   CK_ULONG count) {
  const Session& entered = Enter(session);
  Require(attributes != nullptr, CKR_ARGUMENTS_BAD);
  Object& known = ObjectOf(entered, object);
  CK_RV result = CKR_OK;
  for (CK_ULONG i = 0; i < count; ++i) {
    const CK_RV answer = ReadAttribute(entered, known, attributes[i]);
    if (result == CKR_OK) result = answer;
  }
  return result;
}

CK_RV Adapter::C_SetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                                   CK_ULONG count) {
  const Session& entered = Enter(session);
  CheckTemplate(attributes, count);
  Object& known = ObjectOf(entered, object);
  const bool touchesOwn = std::any_of(attributes, attributes + count, [&](const CK_ATTRIBUTE& attribute) {
    return IsOwn(known.Class(), attribute.type);
  });
  if (known.IsOnToken()) RequireMayChange(entered);
  Require(!touchesOwn, CKR_ATTRIBUTE_READ_ONLY);
  if (!known.IsOnToken()) {
    Require(known.values.Flag(CKA_MODIFIABLE), CKR_ATTRIBUTE_READ_ONLY);
    for (const auto& [type, value] : Values(attributes, count)) known.values.Set(type, value);
    return CKR_OK;
  }
  Token& token = TokenOf(entered);
  Check(CallOnObject<&CK_FUNCTION_LIST::C_SetAttributeValue>(token, known, attributes, count));
  token.Objects().Reread(known);
  return CKR_OK;
}

CK_RV Adapter::C_FindObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count) {
  Session& entered = Enter(session);
  CheckTemplate(attributes, count);
  Require(!entered.search, CKR_OPERATION_ACTIVE);
  TokenOf(entered).Objects().Refresh();
  std::vector<CK_OBJECT_HANDLE> found;
  for (const auto& [handle, object] : m_objects) {
    if (IsVisible(entered, object) && object.values.Matches(attributes, count)) found.push_back(handle);
  }
  std::sort(found.begin(), found.end(), [this](CK_OBJECT_HANDLE a, CK_OBJECT_HANDLE b) {
    return RankOf(*m_objects.Find(a), a) < RankOf(*m_objects.Find(b), b);
  });
  entered.search = pkcs11::Search{std::move(found)};
  return CKR_OK;
}

CK_RV Adapter::C_FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maxCount,
                             CK_ULONG_PTR count) {
  pkcs11::HandOut(Enter(session).search, objects, maxCount, count);
  return CKR_OK;
}

CK_RV Adapter::C_FindObjectsFinal(CK_SESSION_HANDLE session) {
  Session& entered = Enter(session);
  Require(entered.search.has_value(), CKR_OPERATION_NOT_INITIALIZED);
  entered.search.reset();
  return CKR_OK;
}

}  // namespace adapter

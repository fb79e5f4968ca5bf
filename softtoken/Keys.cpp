// The entries of SoftToken that make keys, wrap keys and begin digests.
#include "SharedNames.h"
#include "SoftToken.h"

namespace softtoken {

CK_RV SoftToken::C_DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism) {
  Session& entered = Enter(session);
  CheckMechanism(mechanism);
  StartOperation(entered, Work::Digest,
                 [&](CK_SESSION_HANDLE lower) { return Functions().C_DigestInit(lower, mechanism); });
  return CKR_OK;
}

CK_RV SoftToken::C_DigestKey(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key) {
  constexpr Step step = kStep<&CK_FUNCTION_LIST::C_DigestKey>;
  return Advance(session, step, false, [&](const Session& entered, const Operation& operation) {
    RequireLoginToUse(entered, key);
    return Functions().C_DigestKey(operation.lower, key);
  });
}

CK_RV SoftToken::C_GenerateKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_ATTRIBUTE_PTR attributes,
                               CK_ULONG count, CK_OBJECT_HANDLE_PTR key) {
  const Session& entered = Enter(session);
  RequireLoginToMake(entered, attributes, count);
  CheckMechanism(mechanism);
  auto taken = TemplateFor(Making::Generated, CKO_SECRET_KEY, attributes, count);
  const auto lock = LockToChange(entered, AsksFor(attributes, count, CKA_TOKEN));
  return Functions().C_GenerateKey(entered.lower, mechanism, taken.data(), taken.size(), key);
}

CK_RV SoftToken::C_GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism,
                                   CK_ATTRIBUTE_PTR publicAttributes, CK_ULONG publicCount,
                                   CK_ATTRIBUTE_PTR privateAttributes, CK_ULONG privateCount,
                                   CK_OBJECT_HANDLE_PTR publicKey, CK_OBJECT_HANDLE_PTR privateKey) {
  const Session& entered = Enter(session);
  RequireLoginToMake(entered, publicAttributes, publicCount);
  RequireLoginToMake(entered, privateAttributes, privateCount);
  CheckMechanism(mechanism);
  auto publicTaken = TemplateFor(Making::Generated, CKO_PUBLIC_KEY, publicAttributes, publicCount);
  auto privateTaken = TemplateFor(Making::Generated, CKO_PRIVATE_KEY, privateAttributes, privateCount);
  const bool onToken =
      AsksFor(publicAttributes, publicCount, CKA_TOKEN) || AsksFor(privateAttributes, privateCount, CKA_TOKEN);
  const auto lock = LockToChange(entered, onToken);
  return Functions().C_GenerateKeyPair(entered.lower, mechanism, publicTaken.data(), publicTaken.size(),
                                       privateTaken.data(), privateTaken.size(), publicKey, privateKey);
}

CK_RV SoftToken::C_WrapKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE wrappingKey,
                           CK_OBJECT_HANDLE key, CK_BYTE_PTR wrapped, CK_ULONG_PTR wrappedLen) {
  const Session& entered = Enter(session);
  RequireLoginToUse(entered, wrappingKey);
  RequireLoginToUse(entered, key);
  CheckMechanism(mechanism);
  return Functions().C_WrapKey(entered.lower, mechanism, wrappingKey, key, wrapped, wrappedLen);
}

CK_RV SoftToken::C_UnwrapKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE unwrappingKey,
                             CK_BYTE_PTR wrapped, CK_ULONG wrappedLen, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                             CK_OBJECT_HANDLE_PTR key) {
  const Session& entered = Enter(session);
  RequireLoginToUse(entered, unwrappingKey);
  RequireLoginToMake(entered, attributes, count);
  CheckMechanism(mechanism);
  const CK_OBJECT_CLASS objectClass = NumberIn(attributes, count, CKA_CLASS, CKO_SECRET_KEY);
  auto taken = TemplateFor(Making::Unwrapped, objectClass, attributes, count);
  const auto lock = LockToChange(entered, AsksFor(attributes, count, CKA_TOKEN));
  return Functions().C_UnwrapKey(entered.lower, mechanism, unwrappingKey, wrapped, wrappedLen, taken.data(),
                                 taken.size(), key);
}

CK_RV SoftToken::C_DeriveKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE baseKey,
                             CK_ATTRIBUTE_PTR attributes, CK_ULONG count, CK_OBJECT_HANDLE_PTR key) {
  const Session& entered = Enter(session);
  RequireLoginToUse(entered, baseKey);
  RequireLoginToMake(entered, attributes, count);
  CheckMechanism(mechanism);
  const CK_OBJECT_CLASS objectClass = NumberIn(attributes, count, CKA_CLASS, CKO_SECRET_KEY);
  auto taken = TemplateFor(Making::Derived, objectClass, attributes, count);
  const auto lock = LockToChange(entered, AsksFor(attributes, count, CKA_TOKEN));
  return Functions().C_DeriveKey(entered.lower, mechanism, baseKey, taken.data(), taken.size(), key);
}

}  // namespace softtoken

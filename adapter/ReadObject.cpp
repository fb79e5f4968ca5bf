#include "adapter/ReadObject.h"

#include <algorithm>

#include "pkcs11/ObjectClasses.h"

namespace adapter {
namespace {

using namespace pkcs11::classes;

struct ReadRow {
  CK_ATTRIBUTE_TYPE type;
  unsigned classes;
};

constexpr ReadRow kReadRows[] = {
    {CKA_TOKEN, kAll},
    {CKA_PRIVATE, kAll},
    {CKA_MODIFIABLE, kAll},
    {CKA_LABEL, kAll},
    {CKA_ID, kAll},
    {CKA_APPLICATION, kData},
    {CKA_OBJECT_ID, kData},
    {CKA_CERTIFICATE_TYPE, kCertificate},
    {CKA_VALUE, kCertificate},
    {CKA_ISSUER, kCertificate},
    {CKA_SERIAL_NUMBER, kCertificate},
    {CKA_TRUSTED, kCertificate},
    {CKA_SUBJECT, kCertificate | kPublic | kPrivate},
    {CKA_KEY_TYPE, kKeys},
    {CKA_LOCAL, kKeys},
    {CKA_DERIVE, kKeys},
    {CKA_KEY_GEN_MECHANISM, kKeys},
    {CKA_MODULUS, kPublic | kPrivate},
    {CKA_PUBLIC_EXPONENT, kPublic | kPrivate},
    {CKA_MODULUS_BITS, kPublic | kPrivate},
    {CKA_ENCRYPT, kPublic | kSecret},
    {CKA_VERIFY, kPublic | kSecret},
    {CKA_VERIFY_RECOVER, kPublic},
    {CKA_WRAP, kPublic | kSecret},
    {CKA_SENSITIVE, kPrivate | kSecret},
    {CKA_EXTRACTABLE, kPrivate | kSecret},
    {CKA_ALWAYS_SENSITIVE, kPrivate | kSecret},
    {CKA_NEVER_EXTRACTABLE, kPrivate | kSecret},
    {CKA_DECRYPT, kPrivate | kSecret},
    {CKA_SIGN, kPrivate | kSecret},
    {CKA_SIGN_RECOVER, kPrivate},
    {CKA_UNWRAP, kPrivate | kSecret},
    {CKA_ALWAYS_AUTHENTICATE, kPrivate},
    {CKA_VALUE_LEN, kSecret},
};

std::vector<CK_ATTRIBUTE_TYPE> TypesOf(CK_OBJECT_CLASS objectClass) {
  std::vector<CK_ATTRIBUTE_TYPE> types;
  for (const ReadRow& row : kReadRows) {
    if ((row.classes & BitOf(objectClass)) != 0) types.push_back(row.type);
  }
  return types;
}

}  // namespace

bool IsRead(CK_OBJECT_CLASS objectClass, CK_ATTRIBUTE_TYPE type) {
  return type == CKA_CLASS || std::any_of(std::begin(kReadRows), std::end(kReadRows), [&](const ReadRow& row) {
           return row.type == type && (row.classes & BitOf(objectClass)) != 0;
         });
}

Values ReadObject(LowerSession& session, CK_OBJECT_HANDLE object) {
  const std::optional<CK_ULONG> objectClass = session.Read(object, {CKA_CLASS}).Number(CKA_CLASS);
  // The provider has no use for objects of vendor-defined classes, profiles and hardware features.
  if (!objectClass || BitOf(*objectClass) == 0) return {};
  Values values = session.Read(object, TypesOf(*objectClass));
  values.SetNumber(CKA_CLASS, *objectClass);
  return values;
}

}  // namespace adapter

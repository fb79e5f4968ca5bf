#include "pkcs11/Templates.h"

#include <algorithm>
#include <cstring>

#include "pkcs11/Failure.h"
#include "pkcs11/ObjectClasses.h"

namespace pkcs11 {
namespace {

using namespace pkcs11::classes;

// The ways to make an object, as bits.
enum : unsigned {
  kCreated = 1,
  kGenerated = 2,
  kUnwrapped = 4,
  kDerived = 8,
  kAnyhow = kCreated | kGenerated | kUnwrapped | kDerived,
};

struct Place {
  CK_ATTRIBUTE_TYPE type;
  unsigned classes;
  unsigned makings;
};

constexpr Place kPlaces[] = {
    {CKA_CLASS, kAll, kAnyhow},
    {CKA_TOKEN, kAll, kAnyhow},
    {CKA_PRIVATE, kAll, kAnyhow},
    {CKA_MODIFIABLE, kAll, kAnyhow},
    {CKA_COPYABLE, kAll, kAnyhow},
    {CKA_DESTROYABLE, kAll, kAnyhow},
    {CKA_LABEL, kAll, kAnyhow},
    {CKA_APPLICATION, kData, kAnyhow},
    {CKA_OBJECT_ID, kData, kAnyhow},
    {CKA_VALUE, kAll, kAnyhow},  // also of keys other than RSA
    {CKA_CERTIFICATE_TYPE, kCertificate, kAnyhow},
    {CKA_CERTIFICATE_CATEGORY, kCertificate, kAnyhow},
    {CKA_ISSUER, kCertificate, kAnyhow},
    {CKA_SERIAL_NUMBER, kCertificate, kAnyhow},
    {CKA_URL, kCertificate, kAnyhow},
    {CKA_HASH_OF_SUBJECT_PUBLIC_KEY, kCertificate, kAnyhow},
    {CKA_HASH_OF_ISSUER_PUBLIC_KEY, kCertificate, kAnyhow},
    {CKA_JAVA_MIDP_SECURITY_DOMAIN, kCertificate, kAnyhow},
    {CKA_NAME_HASH_ALGORITHM, kCertificate, kAnyhow},
    {CKA_CHECK_VALUE, kCertificate | kSecret, kAnyhow},
    {CKA_TRUSTED, kCertificate | kPublic | kSecret, kAnyhow},
    {CKA_SUBJECT, kCertificate | kPublic | kPrivate, kAnyhow},
    {CKA_ID, kCertificate | kKeys, kAnyhow},
    {CKA_START_DATE, kCertificate | kKeys, kAnyhow},
    {CKA_END_DATE, kCertificate | kKeys, kAnyhow},
    {CKA_KEY_TYPE, kKeys, kAnyhow},
    {CKA_DERIVE, kKeys, kAnyhow},
    {CKA_ALLOWED_MECHANISMS, kKeys, kAnyhow},
    {CKA_ENCRYPT, kPublic | kSecret, kAnyhow},
    {CKA_VERIFY, kPublic | kSecret, kAnyhow},
    {CKA_VERIFY_RECOVER, kPublic, kAnyhow},
    {CKA_WRAP, kPublic | kSecret, kAnyhow},
    {CKA_WRAP_TEMPLATE, kPublic | kSecret, kAnyhow},
    {CKA_SENSITIVE, kHidden, kAnyhow},
    {CKA_EXTRACTABLE, kHidden, kAnyhow},
    {CKA_DECRYPT, kHidden, kAnyhow},
    {CKA_SIGN, kHidden, kAnyhow},
    {CKA_SIGN_RECOVER, kPrivate, kAnyhow},
    {CKA_UNWRAP, kHidden, kAnyhow},
    {CKA_UNWRAP_TEMPLATE, kHidden, kAnyhow},
    {CKA_WRAP_WITH_TRUSTED, kHidden, kAnyhow},
    {CKA_ALWAYS_AUTHENTICATE, kPrivate, kAnyhow},
    {CKA_MODULUS, kPublic | kPrivate, kAnyhow},
    {CKA_PUBLIC_EXPONENT, kPublic | kPrivate, kAnyhow},
    {CKA_PRIVATE_EXPONENT, kPrivate, kAnyhow},
    {CKA_PRIME_1, kPrivate, kAnyhow},
    {CKA_PRIME_2, kPrivate, kAnyhow},
    {CKA_EXPONENT_1, kPrivate, kAnyhow},
    {CKA_EXPONENT_2, kPrivate, kAnyhow},
    {CKA_COEFFICIENT, kPrivate, kAnyhow},
    {CKA_MODULUS_BITS, kPublic, kGenerated},
    {CKA_VALUE_LEN, kSecret, kGenerated | kUnwrapped | kDerived},
    {CKA_LOCAL, kNowhere, kAnyhow},
    {CKA_KEY_GEN_MECHANISM, kNowhere, kAnyhow},
    {CKA_ALWAYS_SENSITIVE, kNowhere, kAnyhow},
    {CKA_NEVER_EXTRACTABLE, kNowhere, kAnyhow},
    {CKA_DEFAULT_CERT, kNowhere, kAnyhow},
};

unsigned BitOf(Making making) {
  switch (making) {
    case Making::Created:
      return kCreated;
    case Making::Generated:
      return kGenerated;
    case Making::Unwrapped:
      return kUnwrapped;
    case Making::Derived:
      return kDerived;
  }
  return kAnyhow;
}

const CK_ATTRIBUTE* Find(const CK_ATTRIBUTE* attributes, CK_ULONG count, CK_ATTRIBUTE_TYPE type) {
  const CK_ATTRIBUTE* const end = attributes + count;
  const CK_ATTRIBUTE* const found =
      std::find_if(attributes, end, [&](const CK_ATTRIBUTE& attribute) { return attribute.type == type; });
  return found == end ? nullptr : found;
}

}  // namespace

void CheckTemplate(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  Require(attributes != nullptr || count == 0, CKR_ARGUMENTS_BAD);
  for (CK_ULONG i = 0; i < count; ++i) {
    Require(attributes[i].pValue != nullptr || attributes[i].ulValueLen == 0, CKR_ATTRIBUTE_VALUE_INVALID);
    Require(attributes[i].ulValueLen != CK_UNAVAILABLE_INFORMATION, CKR_ATTRIBUTE_VALUE_INVALID);
  }
}

CK_ULONG NumberIn(const CK_ATTRIBUTE* attributes, CK_ULONG count, CK_ATTRIBUTE_TYPE type, CK_ULONG otherwise) {
  const CK_ATTRIBUTE* const attribute = Find(attributes, count, type);
  CK_ULONG value = otherwise;
  if (attribute != nullptr && attribute->ulValueLen == sizeof value) {
    std::memcpy(&value, attribute->pValue, sizeof value);
  }
  return value;
}

bool AsksFor(const CK_ATTRIBUTE* attributes, CK_ULONG count, CK_ATTRIBUTE_TYPE type) {
  return std::any_of(attributes, attributes + count, [&](const CK_ATTRIBUTE& attribute) {
    return attribute.type == type && attribute.ulValueLen == sizeof(CK_BBOOL) &&
           *static_cast<const CK_BBOOL*>(attribute.pValue) != CK_FALSE;
  });
}

std::vector<CK_ATTRIBUTE> TemplateFor(Making making, CK_OBJECT_CLASS objectClass, const CK_ATTRIBUTE* attributes,
                                      CK_ULONG count) {
  const unsigned bit = BitOf(objectClass);
  const unsigned classes = bit != kNowhere ? bit : kAll;  // the module itself refuses any other class
  std::vector<CK_ATTRIBUTE> filtered;
  filtered.reserve(count + 1);
  for (CK_ULONG i = 0; i < count; ++i) {
    const Place* const place = std::find_if(std::begin(kPlaces), std::end(kPlaces),
                                            [&](const Place& row) { return row.type == attributes[i].type; });
    const bool taken =
        place == std::end(kPlaces) || ((place->classes & classes) != 0 && (place->makings & BitOf(making)) != 0);
    if (taken) filtered.push_back(attributes[i]);
  }
  if (objectClass == CKO_CERTIFICATE && Find(attributes, count, CKA_CERTIFICATE_TYPE) == nullptr) {
    static CK_CERTIFICATE_TYPE x509 = CKC_X_509;
    filtered.push_back({CKA_CERTIFICATE_TYPE, &x509, sizeof x509});
  }
  return filtered;
}

}  // namespace pkcs11

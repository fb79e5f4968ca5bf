// The classes of objects as bits, for tables of attributes.
#pragma once

#include "cryptoki/Pkcs11.h"

namespace pkcs11::classes {

enum : unsigned {
  kNowhere = 0,
  kData = 1,
  kCertificate = 2,
  kPublic = 4,
  kPrivate = 8,
  kSecret = 16,
  kHidden = kPrivate | kSecret,
  kKeys = kPublic | kHidden,
  kAll = kData | kCertificate | kKeys,
};

// BitOf returns the bit of a class, and kNowhere for any other class.
inline unsigned BitOf(CK_OBJECT_CLASS objectClass) {
  switch (objectClass) {
    case CKO_DATA:
      return kData;
    case CKO_CERTIFICATE:
      return kCertificate;
    case CKO_PUBLIC_KEY:
      return kPublic;
    case CKO_PRIVATE_KEY:
      return kPrivate;
    case CKO_SECRET_KEY:
      return kSecret;
    default:
      return kNowhere;
  }
}

}  // namespace pkcs11::classes

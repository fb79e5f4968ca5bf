// The attributes that the provider reads and ordinary modules do not have.
#pragma once

#include <string>
#include <vector>

#include "adapter/Object.h"

namespace adapter {

// Complete adds the attributes that the objects of a token lack. Booleans come from the key usage of the certificate
// with the same identifier, or are the standard's defaults. Numbers and booleans of a wrong size are replaced.
// `defaultCertificate` is the label of the certificate whose CKA_DEFAULT_CERT is 1.
//
// IsUsable tells whether the provider can do anything with a completed object: it reads the modulus of every public and
// private key, so a key that is not RSA would make its acquire fail.
void Complete(std::vector<Listed>& objects, const std::string& defaultCertificate);
bool IsUsable(const Listed& object);

// CompleteSessionObject does the same for one session object, which has no certificate.
void CompleteSessionObject(Values& values);

// StandIn makes the private key that belongs to a completed public key or certificate, as far as it can be known
// without a login.
Values StandIn(const Listed& visible);

// IsOwn tells whether an attribute of an object of this class is the adapter's own, so that it cannot be set.
bool IsOwn(CK_OBJECT_CLASS objectClass, CK_ATTRIBUTE_TYPE type);

}  // namespace adapter

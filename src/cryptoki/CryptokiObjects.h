// CryptokiObjects: what a search on the token found, and lists of it by type: certificates with their key pair, private
// keys, public keys, secret keys, data objects. A certificate and its private key belong together by CKA_ID, the
// private key and its public key by CKA_MODULUS.
//
// The objects are those of the search; nothing is searched again. A read that fails ends an enumeration with the
// CryptokiError of the read.
#pragma once

#include <list>

#include "cryptoki/Certificate.h"
#include "cryptoki/CryptokiObject.h"
#include "cryptoki/Data.h"
#include "cryptoki/PrivateKey.h"
#include "cryptoki/PublicKey.h"
#include "cryptoki/SecretKey.h"

class CryptokiObjects {
 public:
  CryptokiObjects() = default;
  // A copy has the objects, but not the lists of secret keys and data objects.
  CryptokiObjects(const CryptokiObjects& other);
  CryptokiObjects& operator=(const CryptokiObjects& other);
  virtual ~CryptokiObjects();

  void Add(const CryptokiObject& object);
  const std::list<CryptokiObject>& GetObjects() const { return m_objects; }

  // The certificates in the token's order, each read from the token. Unless `bare`, each is linked to its key pair.
  //
  // Required: a certificate without a private key of its identifier gets no public key either.
  std::list<Certificate> GetCertificates(bool bare);
  // The keys in the token's order, each read from the token and linked to the first certificate of its identifier. With
  // `onlyWithCertificate`, only the keys that have a certificate.
  std::list<PrivateKey> GetPrivateKeys(bool onlyWithCertificate);
  std::list<PublicKey> GetPublicKeys(bool onlyWithCertificate);
  // The secret keys, each read from the token. The list is valid until the next call.
  std::list<SecretKey>& GetSecretKeys();
  // The data objects, with only what the search read. The list is valid until the next call.
  std::list<Data>& GetDataObjects();

 private:
  std::list<CryptokiObject> m_objects;
  std::list<Data> m_data;
  std::list<SecretKey> m_secretKeys;
};

// Matches tells whether two attributes have the same type and the same bytes, over the length of the shorter one. An
// empty value matches nothing.
bool Matches(const Attribute& attribute, const Attribute& wanted);

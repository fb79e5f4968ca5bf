// CryptokiObjects: what a search on the token found, and the typed lists made of it: certificates with their
// key pair, private keys, public keys, secret keys, data objects. A certificate and its private key are
// linked by CKA_ID, the private key and its public key by CKA_MODULUS.
//
// A list is as old as the search; nothing here refreshes by itself. A read that fails ends an enumeration
// with the CryptokiError of the read.
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
  // A copy has the objects; data objects and secret keys are not taken over.
  CryptokiObjects(const CryptokiObjects& other);
  CryptokiObjects& operator=(const CryptokiObjects& other);
  virtual ~CryptokiObjects();

  void Add(const CryptokiObject& object);
  const std::list<CryptokiObject>& GetObjects() const { return m_objects; }

  // The certificates in the token's order, each read from the token. Unless `bare`, each has its key pair
  // linked.
  //
  // Required: without a private key of its identifier a certificate gets no public key either.
  std::list<Certificate> GetCertificates(bool bare);
  // The keys in the token's order, each read from the token and linked to the first certificate of its
  // identifier; with `onlyWithCertificate` only those that have one.
  std::list<PrivateKey> GetPrivateKeys(bool onlyWithCertificate);
  std::list<PublicKey> GetPublicKeys(bool onlyWithCertificate);
  // The secret keys, each read from the token. The list is kept until the next call.
  std::list<SecretKey>& GetSecretKeys();
  // The data objects, nothing more read of them than the search did. The list is kept until the next call.
  std::list<Data>& GetDataObjects();

 private:
  std::list<CryptokiObject> m_objects;
  std::list<Data> m_data;
  std::list<SecretKey> m_secretKeys;
};

// Matches tells whether two attributes of one type agree in as many bytes as the shorter one has, and it has
// any.
bool Matches(const Attribute& attribute, const Attribute& wanted);

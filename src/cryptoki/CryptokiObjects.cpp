#include "cryptoki/CryptokiObjects.h"

#include <algorithm>
#include <cstring>

#include "common/WipeMemory.h"
#include "cryptoki/CryptokiError.h"
#include "log/Logs.h"

namespace {

bool HasMatch(const std::list<Attribute>& attributes, const Attribute& wanted) {
  return std::any_of(attributes.begin(), attributes.end(),
                     [&wanted](const Attribute& attribute) { return Matches(attribute, wanted); });
}

// The first object of the list with a matching attribute, or null.
template <typename Object>
Object* FindMatch(std::list<Object>& objects, const Attribute& wanted) {
  const auto found = std::find_if(objects.begin(), objects.end(),
                                  [&wanted](Object& object) { return HasMatch(object.GetAttributes(), wanted); });
  return found != objects.end() ? &*found : nullptr;
}

// Reads a value in two calls, writes a line to the log before each, and makes an attribute of it.
template <typename Read>
Attribute ReadWanted(CK_ATTRIBUTE_TYPE type, const char* lengthLine, const char* valueLine, Read read) {
  CK_ULONG length = 0;
  g_objectLog.WriteLine(lengthLine);
  read(nullptr, &length);
  WipedBuffer value(length);
  g_objectLog.WriteLine(valueLine);
  read(value.Data(), &length);
  return Attribute(type, value.Data(), length);
}

void LinkPublicKey(Certificate& certificate, std::list<PublicKey>& publicKeys, const PrivateKey& privateKey) {
  const Attribute modulus =
      ReadWanted(CKA_MODULUS, "GetCertificates - Getting private key modulus length",
                 "GetCertificates - Getting private key modulus",
                 [&privateKey](BYTE* out, CK_ULONG* length) { privateKey.GetModulus(out, length); });
  g_objectLog.WriteLine("GetCertificates - Trying to find matching public key");
  const PublicKey* publicKey = FindMatch(publicKeys, modulus);
  if (publicKey == nullptr) return;
  g_objectLog.WriteLine("\nPublic key exist for this Certificate");
  certificate.LinkPublicKey(*publicKey);
}

void LinkKeyPair(Certificate& certificate, std::list<PrivateKey>& privateKeys, std::list<PublicKey>& publicKeys) {
  const Attribute id = ReadWanted(CKA_ID, "GetCertificates - Getting certificate ID length",
                                  "GetCertificates - Getting certificate ID length",
                                  [&certificate](BYTE* out, CK_ULONG* length) { certificate.GetID(out, length); });
  g_objectLog.WriteLine("GetCertificates - Trying to find matching private key");
  const PrivateKey* privateKey = FindMatch(privateKeys, id);
  if (privateKey == nullptr) {
    // Required: the line of the search for a public key is written here, too.
    g_objectLog.WriteLine("GetCertificates - Trying to find matching public key");
    return;
  }
  g_objectLog.WriteLine("\nPrivate key exist for this Certificate");
  certificate.LinkPrivateKey(*privateKey);
  LinkPublicKey(certificate, publicKeys, *privateKey);
}

template <typename Key>
std::list<Key> GetKeys(const std::list<CryptokiObject>& objects, std::list<Certificate> certificates,
                       CK_OBJECT_CLASS keyClass, bool onlyWithCertificate) {
  std::list<Key> keys;
  // Required: the line is the same for public keys.
  g_objectLog.WriteLine("GetPrivateKeys::Iterating through objects");
  DWORD iteration = 0;
  for (const CryptokiObject& object : objects) {
    g_objectLog.WriteDecimal("Iteration: ", ++iteration, true);
    if (object.GetClass() != keyClass) continue;
    Key key(object);
    // Required: read twice. Both read the same, and the attributes are in the list twice.
    key.Retrieve();
    key.Key::Retrieve();
    const Attribute id = ReadWanted(CKA_ID, "Trying to get ID length", "Trying to get ID",
                                    [&key](BYTE* out, CK_ULONG* length) { key.GetID(out, length); });
    g_objectLog.WriteLine("Trying to find matching ID from certificate list");
    if (const Certificate* certificate = FindMatch(certificates, id)) {
      g_objectLog.WriteLine("Object found. Certificate exists");
      key.LinkCertificate(*certificate);
    }
    // Required: this line is written in both cases.
    g_objectLog.WriteLine("Cert does not exist");
    if (key.HasCertificate() || !onlyWithCertificate) keys.push_back(key);
  }
  return keys;
}

}  // namespace

bool Matches(const Attribute& attribute, const Attribute& wanted) {
  if (attribute.GetType() != wanted.GetType()) return false;
  const CK_ULONG shorter = std::min(attribute.GetReadableLength(), wanted.GetReadableLength());
  return shorter != 0 && std::memcmp(attribute.GetValue(), wanted.GetValue(), shorter) == 0;
}

CryptokiObjects::CryptokiObjects(const CryptokiObjects& other) : m_objects(other.m_objects) {}

CryptokiObjects& CryptokiObjects::operator=(const CryptokiObjects& other) {
  if (this != &other) std::list<CryptokiObject>(other.m_objects).swap(m_objects);
  return *this;
}

CryptokiObjects::~CryptokiObjects() = default;

void CryptokiObjects::Add(const CryptokiObject& object) { m_objects.push_back(object); }

std::list<Certificate> CryptokiObjects::GetCertificates(bool bare) {
  g_objectLog.WriteLine("GetCertificates - Entry");
  std::list<Certificate> certificates;
  std::list<PrivateKey> privateKeys;
  std::list<PublicKey> publicKeys;
  if (!bare) {
    privateKeys = GetPrivateKeys(false);
    publicKeys = GetPublicKeys(false);
  }
  g_objectLog.WriteLine("GetCertificates - iteration begins");
  DWORD iteration = 0;
  try {
    for (const CryptokiObject& object : m_objects) {
      g_objectLog.WriteDecimal("Iteration: ", ++iteration, true);
      if (object.GetClass() != CKO_CERTIFICATE) {
        g_objectLog.WriteHex("Object is not certificate. Object class: ", static_cast<DWORD>(object.GetClass()), true);
        continue;
      }
      g_objectLog.WriteLine("GetCertificates - Enter");
      Certificate certificate(object);
      certificate.Retrieve();
      g_objectLog.WriteLine("GetCertificates - Get bare info");
      if (!bare) LinkKeyPair(certificate, privateKeys, publicKeys);
      certificates.push_back(certificate);
    }
  } catch (const CryptokiError&) {
    g_objectLog.WriteLine("GetCertificates - Failed. An error occured");
    throw;
  }
  g_objectLog.WriteLine("GetCertificates - Exit");
  return certificates;
}

std::list<PrivateKey> CryptokiObjects::GetPrivateKeys(bool onlyWithCertificate) {
  return GetKeys<PrivateKey>(m_objects, GetCertificates(true), CKO_PRIVATE_KEY, onlyWithCertificate);
}

std::list<PublicKey> CryptokiObjects::GetPublicKeys(bool onlyWithCertificate) {
  return GetKeys<PublicKey>(m_objects, GetCertificates(true), CKO_PUBLIC_KEY, onlyWithCertificate);
}

std::list<SecretKey>& CryptokiObjects::GetSecretKeys() {
  m_secretKeys.clear();
  for (const CryptokiObject& object : m_objects) {
    if (object.GetClass() != CKO_SECRET_KEY) continue;
    SecretKey key(object);
    key.Retrieve();
    m_secretKeys.push_back(key);
  }
  return m_secretKeys;
}

std::list<Data>& CryptokiObjects::GetDataObjects() {
  m_data.clear();
  for (const CryptokiObject& object : m_objects) {
    if (object.GetClass() == CKO_DATA) m_data.emplace_back(object);
  }
  return m_data;
}

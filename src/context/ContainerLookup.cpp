#include "context/ContainerLookup.h"

#include <cstring>
#include <vector>

#include "common/CCSPContextError.h"
#include "common/FormatNumber.h"
#include "context/ContainerName.h"
#include "context/ObjectID.h"
#include "log/Logs.h"

namespace {

[[noreturn]] void ThrowBadKeySet(const std::string& message) { throw CCSPContextError(message, NTE_BAD_KEYSET); }

// The bytes up to the first zero byte, whatever they are.
std::string AsString(const std::vector<BYTE>& id) {
  std::string name(id.begin(), id.end());
  name.resize(std::strlen(name.c_str()));
  return name;
}

bool IsDefault(Certificate& certificate) {
  g_contextLog.WriteLine("Get Attribute.");
  const Attribute attribute = certificate.GetAttribute(CKA_DEFAULT_CERT);
  g_contextLog.WriteLine("Get Value");
  const BYTE* const value = attribute.GetValue();
  if (value == nullptr) {
    g_contextLog.WriteLine("pValue is NULL. Continuing iteration");
    return false;
  }
  g_contextLog.WriteLine("Post Get Value");
  if (*value != 1) {
    g_contextLog.WriteLine("*pValue != 1");
    return false;
  }
  g_contextLog.WriteLine("\nCKA_DEFAULT_CERT TRUE");
  return true;
}

Certificate& DefaultOrFirst(std::list<Certificate>& certificates) {
  g_contextLog.WriteLine("\nChecking the CKA_DEFAULT_CERT");
  DWORD number = 0;
  for (Certificate& certificate : certificates) {
    g_contextLog.WriteDecimal("\nIteration #:", number++, true);
    if (IsDefault(certificate)) return certificate;
  }
  g_contextLog.WriteLine("End of Iteration");
  g_contextLog.WriteLine("\nRetrieving the very first container");
  return certificates.front();
}

// Required: the second comparison is with the plain hexadecimal form, also of an identifier that is
// a readable string. Keys are found by the form of IdToContainerName instead.
bool Answers(Certificate& certificate, const std::string& containerName) {
  const std::vector<BYTE> id = ReadID(certificate);
  if (AsString(id) == containerName) {
    g_contextLog.WriteLine("GetCert() - Container name found, Exit");
    return true;
  }
  g_contextLog.WriteLine("Converting CKA_ID to hexstring...");
  const std::string hex = BytesToHex(id.data(), static_cast<DWORD>(id.size()));
  g_contextLog.WriteLine("Comparing to Container Name");
  if (hex != containerName) return false;
  g_contextLog.WriteLine("GetCert() - Container name found 2, Exit");
  return true;
}

// The log lines of the two look-ups of keys; otherwise the two are the same.
struct KeyTexts {
  const char* noneFound;
  const char* atEnd;
  const char* endOfList;
  const char* notFound;
};

template <typename Key>
Key FindKey(std::list<Key> keys, std::string& containerName, const KeyTexts& texts) {
  if (keys.empty()) {
    g_contextLog.WriteLine(texts.noneFound);
    ThrowBadKeySet(texts.noneFound);
  }
  if (containerName.empty()) {
    containerName = ContainerNameOf(keys.front());
    return keys.front();
  }
  for (Key& key : keys) {
    const std::vector<BYTE> id = ReadID(key);
    if (AsString(id) == containerName) return key;
    if (IdToContainerName(id.data(), static_cast<DWORD>(id.size())) == containerName) return key;
  }
  g_contextLog.WriteLine(texts.atEnd);
  g_contextLog.WriteLine(texts.endOfList);
  ThrowBadKeySet(texts.notFound);
}

}  // namespace

Certificate GetCert(std::list<Certificate>& certificates, std::string& containerName) {
  if (certificates.empty()) ThrowBadKeySet("No Certificate Found");
  if (containerName.empty()) {
    Certificate& chosen = DefaultOrFirst(certificates);
    containerName = ContainerNameOf(chosen);
    g_contextLog.Write("\nContainer: ", containerName.c_str(), true);
    return chosen;
  }
  g_contextLog.WriteLine("\nChecking the Cert iterator");
  for (Certificate& certificate : certificates) {
    if (Answers(certificate, containerName)) return certificate;
  }
  g_contextLog.WriteLine("Is end of Certificate List ");
  g_contextLog.WriteLine("Certificate List end");
  ThrowBadKeySet("Reached end of list but certificate not found");
}

PublicKey GetPublicKey(CryptokiObjects& objects, std::string& containerName) {
  return FindKey(objects.GetPublicKeys(false), containerName,
                 {"No Public Key Found", "Is end of Public Key list", "End of Public Key list",
                  "Reached end of list but Public Key not found"});
}

PrivateKey GetPrivateKey(CryptokiObjects& objects, std::string& containerName) {
  return FindKey(objects.GetPrivateKeys(false), containerName,
                 {"No Private Key Found", "Is end of Private Key List", "End of Private Key List",
                  "Reached end of list but Private Key not found"});
}

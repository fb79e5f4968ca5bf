// The objects of a card: identifiers and moduli that are equal, begin alike or are empty. The lists of certificates and
// keys, what belongs to what, and the look-up by a container's name are compared with a model, which knows the objects
// but not the module.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "Must.h"
#include "common/CCSPContextError.h"
#include "context/ContainerLookup.h"
#include "cryptoki/CryptokiObjects.h"
#include "cryptoki/Session.h"
#include "cryptoki/Token.h"
#include "module/ScriptedModule.h"

namespace {

struct Known {
  CK_OBJECT_CLASS objectClass;
  CK_OBJECT_HANDLE handle;
  Bytes id;
  Bytes modulus;
};
using Card = std::vector<Known>;

// Few letters, so that many values are alike.
Bytes Letters(FuzzedDataProvider& data) {
  Bytes bytes(data.ConsumeIntegralInRange<std::size_t>(0, 3));
  const unsigned char letters[] = {'a', 'b', 0, 0xC1};
  for (unsigned char& byte : bytes) byte = data.PickValueInArray(letters);
  return bytes;
}

ScriptedObject MakeObject(const Known& known) {
  switch (known.objectClass) {
    case CKO_CERTIFICATE:
      return CertificateObject(known.id, "label", {0x30, 0x00});
    case CKO_PRIVATE_KEY:
      return PrivateKeyObject(known.id, known.modulus);
    case CKO_PUBLIC_KEY:
      return PublicKeyObject(known.id, known.modulus);
    case CKO_SECRET_KEY:
      return SecretKeyObject(CKK_DES, Bytes(8)).With(CKA_ID, known.id);
    default:
      return DataObject(known.id, "application");
  }
}

Card Deal(FuzzedDataProvider& data, ScriptedToken& token) {
  const CK_OBJECT_CLASS classes[] = {CKO_CERTIFICATE, CKO_PRIVATE_KEY, CKO_PUBLIC_KEY, CKO_SECRET_KEY, CKO_DATA};
  Card card;
  const int count = data.ConsumeIntegralInRange(0, 9);
  for (int i = 0; i < count; ++i) {
    Known known{data.PickValueInArray(classes), 0, Letters(data), Letters(data)};
    known.handle = token.Add(MakeObject(known));
    card.push_back(known);
  }
  return card;
}

bool BeginAlike(const Bytes& one, const Bytes& other) {
  const auto shorter = static_cast<std::ptrdiff_t>(std::min(one.size(), other.size()));
  return shorter != 0 && std::equal(one.begin(), one.begin() + shorter, other.begin());
}

Card OfClass(const Card& card, CK_OBJECT_CLASS objectClass) {
  Card some;
  std::copy_if(card.begin(), card.end(), std::back_inserter(some),
               [objectClass](const Known& known) { return known.objectClass == objectClass; });
  return some;
}

// The handle of the first object whose value begins like the wanted one; 0 without one.
CK_OBJECT_HANDLE FirstAlike(const Card& card, const Bytes Known::*value, const Bytes& wanted) {
  const auto found =
      std::find_if(card.begin(), card.end(), [&](const Known& known) { return BeginAlike(known.*value, wanted); });
  return found == card.end() ? 0 : found->handle;
}

void CompareCertificates(CryptokiObjects& objects, const Card& card) {
  std::list<Certificate> certificates = objects.GetCertificates(false);
  const Card expected = OfClass(card, CKO_CERTIFICATE);
  Must(certificates.size() == expected.size());
  auto known = expected.begin();
  for (Certificate& certificate : certificates) {
    Must(certificate.GetHandle() == known->handle);
    const Card privateKeys = OfClass(card, CKO_PRIVATE_KEY);
    const CK_OBJECT_HANDLE privateKey = FirstAlike(privateKeys, &Known::id, known->id);
    CK_OBJECT_HANDLE publicKey = 0;
    for (const Known& key : privateKeys) {
      if (key.handle == privateKey) publicKey = FirstAlike(OfClass(card, CKO_PUBLIC_KEY), &Known::modulus, key.modulus);
    }
    Must(certificate.HasPrivateKey() == (privateKey != 0) && certificate.HasPublicKey() == (publicKey != 0));
    if (privateKey != 0) Must(certificate.GetPrivateKey().GetHandle() == privateKey);
    if (publicKey != 0) Must(certificate.GetPublicKey().GetHandle() == publicKey);
    ++known;
  }
  Must(objects.GetCertificates(true).size() == expected.size());
}

template <typename Key>
void CompareKeys(const std::list<Key>& keys, const Card& card, CK_OBJECT_CLASS objectClass, bool onlyWithCertificate) {
  auto key = keys.begin();
  for (const Known& known : OfClass(card, objectClass)) {
    const CK_OBJECT_HANDLE certificate = FirstAlike(OfClass(card, CKO_CERTIFICATE), &Known::id, known.id);
    if (onlyWithCertificate && certificate == 0) continue;
    Must(key != keys.end() && key->GetHandle() == known.handle && key->HasCertificate() == (certificate != 0));
    ++key;
  }
  Must(key == keys.end());
}

template <typename Object>
void CompareHandles(const std::list<Object>& objects, const Card& card, CK_OBJECT_CLASS objectClass) {
  const Card expected = OfClass(card, objectClass);
  Must(std::equal(objects.begin(), objects.end(), expected.begin(), expected.end(),
                  [](const Object& object, const Known& known) { return object.GetHandle() == known.handle; }));
}

// The first key with that name: its identifier's characters up to a zero byte or, if they are not readable, its bytes
// in hexadecimal digits.
CK_OBJECT_HANDLE KeyNamed(const Card& keys, const std::string& name) {
  for (const Known& key : keys) {
    const std::string text(key.id.begin(), std::find(key.id.begin(), key.id.end(), 0));
    const bool isReadable = !text.empty() && text.find('\xC1') == std::string::npos;
    std::string digits;
    for (const unsigned char byte : key.id) digits += byte == 'a' ? "61" : byte == 'b' ? "62" : byte == 0 ? "00" : "C1";
    if (name == text || (!isReadable && name == digits)) return key.handle;
    if (name.empty()) return key.handle;
  }
  return 0;
}

template <typename Find>
CK_OBJECT_HANDLE LookUp(Find find) {
  try {
    return find().GetHandle();
  } catch (const CCSPContextError& error) {
    Must(error.GetCode() == static_cast<DWORD>(NTE_BAD_KEYSET));
    return 0;
  }
}

void CompareLookUp(CryptokiObjects& objects, const Card& card, const std::string& name) {
  std::string wanted = name;
  Must(LookUp([&] { return GetPrivateKey(objects, wanted); }) == KeyNamed(OfClass(card, CKO_PRIVATE_KEY), name));
  wanted = name;
  Must(LookUp([&] { return GetPublicKey(objects, wanted); }) == KeyNamed(OfClass(card, CKO_PUBLIC_KEY), name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const auto module = boost::make_shared<ScriptedModule>();
  const Card card = Deal(data, module->InsertToken("Reader"));
  Token token(0);
  token.SetCryptoki(module);
  Session session = token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr);
  CryptokiObjects objects = session.FindAllObjects();

  CompareCertificates(objects, card);
  for (const bool only : {false, true}) {
    CompareKeys(objects.GetPrivateKeys(only), card, CKO_PRIVATE_KEY, only);
    CompareKeys(objects.GetPublicKeys(only), card, CKO_PUBLIC_KEY, only);
  }
  CompareHandles(objects.GetSecretKeys(), card, CKO_SECRET_KEY);
  CompareHandles(objects.GetDataObjects(), card, CKO_DATA);
  const char* const names[] = {"", "a", "ab", "b", "61C1", "C1", "00", "6161", "c1", "nobody"};
  CompareLookUp(objects, card, data.PickValueInArray(names));
  return 0;
}

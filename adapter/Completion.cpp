#include "adapter/Completion.h"

#include <map>
#include <string_view>

#include "adapter/Certificate.h"
#include "pkcs11/ObjectClasses.h"

namespace adapter {

using pkcs11::Secret;

namespace {

using namespace pkcs11::classes;

// The value of a missing boolean.
enum class Otherwise { No, Yes, IfSigns, IfDecrypts };

struct Flag {
  CK_ATTRIBUTE_TYPE type;
  unsigned classes;
  Otherwise otherwise;
};

constexpr Flag kFlags[] = {
    {CKA_TOKEN, kAll, Otherwise::Yes},
    {CKA_PRIVATE, kHidden, Otherwise::Yes},
    {CKA_PRIVATE, kAll & ~kHidden, Otherwise::No},
    {CKA_MODIFIABLE, kAll, Otherwise::Yes},
    {CKA_ENCRYPT, kCertificate | kPublic, Otherwise::IfDecrypts},
    {CKA_VERIFY, kCertificate | kPublic, Otherwise::IfSigns},
    {CKA_ENCRYPT, kSecret, Otherwise::No},
    {CKA_VERIFY, kSecret, Otherwise::No},
    {CKA_VERIFY_RECOVER, kPublic, Otherwise::No},
    {CKA_WRAP, kPublic | kSecret, Otherwise::No},
    {CKA_DECRYPT, kPrivate, Otherwise::IfDecrypts},
    {CKA_SIGN, kPrivate, Otherwise::IfSigns},
    {CKA_DECRYPT, kSecret, Otherwise::No},
    {CKA_SIGN, kSecret, Otherwise::No},
    {CKA_SIGN_RECOVER, kPrivate, Otherwise::No},
    {CKA_UNWRAP, kHidden, Otherwise::No},
    {CKA_ALWAYS_AUTHENTICATE, kPrivate, Otherwise::No},
    {CKA_SENSITIVE, kHidden, Otherwise::Yes},
    {CKA_EXTRACTABLE, kHidden, Otherwise::No},
    {CKA_ALWAYS_SENSITIVE, kHidden, Otherwise::No},
    {CKA_NEVER_EXTRACTABLE, kHidden, Otherwise::No},
    {CKA_LOCAL, kKeys, Otherwise::No},
    {CKA_DERIVE, kKeys, Otherwise::No},
};

// What the certificate and the public key with one identifier show about their private key.
struct KeyFacts {
  Secret modulus, exponent;
  KeyUsage usage;
};
using FactsById = std::map<Secret, KeyFacts>;

bool Choose(Otherwise otherwise, const KeyUsage& usage) {
  switch (otherwise) {
    case Otherwise::No:
      return false;
    case Otherwise::Yes:
      return true;
    case Otherwise::IfSigns:
      return usage.signs;
    case Otherwise::IfDecrypts:
      return usage.decrypts;
  }
  return false;
}

void AddFlags(Values& values, unsigned bit, const KeyUsage& usage) {
  for (const Flag& flag : kFlags) {
    if ((flag.classes & bit) == 0) continue;
    if (values.Bytes(flag.type).size() != sizeof(CK_BBOOL)) values.Remove(flag.type);
    values.AddFlag(flag.type, Choose(flag.otherwise, usage));
  }
}

void AddNumber(Values& values, CK_ATTRIBUTE_TYPE type, CK_ULONG number) {
  if (!values.Number(type)) values.SetNumber(type, number);
}

// The provider pads labels with zero bytes, other programs with spaces.
std::string_view Unpadded(std::string_view label) {
  return label.substr(0, label.find_last_not_of(std::string_view("\0 ", 2)) + 1);
}

bool IsDefault(const Values& certificate, const std::string& label) {
  return !label.empty() && Unpadded(pkcs11::TextOf(certificate.Bytes(CKA_LABEL))) == Unpadded(label);
}

void AddRsaNumbers(Values& values, const KeyFacts& facts) {
  if (values.Bytes(CKA_MODULUS).empty()) values.Set(CKA_MODULUS, facts.modulus);
  if (values.Bytes(CKA_PUBLIC_EXPONENT).empty()) values.Set(CKA_PUBLIC_EXPONENT, facts.exponent);
  values.SetNumber(CKA_MODULUS_BITS, BitLength(values.Bytes(CKA_MODULUS)));
}

void CompleteOne(Values& values, const KeyFacts& facts) {
  const unsigned bit = BitOf(values.Number(CKA_CLASS).value_or(CKO_VENDOR_DEFINED));
  values.AddBytes(CKA_ID, {});
  values.AddBytes(CKA_LABEL, {});
  AddFlags(values, bit, facts.usage);
  if (bit == kData) values.AddBytes(CKA_OBJECT_ID, {});
  if (bit == kCertificate) AddNumber(values, CKA_CERTIFICATE_TYPE, CKC_X_509);
  if ((bit & kKeys) != 0) AddNumber(values, CKA_KEY_GEN_MECHANISM, CK_UNAVAILABLE_INFORMATION);
  if (bit == kPublic || bit == kPrivate) AddRsaNumbers(values, facts);
}

FactsById GatherFacts(const std::vector<Listed>& objects) {
  FactsById facts;
  for (const Listed& object : objects) {
    if (object.Class() != CKO_CERTIFICATE || object.Id().empty()) continue;
    const std::optional<CertificateFacts> read = ReadCertificate(object.values.Bytes(CKA_VALUE));
    if (read) facts[object.Id()] = {read->modulus, read->exponent, read->usage};
  }
  for (const Listed& object : objects) {
    if (object.Class() != CKO_PUBLIC_KEY || object.Id().empty()) continue;
    KeyFacts& known = facts[object.Id()];
    if (!known.modulus.empty()) continue;
    known.modulus = object.values.Bytes(CKA_MODULUS);
    known.exponent = object.values.Bytes(CKA_PUBLIC_EXPONENT);
  }
  return facts;
}

// A certificate without an identifier still shows how its own key is used.
KeyFacts FactsOf(const Listed& object, const FactsById& byId) {
  const auto known = byId.find(object.Id());
  if (known != byId.end()) return known->second;
  if (object.Class() != CKO_CERTIFICATE) return {};
  const std::optional<CertificateFacts> read = ReadCertificate(object.values.Bytes(CKA_VALUE));
  return read ? KeyFacts{read->modulus, read->exponent, read->usage} : KeyFacts{};
}

}  // namespace

void Complete(std::vector<Listed>& objects, const std::string& defaultCertificate) {
  const FactsById facts = GatherFacts(objects);
  for (Listed& object : objects) {
    CompleteOne(object.values, FactsOf(object, facts));
    if (object.Class() == CKO_CERTIFICATE) {
      object.values.SetFlag(CKA_DEFAULT_CERT, IsDefault(object.values, defaultCertificate));
    }
  }
}

bool IsUsable(const Listed& object) {
  const CK_OBJECT_CLASS objectClass = object.Class();
  if (objectClass == CKO_PUBLIC_KEY || objectClass == CKO_PRIVATE_KEY) {
    return object.values.Number(CKA_KEY_TYPE) == CK_ULONG{CKK_RSA} && !object.values.Bytes(CKA_MODULUS).empty() &&
           !object.values.Bytes(CKA_PUBLIC_EXPONENT).empty();
  }
  return BitOf(objectClass) != 0;
}

void CompleteSessionObject(Values& values) {
  values.SetFlag(CKA_TOKEN, false);
  CompleteOne(values, {});
}

Values StandIn(const Listed& visible) {
  Values values;
  KeyFacts facts;
  if (visible.Class() == CKO_CERTIFICATE) {
    const std::optional<CertificateFacts> read = ReadCertificate(visible.values.Bytes(CKA_VALUE));
    if (read) facts = {read->modulus, read->exponent, read->usage};
  } else {
    facts.modulus = visible.values.Bytes(CKA_MODULUS);
    facts.exponent = visible.values.Bytes(CKA_PUBLIC_EXPONENT);
    facts.usage = {visible.values.Flag(CKA_VERIFY), visible.values.Flag(CKA_ENCRYPT)};
  }
  values.SetNumber(CKA_CLASS, CKO_PRIVATE_KEY);
  values.SetNumber(CKA_KEY_TYPE, CKK_RSA);
  values.Set(CKA_ID, visible.Id());
  values.Set(CKA_LABEL, visible.values.Bytes(CKA_LABEL));
  if (const Secret* const subject = visible.values.Find(CKA_SUBJECT)) values.Set(CKA_SUBJECT, *subject);
  CompleteOne(values, facts);
  return values;
}

bool IsOwn(CK_OBJECT_CLASS objectClass, CK_ATTRIBUTE_TYPE type) {
  if (objectClass == CKO_CERTIFICATE) return type == CKA_DEFAULT_CERT || type == CKA_ENCRYPT || type == CKA_VERIFY;
  return objectClass == CKO_PRIVATE_KEY && type == CKA_MODULUS_BITS;
}

}  // namespace adapter

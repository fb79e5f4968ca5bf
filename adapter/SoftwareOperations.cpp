// Operations that need no private key: they are done here, in the same way for every module.
#include "adapter/MechanismCopy.h"
#include "adapter/Message.h"
#include "adapter/Operation.h"
#include "adapter/software/Cipher.h"
#include "adapter/software/Digest.h"
#include "adapter/software/RsaPublic.h"
#include "pkcs11/Failure.h"

namespace adapter {

using pkcs11::Require;
using pkcs11::Secret;

namespace {

Secret Taken(std::vector<CK_BYTE> bytes) {
  Secret secret(bytes.begin(), bytes.end());
  pkcs11::Wipe(bytes.data(), bytes.size());
  return secret;
}

software::RsaPublicKey PublicKeyOf(const Values& key) {
  const Secret& modulus = key.Bytes(CKA_MODULUS);
  const Secret& exponent = key.Bytes(CKA_PUBLIC_EXPONENT);
  Require(!modulus.empty() && !exponent.empty(), CKR_KEY_TYPE_INCONSISTENT);
  return {{modulus.begin(), modulus.end()}, {exponent.begin(), exponent.end()}};
}

class DigestOperation : public Operation {
 public:
  explicit DigestOperation(CK_MECHANISM_TYPE mechanism)
      : Operation(Work::Digest), m_length(software::Digest::Length(mechanism)), m_digest(mechanism) {}

  std::size_t Room(Course /*course*/, std::size_t /*length*/) const override { return m_length; }

  Secret Do(Course course, const CK_BYTE* data, std::size_t length) override {
    m_digest.Update(data, length);
    return course == Course::Part ? Secret() : Taken(m_digest.Final());
  }

 private:
  const std::size_t m_length;
  software::Digest m_digest;
};

class CipherOperation : public Operation {
 public:
  CipherOperation(Work work, const CK_MECHANISM& mechanism, const Values& key)
      : Operation(work),
        m_cipher(work == Work::Encrypt ? software::Cipher::Way::Encrypt : software::Cipher::Way::Decrypt, mechanism,
                 key.Number(CKA_KEY_TYPE).value_or(CKK_VENDOR_DEFINED), key.Bytes(CKA_VALUE).data(),
                 key.Bytes(CKA_VALUE).size()) {}

  std::size_t Room(Course course, std::size_t length) const override {
    return course == Course::Part ? m_cipher.UpdateLength(length) : m_cipher.ResultLength(length);
  }
  // The length of a padded decryption is known only at its end.
  bool IsExact() const override { return Kind() == Work::Encrypt; }

  Secret Do(Course course, const CK_BYTE* data, std::size_t length) override {
    Secret result;
    if (course != Course::Last) result = Taken(m_cipher.Update(data, length));
    if (course == Course::Part) return result;
    const Secret last = Taken(m_cipher.Final());
    result.insert(result.end(), last.begin(), last.end());
    return result;
  }

 private:
  software::Cipher m_cipher;
};

class RsaEncryption : public Operation {
 public:
  RsaEncryption(const CK_MECHANISM& mechanism, const Values& key)
      : Operation(Work::Encrypt),
        m_key(PublicKeyOf(key)),
        m_size(WithoutLeadingZeros(key.Bytes(CKA_MODULUS)).size()),
        m_mechanism(mechanism) {}

  bool TakesParts() const override { return false; }
  std::size_t Room(Course /*course*/, std::size_t /*length*/) const override { return m_size; }

  Secret Do(Course /*course*/, const CK_BYTE* data, std::size_t length) override {
    return Taken(software::Encrypt(m_key, m_mechanism.Get(), data, length));
  }

 private:
  const software::RsaPublicKey m_key;
  const std::size_t m_size;
  MechanismCopy m_mechanism;
};

class Verification : public Operation {
 public:
  Verification(CK_MECHANISM_TYPE mechanism, const Values& key)
      : Operation(Work::Verify),
        m_key(PublicKeyOf(key)),
        m_message(mechanism),
        m_digests(m_message.Bare() != mechanism) {}

  bool TakesParts() const override { return m_digests; }
  std::size_t Room(Course /*course*/, std::size_t /*length*/) const override { return 0; }

  Secret Do(Course /*course*/, const CK_BYTE* data, std::size_t length) override {
    m_message.Add(data, length);
    return {};
  }

  CK_RV Compare(const CK_BYTE* signature, std::size_t length) override {
    const CK_MECHANISM bare = {m_message.Bare(), nullptr, 0};
    const Secret data = m_message.Take();
    return software::Verify(m_key, bare, data.data(), data.size(), signature, length);
  }

 private:
  const software::RsaPublicKey m_key;
  Message m_message;
  const bool m_digests;
};

}  // namespace

std::unique_ptr<Operation> MakeDigest(CK_MECHANISM_TYPE mechanism) {
  return std::make_unique<DigestOperation>(mechanism);
}

std::unique_ptr<Operation> MakeCipher(Work work, const CK_MECHANISM& mechanism, const Values& key) {
  return std::make_unique<CipherOperation>(work, mechanism, key);
}

std::unique_ptr<Operation> MakeRsaEncryption(const CK_MECHANISM& mechanism, const Values& key) {
  const CK_MECHANISM_TYPE type = mechanism.mechanism;
  Require(type == CKM_RSA_PKCS || type == CKM_RSA_X_509 || type == CKM_RSA_PKCS_OAEP, CKR_MECHANISM_INVALID);
  return std::make_unique<RsaEncryption>(mechanism, key);
}

std::unique_ptr<Operation> MakeVerification(const CK_MECHANISM& mechanism, const Values& key) {
  const CK_MECHANISM_TYPE bare = Message(mechanism.mechanism).Bare();
  Require(bare == CKM_RSA_PKCS || bare == CKM_RSA_X_509, CKR_MECHANISM_INVALID);
  return std::make_unique<Verification>(mechanism.mechanism, key);
}

}  // namespace adapter

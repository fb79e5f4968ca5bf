// Operations with a private key. The token does them, and gets the whole input at once.
#include <utility>

#include "adapter/MechanismCopy.h"
#include "adapter/Message.h"
#include "adapter/Operation.h"
#include "pkcs11/Failure.h"

namespace adapter {

using pkcs11::Secret;

namespace {

class Signature : public Operation {
 public:
  Signature(const CK_MECHANISM& mechanism, const Values& key, PrivateUse use)
      : Operation(Work::Sign),
        m_mechanism(mechanism),
        m_message(mechanism.mechanism),
        m_size(WithoutLeadingZeros(key.Bytes(CKA_MODULUS)).size()),
        m_use(std::move(use)) {}

  bool TakesParts() const override { return m_message.Bare() != m_mechanism.Type(); }
  std::size_t Room(Course /*course*/, std::size_t /*length*/) const override { return m_size; }

  Secret Do(Course course, const CK_BYTE* data, std::size_t length) override {
    m_message.Add(data, length);
    return course == Course::Part ? Secret() : m_use(m_mechanism.As(m_message.Bare()), m_message.Take());
  }

 private:
  MechanismCopy m_mechanism;
  Message m_message;
  const std::size_t m_size;
  const PrivateUse m_use;
};

class Decryption : public Operation {
 public:
  Decryption(const CK_MECHANISM& mechanism, const Values& key, PrivateUse use)
      : Operation(Work::Decrypt),
        m_mechanism(mechanism),
        m_size(WithoutLeadingZeros(key.Bytes(CKA_MODULUS)).size()),
        m_use(std::move(use)) {}

  bool TakesParts() const override { return false; }
  std::size_t Room(Course /*course*/, std::size_t /*length*/) const override { return m_size; }
  bool IsExact() const override { return false; }

  Secret Do(Course /*course*/, const CK_BYTE* data, std::size_t length) override {
    return m_use(m_mechanism.Get(), length == 0 ? Secret() : Secret(data, data + length));
  }

 private:
  MechanismCopy m_mechanism;
  const std::size_t m_size;
  const PrivateUse m_use;
};

}  // namespace

std::unique_ptr<Operation> MakeSignature(const CK_MECHANISM& mechanism, const Values& key, PrivateUse use) {
  return std::make_unique<Signature>(mechanism, key, std::move(use));
}

std::unique_ptr<Operation> MakeDecryption(const CK_MECHANISM& mechanism, const Values& key, PrivateUse use) {
  return std::make_unique<Decryption>(mechanism, key, std::move(use));
}

}  // namespace adapter

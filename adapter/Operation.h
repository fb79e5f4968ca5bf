// The operation of a session of the provider, from its C_...Init to its end.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "adapter/Values.h"
#include "cryptoki/Pkcs11.h"
#include "pkcs11/Secret.h"

namespace adapter {

enum class Work { Encrypt, Decrypt, Digest, Sign, Verify };

// Whole takes all the data at once, Part takes some of it, Last ends an operation in parts.
enum class Course { Whole, Part, Last };

// Operation does one of these in software, or holds a private-key operation back until it can be done in one call of
// the module.
class Operation {
 public:
  explicit Operation(Work work) : m_work(work) {}
  virtual ~Operation() = default;
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  Work Kind() const { return m_work; }
  virtual bool TakesParts() const { return true; }
  // Room returns the longest possible result of a step with that much data. IsExact tells whether the result has
  // exactly that length, so that too small a buffer is noticed before the step is done.
  virtual std::size_t Room(Course course, std::size_t length) const = 0;
  virtual bool IsExact() const { return true; }
  // Do does a step. `data` may be null if `length` is 0. Throws Failure.
  virtual pkcs11::Secret Do(Course course, const CK_BYTE* data, std::size_t length) = 0;
  // Compare is the last step of a verification, and returns its result.
  virtual CK_RV Compare(const CK_BYTE* /*signature*/, std::size_t /*length*/) { return CKR_FUNCTION_FAILED; }

  // The last step only returned a length: another operation may replace this one.
  bool asked = false;
  // The result of the last step, for which the buffer was too small.
  std::optional<pkcs11::Secret> held;

 private:
  const Work m_work;
};

// The private-key part of an operation: the bare mechanism, with the parameter of the operation's mechanism, over this
// data.
using PrivateUse = std::function<pkcs11::Secret(CK_MECHANISM mechanism, const pkcs11::Secret& data)>;

// All of these throw Failure for an operation that cannot begin. `key` has the values of the key; only those that are
// needed are kept.
std::unique_ptr<Operation> MakeDigest(CK_MECHANISM_TYPE mechanism);
std::unique_ptr<Operation> MakeCipher(Work work, const CK_MECHANISM& mechanism, const Values& key);
std::unique_ptr<Operation> MakeRsaEncryption(const CK_MECHANISM& mechanism, const Values& key);
std::unique_ptr<Operation> MakeVerification(const CK_MECHANISM& mechanism, const Values& key);
std::unique_ptr<Operation> MakeSignature(const CK_MECHANISM& mechanism, const Values& key, PrivateUse use);
std::unique_ptr<Operation> MakeDecryption(const CK_MECHANISM& mechanism, const Values& key, PrivateUse use);

}  // namespace adapter

// The operation of a session: it begins with an entry C_...Init, and steps continue it.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>

#include "Oaep.h"
#include "SharedNames.h"
#include "cryptoki/Pkcs11.h"

namespace softtoken {

enum class Work { None, Encrypt, Decrypt, Digest, Sign, Verify };

// Whole takes all the data at once, Part takes some of it, Last ends an operation in parts.
enum class Course { Whole, Part, Last };

struct Step {
  Work work = Work::None;
  Course course = Course::Whole;
};

// kStep is the step that an entry does, and the operation that it belongs to. Entries not listed are not steps.
template <auto Entry>
inline constexpr Step kStep = {};
// clang-format off: a table
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_Encrypt> = {Work::Encrypt, Course::Whole};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_EncryptUpdate> = {Work::Encrypt, Course::Part};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_EncryptFinal> = {Work::Encrypt, Course::Last};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_Decrypt> = {Work::Decrypt, Course::Whole};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_DecryptUpdate> = {Work::Decrypt, Course::Part};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_DecryptFinal> = {Work::Decrypt, Course::Last};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_Digest> = {Work::Digest, Course::Whole};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_DigestUpdate> = {Work::Digest, Course::Part};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_DigestKey> = {Work::Digest, Course::Part};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_DigestFinal> = {Work::Digest, Course::Last};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_Sign> = {Work::Sign, Course::Whole};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_SignUpdate> = {Work::Sign, Course::Part};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_SignFinal> = {Work::Sign, Course::Last};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_Verify> = {Work::Verify, Course::Whole};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_VerifyUpdate> = {Work::Verify, Course::Part};
template <>
inline constexpr Step kStep<&CK_FUNCTION_LIST::C_VerifyFinal> = {Work::Verify, Course::Last};
// clang-format on

struct Operation {
  Work work;
  // A SoftHSM session for this operation alone: SoftHSM ends an operation only with a result or with its session.
  CK_SESSION_HANDLE lower;
  bool takesNoParts = false;              // the mechanism is for whole data only
  std::size_t bareBlock = 0;              // the longest input of bare RSA; 0: no limit
  std::unique_ptr<OaepOperation> oaep{};  // null for all other mechanisms
  // The last step returned only a length: another operation may replace this one.
  bool asked = false;
};

// The arguments of a step, after the session, are pairs: bytes and their length for an input, a buffer and the address
// of its length for an output.

// AsksForLength tells whether an output has no buffer, so that only its length is asked for.
inline bool AsksForLength() { return false; }
template <typename Length, typename... Rest>
bool AsksForLength(const CK_BYTE* bytes, Length /*length*/, Rest... rest) {
  return (std::is_pointer_v<Length> && bytes == nullptr) || AsksForLength(rest...);
}

// CheckBuffers throws Failure{CKR_ARGUMENTS_BAD} for an output without a length, and for a missing input. An input may
// be missing if its length is 0, or if the step only asks for a length.
inline void CheckBuffers(bool /*asks*/) {}
template <typename Length, typename... Rest>
void CheckBuffers(bool asks, CK_BYTE_PTR& bytes, Length length, Rest&... rest) {
  if constexpr (std::is_pointer_v<Length>) {
    Require(length != nullptr, CKR_ARGUMENTS_BAD);
  } else if (bytes == nullptr) {
    Require(asks || length == 0, CKR_ARGUMENTS_BAD);
    // SoftHSM refuses a null pointer even if the length is 0.
    static CK_BYTE nothing = 0;
    bytes = &nothing;
  }
  CheckBuffers(asks, rest...);
}

// CheckLength throws Failure{CKR_DATA_LEN_RANGE} for an input that is longer than the modulus: SoftHSM would end the
// whole process.
template <typename... Rest>
void CheckLength(const Operation& operation, const CK_BYTE* /*data*/, CK_ULONG length, Rest... /*rest*/) {
  Require(operation.bareBlock == 0 || length <= operation.bareBlock, CKR_DATA_LEN_RANGE);
}

}  // namespace softtoken

#include "adapter/software/RsaPublic.h"

#include <algorithm>
#include <climits>

#include "adapter/software/Digest.h"
#include "adapter/software/Gcrypt.h"
#include "adapter/software/Random.h"
#include "pkcs11/Failure.h"

namespace adapter::software {
namespace {

using pkcs11::Require;

constexpr std::size_t kMinModulus = 32;
constexpr std::size_t kMaxModulus = 2048;
constexpr std::size_t kPadding = 11;      // the bytes that PKCS #1 adds at least
constexpr std::size_t kPaddingMarks = 3;  // of these, those that are not random

// The digits of a number, without leading zeros.
struct Number {
  explicit Number(const std::vector<CK_BYTE>& bytes) {
    const auto first = std::find_if(bytes.begin(), bytes.end(), [](CK_BYTE byte) { return byte != 0; });
    digits.assign(first, bytes.end());
  }
  std::size_t Size() const { return digits.size(); }
  bool IsOdd() const { return !digits.empty() && (digits.back() & 1U) != 0; }

  std::vector<CK_BYTE> digits;
};

// A public key in the library's form.
struct Key {
  explicit Key(const RsaPublicKey& key) : modulus(key.modulus), exponent(key.exponent) {
    Require(modulus.Size() >= kMinModulus && modulus.Size() <= kMaxModulus && modulus.IsOdd(), CKR_KEY_SIZE_RANGE);
    Require(exponent.IsOdd() && exponent.Size() <= modulus.Size(), CKR_KEY_SIZE_RANGE);
    StartGcrypt();
    expression = Expression("(public-key (rsa (n %b) (e %b)))", static_cast<int>(modulus.Size()), modulus.digits.data(),
                            static_cast<int>(exponent.Size()), exponent.digits.data());
  }
  std::size_t Size() const { return modulus.Size(); }

  Number modulus;
  Number exponent;
  Sexp expression;
};

// What is to be encrypted, or what a signature must contain.
struct Data {
  const CK_BYTE* bytes;
  std::size_t length;
  int Length() const { return static_cast<int>(length); }
};

struct MpiRelease {
  void operator()(gcry_mpi_t number) const { gcry_mpi_release(number); }
};
using Mpi = std::unique_ptr<std::remove_pointer_t<gcry_mpi_t>, MpiRelease>;

Mpi Scan(const void* bytes, std::size_t length) {
  gcry_mpi_t number = nullptr;
  Succeed(gcry_mpi_scan(&number, GCRYMPI_FMT_USG, bytes, length, nullptr));
  return Mpi(number);
}

// A block of CKM_RSA_X_509.
Sexp BareBlock(const Key& key, const Data& data) {
  Require(data.length <= key.Size(), CKR_DATA_LEN_RANGE);
  const Mpi number = Scan(data.bytes, data.length);
  const Mpi modulus = Scan(key.modulus.digits.data(), key.Size());
  Require(gcry_mpi_cmp(number.get(), modulus.get()) < 0, CKR_DATA_INVALID);
  return Expression("(data (flags raw) (value %m))", number.get());
}

Sexp PaddedBlock(const Key& key, const Data& data) {
  Require(data.length + kPadding <= key.Size(), CKR_DATA_LEN_RANGE);
  const pkcs11::Secret padding = RandomWithoutZeros(key.Size() - data.length - kPaddingMarks);
  return Expression("(data (flags pkcs1) (value %b) (random-override %b))", data.Length(), data.bytes,
                    static_cast<int>(padding.size()), padding.data());
}

Sexp OaepBlock(const Key& key, const CK_MECHANISM& mechanism, const Data& data) {
  Require(mechanism.pParameter != nullptr && mechanism.ulParameterLen == sizeof(CK_RSA_PKCS_OAEP_PARAMS),
          CKR_MECHANISM_PARAM_INVALID);
  const auto& oaep = *static_cast<const CK_RSA_PKCS_OAEP_PARAMS*>(mechanism.pParameter);
  const Hash* const hash = FindHashOfDigest(oaep.hashAlg);
  Require(hash != nullptr && hash->mask != 0 && hash->mask == oaep.mgf, CKR_MECHANISM_PARAM_INVALID);
  Require(oaep.source == CKZ_DATA_SPECIFIED || (oaep.source == 0 && oaep.ulSourceDataLen == 0),
          CKR_MECHANISM_PARAM_INVALID);
  Require(oaep.ulSourceDataLen <= INT_MAX && (oaep.pSourceData != nullptr || oaep.ulSourceDataLen == 0),
          CKR_MECHANISM_PARAM_INVALID);
  Require(data.length + 2 * hash->length + 2 <= key.Size(), CKR_DATA_LEN_RANGE);
  pkcs11::Secret seed(hash->length);
  Fill(seed.data(), seed.size());
  return Expression("(data (flags oaep) (hash-algo %s) (label %b) (value %b) (random-override %b))",
                    gcry_md_algo_name(hash->algorithm), static_cast<int>(oaep.ulSourceDataLen), oaep.pSourceData,
                    data.Length(), data.bytes, static_cast<int>(seed.size()), seed.data());
}

Sexp BlockToEncrypt(const Key& key, const CK_MECHANISM& mechanism, const Data& data) {
  switch (mechanism.mechanism) {
    case CKM_RSA_PKCS:
      return PaddedBlock(key, data);
    case CKM_RSA_X_509:
      return BareBlock(key, data);
    case CKM_RSA_PKCS_OAEP:
      return OaepBlock(key, mechanism, data);
    default:
      throw pkcs11::Failure{CKR_MECHANISM_INVALID};
  }
}

// The number in an answer, with leading zeros up to the length of the modulus.
std::vector<CK_BYTE> NumberOf(const Sexp& answer, std::size_t size) {
  gcry_mpi_t found = nullptr;
  Succeed(gcry_sexp_extract_param(answer.get(), nullptr, "a", &found, nullptr));
  const Mpi number(found);
  std::vector<CK_BYTE> bytes(size);
  std::size_t length = 0;
  Succeed(gcry_mpi_print(GCRYMPI_FMT_USG, bytes.data(), bytes.size(), &length, number.get()));
  std::rotate(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length), bytes.end());
  return bytes;
}

Sexp BlockToVerify(const Key& key, CK_MECHANISM_TYPE mechanism, const CK_BYTE* data, std::size_t length) {
  if (const Hash* const hash = FindHashOfSignature(mechanism)) {
    Digest digest(hash->digest);
    digest.Update(data, length);
    const std::vector<CK_BYTE> value = digest.Final();
    return Expression("(data (flags pkcs1) (hash %s %b))", gcry_md_algo_name(hash->algorithm),
                      static_cast<int>(value.size()), value.data());
  }
  Require(mechanism == CKM_RSA_PKCS || mechanism == CKM_RSA_X_509, CKR_MECHANISM_INVALID);
  Require(length != 0 && length <= key.Size(), CKR_DATA_LEN_RANGE);
  if (mechanism == CKM_RSA_X_509) return BareBlock(key, {data, length});
  Require(length + kPadding <= key.Size(), CKR_DATA_LEN_RANGE);
  return Expression("(data (flags pkcs1-raw) (value %b))", static_cast<int>(length), data);
}

}  // namespace

std::vector<CK_BYTE> Encrypt(const RsaPublicKey& publicKey, const CK_MECHANISM& mechanism, const CK_BYTE* data,
                             std::size_t length) {
  const Key key(publicKey);
  Require(length != 0 && length <= key.Size(), CKR_DATA_LEN_RANGE);
  const Sexp block = BlockToEncrypt(key, mechanism, {data, length});
  gcry_sexp_t answer = nullptr;
  Succeed(gcry_pk_encrypt(&answer, block.get(), key.expression.get()));
  return NumberOf(Sexp(answer), key.Size());
}

CK_RV Verify(const RsaPublicKey& publicKey, const CK_MECHANISM& mechanism, const CK_BYTE* data, std::size_t length,
             const CK_BYTE* signature, std::size_t signatureLength) {
  try {
    const Key key(publicKey);
    const Sexp block = BlockToVerify(key, mechanism.mechanism, data, length);
    Require(signatureLength == key.Size(), CKR_SIGNATURE_LEN_RANGE);
    const Sexp value = Expression("(sig-val (rsa (s %b)))", static_cast<int>(signatureLength), signature);
    Succeed(gcry_pk_verify(value.get(), block.get(), key.expression.get()), CKR_SIGNATURE_INVALID);
    return CKR_OK;
  } catch (const pkcs11::Failure& failure) {
    return failure.code;
  }
}

}  // namespace adapter::software

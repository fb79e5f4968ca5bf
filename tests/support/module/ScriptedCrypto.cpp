// The scripted module's cryptography. It protects nothing; its results are predictable:
//
//   a digest of n bytes: four bytes with the message's length, its first n - 4 bytes, zeros
//   RSA: as many 'S' (signature) or 'E' (encryption) as fill the length of the modulus, a zero byte, the input
//   a session key: each byte XORed with 0x5A; the padded modes first add n bytes of value n
//   random bytes: 1, 2, 3, ...
//   the modulus of a new pair: bytes that count up from 0x80, from 0x81 for the next pair, ...
#include <algorithm>
#include <cstring>

#include "module/ScriptedModule.h"

namespace {

constexpr unsigned char kCipherMask = 0x5A;

struct DigestRow {
  CK_MECHANISM_TYPE type;
  std::size_t length;
};

constexpr DigestRow kDigests[] = {
    {CKM_MD2, 16}, {CKM_MD5, 16}, {CKM_SHA_1, 20}, {CKM_SHA256, 32}, {CKM_SHA384, 48}, {CKM_SHA512, 64},
};

std::size_t DigestLength(CK_MECHANISM_TYPE type) {
  for (const DigestRow& row : kDigests) {
    if (row.type == type) return row.length;
  }
  return 0;
}

Bytes DigestOf(const Bytes& message, std::size_t length) {
  Bytes digest(length);
  const std::size_t size = message.size();
  for (std::size_t i = 0; i < 4; ++i) digest[i] = static_cast<unsigned char>(size >> (8 * (3 - i)));
  std::copy_n(message.begin(), std::min(size, length - 4), digest.begin() + 4);
  return digest;
}

CK_RV Padded(const Bytes& data, std::size_t length, unsigned char filling, Bytes& result) {
  if (data.size() + 11 > length) return CKR_DATA_LEN_RANGE;
  result.assign(length - data.size() - 1, filling);
  result.push_back(0);
  result.insert(result.end(), data.begin(), data.end());
  return CKR_OK;
}

CK_RV Unpadded(const Bytes& data, unsigned char filling, Bytes& result) {
  const auto zero = std::find(data.begin(), data.end(), 0);
  if (data.empty() || data.front() != filling || zero == data.end()) return CKR_ENCRYPTED_DATA_INVALID;
  result.assign(zero + 1, data.end());
  return CKR_OK;
}

Bytes Masked(Bytes data) {
  for (unsigned char& byte : data) byte = static_cast<unsigned char>(byte ^ kCipherMask);
  return data;
}

std::size_t BlockLength(CK_ULONG keyType) { return keyType == CKK_AES ? 16 : 8; }

bool IsPaddedMode(CK_MECHANISM_TYPE mechanism) {
  return mechanism == CKM_DES_CBC_PAD || mechanism == CKM_DES3_CBC_PAD || mechanism == CKM_AES_CBC_PAD;
}

CK_RV EncryptWithSecretKey(const Bytes& data, std::size_t block, bool padded, Bytes& result) {
  Bytes blocks = data;
  if (padded) {
    const std::size_t missing = block - data.size() % block;
    blocks.insert(blocks.end(), missing, static_cast<unsigned char>(missing));
  }
  if (blocks.size() % block != 0) return CKR_DATA_LEN_RANGE;
  result = Masked(blocks);
  return CKR_OK;
}

CK_RV DecryptWithSecretKey(const Bytes& data, std::size_t block, bool padded, Bytes& result) {
  if (data.size() % block != 0) return CKR_ENCRYPTED_DATA_LEN_RANGE;
  result = Masked(data);
  if (!padded) return CKR_OK;
  if (result.empty() || result.back() == 0 || result.back() > block) return CKR_ENCRYPTED_DATA_INVALID;
  result.resize(result.size() - result.back());
  return CKR_OK;
}

std::string KeyText(const CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
  return MechanismText(mechanism) + ", " + std::to_string(key);
}

}  // namespace

CK_RV ScriptedModule::Compute(ScriptedToken& token, Operation operation, const ActiveOperation& active,
                              const Bytes& data, Bytes& result) {
  if (operation == kDigest) {
    result = DigestOf(data, DigestLength(active.mechanism));
    return CKR_OK;
  }
  const ScriptedObject& key = token.objects[active.key];
  if (key.NumberOf(CKA_CLASS) == CKO_SECRET_KEY) {
    const std::size_t block = BlockLength(key.NumberOf(CKA_KEY_TYPE));
    const bool padded = IsPaddedMode(active.mechanism);
    return operation == kEncrypt ? EncryptWithSecretKey(data, block, padded, result)
                                 : DecryptWithSecretKey(data, block, padded, result);
  }
  if (operation == kDecrypt) return Unpadded(data, 'E', result);
  if (operation == kVerifyRecover) return Unpadded(data, 'S', result);
  const auto modulus = key.attributes.find(CKA_MODULUS);
  if (modulus == key.attributes.end()) return CKR_KEY_TYPE_INCONSISTENT;
  return Padded(data, modulus->second.size(), operation == kEncrypt ? 'E' : 'S', result);
}

CK_RV ScriptedModule::Begin(const char* entry, Operation operation, CK_SESSION_HANDLE handle,
                            const CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
  const std::string arguments = operation == kDigest ? MechanismText(mechanism) : KeyText(mechanism, key);
  return DoInSession(entry, arguments, handle, [&](OpenSession& open, ScriptedToken& token) -> CK_RV {
    if (operation == kDigest) {
      if (DigestLength(mechanism->mechanism) == 0) return CKR_MECHANISM_INVALID;
    } else {
      const auto found = token.objects.find(key);
      if (found == token.objects.end()) return CKR_KEY_HANDLE_INVALID;
      if (found->second.NumberOf(CKA_CLASS) == CKO_PRIVATE_KEY && !token.loggedIn) return CKR_USER_NOT_LOGGED_IN;
    }
    ActiveOperation& active = open.operations[operation];
    if (active.active) return CKR_OPERATION_ACTIVE;
    active = ActiveOperation();
    active.active = true;
    active.mechanism = mechanism->mechanism;
    active.key = key;
    return CKR_OK;
  });
}

CK_RV ScriptedModule::Finish(const char* entry, Operation operation, CK_SESSION_HANDLE handle, const CK_BYTE* data,
                             CK_ULONG dataLen, bool whole, CK_BYTE* out, CK_ULONG* outLen) {
  const std::string output = OutputText(out, outLen);
  const std::string arguments = whole ? InputText(data, dataLen) + ", " + output : output;
  return DoInSession(entry, arguments, handle, [&](OpenSession& open, ScriptedToken& token) -> CK_RV {
    ActiveOperation& active = open.operations[operation];
    if (!active.active) return CKR_OPERATION_NOT_INITIALIZED;
    Bytes message = active.collected;
    if (whole && data != nullptr) message.insert(message.end(), data, data + dataLen);
    Bytes result;
    const CK_RV computed = Compute(token, operation, active, message, result);
    if (computed != CKR_OK) {
      active.active = false;
      return computed;
    }
    const CK_ULONG room = *outLen;
    *outLen = static_cast<CK_ULONG>(result.size());
    if (out != nullptr && room < result.size()) return CKR_BUFFER_TOO_SMALL;
    if (out != nullptr) {
      wroteOverInput = out == data;
      std::copy(result.begin(), result.end(), out);
      active.active = false;
    }
    Falsify(entry, outLen);
    return CKR_OK;
  });
}

CK_RV ScriptedModule::Collect(const char* entry, Operation operation, CK_SESSION_HANDLE handle, const CK_BYTE* data,
                              CK_ULONG dataLen) {
  return DoInSession(entry, InputText(data, dataLen), handle, [&](OpenSession& open, const ScriptedToken&) -> CK_RV {
    ActiveOperation& active = open.operations[operation];
    if (!active.active) return CKR_OPERATION_NOT_INITIALIZED;
    active.collected.insert(active.collected.end(), data, data + dataLen);
    return CKR_OK;
  });
}

CK_RV ScriptedModule::Compare(const char* entry, CK_SESSION_HANDLE handle, const CK_BYTE* data, CK_ULONG dataLen,
                              bool whole, const CK_BYTE* signature, CK_ULONG signatureLen) {
  const std::string given = "signature " + InputText(signature, signatureLen);
  const std::string arguments = whole ? InputText(data, dataLen) + ", " + given : given;
  return DoInSession(entry, arguments, handle, [&](OpenSession& open, ScriptedToken& token) -> CK_RV {
    ActiveOperation& active = open.operations[kVerify];
    if (!active.active) return CKR_OPERATION_NOT_INITIALIZED;
    active.active = false;
    Bytes message = active.collected;
    if (whole) message.insert(message.end(), data, data + dataLen);
    Bytes expected;
    const CK_RV computed = Compute(token, kSign, active, message, expected);
    if (computed != CKR_OK) return computed;
    if (signatureLen != expected.size()) return CKR_SIGNATURE_LEN_RANGE;
    return std::equal(expected.begin(), expected.end(), signature) ? CKR_OK : CKR_SIGNATURE_INVALID;
  });
}

CK_RV ScriptedModule::C_DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism) {
  return Begin("C_DigestInit", kDigest, session, mechanism, 0);
}

CK_RV ScriptedModule::C_Digest(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR digest,
                               CK_ULONG_PTR digestLen) {
  return Finish("C_Digest", kDigest, session, data, dataLen, true, digest, digestLen);
}

CK_RV ScriptedModule::C_DigestUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen) {
  return Collect("C_DigestUpdate", kDigest, session, part, partLen);
}

CK_RV ScriptedModule::C_DigestKey(CK_SESSION_HANDLE, CK_OBJECT_HANDLE) { return NotSupported("C_DigestKey"); }

CK_RV ScriptedModule::C_DigestFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR digest, CK_ULONG_PTR digestLen) {
  return Finish("C_DigestFinal", kDigest, session, nullptr, 0, false, digest, digestLen);
}

// The first two entries of an operation that transforms data.
#define SCRIPTED_OPERATION(name, operation)                                                                           \
  CK_RV ScriptedModule::C_##name##Init(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) { \
    return Begin("C_" #name "Init", operation, session, mechanism, key);                                              \
  }                                                                                                                   \
  CK_RV ScriptedModule::C_##name(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR out,      \
                                 CK_ULONG_PTR outLen) {                                                               \
    return Finish("C_" #name, operation, session, data, dataLen, true, out, outLen);                                  \
  }

SCRIPTED_OPERATION(Encrypt, kEncrypt)
SCRIPTED_OPERATION(Decrypt, kDecrypt)
SCRIPTED_OPERATION(Sign, kSign)
SCRIPTED_OPERATION(SignRecover, kSignRecover)
SCRIPTED_OPERATION(VerifyRecover, kVerifyRecover)

CK_RV ScriptedModule::C_EncryptUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen, CK_BYTE_PTR,
                                      CK_ULONG_PTR encryptedLen) {
  *encryptedLen = 0;
  return Collect("C_EncryptUpdate", kEncrypt, session, part, partLen);
}

CK_RV ScriptedModule::C_EncryptFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR lastPart, CK_ULONG_PTR lastPartLen) {
  return Finish("C_EncryptFinal", kEncrypt, session, nullptr, 0, false, lastPart, lastPartLen);
}

CK_RV ScriptedModule::C_DecryptUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen,
                                      CK_BYTE_PTR, CK_ULONG_PTR partLen) {
  *partLen = 0;
  return Collect("C_DecryptUpdate", kDecrypt, session, encrypted, encryptedLen);
}

CK_RV ScriptedModule::C_DecryptFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR lastPart, CK_ULONG_PTR lastPartLen) {
  return Finish("C_DecryptFinal", kDecrypt, session, nullptr, 0, false, lastPart, lastPartLen);
}

CK_RV ScriptedModule::C_SignUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen) {
  return Collect("C_SignUpdate", kSign, session, part, partLen);
}

CK_RV ScriptedModule::C_SignFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR signature, CK_ULONG_PTR signatureLen) {
  return Finish("C_SignFinal", kSign, session, nullptr, 0, false, signature, signatureLen);
}

CK_RV ScriptedModule::C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return Begin("C_VerifyInit", kVerify, session, mechanism, key);
}

CK_RV ScriptedModule::C_Verify(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
                               CK_ULONG signatureLen) {
  return Compare("C_Verify", session, data, dataLen, true, signature, signatureLen);
}

CK_RV ScriptedModule::C_VerifyUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen) {
  return Collect("C_VerifyUpdate", kVerify, session, part, partLen);
}

CK_RV ScriptedModule::C_VerifyFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR signature, CK_ULONG signatureLen) {
  return Compare("C_VerifyFinal", session, nullptr, 0, false, signature, signatureLen);
}

// Entries that combine two operations. The provider has no wrapper for them.
#define SCRIPTED_UNSUPPORTED(name)                                                                  \
  CK_RV ScriptedModule::name(CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR, CK_ULONG_PTR) { \
    return NotSupported(#name);                                                                     \
  }

SCRIPTED_UNSUPPORTED(C_DigestEncryptUpdate)
SCRIPTED_UNSUPPORTED(C_DecryptDigestUpdate)
SCRIPTED_UNSUPPORTED(C_SignEncryptUpdate)
SCRIPTED_UNSUPPORTED(C_DecryptVerifyUpdate)

CK_RV ScriptedModule::C_GenerateKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_ATTRIBUTE_PTR attributes,
                                    CK_ULONG count, CK_OBJECT_HANDLE_PTR key) {
  return DoInSession("C_GenerateKey", MechanismText(mechanism) + ", " + Values(attributes, count), session,
                     [&](const OpenSession&, ScriptedToken& token) -> CK_RV {
                       ScriptedObject made = ObjectFrom(attributes, count).With(CKA_CLASS, Number(CKO_SECRET_KEY));
                       if (made.attributes.count(CKA_KEY_TYPE) == 0) made.With(CKA_KEY_TYPE, Number(CKK_DES3));
                       SupplyDefaults(made);
                       *key = token.Add(made);
                       return CKR_OK;
                     });
}

CK_RV ScriptedModule::C_GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism,
                                        CK_ATTRIBUTE_PTR publicAttributes, CK_ULONG publicCount,
                                        CK_ATTRIBUTE_PTR privateAttributes, CK_ULONG privateCount,
                                        CK_OBJECT_HANDLE_PTR publicKey, CK_OBJECT_HANDLE_PTR privateKey) {
  const std::string arguments = MechanismText(mechanism) + ", public " + Values(publicAttributes, publicCount) +
                                ", private " + Values(privateAttributes, privateCount);
  return DoInSession("C_GenerateKeyPair", arguments, session, [&](const OpenSession&, ScriptedToken& token) -> CK_RV {
    ScriptedObject publicHalf = ObjectFrom(publicAttributes, publicCount).With(CKA_CLASS, Number(CKO_PUBLIC_KEY));
    ScriptedObject privateHalf = ObjectFrom(privateAttributes, privateCount).With(CKA_CLASS, Number(CKO_PRIVATE_KEY));
    const CK_ULONG bits = publicHalf.NumberOf(CKA_MODULUS_BITS);
    const Bytes modulus = Counting(bits / 8, m_nextModulus++);
    publicHalf.With(CKA_MODULUS, modulus);
    privateHalf.With(CKA_MODULUS, modulus).With(CKA_MODULUS_BITS, Number(bits));
    SupplyDefaults(publicHalf);
    SupplyDefaults(privateHalf);
    *publicKey = token.Add(publicHalf);
    *privateKey = token.Add(privateHalf);
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_WrapKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE wrappingKey,
                                CK_OBJECT_HANDLE key, CK_BYTE_PTR wrapped, CK_ULONG_PTR wrappedLen) {
  const std::string arguments =
      KeyText(mechanism, wrappingKey) + ", " + std::to_string(key) + ", " + OutputText(wrapped, wrappedLen);
  return DoInSession("C_WrapKey", arguments, session, [&](const OpenSession&, ScriptedToken& token) -> CK_RV {
    const auto found = token.objects.find(key);
    if (found == token.objects.end()) return CKR_KEY_HANDLE_INVALID;
    const Bytes result = Masked(found->second.attributes[CKA_VALUE]);
    const CK_ULONG room = *wrappedLen;
    *wrappedLen = static_cast<CK_ULONG>(result.size());
    if (wrapped == nullptr) return CKR_OK;
    if (room < result.size()) return CKR_BUFFER_TOO_SMALL;
    std::copy(result.begin(), result.end(), wrapped);
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_UnwrapKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE unwrappingKey,
                                  CK_BYTE_PTR wrapped, CK_ULONG wrappedLen, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                                  CK_OBJECT_HANDLE_PTR key) {
  const std::string arguments =
      KeyText(mechanism, unwrappingKey) + ", " + InputText(wrapped, wrappedLen) + ", " + Values(attributes, count);
  return DoInSession("C_UnwrapKey", arguments, session, [&](const OpenSession&, ScriptedToken& token) -> CK_RV {
    ScriptedObject made = ObjectFrom(attributes, count).With(CKA_CLASS, Number(CKO_SECRET_KEY));
    made.With(CKA_VALUE, Masked(Bytes(wrapped, wrapped + wrappedLen)));
    if (made.attributes.count(CKA_KEY_TYPE) == 0) made.With(CKA_KEY_TYPE, Number(CKK_DES3));
    SupplyDefaults(made);
    *key = token.Add(made);
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_DeriveKey(CK_SESSION_HANDLE, CK_MECHANISM_PTR, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR, CK_ULONG,
                                  CK_OBJECT_HANDLE_PTR) {
  return NotSupported("C_DeriveKey");
}

CK_RV ScriptedModule::C_SeedRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR seed, CK_ULONG seedLen) {
  return DoInSession("C_SeedRandom", InputText(seed, seedLen), session,
                     [](const OpenSession&, const ScriptedToken&) -> CK_RV { return CKR_OK; });
}

CK_RV ScriptedModule::C_GenerateRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen) {
  return DoInSession("C_GenerateRandom", OutputText(data, &dataLen), session,
                     [&](const OpenSession&, const ScriptedToken&) -> CK_RV {
                       for (CK_ULONG i = 0; i < dataLen; ++i) data[i] = m_random++;
                       return CKR_OK;
                     });
}

CK_RV ScriptedModule::C_GetFunctionStatus(CK_SESSION_HANDLE) { return NotSupported("C_GetFunctionStatus"); }

CK_RV ScriptedModule::C_CancelFunction(CK_SESSION_HANDLE) { return NotSupported("C_CancelFunction"); }

// The entries of Adapter that work on data. After a length query, and after CKR_BUFFER_TOO_SMALL, the operation may
// continue, or another one may begin in its place. An operation ends with its result, and with any other failure.
#include <algorithm>

#include "adapter/Adapter.h"
#include "adapter/Certificate.h"
#include "pkcs11/Mechanisms.h"

namespace adapter {

using pkcs11::CheckMechanism;
using pkcs11::Require;
using pkcs11::Secret;

namespace {

// The public key of an object that has one: a public key or a certificate.
Values PublicPartOf(const Object& object) {
  if (object.Class() == CKO_PUBLIC_KEY) return object.values;
  Require(object.Class() == CKO_CERTIFICATE, CKR_KEY_TYPE_INCONSISTENT);
  const auto facts = ReadCertificate(object.values.Bytes(CKA_VALUE));
  Require(facts && !facts->modulus.empty(), CKR_KEY_TYPE_INCONSISTENT);
  Values values;
  values.Set(CKA_MODULUS, facts->modulus);
  values.Set(CKA_PUBLIC_EXPONENT, facts->exponent);
  return values;
}

}  // namespace

Object& Adapter::KeyOf(const Session& session, CK_OBJECT_HANDLE handle) {
  Object& key = ObjectOf(session, handle, CKR_KEY_HANDLE_INVALID);
  // This is reported before anything else about the operation.
  Require(!key.NeedsLogin() || TokenOf(session).User().IsUser(), CKR_USER_NOT_LOGGED_IN);
  return key;
}

void Adapter::RequireFree(Session& session) {
  if (session.operation && session.operation->asked) session.operation.reset();
  Require(!session.operation, CKR_OPERATION_ACTIVE);
}

void Adapter::Begin(Session& session, std::unique_ptr<Operation> operation) {
  session.operation = std::move(operation);
}

// The key is looked up again when it is used: meanwhile it may have been destroyed.
PrivateUse Adapter::UseOf(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key) {
  return [this, session, key](CK_MECHANISM mechanism, const Secret& data) {
    const Session& entered = *m_sessions.Find(session);
    Object& object = KeyOf(entered, key);
    Token& token = TokenOf(entered);
    const bool signs = entered.operation->Kind() == Work::Sign;
    return signs ? token.Sign(object, mechanism, data) : token.Decrypt(object, mechanism, data);
  };
}

CK_RV Adapter::C_EncryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  Session& entered = Enter(session);
  const Object& object = KeyOf(entered, key);
  CheckMechanism(mechanism);
  RequireFree(entered);
  const bool isSecret = object.Class() == CKO_SECRET_KEY;
  Begin(entered, isSecret ? MakeCipher(Work::Encrypt, *mechanism, object.values)
                          : MakeRsaEncryption(*mechanism, PublicPartOf(object)));
  return CKR_OK;
}

CK_RV Adapter::C_DecryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  Session& entered = Enter(session);
  const Object& object = KeyOf(entered, key);
  CheckMechanism(mechanism);
  RequireFree(entered);
  if (object.Class() == CKO_SECRET_KEY) {
    Begin(entered, MakeCipher(Work::Decrypt, *mechanism, object.values));
    return CKR_OK;
  }
  Require(object.IsPrivateKey(), CKR_KEY_TYPE_INCONSISTENT);
  const CK_MECHANISM_TYPE type = mechanism->mechanism;
  const bool isRsa = type == CKM_RSA_PKCS || type == CKM_RSA_X_509 || type == CKM_RSA_PKCS_OAEP;
  // Only the token removes padding: a mistake in that would reveal something about the key.
  Require(isRsa && !TokenOf(entered).Lacks(type), CKR_MECHANISM_INVALID);
  Begin(entered, MakeDecryption(*mechanism, object.values, UseOf(session, key)));
  return CKR_OK;
}

CK_RV Adapter::C_SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  Session& entered = Enter(session);
  const Object& object = KeyOf(entered, key);
  CheckMechanism(mechanism);
  RequireFree(entered);
  Require(object.IsPrivateKey(), CKR_KEY_TYPE_INCONSISTENT);
  const CK_MECHANISM_TYPE type = mechanism->mechanism;
  Require(pkcs11::NeedsRsaKey(type) && type != CKM_RSA_PKCS_OAEP, CKR_MECHANISM_INVALID);
  Begin(entered, MakeSignature(*mechanism, object.values, UseOf(session, key)));
  return CKR_OK;
}

CK_RV Adapter::C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  Session& entered = Enter(session);
  const Object& object = KeyOf(entered, key);
  CheckMechanism(mechanism);
  RequireFree(entered);
  Begin(entered, MakeVerification(*mechanism, PublicPartOf(object)));
  return CKR_OK;
}

CK_RV Adapter::C_DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism) {
  Session& entered = Enter(session);
  Require(mechanism != nullptr, CKR_ARGUMENTS_BAD);
  Require(mechanism->ulParameterLen == 0, CKR_MECHANISM_PARAM_INVALID);
  RequireFree(entered);
  Begin(entered, MakeDigest(mechanism->mechanism));
  return CKR_OK;
}

Operation& Adapter::OperationOf(Session& session, Work work) {
  Require(session.operation && session.operation->Kind() == work, CKR_OPERATION_NOT_INITIALIZED);
  return *session.operation;
}

CK_RV Adapter::Produce(Operation& operation, Course course, Input input, Output output) {
  const bool asks = output.buffer == nullptr;
  Require(output.length != nullptr, CKR_ARGUMENTS_BAD);
  Require(asks || input.data != nullptr || input.length == 0, CKR_ARGUMENTS_BAD);
  Require(course != Course::Part || operation.TakesParts(), CKR_FUNCTION_NOT_SUPPORTED);
  const std::size_t room = operation.held ? operation.held->size() : operation.Room(course, input.length);
  const bool known = operation.held || operation.IsExact();
  const bool tooSmall = known && *output.length < room;
  if (asks || tooSmall) {
    *output.length = static_cast<CK_ULONG>(room);
    return asks ? CKR_OK : CKR_BUFFER_TOO_SMALL;
  }
  if (!operation.held) operation.held = operation.Do(course, input.data, input.length);
  const Secret& result = *operation.held;
  const CK_ULONG given = *output.length;
  *output.length = static_cast<CK_ULONG>(result.size());
  if (given < result.size()) return CKR_BUFFER_TOO_SMALL;
  std::copy(result.begin(), result.end(), output.buffer);
  operation.held.reset();
  return CKR_OK;
}

CK_RV Adapter::Advance(CK_SESSION_HANDLE session, Work work, Course course, Input input, Output output) {
  Session& entered = Enter(session);
  Operation& operation = OperationOf(entered, work);
  CK_RV result = CKR_OK;
  try {
    result = Produce(operation, course, input, output);
  } catch (...) {
    entered.operation.reset();
    throw;
  }
  operation.asked = result == CKR_BUFFER_TOO_SMALL || output.buffer == nullptr;
  if (!operation.asked && course != Course::Part) entered.operation.reset();
  return result;
}

// A step that takes data and returns none.
CK_RV Adapter::Absorb(CK_SESSION_HANDLE session, Work work, Input input) {
  Session& entered = Enter(session);
  Operation& operation = OperationOf(entered, work);
  try {
    Require(operation.TakesParts(), CKR_FUNCTION_NOT_SUPPORTED);
    Require(input.data != nullptr || input.length == 0, CKR_ARGUMENTS_BAD);
    operation.Do(Course::Part, input.data, input.length);
  } catch (...) {
    entered.operation.reset();
    throw;
  }
  operation.asked = false;
  return CKR_OK;
}

CK_RV Adapter::Judge(CK_SESSION_HANDLE session, Course course, Input data, Input signature) {
  Session& entered = Enter(session);
  OperationOf(entered, Work::Verify);
  const std::unique_ptr<Operation> operation = std::move(entered.operation);  // it ends here, whatever happens
  Require(data.data != nullptr || data.length == 0, CKR_ARGUMENTS_BAD);
  Require(signature.data != nullptr, CKR_ARGUMENTS_BAD);
  if (course == Course::Whole) operation->Do(course, data.data, data.length);
  return operation->Compare(signature.data, signature.length);
}

CK_RV Adapter::C_Encrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR encrypted,
                         CK_ULONG_PTR encryptedLen) {
  return Advance(session, Work::Encrypt, Course::Whole, {data, dataLen}, {encrypted, encryptedLen});
}

CK_RV Adapter::C_EncryptUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen, CK_BYTE_PTR encrypted,
                               CK_ULONG_PTR encryptedLen) {
  return Advance(session, Work::Encrypt, Course::Part, {part, partLen}, {encrypted, encryptedLen});
}

CK_RV Adapter::C_EncryptFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR lastPart, CK_ULONG_PTR lastPartLen) {
  return Advance(session, Work::Encrypt, Course::Last, {nullptr, 0}, {lastPart, lastPartLen});
}

CK_RV Adapter::C_Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                         CK_ULONG_PTR dataLen) {
  return Advance(session, Work::Decrypt, Course::Whole, {encrypted, encryptedLen}, {data, dataLen});
}

CK_RV Adapter::C_DecryptUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen,
                               CK_BYTE_PTR part, CK_ULONG_PTR partLen) {
  return Advance(session, Work::Decrypt, Course::Part, {encrypted, encryptedLen}, {part, partLen});
}

CK_RV Adapter::C_DecryptFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR lastPart, CK_ULONG_PTR lastPartLen) {
  return Advance(session, Work::Decrypt, Course::Last, {nullptr, 0}, {lastPart, lastPartLen});
}

CK_RV Adapter::C_Digest(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR digest,
                        CK_ULONG_PTR digestLen) {
  return Advance(session, Work::Digest, Course::Whole, {data, dataLen}, {digest, digestLen});
}

CK_RV Adapter::C_DigestUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen) {
  return Absorb(session, Work::Digest, {part, partLen});
}

CK_RV Adapter::C_DigestKey(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key) {
  Session& entered = Enter(session);
  OperationOf(entered, Work::Digest);
  try {
    const Object& object = KeyOf(entered, key);
    const Secret& value = object.values.Bytes(CKA_VALUE);
    Require(object.Class() == CKO_SECRET_KEY && !value.empty(), CKR_KEY_INDIGESTIBLE);
    return Absorb(session, Work::Digest, {value.data(), static_cast<CK_ULONG>(value.size())});
  } catch (...) {
    entered.operation.reset();
    throw;
  }
}

CK_RV Adapter::C_DigestFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR digest, CK_ULONG_PTR digestLen) {
  return Advance(session, Work::Digest, Course::Last, {nullptr, 0}, {digest, digestLen});
}

CK_RV Adapter::C_Sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
                      CK_ULONG_PTR signatureLen) {
  return Advance(session, Work::Sign, Course::Whole, {data, dataLen}, {signature, signatureLen});
}

CK_RV Adapter::C_SignUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen) {
  return Absorb(session, Work::Sign, {part, partLen});
}

CK_RV Adapter::C_SignFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR signature, CK_ULONG_PTR signatureLen) {
  return Advance(session, Work::Sign, Course::Last, {nullptr, 0}, {signature, signatureLen});
}

CK_RV Adapter::C_Verify(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
                        CK_ULONG signatureLen) {
  return Judge(session, Course::Whole, {data, dataLen}, {signature, signatureLen});
}

CK_RV Adapter::C_VerifyUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen) {
  return Absorb(session, Work::Verify, {part, partLen});
}

CK_RV Adapter::C_VerifyFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR signature, CK_ULONG signatureLen) {
  return Judge(session, Course::Last, {nullptr, 0}, {signature, signatureLen});
}

}  // namespace adapter

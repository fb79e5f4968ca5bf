// What a session does with data: digest, encrypt, decrypt, sign, verify. Each operation is one call of the module.
#include "cryptoki/CryptokiError.h"
#include "cryptoki/Session.h"

void Session::DigestInit(const Mechanism& mechanism) {
  CK_MECHANISM raw = mechanism.TypeOnly();
  Check(Module().C_DigestInit(m_sessionHandle, &raw));
}

void Session::Digest(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_Digest(m_sessionHandle, in, length, out, outLength));
}

void Session::DigestUpdate(BYTE* in, CK_ULONG length) { Check(Module().C_DigestUpdate(m_sessionHandle, in, length)); }

void Session::DigestFinal(BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_DigestFinal(m_sessionHandle, out, outLength));
}

void Session::EncryptInit(const Mechanism& mechanism, const PublicKey& key) {
  CK_MECHANISM raw = mechanism.WithParameter();
  Check(Module().C_EncryptInit(m_sessionHandle, &raw, key.GetHandle()));
}

void Session::EncryptInit(const Mechanism& mechanism, const SecretKey& key) {
  CK_MECHANISM raw = mechanism.WithParameter();
  Check(Module().C_EncryptInit(m_sessionHandle, &raw, key.GetHandle()));
}

void Session::Encrypt(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_Encrypt(m_sessionHandle, in, length, out, outLength));
}

void Session::EncryptUpdate(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_EncryptUpdate(m_sessionHandle, in, length, out, outLength));
}

void Session::EncryptFinal(BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_EncryptFinal(m_sessionHandle, out, outLength));
}

void Session::DecryptInit(const Mechanism& mechanism, const PrivateKey& key) {
  CK_MECHANISM raw = mechanism.WithParameter();
  Check(Module().C_DecryptInit(m_sessionHandle, &raw, key.GetHandle()));
}

void Session::DecryptInit(const Mechanism& mechanism, const SecretKey& key) {
  CK_MECHANISM raw = mechanism.WithParameter();
  Check(Module().C_DecryptInit(m_sessionHandle, &raw, key.GetHandle()));
}

void Session::Decrypt(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_Decrypt(m_sessionHandle, in, length, out, outLength));
}

void Session::DecryptUpdate(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_DecryptUpdate(m_sessionHandle, in, length, out, outLength));
}

void Session::DecryptFinal(BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_DecryptFinal(m_sessionHandle, out, outLength));
}

void Session::SignInit(const Mechanism& mechanism, const CryptokiObject& key) {
  CK_MECHANISM raw = mechanism.TypeOnly();
  Check(Module().C_SignInit(m_sessionHandle, &raw, key.GetHandle()));
}

void Session::Sign(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_Sign(m_sessionHandle, in, length, out, outLength));
}

void Session::SignUpdate(BYTE* in, CK_ULONG length) { Check(Module().C_SignUpdate(m_sessionHandle, in, length)); }

void Session::SignFinal(BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_SignFinal(m_sessionHandle, out, outLength));
}

void Session::SignRecoverInit(const Mechanism& mechanism, const CryptokiObject& key) {
  CK_MECHANISM raw = mechanism.TypeOnly();
  Check(Module().C_SignRecoverInit(m_sessionHandle, &raw, key.GetHandle()));
}

void Session::SignRecover(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_SignRecover(m_sessionHandle, in, length, out, outLength));
}

void Session::VerifyInit(const Mechanism& mechanism, const CryptokiObject& key) {
  CK_MECHANISM raw = mechanism.TypeOnly();
  Check(Module().C_VerifyInit(m_sessionHandle, &raw, key.GetHandle()));
}

void Session::VerifyInit(const Mechanism& mechanism, const PublicKey& key) {
  VerifyInit(mechanism, static_cast<const CryptokiObject&>(key));
}

void Session::Verify(BYTE* data, CK_ULONG length, BYTE* signature, CK_ULONG signatureLength) {
  Check(Module().C_Verify(m_sessionHandle, data, length, signature, signatureLength));
}

void Session::VerifyUpdate(BYTE* in, CK_ULONG length) { Check(Module().C_VerifyUpdate(m_sessionHandle, in, length)); }

void Session::VerifyFinal(BYTE* signature, CK_ULONG signatureLength) {
  Check(Module().C_VerifyFinal(m_sessionHandle, signature, signatureLength));
}

void Session::VerifyRecoverInit(const Mechanism& mechanism, const CryptokiObject& key) {
  CK_MECHANISM raw = mechanism.TypeOnly();
  Check(Module().C_VerifyRecoverInit(m_sessionHandle, &raw, key.GetHandle()));
}

void Session::VerifyRecover(BYTE* signature, CK_ULONG signatureLength, BYTE* out, CK_ULONG* outLength) {
  Check(Module().C_VerifyRecover(m_sessionHandle, signature, signatureLength, out, outLength));
}

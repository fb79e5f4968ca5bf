// RSA with the container's key pair: signing, verifying, encrypting, decrypting. The token does all of it, with
// CKM_RSA_PKCS.
//
// The platform's numbers are little-endian, the module's big-endian. The four operations differ in where they reverse
// the bytes.
#include <vector>

#include "common/CCSPContextError.h"
#include "common/ReverseBytes.h"
#include "common/WipeMemory.h"
#include "context/LoggedInSession.h"
#include "context/TELVOCSPContext.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/ModuleOutput.h"
#include "log/Logs.h"

namespace {

Mechanism RsaPkcs() { return Mechanism(CKM_RSA_PKCS); }

// Null for an empty copy: the module sees that there is no input.
BYTE* Input(WipedBuffer& copy) { return copy.Length() == 0 ? nullptr : copy.Data(); }

}  // namespace

void TELVOCSPContext::Sign(const BYTE* data, const DWORD* dataLength, BYTE* signature, DWORD* signatureLength) {
  if (m_hasPrivateKey == 0) throw CCSPContextError("Private Key not found for signing", NTE_NO_KEY);
  m_signPending = 1;
  const LoggedInSession session(*this);
  g_contextLog.WriteLine("TELVOCSPContext::Sign Initialze Signing");
  session->SignInit(RsaPkcs(), m_privateKey);
  g_contextLog.WriteLine("TELVOCSPContext::Sign Pre Signing");
  WithModuleOutput(signature, signatureLength,
                   [&](CK_ULONG* length) { session->Sign(ModuleInput(data), *dataLength, signature, length); });
  g_contextLog.WriteLine("TELVOCSPContext::Sign Post Signing");
  if (signature != nullptr) ReverseBytes(signature, *signatureLength);
}

void TELVOCSPContext::Verify(const BYTE* data, DWORD dataLength, const BYTE* signature, DWORD signatureLength,
                             PublicKey* key) {
  if (data == nullptr || dataLength == 0) {
    throw CCSPContextError("Message Digest is NULL", ERROR_INVALID_PARAMETER);
  }
  if (signature == nullptr || signatureLength == 0) {
    throw CCSPContextError("Signature is NULL", ERROR_INVALID_PARAMETER);
  }
  const LoggedInSession session(*this);
  try {
    // Required: whether the container has a public key is not checked, unlike in the other three operations.
    session->VerifyInit(RsaPkcs(), key != nullptr ? *key : m_publicKey);
    std::vector<BYTE> bigEndian(signature, signature + signatureLength);
    ReverseBytes(bigEndian.data(), signatureLength);
    session->Verify(ModuleInput(data), dataLength, bigEndian.data(), signatureLength);
  } catch (const CryptokiError& error) {
    // Required: every failure of the module becomes a bad signature.
    throw CCSPContextError(error.GetText(), NTE_BAD_SIGNATURE);
  }
}

void TELVOCSPContext::Encrypt(const BYTE* data, DWORD dataLength, BYTE* out, DWORD* outLength) {
  if (m_hasPublicKey == 0) throw CCSPContextError("Public Key does not exist for encrypting", NTE_BAD_KEY);
  const LoggedInSession session(*this);
  // `data` and `out` may be the same buffer. Message or key may be in it.
  WipedBuffer copy = WipedCopy(data, dataLength);
  try {
    session->EncryptInit(RsaPkcs(), m_publicKey);
    // Required: the result stays big-endian, although Decrypt takes a little-endian one.
    WithModuleOutput(out, outLength, [&](CK_ULONG* length) { session->Encrypt(Input(copy), dataLength, out, length); });
  } catch (const CryptokiError& error) {
    throw CCSPContextError(error.GetText(), NTE_FAIL);
  }
}

void TELVOCSPContext::Decrypt(const BYTE* data, DWORD dataLength, BYTE* out, DWORD* outLength) {
  if (m_hasPrivateKey == 0) throw CCSPContextError("Private Key does not exist for decrypting", NTE_BAD_KEY);
  const LoggedInSession session(*this);
  WipedBuffer copy = WipedCopy(data, dataLength);
  ReverseBytes(copy.Data(), static_cast<DWORD>(copy.Length()));
  try {
    session->DecryptInit(RsaPkcs(), m_privateKey);
    WithModuleOutput(out, outLength, [&](CK_ULONG* length) { session->Decrypt(Input(copy), dataLength, out, length); });
  } catch (const CryptokiError& error) {
    throw CCSPContextError(error.GetText(), NTE_FAIL);
  }
}

#include "context/KeyImport.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "common/CCSPContextError.h"
#include "common/ReverseBytes.h"
#include "context/CreateSecretKey.h"
#include "context/KeyBlobs.h"
#include "context/KeyTemplates.h"
#include "context/LoggedInSession.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/ModuleLimits.h"
#include "log/Logs.h"
#include "objects/KeyValue.h"

namespace {

[[noreturn]] void FailBadBlob() { throw CCSPContextError("Blob Length is invalid", NTE_BAD_DATA); }

template <typename Header>
void RequireHeader(DWORD length) {
  if (length < sizeof(Header)) FailBadBlob();
}

template <typename Header>
Header ReadHeader(const BYTE* blob, DWORD length) {
  RequireHeader<Header>(length);
  Header header = {};
  std::memcpy(&header, blob, sizeof(header));
  return header;
}

KeyValue DecryptKey(Session& session, BYTE* encrypted, DWORD length) {
  g_contextLog.WriteLine("Decrypt");
  CK_ULONG allocated = 0;
  session.Decrypt(encrypted, length, nullptr, &allocated);
  if (allocated > kMaxValueLength) throw CryptokiError(CKR_GENERAL_ERROR);
  KeyValue plain{WipedBuffer(allocated), 0};
  g_contextLog.WriteLine("Decrypt 2");
  // Required: the operation is not begun again, because a length query does not end it.
  CK_ULONG claimed = allocated;
  session.Decrypt(encrypted, length, plain.bytes.Data(), &claimed);
  plain.length = static_cast<DWORD>(std::min(claimed, allocated));
  return plain;
}

}  // namespace

void KeyImport::Import(const BYTE* blob, DWORD length, DWORD* handle, CCSPSecretKeyFactory* factory, DWORD flags) {
  if (blob == nullptr || length == 0) throw CCSPContextError("Data should not be NULL", NTE_INVALID_PARAMETER);
  if (handle == nullptr) throw CCSPContextError("Key Handle should not be NULL", NTE_INVALID_PARAMETER);
  try {
    switch (blob[0]) {
      case PUBLICKEYBLOB:
        *handle = ImportPublicKey(blob, length);
        break;
      case SIMPLEBLOB:
        *handle = ImportSessionKey(blob, length, factory, flags);
        break;
      default:
        throw CCSPContextError("Blob Type not Supported", NTE_BAD_TYPE);
    }
  } catch (const CryptokiError& error) {
    throw CCSPContextError(error.GetText(), NTE_FAIL);
  }
}

DWORD KeyImport::ImportPublicKey(const BYTE* blob, DWORD length) {
  // Required: a key that was exported as the signature key is not taken.
  if (ReadHeader<BLOBHEADER>(blob, length).aiKeyAlg != CALG_RSA_KEYX) {
    throw CCSPContextError("\nCPImportKey Error: Bad Algorithm ID in PUBLICKEYBLOB", NTE_BAD_ALGID);
  }
  RequireHeader<PublicKeyBlobHeader>(length);
  constexpr DWORD kKeyData = sizeof(BLOBHEADER) + offsetof(RSAPUBKEY, bitlen);
  constexpr DWORD kExponent = sizeof(BLOBHEADER) + offsetof(RSAPUBKEY, pubexp);
  constexpr DWORD kModulus = sizeof(PublicKeyBlobHeader);
  WipedBuffer copy = WipedCopy(blob, length);
  // Required: everything that follows is the modulus, whatever the bit length in the blob is. The module judges.
  ReverseBytes(copy.Data() + kModulus, length - kModulus);
  ReverseBytes(copy.Data() + kExponent, sizeof(RSAPUBKEY::pubexp));
  return m_context.m_importedKeys.AddKey(CreatePublicKey(copy.Data() + kKeyData, length - kKeyData));
}

// `keyData` is the bit length, the exponent and the modulus. The latter two are big-endian.
PublicKey KeyImport::CreatePublicKey(const BYTE* keyData, DWORD length) {
  constexpr DWORD kModulus = 2 * sizeof(DWORD);
  const LoggedInSession session(m_context);
  BYTE id[ImportedKeyParts::kIDLength] = {};
  m_context.GenerateRandom(id, sizeof(id));
  DWORD bits = 0;
  std::memcpy(&bits, keyData, sizeof(bits));
  const std::list<Attribute> attributes =
      ImportedPublicKeyTemplate({id, keyData + kModulus, length - kModulus, bits, keyData + sizeof(bits)});
  PublicKey key(session->CreateObject(attributes));
  key.TakeAttributes(attributes);
  return key;
}

DWORD KeyImport::ImportSessionKey(const BYTE* blob, DWORD length, CCSPSecretKeyFactory* factory, DWORD permissions) {
  if (m_context.m_hasPrivateKey == 0) {
    throw CCSPContextError("Private Key does not exist in this context", NTE_BAD_KEYSET);
  }
  const auto header = ReadHeader<SimpleBlobHeader>(blob, length);
  const DWORD encryptedLength = length - static_cast<DWORD>(sizeof(header));
  WipedBuffer copy = WipedCopy(blob, length);
  BYTE* const encrypted = copy.Data() + sizeof(header);
  // Required: as the platform writes such a blob, and not as ExportSessionKey does.
  ReverseBytes(encrypted, encryptedLength);
  const LoggedInSession session(m_context);
  g_contextLog.WriteLine("After Login");
  g_contextLog.WriteLine("Decrypt Init");
  session->DecryptInit(Mechanism(CKM_RSA_PKCS), m_context.m_privateKey);
  const KeyValue plain = DecryptKey(*session, encrypted, encryptedLength);
  g_contextLog.WriteLine("Create Secret Key");
  g_contextLog.WriteHex("Secret Key Algorithm: ", header.blob.aiKeyAlg, true);
  const auto key = CreateSecretKey(m_context, plain.bytes.Data(), plain.length, header.blob.aiKeyAlg, factory);
  key->SetPermissions(permissions);
  g_contextLog.WriteLine("Secret Key Created");
  m_context.AddSecretKey(key);
  return key->GetKeyID();
}

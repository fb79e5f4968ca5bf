#include "context/KeyExport.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "common/CCSPContextError.h"
#include "common/ReverseBytes.h"
#include "context/KeyBlobs.h"
#include "context/LoggedInSession.h"
#include "cryptoki/CryptokiError.h"
#include "objects/KeyValue.h"

namespace {

using ReadPart = void (PublicKey::*)(BYTE*, CK_ULONG*) const;

DWORD LengthOf(const PublicKey& key, ReadPart read) {
  CK_ULONG length = 0;
  (key.*read)(nullptr, &length);
  return static_cast<DWORD>(length);
}

// The part with its least significant byte first.
std::vector<BYTE> Reversed(const PublicKey& key, ReadPart read, DWORD length) {
  std::vector<BYTE> bytes(length);
  CK_ULONG room = length;
  (key.*read)(bytes.data(), &room);
  ReverseBytes(bytes.data(), length);
  return bytes;
}

BLOBHEADER HeaderOf(BYTE type, ALG_ID algorithm) { return BLOBHEADER{type, CUR_BLOB_VERSION, 0, algorithm}; }

// Required: three bytes, whatever the exponent has. Missing ones are zero.
DWORD ExponentField(const std::vector<BYTE>& littleEndian) {
  constexpr std::size_t kExponentBytes = 3;
  DWORD field = 0;
  for (std::size_t i = std::min(kExponentBytes, littleEndian.size()); i > 0; --i)
    field = field << 8U | littleEndian[i - 1];
  return field;
}

// Required: `*length` becomes the length that the module reports for the encrypted key, without the header before it.
void EncryptInto(Session& session, KeyValue& value, BYTE* out, DWORD room, DWORD* length) {
  CK_ULONG encrypted = room;
  try {
    session.Encrypt(value.bytes.Data(), value.length, out, &encrypted);
  } catch (const CryptokiError&) {
    if (encrypted != room) *length = static_cast<DWORD>(encrypted);
    throw;
  }
  *length = static_cast<DWORD>(std::min<CK_ULONG>(encrypted, room));
}

}  // namespace

void KeyExport::ExportPublicKey(DWORD key, BYTE* blob, DWORD* length) {
  const PublicKey& publicKey = FindPublicKey(key);
  const DWORD modulusLength = LengthOf(publicKey, &PublicKey::GetModulus);
  const DWORD exponentLength = LengthOf(publicKey, &PublicKey::GetPublicExponent);
  const DWORD needed = modulusLength + static_cast<DWORD>(sizeof(PublicKeyBlobHeader));
  if (blob == nullptr) {
    *length = needed;
    return;
  }
  if (*length < needed) throw CCSPContextError("More Data Needed for Public Key BLOB", ERROR_MORE_DATA);
  const std::vector<BYTE> modulus = Reversed(publicKey, &PublicKey::GetModulus, modulusLength);
  const std::vector<BYTE> exponent = Reversed(publicKey, &PublicKey::GetPublicExponent, exponentLength);
  *length = needed;

  // Required: an imported key is written as a signature key, too.
  const PublicKeyBlobHeader header = {
      HeaderOf(PUBLICKEYBLOB, key == m_context.m_exchangeKeyHandle ? CALG_RSA_KEYX : CALG_RSA_SIGN),
      RSAPUBKEY{kRSAMagic, modulusLength * 8, ExponentField(exponent)}};
  std::memcpy(blob, &header, sizeof(header));
  std::copy(modulus.begin(), modulus.end(), blob + sizeof(header));
}

const PublicKey& KeyExport::FindPublicKey(DWORD handle) {
  if (!m_context.IsKeyPair(handle)) return *m_context.GetImportedPublicKey(handle);
  if (m_context.m_hasPublicKey == 0) throw CCSPContextError("Public Key not found in this context", NTE_NO_KEY);
  return m_context.m_publicKey;
}

// Null when the handle is a session key's, or 0.
const PublicKey* KeyExport::FindWrappingKey(DWORD handle) {
  if (handle == 0) return nullptr;
  if (m_context.IsKeyPair(handle)) {
    if (m_context.m_hasPublicKey != 0) return &m_context.m_publicKey;
    throw CCSPContextError("Public Key for encrypting symmetric key not found in this context", NTE_BAD_PUBLIC_KEY);
  }
  try {
    return m_context.GetImportedPublicKey(handle);
  } catch (const CCSPContextError&) {
    m_context.GetSecretKey(handle);  // or there is no such key at all
    return nullptr;
  }
}

void KeyExport::ExportSessionKey(DWORD key, DWORD exchangeKey, BYTE* blob, DWORD* length) {
  const PublicKey* const wrappingKey = FindWrappingKey(exchangeKey);
  const auto secretKey = m_context.GetSecretKey(key);
  if ((secretKey->GetPermissions() & CRYPT_EXPORTABLE) == 0) {
    throw CCSPContextError("\nCPExportKey Error: You do not have permission to export the key", NTE_BAD_PUBLIC_KEY);
  }
  if (wrappingKey == nullptr) {
    throw CCSPContextError("\nCPExportKey Error: A session key is encrypted with a public key only",
                           NTE_BAD_PUBLIC_KEY);
  }
  const DWORD modulusLength = LengthOf(*wrappingKey, &PublicKey::GetModulus);
  if (blob == nullptr) {
    *length = modulusLength + static_cast<DWORD>(sizeof(SimpleBlobHeader));
    return;
  }
  // Required: the modulus is read, which the log shows, and not used.
  Reversed(*wrappingKey, &PublicKey::GetModulus, modulusLength);
  WriteSessionKey(*secretKey, *wrappingKey, blob, length);
}

void KeyExport::WriteSessionKey(CCSPSecretKey& key, const PublicKey& wrappingKey, BYTE* blob, DWORD* length) {
  const LoggedInSession session(m_context);
  KeyValue value = ReadKeyValue(key);
  ReverseBytes(value.bytes.Data(), value.length);

  const SimpleBlobHeader header = {HeaderOf(SIMPLEBLOB, key.GetAlgID()), CALG_RSA_KEYX};
  const DWORD headerRoom = std::min<DWORD>(sizeof(header), *length);
  std::memcpy(blob, &header, headerRoom);
  session->EncryptInit(Mechanism(CKM_RSA_PKCS), wrappingKey);
  // Required: the encrypted key stays big-endian, although ImportKey takes a little-endian one.
  EncryptInto(*session, value, blob + headerRoom, *length - headerRoom, length);
}

#include "context/KeyGeneration.h"

#include "common/CCSPContextError.h"
#include "common/WipeMemory.h"
#include "context/CreateSecretKey.h"
#include "context/KeyTemplates.h"
#include "context/LoggedInSession.h"
#include "objects/CCSPSecretKey.h"

namespace {

struct SessionKeyRow {
  ALG_ID algorithm;
  DWORD length;  // in bytes
};

// Required: CALG_AES is here, and CALG_AES_128 is not. For CALG_AES random bytes are made before the key is refused.
constexpr SessionKeyRow kSessionKeys[] = {
    {CALG_DES, 8},
    {CALG_3DES, 24},
    {CALG_3DES_112, 16},
    {CALG_AES, 16},
};

DWORD SessionKeyLength(ALG_ID algorithm) {
  for (const SessionKeyRow& row : kSessionKeys) {
    if (row.algorithm == algorithm) return row.length;
  }
  throw CCSPContextError("Algorithm not supported for Key Generation", NTE_BAD_ALGID);
}

// Required: a value that is not a size of a pair gives the largest one.
DWORD PairBits(DWORD flags) {
  const DWORD bits = flags >> 16U;
  return bits == 2048 || bits == 1024 || bits == 512 ? bits : 4096;
}

}  // namespace

DWORD KeyGeneration::Generate(DWORD algorithm, DWORD flags, CCSPSecretKeyFactory* factory) {
  const LoggedInSession session(m_context);
  switch (algorithm) {
    case AT_KEYEXCHANGE:
    case CALG_RSA_KEYX:
      ReplaceKeyPair(*session, PairBits(flags));
      return m_context.m_exchangeKeyHandle;
    case AT_SIGNATURE:
    case CALG_RSA_SIGN:
      ReplaceKeyPair(*session, PairBits(flags));
      return m_context.m_signatureKeyHandle;
    default:
      // Required: the flags are the mode. CRYPT_EXPORTABLE is not checked.
      return GenerateSecretKey(algorithm, flags, factory);
  }
}

// The old pair stays on the token, and in the context when this fails.
void KeyGeneration::ReplaceKeyPair(Session& session, DWORD bits) {
  // A name that was cut would not be found again.
  constexpr std::size_t kLongestName = 63;
  const std::string& name = m_context.m_containerName;
  if (name.size() > kLongestName) {
    throw CCSPContextError("Container name is too long for a key pair", NTE_BAD_KEYSET_PARAM);
  }
  PublicKey publicKey;
  PrivateKey privateKey;
  session.GenerateKeyPair(Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN), PublicKeyTemplate(name, bits),
                          PrivateKeyTemplate(name, bits), publicKey, privateKey);
  m_context.m_publicKey = publicKey;
  m_context.m_privateKey = privateKey;
  m_context.AssignKeyHandles();
  m_context.m_hasPrivateKey = 1;
  m_context.m_hasPublicKey = 1;
}

DWORD KeyGeneration::GenerateSecretKey(DWORD algorithm, DWORD mode, CCSPSecretKeyFactory* factory) {
  WipedBuffer bytes(SessionKeyLength(algorithm));
  const DWORD length = static_cast<DWORD>(bytes.Length());
  m_context.GenerateRandom(bytes.Data(), length);
  const auto key = CreateSecretKey(m_context, bytes.Data(), length, algorithm, factory);
  key->SetMode(mode);
  m_context.AddSecretKey(key);
  return key->GetKeyID();
}

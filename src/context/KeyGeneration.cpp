// Making keys: the container's RSA pair, and session keys.
#include "common/CCSPContextError.h"
#include "common/WipeMemory.h"
#include "context/KeyTemplates.h"
#include "context/TELVOCSPContext.h"
#include "cryptoki/LoginLock.h"
#include "log/Logs.h"
#include "objects/CCSPSecretKey.h"
#include "objects/CCSPSecretKeyFactory.h"

namespace {

struct SessionKeyRow {
  ALG_ID algorithm;
  DWORD length;  // in bytes
};

// Required: CALG_AES is here, whose random bytes are drawn before the key is refused, and CALG_AES_128 is not.
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

// Required: what is no size of a pair is the largest one.
DWORD PairBits(DWORD flags) {
  const DWORD bits = flags >> 16U;
  return bits == 2048 || bits == 1024 || bits == 512 ? bits : 4096;
}

}  // namespace

void TELVOCSPContext::GenerateKeyPair(DWORD algorithm, DWORD flags, DWORD* handle, CCSPSecretKeyFactory* factory) {
  const LoginLock lock;
  Login();
  switch (algorithm) {
    case AT_KEYEXCHANGE:
    case CALG_RSA_KEYX:
      ReplaceKeyPair(PairBits(flags));
      *handle = m_exchangeKeyHandle;
      break;
    case AT_SIGNATURE:
    case CALG_RSA_SIGN:
      ReplaceKeyPair(PairBits(flags));
      *handle = m_signatureKeyHandle;
      break;
    default:
      *handle = GenerateSecretKey(algorithm, flags, factory);
      break;
  }
}

// The old pair stays on the token, and in the context when this fails.
void TELVOCSPContext::ReplaceKeyPair(DWORD bits) {
  PublicKey publicKey;
  PrivateKey privateKey;
  CreateKeyPair(publicKey, privateKey, bits);
  m_publicKey = publicKey;
  m_privateKey = privateKey;
  AssignKeyHandles();
  m_hasPrivateKey = 1;
  m_hasPublicKey = 1;
}

void TELVOCSPContext::CreateKeyPair(PublicKey& publicKey, PrivateKey& privateKey, DWORD bits) {
  // A name that was cut would not be found again.
  constexpr std::size_t kLongestName = 63;
  if (m_containerName.size() > kLongestName) {
    throw CCSPContextError("Container name is too long for a key pair", NTE_BAD_KEYSET_PARAM);
  }
  OpenedSession().GenerateKeyPair(Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN), PublicKeyTemplate(m_containerName, bits),
                                  PrivateKeyTemplate(m_containerName, bits), publicKey, privateKey);
}

DWORD TELVOCSPContext::GenerateSecretKey(DWORD algorithm, DWORD flags, CCSPSecretKeyFactory* factory) {
  WipedBuffer bytes(SessionKeyLength(algorithm));
  const DWORD length = static_cast<DWORD>(bytes.Length());
  GenerateRandom(bytes.Data(), length);
  const auto key = CreateSecretKey(bytes.Data(), length, algorithm, factory);
  // Required: the flags are the mode. CRYPT_EXPORTABLE is not looked at.
  key->SetMode(flags);
  m_secretKeys.push_back(key);
  return key->GetKeyID();
}

boost::shared_ptr<CCSPSecretKey> TELVOCSPContext::CreateSecretKey(const BYTE* keyBytes, DWORD length, DWORD algorithm,
                                                                  CCSPSecretKeyFactory* factory) {
  g_contextLog.WriteLine("Creating Non Token Secret Key");
  const std::list<Attribute> attributes = SecretKeyTemplate(algorithm, keyBytes, length);
  g_contextLog.WriteLine("Creating object");
  Session& session = OpenedSession();
  const CryptokiObject object = session.CreateObject(attributes);
  g_contextLog.WriteLine("Object Created");
  g_contextLog.WriteLine("Get Instance");
  auto key = [&] {
    // A new key may have to wait for its id.
    const LoginLock::Pause pause;
    return factory->CreateSecretKey(algorithm, &session, object.GetHandle());
  }();
  g_contextLog.WriteLine("Set Permission");
  key->SetPermissions(CRYPT_EXPORTABLE);
  g_contextLog.WriteLine("Return");
  return key;
}

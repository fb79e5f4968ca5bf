#include "objects/ImportedPublicKey.h"

#include "common/CCSPContextError.h"

PublicKey& ImportedPublicKey::GetPublicKey() {
  if (m_valid == 0) throw CCSPContextError("Public Key state is invalid", NTE_BAD_KEY_STATE);
  return m_publicKey;
}

void ImportedPublicKey::SetPublicKey(const PublicKey& key) { m_publicKey = key; }

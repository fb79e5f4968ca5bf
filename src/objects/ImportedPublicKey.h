// ImportedPublicKey: a public key that an application brought in, and the handle it goes by.
#pragma once

#include "common/Platform.h"

#include "cryptoki/PublicKey.h"

class ImportedPublicKey {
 public:
  ImportedPublicKey() = default;
  ImportedPublicKey(const ImportedPublicKey&) = default;
  ImportedPublicKey& operator=(const ImportedPublicKey&) = default;

  // In interface order: append, never reorder.
  virtual ~ImportedPublicKey() = default;
  // CCSPContextError NTE_BAD_KEY_STATE until the key counts as valid.
  virtual PublicKey& GetPublicKey();
  // Required: the key does not become valid by this.
  virtual void SetPublicKey(const PublicKey& key);
  // The HCRYPTKEY value.
  virtual DWORD GetKeyID() const { return m_keyID; }
  virtual void SetKeyID(DWORD keyID) { m_keyID = keyID; }

  void SetValid() { m_valid = 1; }

 private:
  PublicKey m_publicKey;
  DWORD m_keyID = 0;
  BYTE m_valid = 0;
};

// ImportedPublicKey: a public key that an application imported, and its handle.
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
  // Raises CCSPContextError NTE_BAD_KEY_STATE before SetValid.
  virtual PublicKey& GetPublicKey();
  // Required: this does not make the key valid.
  virtual void SetPublicKey(const PublicKey& key);
  // The number that applications get as HCRYPTKEY.
  virtual DWORD GetKeyID() const { return m_keyID; }
  virtual void SetKeyID(DWORD keyID) { m_keyID = keyID; }

  void SetValid() { m_valid = 1; }

 private:
  PublicKey m_publicKey;
  DWORD m_keyID = 0;
  BYTE m_valid = 0;
};

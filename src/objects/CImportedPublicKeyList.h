// CImportedPublicKeyList: the public keys that an application imported into one context.
#pragma once

#include "common/Platform.h"

#include <list>

#include "objects/ImportedPublicKey.h"

class CImportedPublicKeyList {
 public:
  CImportedPublicKeyList() = default;
  CImportedPublicKeyList(const CImportedPublicKeyList&) = default;
  CImportedPublicKeyList& operator=(const CImportedPublicKeyList&) = default;

  // In interface order: append, never reorder.

  // Leaves the token objects.
  virtual ~CImportedPublicKeyList() = default;
  // Stores a copy and returns its id, which is unique in this list.
  virtual DWORD AddKey(const PublicKey& key);
  // Destroys the token object, then removes the key. With an unknown id it does nothing. When the module refuses,
  // CryptokiError is raised, and the key stays in the list.
  virtual void RemoveKey(DWORD keyID);
  // The key, which the list owns, or null for an unknown id.
  virtual PublicKey* GetKey(DWORD keyID);

 private:
  std::list<ImportedPublicKey>::iterator Find(DWORD keyID);

  std::list<ImportedPublicKey> m_keys;
};

// CImportedPublicKeyList: the public keys that an application brought into one context.
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

  // The token objects stay.
  virtual ~CImportedPublicKeyList() = default;
  // Keeps a copy and returns its id, which no other key of this list has.
  virtual DWORD AddKey(const PublicKey& key);
  // Destroys the token object, then forgets the key; an unknown id is nothing to do. A CryptokiError of the module
  // leaves the key in the list.
  virtual void RemoveKey(DWORD keyID);
  // The key, owned by the list; null when the id is not in it.
  virtual PublicKey* GetKey(DWORD keyID);

 private:
  std::list<ImportedPublicKey>::iterator Find(DWORD keyID);

  std::list<ImportedPublicKey> m_keys;
};

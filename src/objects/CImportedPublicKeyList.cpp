#include "objects/CImportedPublicKeyList.h"

#include <algorithm>

#include "common/RandomUnused.h"

std::list<ImportedPublicKey>::iterator CImportedPublicKeyList::Find(DWORD keyID) {
  return std::find_if(m_keys.begin(), m_keys.end(),
                      [keyID](const ImportedPublicKey& key) { return key.GetKeyID() == keyID; });
}

DWORD CImportedPublicKeyList::AddKey(const PublicKey& key) {
  constexpr DWORD kIdModulus = 0xFFFFFF;
  ImportedPublicKey imported;
  imported.SetKeyID(RandomUnused(kIdModulus, m_keys.size(), [this](DWORD id) { return Find(id) != m_keys.end(); }));
  imported.SetPublicKey(key);
  imported.SetValid();
  m_keys.push_back(imported);
  return imported.GetKeyID();
}

void CImportedPublicKeyList::RemoveKey(DWORD keyID) {
  const auto found = Find(keyID);
  if (found == m_keys.end()) return;
  found->GetPublicKey().Destroy();
  m_keys.erase(found);
}

PublicKey* CImportedPublicKeyList::GetKey(DWORD keyID) {
  const auto found = Find(keyID);
  return found == m_keys.end() ? nullptr : &found->GetPublicKey();
}

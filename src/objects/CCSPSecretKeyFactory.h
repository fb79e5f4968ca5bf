// CCSPSecretKeyFactory: makes session keys, gives them their ids, and keeps a record of each until it is destroyed. Safe
// to be used by several threads at once.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>

#include "objects/CCSPSecretKey.h"

class CCSPSecretKeyFactory {
 public:
  CCSPSecretKeyFactory();
  CCSPSecretKeyFactory(const CCSPSecretKeyFactory&) = delete;
  CCSPSecretKeyFactory& operator=(const CCSPSecretKeyFactory&) = delete;
  virtual ~CCSPSecretKeyFactory();

  // A new key object for an object of the token. The session is not owned: see SessionLink. NTE_FAIL without a session,
  // NTE_BAD_ALGID for an algorithm that is no session key's.
  boost::shared_ptr<CCSPSecretKey> CreateSecretKey(ALG_ID algorithm, Session* session, CK_OBJECT_HANDLE object);
  // Destroys the token object and forgets the key. An unknown id is nothing to do.
  void DestroySecretKey(DWORD keyID);
};

// The PKCS#11 key type of an algorithm; NTE_BAD_ALGID, "Invalid Secret Key Algorithm ID", when it has none.
CK_KEY_TYPE KeyTypeFromAlgID(ALG_ID algorithm);

// Defined in entry/ProcessObjects.cpp.
extern CCSPSecretKeyFactory g_secretKeyFactory;

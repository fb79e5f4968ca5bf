// KeyImport: keys that an application brings in as blobs: public keys, and session keys that were encrypted for the
// container.
#pragma once

#include "context/TELVOCSPContext.h"

class KeyImport {
 public:
  explicit KeyImport(TELVOCSPContext& context) : m_context(context) {}

  // See CCSPContext::ImportKey.
  void Import(const BYTE* blob, DWORD length, DWORD* handle, CCSPSecretKeyFactory* factory, DWORD flags);

 private:
  // Both return the key's handle.
  DWORD ImportPublicKey(const BYTE* blob, DWORD length);
  DWORD ImportSessionKey(const BYTE* blob, DWORD length, CCSPSecretKeyFactory* factory, DWORD permissions);
  PublicKey CreatePublicKey(const BYTE* keyData, DWORD length);

  TELVOCSPContext& m_context;
};

// KeyExport: keys that leave the provider as blobs: public keys, and session keys encrypted with a public key.
#pragma once

#include "context/TELVOCSPContext.h"

class KeyExport {
 public:
  explicit KeyExport(TELVOCSPContext& context) : m_context(context) {}

  // See the operations of these names in CCSPContext.
  void ExportPublicKey(DWORD key, BYTE* blob, DWORD* length);
  void ExportSessionKey(DWORD key, DWORD exchangeKey, BYTE* blob, DWORD* length);

 private:
  const PublicKey& FindPublicKey(DWORD handle);
  const PublicKey* FindWrappingKey(DWORD handle);
  void WriteSessionKey(CCSPSecretKey& key, const PublicKey& wrappingKey, BYTE* blob, DWORD* length);

  TELVOCSPContext& m_context;
};

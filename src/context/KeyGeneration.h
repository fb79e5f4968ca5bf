// KeyGeneration: makes new keys: the container's RSA pair, and session keys.
#pragma once

#include "context/TELVOCSPContext.h"

class KeyGeneration {
 public:
  explicit KeyGeneration(TELVOCSPContext& context) : m_context(context) {}

  // See CCSPContext::GenerateKeyPair. Returns the new key's handle.
  DWORD Generate(DWORD algorithm, DWORD flags, CCSPSecretKeyFactory* factory);

 private:
  void ReplaceKeyPair(Session& session, DWORD bits);
  DWORD GenerateSecretKey(DWORD algorithm, DWORD mode, CCSPSecretKeyFactory* factory);

  TELVOCSPContext& m_context;
};

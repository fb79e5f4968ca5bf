// What the handle of a key stands for: the container's key pair, which the context uses itself, or a session key.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>

#include "context/CCSPContext.h"
#include "entry/EntryFrame.h"
#include "objects/CCSPSecretKey.h"

inline bool IsKeyPair(const CCSPContext& context, HCRYPTKEY key) {
  return key == context.GetSignatureKeyHandle() || key == context.GetExchangeKeyHandle();
}

// The session key of that handle, for CPEncrypt and CPDecrypt. Null after a refusal: the message of the context is
// logged, and the last error is NTE_BAD_KEY, whatever the context's code. Imported public keys are not looked for.
inline boost::shared_ptr<CCSPSecretKey> FindSessionKey(const EntryFrame& frame, CCSPContext& context, HCRYPTKEY key) {
  try {
    return context.GetSecretKey(static_cast<DWORD>(key));
  } catch (const CCSPContextError& error) {
    frame.Refuse(error.GetMessage().c_str(), NTE_BAD_KEY);
    return nullptr;
  }
}

// The session key that a handle stands for.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>

#include "context/CCSPContext.h"
#include "entry/EntryFrame.h"
#include "objects/CCSPSecretKey.h"

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

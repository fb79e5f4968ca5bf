// CPGetKeyParam: the IV and the salt of a session key. `getBytes` is the operation of the key.
#pragma once

#include "entry/keyparam/KeyParamCall.h"

namespace keyparam {

using GetBytes = void (CCSPSecretKey::*)(BYTE* out, DWORD* length);

template <GetBytes getBytes>
Outcome AskBytes(const KeyParamCall& call) {
  DWORD length = 0;
  ((*call.sessionKey).*getBytes)(nullptr, &length);
  *call.length = length;
  return kGoOn;
}

// Required: the key takes the caller's bytes and returns none, and the caller's length stays as it was.
template <GetBytes getBytes>
Outcome ReadBytes(const KeyParamCall& call) {
  DWORD length = 0;
  ((*call.sessionKey).*getBytes)(nullptr, &length);
  if (*call.length < length) return RefuseSmallBuffer(call);
  ((*call.sessionKey).*getBytes)(call.data, &length);
  return kGoOn;
}

}  // namespace keyparam

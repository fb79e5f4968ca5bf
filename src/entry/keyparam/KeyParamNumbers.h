// CPGetKeyParam: the parameters that are numbers of four bytes. "Ask" returns the size, "Read" writes the number.
#pragma once

#include "entry/keyparam/KeyParamCall.h"

namespace keyparam {

// The size of the answer, which is always the same.
template <DWORD size>
Outcome AskFixed(const KeyParamCall& call) {
  *call.length = size;
  return kGoOn;
}

// Required: the caller's length stays as it was.
Outcome WriteNumber(const KeyParamCall& call, DWORD number);

// A number that is always the same.
template <DWORD number>
Outcome ReadFixed(const KeyParamCall& call) {
  return WriteNumber(call, number);
}

// A number that the session key returns.
template <DWORD (CCSPSecretKey::*getNumber)() const>
Outcome ReadNumber(const KeyParamCall& call) {
  return WriteNumber(call, ((*call.sessionKey).*getNumber)());
}

// KP_ALGID of a session key
Outcome ReadAlgorithm(const KeyParamCall& call);
// KP_EFFECTIVE_KEYLEN of a session key
Outcome AskEffectiveLength(const KeyParamCall& call);
Outcome ReadEffectiveLength(const KeyParamCall& call);

// KP_BLOCKLEN and KP_KEYLEN, of a session key and of an RSA key. These clear the bytes of the answer before they look
// at the size of the buffer.
Outcome ReadBlockLength(const KeyParamCall& call);
Outcome ReadKeyLength(const KeyParamCall& call);
Outcome ReadRSABlockLength(const KeyParamCall& call);
Outcome ReadRSAKeyLength(const KeyParamCall& call);

}  // namespace keyparam

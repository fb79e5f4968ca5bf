// CPGetKeyParam: the parameters that are numbers of four bytes. "Ask" tells the size, "Read" writes the number.
#pragma once

#include "entry/keyparam/KeyParamCall.h"

namespace keyparam {

// The size of the answer, which is always the same.
template <DWORD size>
Outcome AskFixed(const Call& call) {
  *call.length = size;
  return kGoOn;
}

// Required: the caller's length stays as it was.
Outcome WriteNumber(const Call& call, DWORD number);

// A number that is always the same.
template <DWORD number>
Outcome ReadFixed(const Call& call) {
  return WriteNumber(call, number);
}

// A number that the session key tells.
template <DWORD (CCSPSecretKey::*getNumber)() const>
Outcome ReadNumber(const Call& call) {
  return WriteNumber(call, ((*call.sessionKey).*getNumber)());
}

// KP_ALGID of a session key
Outcome ReadAlgorithm(const Call& call);
// KP_EFFECTIVE_KEYLEN of a session key
Outcome AskEffectiveLength(const Call& call);
Outcome ReadEffectiveLength(const Call& call);

// KP_BLOCKLEN and KP_KEYLEN, of a session key and of an RSA key. These clear the bytes of the answer before they look
// at the size of the buffer.
Outcome ReadBlockLength(const Call& call);
Outcome ReadKeyLength(const Call& call);
Outcome ReadRSABlockLength(const Call& call);
Outcome ReadRSAKeyLength(const Call& call);

}  // namespace keyparam

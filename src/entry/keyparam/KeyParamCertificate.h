// CPGetKeyParam of KP_CERTIFICATE: the container's certificate, whichever key is asked.
#pragma once

#include "entry/keyparam/KeyParamCall.h"

namespace keyparam {

inline constexpr char kPairsOnly[] = "KP_CERTIFICATE is only for RSA Public/private Key pairs";

// Of any key but a session key.
Outcome AskCertificate(const KeyParamCall& call);
// Of any key. Clears the whole buffer first.
Outcome ReadCertificate(const KeyParamCall& call);

}  // namespace keyparam

// Self-signed certificates and PKCS #10 requests.
#pragma once

#include "common/Platform.h"

#include "telvotool/Extensions.h"
#include "telvotool/Files.h"

namespace tool {

// A certificate (X.509 version 3) for the key of the provider's open container, as DER. That key signs it with SHA-256.
// It is valid from now on for `days` days. The serial number comes from the card's random generator. Raises Failure.
Bytes MakeSelfSigned(HCRYPTPROV provider, const CertificateWishes& wishes, DWORD days);

// A request for a certificate with the same extensions, as DER. The container's key signs it with SHA-256. Raises
// Failure.
Bytes MakeRequest(HCRYPTPROV provider, const CertificateWishes& wishes);

}  // namespace tool

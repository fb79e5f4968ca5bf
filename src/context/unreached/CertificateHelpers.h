// What kind of certificate one is. No flow of the provider asks.
#pragma once

#include "common/Platform.h"

// Whether a certificate names itself as its issuer and its own key verifies it. Null is not.
bool IsSelfSigned(PCCERT_CONTEXT certificate);

// Whether the basic constraints of a certificate make it one of a certification authority. Null, none, and such that
// cannot be decoded do not.
bool IsCACertificate(PCCERT_CONTEXT certificate);

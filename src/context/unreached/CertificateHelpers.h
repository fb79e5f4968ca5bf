// What kind of certificate one is. Built because the product must have it; no application reaches it.
#pragma once

#include "common/Platform.h"

// Whether a certificate names itself as its issuer and its own key verifies it. False for null.
bool IsSelfSigned(PCCERT_CONTEXT certificate);

// Whether a certificate's basic constraints make it that of a certification authority. False for null, and for
// constraints that are missing or cannot be decoded.
bool IsCACertificate(PCCERT_CONTEXT certificate);

// What the token's certificate object stores about a certificate of the platform: see CCSPContext::GetCertIssuer. For a
// null certificate each is an attribute without type and value.
#pragma once

#include "common/Platform.h"

#include "cryptoki/Attribute.h"

Attribute IssuerOf(PCCERT_CONTEXT certificate);
Attribute SerialNumberOf(PCCERT_CONTEXT certificate);
Attribute SubjectOf(PCCERT_CONTEXT certificate);
Attribute LabelOf(PCCERT_CONTEXT certificate);

// An attribute of `length` bytes. With no bytes it has only its type.
Attribute MakeAttribute(CK_ATTRIBUTE_TYPE type, const void* value, std::size_t length);

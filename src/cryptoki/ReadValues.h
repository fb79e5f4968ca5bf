// Attributes that the module fills in.
#pragma once

#include <functional>
#include <initializer_list>
#include <list>

#include "cryptoki/Attribute.h"

// FilledAttribute makes an attribute of an item that the module filled in. It has as many bytes as the module reports,
// but at most `allocated`; an item without a value gives the length 0.
Attribute FilledAttribute(CK_ATTRIBUTE item, CK_ULONG allocated);

// ReadValues reads attributes of any size with read(items, count), a C_GetAttributeValue: the first call asks for the
// lengths, the second for the values. Raises CryptokiError with the module's code, and CKR_GENERAL_ERROR for a value
// longer than kMaxValueLength.
std::list<Attribute> ReadValues(std::initializer_list<CK_ATTRIBUTE_TYPE> types,
                                const std::function<CK_RV(CK_ATTRIBUTE* items, CK_ULONG count)>& read);

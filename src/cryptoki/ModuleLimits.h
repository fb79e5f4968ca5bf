// Limits on what the module may claim. Lengths and counts come from the module, and a broken one may claim anything.
// Above these limits CryptokiError CKR_GENERAL_ERROR is raised, before memory is allocated.
#pragma once

#include "cryptoki/Pkcs11.h"

// One value, in bytes: an attribute, a digest, a key. Far more than a card holds, and no burden for a process.
constexpr CK_ULONG kMaxValueLength = CK_ULONG{16} * 1024 * 1024;

// The elements of one list of the module, and the objects that one search finds.
constexpr CK_ULONG kMaxCount = 100000;

// Calls of CryptGetProvParam in the prepared container, for several tables.
#pragma once

#include "common/Platform.h"

#include <string>

#include "Row.h"

// How an answer is shown.
enum class As { kNumber, kText, kLength };

// `declared` is the length that the call gets. The buffer itself has 1024 bytes.
std::string AskProvider(HCRYPTPROV context, DWORD parameter, As as, DWORD declared, DWORD flags);

Call GetProvider(DWORD parameter, As as, DWORD declared = 1024, DWORD flags = 0);
Call GetProviderSize(DWORD parameter, DWORD flags = 0);
Call GetForVerification(DWORD parameter, As as, DWORD flags = 0);

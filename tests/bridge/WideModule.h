// Constants shared by WideModule.cpp and its tests.
#pragma once

#include "cryptoki/Pkcs11.h"

constexpr CK_SESSION_HANDLE kWideSession = 0x7F0000000001;
constexpr CK_OBJECT_HANDLE kWideObject = 0x560000000000;
constexpr char kInitialisation[] = "a string of the module's own";
constexpr CK_RV kNoArguments = CKR_VENDOR_DEFINED + 1;  // C_Initialize was called without arguments

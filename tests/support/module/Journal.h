// How the scripted module records its calls, one line each:
//
//   C_OpenSession(0, flags 6)
//   C_GetAttributeValue(1, 5, {CKA_CLASS[number], CKA_ID?})   '?' asks for the length, [n] is a buffer of n bytes
//   C_CreateObject(1, {CKA_CLASS=1, CKA_TOKEN=true, CKA_ID=0A0B})
//   C_EncryptInit(1, CKM_DES3_CBC with 0102030405060708, 7)
//   C_Digest(1, 3 bytes, null)                                null asks for the length, "room 20" is a buffer
//
// Numbers look the same on both targets, whatever the width of CK_ULONG.
#pragma once

#include <string>
#include <vector>

#include "cryptoki/Pkcs11.h"

using Calls = std::vector<std::string>;

// The name of an attribute; "0x..." for one that no test uses.
std::string AttributeName(CK_ATTRIBUTE_TYPE type);
bool IsNumberAttribute(CK_ATTRIBUTE_TYPE type);

// A template with input values, and one whose buffers receive values.
std::string Values(const CK_ATTRIBUTE* attributes, CK_ULONG count);
std::string Buffers(const CK_ATTRIBUTE* attributes, CK_ULONG count);
std::string MechanismText(const CK_MECHANISM* mechanism);
std::string InputText(const void* data, CK_ULONG length);
std::string OutputText(const void* data, const CK_ULONG* length);
// Two hexadecimal digits a byte; for more than 40 bytes, the first eight and the count.
std::string HexText(const void* data, std::size_t length);

// The PKCS #11 types, and the layout of the module's function table.
//
// Only this file includes the published header. On Windows that header packs its structures to single bytes, and
// CK_ULONG has 32 bits. In the host build CK_ULONG has the width of the platform, so that ordinary modules can be
// loaded. So code uses CK_ULONG and sizeof, never 4.
#pragma once

#include <cstddef>
#include <p11-kit/pkcs11.h>

// An attribute that only this module has: a byte of a certificate, 1 for the token's default certificate.
constexpr CK_ATTRIBUTE_TYPE CKA_DEFAULT_CERT = 0x80000003;

#if defined(_WIN32)
#pragma pack(push, 1)
#endif

// The module's table: the standard list, four entries that are not used, and the module's own login.
struct ExtendedFunctionList {
  CK_FUNCTION_LIST standard;
  void* unused[4];
  CK_C_Login C_LoginExtended;
};

#if defined(_WIN32)
#pragma pack(pop)

static_assert(sizeof(CK_ULONG) == 4, "the module's numbers have 32 bits");
static_assert(sizeof(CK_ATTRIBUTE) == 16, "the module packs its structures to single bytes");
static_assert(offsetof(CK_FUNCTION_LIST, C_Initialize) == 2, "the entries stand right behind the version");
#endif

static_assert(offsetof(ExtendedFunctionList, C_LoginExtended) ==
                  offsetof(CK_FUNCTION_LIST, C_Initialize) + 72 * sizeof(void*),
              "C_LoginExtended is entry 72, counted from zero");

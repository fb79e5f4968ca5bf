// A loadable PKCS #11 module for tests, found by the real loader under the name of the token family's module.
// Its table passes each call on to a CryptokiInterface that the test sets; without one the entries return
// CKR_GENERAL_ERROR.
#define CRYPTOKI_EXPORTS  // the header declares C_GetFunctionList, which is exported here
#include "cryptoki/CryptokiInterface.h"

#if defined(_WIN32)
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C" __attribute__((visibility("default")))
#endif

namespace {

CryptokiInterface* g_target = nullptr;
CK_RV g_functionListResult = CKR_OK;

#define ENTRY(name, params, args) \
  CK_RV Pass_##name params { return g_target != nullptr ? g_target->name args : CK_RV{CKR_GENERAL_ERROR}; }
#include "cryptoki/CryptokiEntries.inc"

CK_RV Pass_C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  return g_target != nullptr ? g_target->C_LoginExtended(session, user, pin, pinLen) : CK_RV{CKR_GENERAL_ERROR};
}

ExtendedFunctionList MakeTable() {
  ExtendedFunctionList table = {};
  table.standard.version.major = 2;
  table.standard.version.minor = 20;
#define ENTRY(name, params, args) table.standard.name = &Pass_##name;
#include "cryptoki/CryptokiEntries.inc"
  table.C_LoginExtended = &Pass_C_LoginExtended;
  return table;
}

}  // namespace

EXPORTED CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR list) {
  static ExtendedFunctionList table = MakeTable();
  *list = &table.standard;
  return g_functionListResult;
}

EXPORTED void SetTarget(CryptokiInterface* target) { g_target = target; }

EXPORTED void SetFunctionListResult(CK_RV result) { g_functionListResult = result; }

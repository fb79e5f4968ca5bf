// The one exported function of the library.
#include "pkcs11/NativeTable.h"

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR functionList) {
  return pkcs11::NativeTable().standard.C_GetFunctionList(functionList);
}

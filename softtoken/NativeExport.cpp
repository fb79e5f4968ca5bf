// The one exported function of the shared library.
#include "SharedNames.h"

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR functionList) {
  return softtoken::NativeTable().standard.C_GetFunctionList(functionList);
}

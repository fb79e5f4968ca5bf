// The only exported function of a Wine library. The library's .def file gives it its public name.
#include "pkcs11/WindowsFace.h"

extern "C" pkcs11::windows::Number TELVO_WINDOWS_ABI
WindowsGetFunctionList(pkcs11::windows::FunctionList** functionList) {
  return pkcs11::windows::Table().C_GetFunctionList(functionList);
}

// The one exported function of the Wine library; telvopkcs11.def gives it its public name.
#include "WindowsFace.h"

extern "C" softtoken::windows::Number TELVO_WINDOWS_ABI
WindowsGetFunctionList(softtoken::windows::FunctionList** functionList) {
  return softtoken::windows::Table().C_GetFunctionList(functionList);
}

// A module whose handles need 64 bits, as those of some modules do. One of its objects has the handle 0. The result of
// a call shows which handles reached the module.
#include "WideModule.h"

#include <cstring>

namespace {

CK_ULONG g_opened = 0;

CK_RV Initialize(CK_VOID_PTR initArgs) {
  if (initArgs == nullptr) return kNoArguments;
  const auto& arguments = *static_cast<const CK_C_INITIALIZE_ARGS*>(initArgs);
  if (arguments.CreateMutex != nullptr) return CKR_CANT_LOCK;
  const char* const text = static_cast<const char*>(arguments.pReserved);
  return text != nullptr && std::strcmp(text, kInitialisation) == 0 ? CKR_OK : CKR_ARGUMENTS_BAD;
}

CK_RV OpenSession(CK_SLOT_ID /*slot*/, CK_FLAGS /*flags*/, CK_VOID_PTR /*application*/, CK_NOTIFY /*notify*/,
                  CK_SESSION_HANDLE_PTR session) {
  *session = kWideSession + g_opened++;
  return CKR_OK;
}

CK_RV CloseSession(CK_SESSION_HANDLE session) { return session >= kWideSession ? CKR_OK : CKR_SESSION_HANDLE_INVALID; }

CK_RV FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maxCount, CK_ULONG_PTR count) {
  if (session < kWideSession) return CKR_SESSION_HANDLE_INVALID;
  if (maxCount < 2) return CKR_ARGUMENTS_BAD;
  objects[0] = 0;
  objects[1] = kWideObject;
  *count = 2;
  return CKR_OK;
}

CK_RV DestroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
  if (session < kWideSession) return CKR_SESSION_HANDLE_INVALID;
  return object == 0 || object == kWideObject ? CKR_OK : CKR_OBJECT_HANDLE_INVALID;
}

CK_RV SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR /*mechanism*/, CK_OBJECT_HANDLE key) {
  if (session < kWideSession) return CKR_SESSION_HANDLE_INVALID;
  return key == kWideObject ? CKR_OK : CKR_KEY_HANDLE_INVALID;
}

CK_RV GenerateKeyPair(CK_SESSION_HANDLE /*session*/, CK_MECHANISM_PTR mechanism, CK_ATTRIBUTE_PTR /*publicAttributes*/,
                      CK_ULONG /*publicCount*/, CK_ATTRIBUTE_PTR /*privateAttributes*/, CK_ULONG /*privateCount*/,
                      CK_OBJECT_HANDLE_PTR publicKey, CK_OBJECT_HANDLE_PTR privateKey) {
  if (mechanism == nullptr) return CKR_ARGUMENTS_BAD;
  *publicKey = kWideObject + 1;
  *privateKey = kWideObject;
  return CKR_OK;
}

CK_FUNCTION_LIST MakeList() {
  CK_FUNCTION_LIST list = {};
  list.C_Initialize = &Initialize;
  list.C_OpenSession = &OpenSession;
  list.C_CloseSession = &CloseSession;
  list.C_FindObjects = &FindObjects;
  list.C_DestroyObject = &DestroyObject;
  list.C_SignInit = &SignInit;
  list.C_GenerateKeyPair = &GenerateKeyPair;
  return list;
}

}  // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR functionList) {
  static CK_FUNCTION_LIST list = MakeList();
  *functionList = &list;
  return CKR_OK;
}

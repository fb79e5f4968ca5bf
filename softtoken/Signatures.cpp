// The entries of SoftToken that begin to sign and to verify.
#include "SoftToken.h"

namespace softtoken {

CK_RV SoftToken::C_SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return Begin<&CK_FUNCTION_LIST::C_SignInit>(session, Work::Sign, mechanism, key);
}

CK_RV SoftToken::C_SignRecoverInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return Begin<&CK_FUNCTION_LIST::C_SignRecoverInit>(session, Work::Sign, mechanism, key);
}

CK_RV SoftToken::C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return Begin<&CK_FUNCTION_LIST::C_VerifyInit>(session, Work::Verify, mechanism, key);
}

CK_RV SoftToken::C_VerifyRecoverInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return Begin<&CK_FUNCTION_LIST::C_VerifyRecoverInit>(session, Work::Verify, mechanism, key);
}

}  // namespace softtoken

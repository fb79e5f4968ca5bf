// The entries of SoftToken that sign and verify.
#include "SoftToken.h"

namespace softtoken {

CK_RV SoftToken::C_SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return Begin<&CK_FUNCTION_LIST::C_SignInit>(session, mechanism, key);
}

CK_RV SoftToken::C_SignRecoverInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return Begin<&CK_FUNCTION_LIST::C_SignRecoverInit>(session, mechanism, key);
}

CK_RV SoftToken::C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return Begin<&CK_FUNCTION_LIST::C_VerifyInit>(session, mechanism, key);
}

CK_RV SoftToken::C_VerifyRecoverInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return Begin<&CK_FUNCTION_LIST::C_VerifyRecoverInit>(session, mechanism, key);
}

CK_RV SoftToken::C_Sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
                        CK_ULONG_PTR signatureLen) {
  const Session& entered = Enter(session);
  if (!IsTooLong(entered, dataLen)) {
    return Functions().C_Sign(entered.lower, data, dataLen, signature, signatureLen);
  }
  Secret block(entered.bareBlock);
  CK_ULONG blockLen = block.size();
  Functions().C_Sign(entered.lower, block.data(), block.size(), block.data(), &blockLen);
  return CKR_DATA_LEN_RANGE;
}

CK_RV SoftToken::C_Verify(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
                          CK_ULONG signatureLen) {
  const Session& entered = Enter(session);
  if (!IsTooLong(entered, dataLen)) {
    return Functions().C_Verify(entered.lower, data, dataLen, signature, signatureLen);
  }
  Secret block(entered.bareBlock);
  Functions().C_Verify(entered.lower, block.data(), block.size(), block.data(), block.size());
  return CKR_DATA_LEN_RANGE;
}

}  // namespace softtoken

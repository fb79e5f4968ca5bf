// The entries of SoftToken that sign and verify.
#include <utility>

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
  Session& entered = Enter(session);
  if (!IsTooLong(entered, dataLen)) {
    const CK_RV result = Answer(entered, Question::Sign, signature,
                                Functions().C_Sign(entered.lower, data, dataLen, signature, signatureLen));
    if (entered.asked == Question::None) entered.takesNoParts = false;
    return result;
  }
  Secret block(entered.bareBlock);
  CK_ULONG blockLen = block.size();
  Functions().C_Sign(entered.lower, block.data(), block.size(), block.data(), &blockLen);
  return CKR_DATA_LEN_RANGE;
}

CK_RV SoftToken::C_Verify(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
                          CK_ULONG signatureLen) {
  Session& entered = Enter(session);
  entered.takesNoParts = false;
  if (!IsTooLong(entered, dataLen)) {
    return Functions().C_Verify(entered.lower, data, dataLen, signature, signatureLen);
  }
  Secret block(entered.bareBlock);
  Functions().C_Verify(entered.lower, block.data(), block.size(), block.data(), block.size());
  return CKR_DATA_LEN_RANGE;
}

// SoftHSM ends an operation that takes no parts when one comes, and says that there was none.
CK_RV SoftToken::AnswerToPart(Session& session, CK_RV result) {
  const bool refused = std::exchange(session.takesNoParts, false) && result == CKR_OPERATION_NOT_INITIALIZED;
  return refused ? CKR_FUNCTION_NOT_SUPPORTED : result;
}

CK_RV SoftToken::C_SignUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen) {
  Session& entered = Enter(session);
  return AnswerToPart(entered, Functions().C_SignUpdate(entered.lower, part, partLen));
}

CK_RV SoftToken::C_VerifyUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen) {
  Session& entered = Enter(session);
  return AnswerToPart(entered, Functions().C_VerifyUpdate(entered.lower, part, partLen));
}

}  // namespace softtoken

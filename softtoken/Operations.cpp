// How an operation of a session begins and ends.
#include "SoftToken.h"

namespace softtoken {

Operation& SoftToken::StartOperation(Session& session, Work work,
                                     const std::function<CK_RV(CK_SESSION_HANDLE)>& begin) {
  if (session.operation && session.operation->asked) EndOperation(session);
  Require(!session.operation, CKR_OPERATION_ACTIVE);
  session.operation.emplace(Operation{work, session.card.OpenSession(CKF_SERIAL_SESSION)});
  const CK_RV result = begin(session.operation->lower);
  if (result != CKR_OK) EndOperation(session);
  Check(result);
  return *session.operation;
}

void SoftToken::EndOperation(Session& session) const {
  if (!session.operation) return;
  Functions().C_CloseSession(session.operation->lower);
  session.operation.reset();
}

}  // namespace softtoken

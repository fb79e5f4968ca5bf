// Operations that are declared and not there yet: each is refused with ERROR_CALL_NOT_IMPLEMENTED.
#include "context/TELVOCSPContext.h"
#include "entry/CCSPContextError.h"

namespace {

[[noreturn]] void NotThereYet() {
  throw CCSPContextError("The operation is not implemented", ERROR_CALL_NOT_IMPLEMENTED);
}

}  // namespace

Attribute TELVOCSPContext::GetCertIssuer(PCCERT_CONTEXT /*certificate*/) { NotThereYet(); }
Attribute TELVOCSPContext::GetCertSerialNumber(PCCERT_CONTEXT /*certificate*/) { NotThereYet(); }
Attribute TELVOCSPContext::GetCertSubject(PCCERT_CONTEXT /*certificate*/) { NotThereYet(); }
Attribute TELVOCSPContext::GetCertLabel(PCCERT_CONTEXT /*certificate*/) { NotThereYet(); }
void TELVOCSPContext::WriteCertificate(const BYTE* /*der*/, DWORD /*length*/) { NotThereYet(); }

// Operations that are declared and not there yet: each is refused with ERROR_CALL_NOT_IMPLEMENTED.
#include "context/TELVOCSPContext.h"
#include "entry/CCSPContextError.h"

namespace {

[[noreturn]] void NotThereYet() {
  throw CCSPContextError("The operation is not implemented", ERROR_CALL_NOT_IMPLEMENTED);
}

}  // namespace

void TELVOCSPContext::GenerateKeyPair(DWORD /*algorithm*/, DWORD /*flags*/, DWORD* /*handle*/,
                                      CCSPSecretKeyFactory* /*factory*/) {
  NotThereYet();
}
void TELVOCSPContext::ImportKey(const BYTE* /*blob*/, DWORD /*length*/, DWORD* /*handle*/,
                                CCSPSecretKeyFactory* /*factory*/, DWORD /*flags*/) {
  NotThereYet();
}
boost::shared_ptr<CCSPSecretKey> TELVOCSPContext::DeriveKey(const boost::shared_ptr<CCSPHash>& /*hash*/,
                                                            DWORD /*algorithm*/, DWORD /*length*/,
                                                            CCSPSecretKeyFactory* /*factory*/) {
  NotThereYet();
}
void TELVOCSPContext::ExportSessionKey(DWORD /*key*/, DWORD /*exchangeKey*/, BYTE* /*blob*/, DWORD* /*length*/) {
  NotThereYet();
}
void TELVOCSPContext::ExportPublicKey(DWORD /*key*/, BYTE* /*blob*/, DWORD* /*length*/) { NotThereYet(); }

#include "ProbedModule.h"

#include "Heap.h"

#define ENTRY(name, params, args)          \
  CK_RV ProbedModule::name params {        \
    const ProviderAtWork notInside(false); \
    return LyingModule::name args;         \
  }
#define ENTRY_OWN(name, params, args)
#include "cryptoki/CryptokiEntries.inc"

CK_RV ProbedModule::C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR slot, CK_VOID_PTR reserved) {
  const ProviderAtWork notInside(false);
  return LyingModule::C_WaitForSlotEvent(flags, slot, reserved);
}

CK_RV ProbedModule::C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  const ProviderAtWork notInside(false);
  return KeepLogin(LyingModule::C_Login(session, user, pin, pinLen), pin, pinLen);
}

CK_RV ProbedModule::C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin,
                                    CK_ULONG pinLen) {
  const ProviderAtWork notInside(false);
  return KeepLogin(LyingModule::C_LoginExtended(session, user, pin, pinLen), pin, pinLen);
}

CK_RV ProbedModule::KeepLogin(CK_RV result, const CK_UTF8CHAR* pin, CK_ULONG pinLen) {
  Offers& offers = pins[std::string(pin, pin + pinLen)];
  ++offers.offered;
  if (result == CKR_PIN_INCORRECT) ++offers.refused;
  return result;
}

// The PIN. What an application can do only in a dialog is done here as the dialogs do it, by calls of the module.
#include "Flow.h"
#include "ModuleUser.h"

namespace {

constexpr DWORD kBlocked = static_cast<DWORD>(SCARD_W_CHV_BLOCKED);
constexpr int kMostTries = 15;

// The last error of setting the PIN; 0 when the PIN is right.
DWORD Give(const Context& context, const std::string& pin) {
  try {
    context.SetPin(pin);
    return 0;
  } catch (const ApiError& error) {
    return error.code;
  }
}

// The module's login may return the number of remaining tries. The provider takes that for any other failure.
bool IsWrong(DWORD error) {
  return error == static_cast<DWORD>(SCARD_W_WRONG_CHV) || error == static_cast<DWORD>(NTE_FAIL);
}

void SignsWith(const std::string& pin) {
  const Context context(InReader(Container()), CRYPT_SILENT);
  context.SetPin(pin);
  context.Sign(CALG_SHA_256, ReadExchange("message"));
}

}  // namespace

void WrongPinOnce() {
  const Context context(InReader(Container()), CRYPT_SILENT);
  Require(IsWrong(Give(context, WrongPin())), "the wrong PIN is accepted");
  context.SetPin(Pin());
  context.Sign(CALG_SHA_256, ReadExchange("message"));
}

void TriesAreTold() {
  ModuleUser module(Environment("TOKEN_READER"));
  const CK_RV answer = module.LogIn(WrongPin());
  const DWORD reported = module.TriesTold();
  Require(module.LogIn(Pin()) == CKR_OK, "the right PIN is refused after that");
  Require(answer >= 1 && answer <= kMostTries, "the login returns " + std::to_string(answer));
  Require(reported == answer,
          "the session reports " + std::to_string(reported) + ", the login " + std::to_string(answer));
}

void ChangePin() {
  const std::string other = "765432";
  {
    ModuleUser module(Environment("TOKEN_READER"));
    const CK_RV answer = module.ChangePin(Pin(), other);
    if (answer == CKR_FUNCTION_NOT_SUPPORTED) throw Cannot("the module does not change PINs");
    Require(answer == CKR_OK, "C_SetPIN returns " + std::to_string(answer));
  }
  SignsWith(other);
  ModuleUser module(Environment("TOKEN_READER"));
  Require(module.ChangePin(other, Pin()) == CKR_OK, "the PIN is not changed back");
  Require(module.LogIn(Pin()) == CKR_OK, "the old PIN is not valid again");
}

void LockPin() {
  const Context context(InReader(Container()), CRYPT_SILENT);
  DWORD error = Give(context, WrongPin());
  for (int i = 1; i < kMostTries && IsWrong(error); ++i) error = Give(context, WrongPin());
  if (IsWrong(error)) {
    SignsWith(Pin());
    throw Cannot("the token never locks the PIN");
  }
  Require(error == kBlocked, ApiError("CryptSetProvParam of the last wrong PIN", error).what());
  Require(Give(context, Pin()) == kBlocked, "the right PIN is not refused as locked");
}

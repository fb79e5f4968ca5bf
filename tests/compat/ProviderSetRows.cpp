// CryptSetProvParam, CryptGenRandom.
#include "Row.h"

namespace {

constexpr DWORD kSecureExchangePin = 47;
constexpr DWORD kPinPrompt = 44;
Call Set(DWORD parameter, const char* value, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Answer(CryptSetProvParam(context, parameter, reinterpret_cast<const BYTE*>(value), flags));
  };
}

// Sets a parameter before a PIN is given.
Call SetFirst(DWORD parameter, const char* value) {
  return [=](const Side& side) {
    const Context context(side, side.Container("prepared").c_str(), 0);
    return Answer(CryptSetProvParam(context, parameter, reinterpret_cast<const BYTE*>(value), 0));
  };
}

// The value is 8 zero bytes: a null window, a null store, or the number 0.
Call SetZero(DWORD parameter) {
  return [=](const Side& side) {
    const Prepared context(side);
    const BYTE zero[8] = {};
    return Answer(CryptSetProvParam(context, parameter, zero, 0));
  };
}
Call Random(DWORD length, bool buffer = true) {
  return [=](const Side& side) {
    const Prepared context(side);
    Bytes bytes(length + 1);
    const BOOL done = CryptGenRandom(context, length, buffer ? bytes.data() : nullptr);
    const bool filled = length >= 16 && bytes != Bytes(length + 1);
    return Answer(done, filled ? InBytes(length) : "");
  };
}
std::string RandomForVerification(const Side& side) {
  const Verifying context(side);
  BYTE bytes[16];
  return Answer(CryptGenRandom(context, sizeof bytes, bytes));
}
std::string RandomTwice(const Side& side) {
  const Prepared context(side);
  Bytes first(16);
  Bytes second(16);
  Step(CryptGenRandom(context, 16, first.data()), "CryptGenRandom");
  Step(CryptGenRandom(context, 16, second.data()), "CryptGenRandom");
  return first == second ? "TRUE, the same bytes" : "TRUE, other bytes";
}
std::string RandomOfNothing(const Side& /*side*/) {
  BYTE bytes[16];
  return Answer(CryptGenRandom(0, sizeof bytes, bytes));
}

}  // namespace

const Rows kProviderSetRows = {
    {"provider.set.pin", "CryptSetProvParam PP_KEYEXCHANGE_PIN", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     Set(PP_KEYEXCHANGE_PIN, "123456")},
    {"provider.set.signature_pin", "CryptSetProvParam PP_SIGNATURE_PIN", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     Set(PP_SIGNATURE_PIN, "123456")},
    {"provider.set.wrong_pin", "PP_KEYEXCHANGE_PIN, a wrong PIN",
     "FALSE SCARD_W_WRONG_CHV or FALSE NTE_BAD_TYPE; for cards", SetFirst(PP_KEYEXCHANGE_PIN, "654321")},
    {"provider.set.wrong_pin_later", "PP_KEYEXCHANGE_PIN, a wrong PIN after the right one",
     "FALSE SCARD_W_WRONG_CHV or FALSE NTE_BAD_TYPE; for cards", Set(PP_KEYEXCHANGE_PIN, "654321")},
    {"provider.set.empty_pin", "PP_KEYEXCHANGE_PIN, an empty PIN",
     "FALSE SCARD_W_WRONG_CHV or FALSE NTE_BAD_TYPE or FALSE ERROR_INVALID_PARAMETER; for cards",
     Set(PP_KEYEXCHANGE_PIN, "")},
    {"provider.set.null_pin", "PP_KEYEXCHANGE_PIN, a null pointer",
     "TRUE or FALSE NTE_BAD_TYPE or FALSE ERROR_INVALID_PARAMETER; for cards", Set(PP_KEYEXCHANGE_PIN, nullptr)},
    {"provider.set.pin_flags", "PP_KEYEXCHANGE_PIN with flags", "FALSE NTE_BAD_FLAGS",
     Set(PP_KEYEXCHANGE_PIN, "123456", 0x80)},
    {"provider.set.secure_pin", "PP_SECURE_KEYEXCHANGE_PIN", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     Set(kSecureExchangePin, "123456")},
    {"provider.set.window", "PP_CLIENT_HWND, no window", "TRUE", SetZero(PP_CLIENT_HWND)},
    {"provider.set.rng", "PP_USE_HARDWARE_RNG", "TRUE or FALSE NTE_BAD_TYPE; TRUE where there is one",
     SetZero(PP_USE_HARDWARE_RNG)},
    {"provider.set.rng_null", "PP_USE_HARDWARE_RNG, a null pointer",
     "TRUE or FALSE NTE_BAD_TYPE; the pointer must be null", Set(PP_USE_HARDWARE_RNG, nullptr)},
    {"provider.set.ui_prompt", "PP_UI_PROMPT", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     Set(PP_UI_PROMPT, "insert the card")},
    {"provider.set.pin_prompt", "PP_PIN_PROMPT_STRING", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     Set(kPinPrompt, "the PIN")},
    {"provider.set.delete_key", "PP_DELETEKEY", "TRUE or FALSE NTE_BAD_TYPE; deletes an ephemeral key",
     SetZero(PP_DELETEKEY)},
    {"provider.set.keyx_alg", "PP_KEYEXCHANGE_ALG", "TRUE or FALSE NTE_BAD_TYPE", SetZero(PP_KEYEXCHANGE_ALG)},
    {"provider.set.name", "PP_NAME is only for reading", "FALSE NTE_BAD_TYPE", Set(PP_NAME, "name")},
    {"provider.set.container", "PP_CONTAINER is only for reading", "FALSE NTE_BAD_TYPE", Set(PP_CONTAINER, "name")},
    {"provider.set.unknown", "an unknown parameter", "FALSE NTE_BAD_TYPE", SetZero(0x777)},
    {"provider.set.null", "a null pointer", "FALSE ERROR_INVALID_PARAMETER or FALSE NTE_BAD_TYPE",
     Set(PP_UI_PROMPT, nullptr)},
};

const Rows kRandomRows = {
    {"random.16", "CryptGenRandom of 16 bytes", "TRUE, 16 bytes", Random(16)},
    {"random.10000", "CryptGenRandom of 10000 bytes", "TRUE, 10000 bytes", Random(10000)},
    {"random.0", "CryptGenRandom of no bytes", "TRUE", Random(0)},
    {"random.null", "CryptGenRandom of no bytes into a null buffer", "TRUE", Random(0, false)},
    {"random.twice", "CryptGenRandom twice", "TRUE, other bytes", RandomTwice},
    {"random.verify", "CryptGenRandom in a verification context", "TRUE", RandomForVerification},
    {"random.no_context", "CryptGenRandom in no context", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     RandomOfNothing},
};

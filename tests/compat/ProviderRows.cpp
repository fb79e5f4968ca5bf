// CryptGetProvParam, CryptSetProvParam, CryptGenRandom.
#include <cstring>

#include "Row.h"

namespace {

constexpr DWORD kSecureExchangePin = 47;
constexpr DWORD kPinPrompt = 44;
constexpr DWORD kReaderName = 43;
constexpr DWORD kGuid = 45;

// How an answer is shown.
enum class As { kNumber, kText, kLength };

std::string Shown(As as, const Bytes& value, DWORD length) {
  DWORD number = 0;
  if (as == As::kText) return std::string(reinterpret_cast<const char*>(value.data()));
  if (as == As::kLength) return "length " + Number(length);
  std::memcpy(&number, value.data(), sizeof number);
  return Flags(number) + ", length " + Number(length);
}

// The answer never goes beyond the buffer, whatever length is declared.
std::string Ask(HCRYPTPROV context, DWORD parameter, As as, DWORD declared, DWORD flags) {
  Bytes value(1024);
  DWORD length = declared;
  const BOOL done = CryptGetProvParam(context, parameter, value.data(), &length, flags);
  if (done == FALSE && GetLastError() == ERROR_MORE_DATA) return "FALSE ERROR_MORE_DATA, length " + Number(length);
  return Answer(done, Shown(as, value, length));
}

std::string AskSize(HCRYPTPROV context, DWORD parameter, DWORD flags) {
  DWORD length = 0;
  const BOOL done = CryptGetProvParam(context, parameter, nullptr, &length, flags);
  return Answer(done, "length " + Number(length));
}

Call Get(DWORD parameter, As as, DWORD declared = 1024, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Ask(context, parameter, as, declared, flags);
  };
}
Call Size(DWORD parameter, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    return AskSize(context, parameter, flags);
  };
}
Call GetForVerification(DWORD parameter, As as, DWORD flags = 0) {
  return [=](const Side& side) {
    const Verifying context(side);
    return Ask(context, parameter, as, 1024, flags);
  };
}
// The names differ, and so their lengths.
std::string AskName(const Side& side, HCRYPTPROV context, DWORD declared) {
  const std::string answer = Ask(context, PP_NAME, As::kText, declared, 0);
  const std::string name = side.Provider();
  if (answer == "TRUE, " + name) return "TRUE, the provider's name";
  return answer == "FALSE ERROR_MORE_DATA, length " + std::to_string(name.size() + 1)
             ? "FALSE ERROR_MORE_DATA, the name's length"
             : answer;
}
Call Name(DWORD declared) {
  return [declared](const Side& side) {
    const Prepared context(side);
    return AskName(side, context, declared);
  };
}
std::string NameForVerification(const Side& side) {
  const Verifying context(side);
  return AskName(side, context, 1024);
}
std::string GetNowhere(const Side& side) {
  const Prepared context(side);
  return Answer(CryptGetProvParam(context, PP_NAME, nullptr, nullptr, 0));
}
// There are no new containers of the machine on a card.
std::string TypeOfMachine(const Side& side) {
  const std::string name = side.IsThis() ? side.Container("prepared") : side.NewName();
  std::string answer;
  {
    const Context context(side, name.c_str(), CRYPT_MACHINE_KEYSET | (side.IsThis() ? 0 : CRYPT_NEWKEYSET));
    answer = Ask(context, PP_KEYSET_TYPE, As::kNumber, 4, 0);
  }
  HCRYPTPROV none = 0;
  if (!side.IsThis()) {
    CryptAcquireContextA(&none, name.c_str(), side.Provider(), side.Type(), CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET);
  }
  return answer;
}
std::string NameOfAnotherContainer(const Side& side) {
  const Fresh container(side);
  const std::string answer = Ask(container, PP_CONTAINER, As::kText, 1024, 0);
  const std::string name = container.Name().substr(container.Name().rfind('\\') + 1);
  return answer == "TRUE, " + name ? "TRUE, the name" : answer;
}

// Both names in a row, then the end.
Call Containers(std::vector<DWORD> flags) {
  return [flags](const Side& side) {
    const Prepared context(side);
    std::string answers;
    for (const DWORD flag : flags) {
      answers += (answers.empty() ? "" : ", then ") + Ask(context, PP_ENUMCONTAINERS, As::kText, 1024, flag);
    }
    return answers;
  };
}

DWORD Algorithms(HCRYPTPROV context, DWORD parameter) {
  DWORD count = 0;
  BYTE row[sizeof(PROV_ENUMALGS_EX)];
  DWORD length = sizeof row;
  for (DWORD flags = CRYPT_FIRST; CryptGetProvParam(context, parameter, row, &length, flags) != FALSE;
       flags = CRYPT_NEXT) {
    ++count;
    length = sizeof row;
  }
  return count;
}
Call CountAlgorithms(DWORD parameter) {
  return [parameter](const Side& side) {
    const Prepared context(side);
    const DWORD count = Algorithms(context, parameter);
    return "TRUE, " + Number(count) + ", then " + CodeName(GetLastError());
  };
}
// Whether the list has the algorithm, and with which lengths in bits.
Call Listed(ALG_ID algorithm) {
  return [algorithm](const Side& side) {
    const Prepared context(side);
    PROV_ENUMALGS_EX row = {};
    DWORD length = sizeof row;
    for (DWORD flags = CRYPT_FIRST;
         CryptGetProvParam(context, PP_ENUMALGS_EX, reinterpret_cast<BYTE*>(&row), &length, flags) != FALSE;
         flags = CRYPT_NEXT) {
      if (row.aiAlgid == algorithm) {
        return "TRUE, " + Number(row.dwDefaultLen) + " (" + Number(row.dwMinLen) + " to " + Number(row.dwMaxLen) + ")";
      }
      length = sizeof row;
    }
    return std::string("not listed");
  };
}

Call Set(DWORD parameter, const char* value, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Answer(CryptSetProvParam(context, parameter, reinterpret_cast<const BYTE*>(value), flags));
  };
}
// Before a PIN is given.
Call SetFirst(DWORD parameter, const char* value) {
  return [=](const Side& side) {
    const Context context(side, side.Container("prepared").c_str(), 0);
    return Answer(CryptSetProvParam(context, parameter, reinterpret_cast<const BYTE*>(value), 0));
  };
}
// A value of 8 zero bytes, which is a null window or store and the number 0.
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

const Rows kProviderRows = {
    {"provider.name", "PP_NAME", "TRUE, the provider's name", Name(1024)},
    {"provider.name_small", "PP_NAME, 4 bytes", "FALSE ERROR_MORE_DATA, the name's length", Name(4)},
    {"provider.container", "PP_CONTAINER", "TRUE, prepared", Get(PP_CONTAINER, As::kText)},
    {"provider.container_size", "PP_CONTAINER, null buffer", "TRUE, length 9", Size(PP_CONTAINER)},
    {"provider.container_small", "PP_CONTAINER, 8 bytes", "FALSE ERROR_MORE_DATA, length 9",
     Get(PP_CONTAINER, As::kText, 8)},
    {"provider.container_length", "PP_CONTAINER, 1024 bytes", "TRUE, length 9", Get(PP_CONTAINER, As::kLength)},
    {"provider.container_new", "PP_CONTAINER of a new container", "TRUE, the name", NameOfAnotherContainer},
    {"provider.container_verify", "PP_CONTAINER in a verification context", "TRUE; what it holds is not said",
     GetForVerification(PP_CONTAINER, As::kLength)},
    {"provider.unique", "PP_UNIQUE_CONTAINER", "TRUE; the provider chooses what it holds",
     Get(PP_UNIQUE_CONTAINER, As::kText)},
    {"provider.imptype", "PP_IMPTYPE", "TRUE; 2 is software, 8 removable, 3 mixed", Get(PP_IMPTYPE, As::kNumber, 4)},
    {"provider.imptype_size", "PP_IMPTYPE, null buffer", "TRUE, length 4", Size(PP_IMPTYPE)},
    {"provider.imptype_small", "PP_IMPTYPE, 3 bytes", "FALSE ERROR_MORE_DATA, length 4",
     Get(PP_IMPTYPE, As::kNumber, 3)},
    {"provider.imptype_larger", "PP_IMPTYPE, 1024 bytes", "TRUE; the length becomes 4", Get(PP_IMPTYPE, As::kLength)},
    {"provider.version", "PP_VERSION", "TRUE; 0x200 is version 2.0", Get(PP_VERSION, As::kNumber, 4)},
    {"provider.type", "PP_PROVTYPE", "TRUE; the type under which it was acquired", Get(PP_PROVTYPE, As::kNumber, 4)},
    {"provider.keystorage", "PP_KEYSTORAGE", "TRUE; a set of flags, or FALSE NTE_BAD_TYPE",
     Get(PP_KEYSTORAGE, As::kNumber, 4)},
    {"provider.keyset_type", "PP_KEYSET_TYPE", "TRUE, 0x0, length 4", Get(PP_KEYSET_TYPE, As::kNumber, 4)},
    {"provider.keyset_type_machine", "PP_KEYSET_TYPE, acquired with CRYPT_MACHINE_KEYSET where the container allows it",
     "TRUE; CRYPT_MACHINE_KEYSET for the machine's", TypeOfMachine},
    {"provider.keyspec", "PP_KEYSPEC", "TRUE, 0x3, length 4", Get(PP_KEYSPEC, As::kNumber, 4)},
    {"provider.sig_inc", "PP_SIG_KEYSIZE_INC", "TRUE; bits, 8 in Microsoft's providers",
     Get(PP_SIG_KEYSIZE_INC, As::kNumber, 4)},
    {"provider.keyx_inc", "PP_KEYX_KEYSIZE_INC", "TRUE; bits, 8 in Microsoft's providers",
     Get(PP_KEYX_KEYSIZE_INC, As::kNumber, 4)},
    {"provider.descriptor", "PP_KEYSET_SEC_DESCR, OWNER_SECURITY_INFORMATION", "TRUE; a descriptor",
     Get(PP_KEYSET_SEC_DESCR, As::kLength, 1024, OWNER_SECURITY_INFORMATION)},
    {"provider.descriptor_0", "PP_KEYSET_SEC_DESCR, flags 0", "TRUE; an empty descriptor",
     Get(PP_KEYSET_SEC_DESCR, As::kLength, 1024, 0)},
    {"provider.pin", "PP_KEYEXCHANGE_PIN is only for setting", "FALSE NTE_BAD_TYPE",
     Get(PP_KEYEXCHANGE_PIN, As::kLength)},
    {"provider.signature_pin", "PP_SIGNATURE_PIN is only for setting", "FALSE NTE_BAD_TYPE",
     Get(PP_SIGNATURE_PIN, As::kLength)},
    {"provider.rng", "PP_USE_HARDWARE_RNG", "TRUE or FALSE NTE_BAD_TYPE; TRUE where there is one",
     Size(PP_USE_HARDWARE_RNG)},
    {"provider.user_store", "PP_USER_CERTSTORE, length", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     Size(PP_USER_CERTSTORE)},
    {"provider.root_store", "PP_ROOT_CERTSTORE, length", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     Size(PP_ROOT_CERTSTORE)},
    {"provider.reader", "PP_SMARTCARD_READER", "TRUE or FALSE NTE_BAD_TYPE; for cards", Get(kReaderName, As::kText)},
    {"provider.guid", "PP_SMARTCARD_GUID", "TRUE or FALSE NTE_BAD_TYPE; for cards", Get(kGuid, As::kLength, 16)},
    {"provider.unknown", "a parameter that is none", "FALSE NTE_BAD_TYPE", Get(0x777, As::kNumber)},
    {"provider.flags", "PP_KEYSPEC with flags", "FALSE NTE_BAD_FLAGS", Get(PP_KEYSPEC, As::kNumber, 4, 0x80)},
    {"provider.all_flags", "PP_KEYSPEC with all flags", "FALSE NTE_BAD_FLAGS",
     Get(PP_KEYSPEC, As::kNumber, 4, 0xFFFFFFFFU)},
    {"provider.no_length", "no place for the length", "FALSE ERROR_INVALID_PARAMETER", GetNowhere},
    {"provider.verify_name", "PP_NAME in a verification context", "TRUE, the provider's name", NameForVerification},
    {"provider.verify_reader", "PP_SMARTCARD_READER in a verification context", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     GetForVerification(kReaderName, As::kText)},
};

const Rows kEnumerationRows = {
    {"list.containers", "PP_ENUMCONTAINERS, CRYPT_FIRST", "TRUE, prepared", Containers({CRYPT_FIRST})},
    {"list.containers_next", "PP_ENUMCONTAINERS, CRYPT_FIRST, then CRYPT_NEXT",
     "TRUE, prepared, then FALSE ERROR_NO_MORE_ITEMS", Containers({CRYPT_FIRST, CRYPT_NEXT})},
    {"list.containers_0", "PP_ENUMCONTAINERS, CRYPT_FIRST, then flags 0",
     "TRUE, prepared, then FALSE ERROR_NO_MORE_ITEMS", Containers({CRYPT_FIRST, 0})},
    {"list.containers_twice", "PP_ENUMCONTAINERS, CRYPT_FIRST twice", "TRUE, prepared, then TRUE, prepared",
     Containers({CRYPT_FIRST, CRYPT_FIRST})},
    {"list.containers_both", "PP_ENUMCONTAINERS, CRYPT_FIRST and CRYPT_NEXT together", "FALSE NTE_BAD_FLAGS",
     Containers({CRYPT_FIRST | CRYPT_NEXT})},
    {"list.containers_size", "PP_ENUMCONTAINERS, CRYPT_FIRST, null buffer", "TRUE; room for the longest name",
     Size(PP_ENUMCONTAINERS, CRYPT_FIRST)},
    {"list.containers_small", "PP_ENUMCONTAINERS, CRYPT_FIRST, 4 bytes", "FALSE ERROR_MORE_DATA",
     Get(PP_ENUMCONTAINERS, As::kText, 4, CRYPT_FIRST)},
    {"list.containers_exact", "PP_ENUMCONTAINERS, CRYPT_FIRST, as many bytes as the name", "TRUE, prepared",
     Get(PP_ENUMCONTAINERS, As::kText, 9, CRYPT_FIRST)},
    {"list.containers_length", "the length after PP_ENUMCONTAINERS, CRYPT_FIRST",
     "TRUE; of the name, or of the longest", Get(PP_ENUMCONTAINERS, As::kLength, 1024, CRYPT_FIRST)},
    {"list.containers_verify", "PP_ENUMCONTAINERS in a verification context", "TRUE, prepared",
     GetForVerification(PP_ENUMCONTAINERS, As::kText, CRYPT_FIRST)},
    {"list.algorithms", "PP_ENUMALGS to its end", "TRUE; then ERROR_NO_MORE_ITEMS", CountAlgorithms(PP_ENUMALGS)},
    {"list.algorithms_ex", "PP_ENUMALGS_EX to its end", "TRUE; then ERROR_NO_MORE_ITEMS",
     CountAlgorithms(PP_ENUMALGS_EX)},
    {"list.algorithms_size", "PP_ENUMALGS, null buffer", "TRUE, length 32", Size(PP_ENUMALGS, CRYPT_FIRST)},
    {"list.algorithms_ex_size", "PP_ENUMALGS_EX, null buffer", "TRUE, length 88", Size(PP_ENUMALGS_EX, CRYPT_FIRST)},
    {"list.algorithms_small", "PP_ENUMALGS, 8 bytes", "FALSE ERROR_MORE_DATA",
     Get(PP_ENUMALGS, As::kLength, 8, CRYPT_FIRST)},
    {"list.algorithms_verify", "PP_ENUMALGS in a verification context", "TRUE",
     GetForVerification(PP_ENUMALGS, As::kLength, CRYPT_FIRST)},
    {"list.md2", "PP_ENUMALGS_EX lists MD2, in bits", "TRUE, 128 (128 to 128)", Listed(CALG_MD2)},
    {"list.md4", "PP_ENUMALGS_EX lists MD4", "TRUE, 128 (128 to 128)", Listed(CALG_MD4)},
    {"list.md5", "PP_ENUMALGS_EX lists MD5", "TRUE, 128 (128 to 128)", Listed(CALG_MD5)},
    {"list.sha1", "PP_ENUMALGS_EX lists SHA-1", "TRUE, 160 (160 to 160)", Listed(CALG_SHA1)},
    {"list.sha256", "PP_ENUMALGS_EX lists SHA-256", "TRUE, 256 (256 to 256)", Listed(CALG_SHA_256)},
    {"list.sha384", "PP_ENUMALGS_EX lists SHA-384", "TRUE, 384 (384 to 384)", Listed(0x800D)},
    {"list.sha512", "PP_ENUMALGS_EX lists SHA-512", "TRUE, 512 (512 to 512)", Listed(CALG_SHA_512)},
    {"list.ssl3", "PP_ENUMALGS_EX lists CALG_SSL3_SHAMD5", "TRUE, 288 (288 to 288)", Listed(CALG_SSL3_SHAMD5)},
    {"list.mac", "PP_ENUMALGS_EX lists MAC", "TRUE, 0 (0 to 0)", Listed(CALG_MAC)},
    {"list.hmac", "PP_ENUMALGS_EX lists HMAC", "TRUE, 0 (0 to 0)", Listed(CALG_HMAC)},
    {"list.rsa_sign", "PP_ENUMALGS_EX lists RSA signatures", "TRUE, 1024 (384 to 16384)", Listed(CALG_RSA_SIGN)},
    {"list.rsa_keyx", "PP_ENUMALGS_EX lists RSA key exchange", "TRUE, 1024 (384 to 16384)", Listed(CALG_RSA_KEYX)},
    {"list.des", "PP_ENUMALGS_EX lists DES", "TRUE, 56 (56 to 56)", Listed(CALG_DES)},
    {"list.3des_112", "PP_ENUMALGS_EX lists triple DES with two keys", "TRUE, 112 (112 to 112)", Listed(CALG_3DES_112)},
    {"list.3des", "PP_ENUMALGS_EX lists triple DES", "TRUE, 168 (168 to 168)", Listed(CALG_3DES)},
    {"list.rc2", "PP_ENUMALGS_EX lists RC2", "TRUE, 128 (40 to 128)", Listed(CALG_RC2)},
    {"list.rc4", "PP_ENUMALGS_EX lists RC4", "TRUE, 128 (40 to 128)", Listed(CALG_RC4)},
    {"list.aes128", "PP_ENUMALGS_EX lists AES-128", "TRUE, 128 (128 to 128)", Listed(CALG_AES_128)},
    {"list.aes192", "PP_ENUMALGS_EX lists AES-192", "TRUE, 192 (192 to 192)", Listed(CALG_AES_192)},
    {"list.aes256", "PP_ENUMALGS_EX lists AES-256", "TRUE, 256 (256 to 256)", Listed(CALG_AES_256)},
};

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
    {"provider.set.unknown", "a parameter that is none", "FALSE NTE_BAD_TYPE", SetZero(0x777)},
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

#include "Answer.h"

#include <algorithm>

#include "common/FormatNumber.h"

namespace {

struct NamedCode {
  DWORD code;
  const char* name;
};

#define NAMED(code) \
  { static_cast<DWORD>(code), #code }
constexpr NamedCode kNames[] = {
    NAMED(ERROR_FILE_NOT_FOUND),
    NAMED(ERROR_INVALID_HANDLE),
    NAMED(ERROR_NOT_ENOUGH_MEMORY),
    NAMED(ERROR_INVALID_PARAMETER),
    NAMED(ERROR_CALL_NOT_IMPLEMENTED),
    NAMED(ERROR_INSUFFICIENT_BUFFER),
    NAMED(ERROR_PROC_NOT_FOUND),
    NAMED(ERROR_BUSY),
    NAMED(ERROR_MORE_DATA),
    NAMED(ERROR_NO_MORE_ITEMS),
    NAMED(NTE_BAD_UID),
    NAMED(NTE_BAD_HASH),
    NAMED(NTE_BAD_KEY),
    NAMED(NTE_BAD_LEN),
    NAMED(NTE_BAD_DATA),
    NAMED(NTE_BAD_SIGNATURE),
    NAMED(NTE_BAD_VER),
    NAMED(NTE_BAD_ALGID),
    NAMED(NTE_BAD_FLAGS),
    NAMED(NTE_BAD_TYPE),
    NAMED(NTE_BAD_KEY_STATE),
    NAMED(NTE_BAD_HASH_STATE),
    NAMED(NTE_NO_KEY),
    NAMED(NTE_NO_MEMORY),
    NAMED(NTE_EXISTS),
    NAMED(NTE_PERM),
    NAMED(NTE_NOT_FOUND),
    NAMED(NTE_DOUBLE_ENCRYPT),
    NAMED(NTE_BAD_PROVIDER),
    NAMED(NTE_BAD_PROV_TYPE),
    NAMED(NTE_BAD_PUBLIC_KEY),
    NAMED(NTE_BAD_KEYSET),
    NAMED(NTE_PROV_TYPE_NOT_DEF),
    NAMED(NTE_PROV_TYPE_ENTRY_BAD),
    NAMED(NTE_KEYSET_NOT_DEF),
    NAMED(NTE_KEYSET_ENTRY_BAD),
    NAMED(NTE_PROV_TYPE_NO_MATCH),
    NAMED(NTE_PROV_DLL_NOT_FOUND),
    NAMED(NTE_BAD_KEYSET_PARAM),
    NAMED(NTE_FAIL),
    NAMED(NTE_SYS_ERR),
    NAMED(NTE_SILENT_CONTEXT),
    NAMED(NTE_TOKEN_KEYSET_STORAGE_FULL),
    NAMED(NTE_INVALID_HANDLE),
    NAMED(NTE_INVALID_PARAMETER),
    NAMED(NTE_BUFFER_TOO_SMALL),
    NAMED(NTE_NOT_SUPPORTED),
    NAMED(NTE_NO_MORE_ITEMS),
    NAMED(CRYPT_E_MSG_ERROR),
    NAMED(CRYPT_E_UNKNOWN_ALGO),
    NAMED(CRYPT_E_NOT_FOUND),
    NAMED(CRYPT_E_NO_KEY_PROPERTY),
    NAMED(CRYPT_E_SIGNER_NOT_FOUND),
    NAMED(CRYPT_E_HASH_VALUE),
    NAMED(CRYPT_E_NO_MATCH),
    NAMED(CRYPT_E_NO_DECRYPT_CERT),
    NAMED(SCARD_W_CANCELLED_BY_USER),
    NAMED(SCARD_W_CHV_BLOCKED),
    NAMED(SCARD_W_WRONG_CHV),
    NAMED(SCARD_W_CARD_NOT_AUTHENTICATED),
};
#undef NAMED

}  // namespace

std::string CodeName(DWORD code) {
  const auto* const found =
      std::find_if(std::begin(kNames), std::end(kNames), [code](const NamedCode& name) { return name.code == code; });
  return found == std::end(kNames) ? "0x" + FormatNumber("%08X", code) : found->name;
}

std::string Answer(BOOL done, const std::string& details) {
  const DWORD lastError = GetLastError();
  if (done == FALSE) return lastError == ERROR_SUCCESS ? "FALSE without a last error" : "FALSE " + CodeName(lastError);
  return details.empty() ? "TRUE" : "TRUE, " + details;
}

std::string InBytes(std::size_t size) { return std::to_string(size) + " bytes"; }

std::string Hex(const Bytes& bytes) {
  std::string text;
  for (std::size_t i = 0; i < std::min<std::size_t>(bytes.size(), 4); ++i) text += FormatNumber("%02X", bytes[i]);
  return text;
}

std::string Number(DWORD number) { return std::to_string(number); }

std::string Flags(DWORD flags) { return "0x" + FormatNumber("%X", flags); }

void Step(BOOL done, const char* name) {
  if (done == FALSE) throw StepFailed("FALSE " + CodeName(GetLastError()) + " (" + name + ")");
}

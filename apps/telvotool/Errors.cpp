#include "telvotool/Errors.h"

#include <algorithm>
#include <cstdio>

#include "telvotool/Text.h"

namespace tool {

namespace {

struct ErrorRow {
  DWORD code;
  const char* name;
  ExitCode exit;
  const char* advice;
};

#define NAMED(code) static_cast<DWORD>(code), #code

constexpr char kNoAdvice[] = "";
constexpr char kAskDoctor[] = "\"telvotool doctor\" tells what stands in the way";

// One row, one line, in no special order.
constexpr ErrorRow kErrors[] = {
    {NAMED(NTE_BAD_KEYSET), kNotThere, "\"telvotool containers\" lists the containers of the cards that are in"},
    {NAMED(NTE_KEYSET_NOT_DEF), kFailed, "the provider is not registered: \"telvotool register\", as administrator"},
    {NAMED(NTE_PROV_TYPE_NO_MATCH), kFailed, "the provider is registered with a wrong type: \"telvotool register\""},
    {NAMED(NTE_PROVIDER_DLL_FAIL), kFailed, kAskDoctor},
    {NAMED(NTE_PROV_DLL_NOT_FOUND), kFailed, "the provider's library is gone: \"telvotool register\" anew"},
    {NAMED(NTE_EXISTS), kFailed, "choose another name, or \"telvotool delete\" the container first"},
    {NAMED(NTE_NO_KEY), kNotThere, "the container holds no private key; \"telvotool containers\" lists them"},
    {NAMED(NTE_BAD_KEY), kFailed, kAskDoctor},
    {NAMED(NTE_FAIL), kFailed, "the card or its module refused: \"telvotool doctor\"; the log tells at which call"},
    {NAMED(NTE_BAD_FLAGS), kFailed, kAskDoctor},
    {NAMED(NTE_BAD_TYPE), kFailed, kAskDoctor},
    {NAMED(NTE_BAD_ALGID), kFailed, "the provider does not have this algorithm"},
    {NAMED(NTE_BAD_KEYSET_PARAM), kFailed, "a container's name has at most 63 characters"},
    {NAMED(NTE_BAD_SIGNATURE), kNotValid, "the content or the signature was changed, or they do not belong together"},
    {NAMED(NTE_PERM), kFailed, kNoAdvice},
    {NAMED(NTE_NO_MEMORY), kFailed, "close other programs and try again"},
    {NAMED(NTE_SILENT_CONTEXT), kPinProblem,
     "no dialog is allowed with --pin-file and --pin-stdin, and the provider needs one: is PINCACHE 0, or no card in?"},
    {NAMED(SCARD_W_WRONG_CHV), kPinProblem, "\"telvotool doctor\" shows the tries that are left"},
    {NAMED(SCARD_W_CHV_BLOCKED), kPinProblem, "the PIN is locked: the card's issuer can unlock it"},
    {NAMED(SCARD_W_CANCELLED_BY_USER), kPinProblem, "enter the PIN, or give it by --pin-file"},
    {NAMED(SCARD_W_CARD_NOT_AUTHENTICATED), kPinProblem, "\"telvotool doctor\" shows the tries that are left"},
    {NAMED(SCARD_E_NO_SERVICE), kFailed, "start the service \"Smart Card\" (SCardSvr)"},
    {NAMED(SCARD_E_NO_READERS_AVAILABLE), kNotThere, "connect a reader"},
    {NAMED(CRYPT_E_NOT_FOUND), kNotThere, kNoAdvice},
    {NAMED(CRYPT_E_NO_SIGNER), kNotValid, "the file holds no signature"},
    {NAMED(CRYPT_E_HASH_VALUE), kNotValid, "the content is not the one that was signed"},
    {NAMED(CRYPT_E_UNEXPECTED_MSG_TYPE), kNotValid, "the file is no signed CMS message"},
    {NAMED(CRYPT_E_ASN1_BADTAG), kNotValid,
     "the file is not in the form that is expected here: DER, or a PEM certificate"},
    {NAMED(CRYPT_E_ASN1_EOD), kNotValid, "the file is cut off, or not in the form that is expected here"},
    {NAMED(CRYPT_E_ASN1_CORRUPT), kNotValid, "the file is damaged, or not in the form that is expected here"},
    {NAMED(CRYPT_E_INVALID_X500_STRING), kUsage, "a subject looks like this: \"CN=Anna Example, O=Example Ltd, C=DE\""},
    {NAMED(CRYPT_E_INVALID_PRINTABLE_STRING), kUsage,
     "a subject looks like this: \"CN=Anna Example, O=Example Ltd, C=DE\""},
    {NAMED(ERROR_FILE_NOT_FOUND), kNotThere, "look at the path"},
    {NAMED(ERROR_PATH_NOT_FOUND), kNotThere, "look at the path: the folder must exist"},
    {NAMED(ERROR_ACCESS_DENIED), kFailed, "start the program as administrator, or look at the permissions"},
    {NAMED(ERROR_SHARING_VIOLATION), kFailed, "another program holds the file: close it"},
    {NAMED(ERROR_DISK_FULL), kFailed, "make room on the disk"},
    {NAMED(ERROR_MOD_NOT_FOUND), kNotThere, "the library, or one that it needs, is not where Windows looks for it"},
    {NAMED(ERROR_BAD_EXE_FORMAT), kFailed, "the library is not a 64-bit one"},
    {NAMED(ERROR_INVALID_PARAMETER), kFailed, kNoAdvice},
    {NAMED(ERROR_CALL_NOT_IMPLEMENTED), kFailed, "this build of the provider does not serve it"},
};

#undef NAMED

const ErrorRow* FindError(DWORD code) {
  const auto* const found =
      std::find_if(std::begin(kErrors), std::end(kErrors), [code](const ErrorRow& row) { return row.code == code; });
  return found == std::end(kErrors) ? nullptr : found;
}

}  // namespace

std::string Hex(DWORD code) {
  char text[16];
  static_cast<void>(std::snprintf(text, sizeof(text), "0x%08lX", static_cast<unsigned long>(code)));
  return text;
}

std::string SystemText(DWORD code) {
  wchar_t text[400] = {};
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                                      text, static_cast<DWORD>(std::size(text)), nullptr);
  std::string words = Narrow(std::wstring(text, length));
  while (!words.empty() && (words.back() == '\n' || words.back() == '\r' || words.back() == '.')) words.pop_back();
  return words;
}

std::optional<DWORD> CodeNamed(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(kErrors), std::end(kErrors), [&name](const ErrorRow& row) { return row.name == name; });
  return found == std::end(kErrors) ? std::nullopt : std::optional<DWORD>(found->code);
}

std::string AdviceOf(DWORD code) {
  const ErrorRow* const row = FindError(code);
  return row == nullptr ? "" : row->advice;
}

Failure::Failure(const std::string& what, DWORD code, const std::string& advice)
    : runtime_error(what), m_code(code), m_exit(kFailed), m_advice(advice) {
  const ErrorRow* const row = FindError(code);
  if (row == nullptr) return;
  m_exit = row->exit;
  if (advice.empty()) m_advice = row->advice;
}

Failure::Failure(const std::string& what, ExitCode exit, const std::string& advice)
    : runtime_error(what), m_code(0), m_exit(exit), m_advice(advice) {}

std::string CodeText(DWORD code) {
  const ErrorRow* const row = FindError(code);
  if (row != nullptr) return std::string(row->name) + " (" + Hex(code) + ")";
  const std::string words = SystemText(code);
  return words.empty() ? Hex(code) : Hex(code) + ": " + words;
}

}  // namespace tool

// CryptGetProvParam.
#include "ProviderParams.h"

namespace {

constexpr DWORD kReaderName = 43;
constexpr DWORD kGuid = 45;
// The names differ, and so do their lengths.
std::string AskName(const Side& side, HCRYPTPROV context, DWORD declared) {
  const std::string answer = AskProvider(context, PP_NAME, As::kText, declared, 0);
  const std::string name = side.Provider();
  if (answer == "TRUE, " + name) return "TRUE, the provider's name";
  return answer == "FALSE ERROR_MORE_DATA, length " + std::to_string(name.size() + 1)
             ? "FALSE ERROR_MORE_DATA, the name's length"
             : answer;
}
Call ProviderName(DWORD declared) {
  return [declared](const Side& side) {
    const Prepared context(side);
    return AskName(side, context, declared);
  };
}
std::string NameForVerification(const Side& side) {
  const Verifying context(side);
  return AskName(side, context, 1024);
}
std::string AskNowhere(const Side& side) {
  const Prepared context(side);
  return Answer(CryptGetProvParam(context, PP_NAME, nullptr, nullptr, 0));
}

// On a card CRYPT_MACHINE_KEYSET makes no new container.
std::string TypeOfMachine(const Side& side) {
  const std::string name = side.IsThis() ? side.Container("prepared") : side.NewName();
  std::string answer;
  {
    const Context context(side, name.c_str(), CRYPT_MACHINE_KEYSET | (side.IsThis() ? 0 : CRYPT_NEWKEYSET));
    answer = AskProvider(context, PP_KEYSET_TYPE, As::kNumber, 4, 0);
  }
  HCRYPTPROV none = 0;
  if (!side.IsThis()) {
    CryptAcquireContextA(&none, name.c_str(), side.Provider(), side.Type(), CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET);
  }
  return answer;
}
std::string NameOfAnotherContainer(const Side& side) {
  const Fresh container(side);
  const std::string answer = AskProvider(container, PP_CONTAINER, As::kText, 1024, 0);
  const std::string name = container.Name().substr(container.Name().rfind('\\') + 1);
  return answer == "TRUE, " + name ? "TRUE, the name" : answer;
}

}  // namespace

const Rows kProviderRows = {
    {"provider.name", "PP_NAME", "TRUE, the provider's name", ProviderName(1024)},
    {"provider.name_small", "PP_NAME, 4 bytes", "FALSE ERROR_MORE_DATA, the name's length", ProviderName(4)},
    {"provider.container", "PP_CONTAINER", "TRUE, prepared", GetProvider(PP_CONTAINER, As::kText)},
    {"provider.container_size", "PP_CONTAINER, null buffer", "TRUE, length 9", GetProviderSize(PP_CONTAINER)},
    {"provider.container_small", "PP_CONTAINER, 8 bytes", "FALSE ERROR_MORE_DATA, length 9",
     GetProvider(PP_CONTAINER, As::kText, 8)},
    {"provider.container_length", "PP_CONTAINER, 1024 bytes", "TRUE, length 9", GetProvider(PP_CONTAINER, As::kLength)},
    {"provider.container_new", "PP_CONTAINER of a new container", "TRUE, the name", NameOfAnotherContainer},
    {"provider.container_verify", "PP_CONTAINER in a verification context", "TRUE; its content is not documented",
     GetForVerification(PP_CONTAINER, As::kLength)},
    {"provider.unique", "PP_UNIQUE_CONTAINER", "TRUE; the provider chooses its content",
     GetProvider(PP_UNIQUE_CONTAINER, As::kText)},
    {"provider.imptype", "PP_IMPTYPE", "TRUE; 2 is software, 8 removable, 3 mixed",
     GetProvider(PP_IMPTYPE, As::kNumber, 4)},
    {"provider.imptype_size", "PP_IMPTYPE, null buffer", "TRUE, length 4", GetProviderSize(PP_IMPTYPE)},
    {"provider.imptype_small", "PP_IMPTYPE, 3 bytes", "FALSE ERROR_MORE_DATA, length 4",
     GetProvider(PP_IMPTYPE, As::kNumber, 3)},
    {"provider.imptype_larger", "PP_IMPTYPE, 1024 bytes", "TRUE; the length becomes 4",
     GetProvider(PP_IMPTYPE, As::kLength)},
    {"provider.version", "PP_VERSION", "TRUE; 0x200 is version 2.0", GetProvider(PP_VERSION, As::kNumber, 4)},
    {"provider.type", "PP_PROVTYPE", "TRUE; the type under which it was acquired",
     GetProvider(PP_PROVTYPE, As::kNumber, 4)},
    {"provider.keystorage", "PP_KEYSTORAGE", "TRUE; a set of flags, or FALSE NTE_BAD_TYPE",
     GetProvider(PP_KEYSTORAGE, As::kNumber, 4)},
    {"provider.keyset_type", "PP_KEYSET_TYPE", "TRUE, 0x0, length 4", GetProvider(PP_KEYSET_TYPE, As::kNumber, 4)},
    {"provider.keyset_type_machine", "PP_KEYSET_TYPE, acquired with CRYPT_MACHINE_KEYSET where the container allows it",
     "TRUE; CRYPT_MACHINE_KEYSET for the machine's", TypeOfMachine},
    {"provider.keyspec", "PP_KEYSPEC", "TRUE, 0x3, length 4", GetProvider(PP_KEYSPEC, As::kNumber, 4)},
    {"provider.sig_inc", "PP_SIG_KEYSIZE_INC", "TRUE; bits, 8 in Microsoft's providers",
     GetProvider(PP_SIG_KEYSIZE_INC, As::kNumber, 4)},
    {"provider.keyx_inc", "PP_KEYX_KEYSIZE_INC", "TRUE; bits, 8 in Microsoft's providers",
     GetProvider(PP_KEYX_KEYSIZE_INC, As::kNumber, 4)},
    {"provider.descriptor", "PP_KEYSET_SEC_DESCR, OWNER_SECURITY_INFORMATION", "TRUE; a descriptor",
     GetProvider(PP_KEYSET_SEC_DESCR, As::kLength, 1024, OWNER_SECURITY_INFORMATION)},
    {"provider.descriptor_0", "PP_KEYSET_SEC_DESCR, flags 0", "TRUE; an empty descriptor",
     GetProvider(PP_KEYSET_SEC_DESCR, As::kLength, 1024, 0)},
    {"provider.pin", "PP_KEYEXCHANGE_PIN is only for setting", "FALSE NTE_BAD_TYPE",
     GetProvider(PP_KEYEXCHANGE_PIN, As::kLength)},
    {"provider.signature_pin", "PP_SIGNATURE_PIN is only for setting", "FALSE NTE_BAD_TYPE",
     GetProvider(PP_SIGNATURE_PIN, As::kLength)},
    {"provider.rng", "PP_USE_HARDWARE_RNG", "TRUE or FALSE NTE_BAD_TYPE; TRUE where there is one",
     GetProviderSize(PP_USE_HARDWARE_RNG)},
    {"provider.user_store", "PP_USER_CERTSTORE, length", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     GetProviderSize(PP_USER_CERTSTORE)},
    {"provider.root_store", "PP_ROOT_CERTSTORE, length", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     GetProviderSize(PP_ROOT_CERTSTORE)},
    {"provider.reader", "PP_SMARTCARD_READER", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     GetProvider(kReaderName, As::kText)},
    {"provider.guid", "PP_SMARTCARD_GUID", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     GetProvider(kGuid, As::kLength, 16)},
    {"provider.unknown", "an unknown parameter", "FALSE NTE_BAD_TYPE", GetProvider(0x777, As::kNumber)},
    {"provider.flags", "PP_KEYSPEC with flags", "FALSE NTE_BAD_FLAGS", GetProvider(PP_KEYSPEC, As::kNumber, 4, 0x80)},
    {"provider.all_flags", "PP_KEYSPEC with all flags", "FALSE NTE_BAD_FLAGS",
     GetProvider(PP_KEYSPEC, As::kNumber, 4, 0xFFFFFFFFU)},
    {"provider.no_length", "a null pointer for the length", "FALSE ERROR_INVALID_PARAMETER", AskNowhere},
    {"provider.verify_name", "PP_NAME in a verification context", "TRUE, the provider's name", NameForVerification},
    {"provider.verify_reader", "PP_SMARTCARD_READER in a verification context", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     GetForVerification(kReaderName, As::kText)},
};

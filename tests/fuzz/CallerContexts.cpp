// Contexts, their parameters, and random bytes.
#include <algorithm>

#include "Caller.h"
#include "Must.h"

void Caller::Acquire() {
  constexpr DWORD kAllFlags[] = {0,
                                 0,
                                 CRYPT_SILENT,
                                 CRYPT_VERIFYCONTEXT,
                                 CRYPT_VERIFYCONTEXT | CRYPT_SILENT,
                                 CRYPT_NEWKEYSET,
                                 CRYPT_NEWKEYSET | CRYPT_SILENT,
                                 CRYPT_DELETEKEYSET,
                                 CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET,
                                 0xFFFFFFFF};
  const char* const names[] = {"one",
                               nullptr,
                               "",
                               "two",
                               "010203",
                               "\\\\.\\Reader A",
                               "\\\\.\\Reader A\\one",
                               "\\\\.\\Reader B\\two",
                               "\\\\.\\Reader A\\new",
                               "\\\\.\\Nowhere\\one",
                               "SmartcardLogon-one"};
  const DWORD flags = m_data.PickValueInArray(kAllFlags);
  const char* const name = m_data.PickValueInArray(names);
  const bool isLong = m_data.ConsumeIntegralInRange(0, 63) == 63;
  const std::string longName(300, 'n');
  HCRYPTPROV context = 7;
  HCRYPTPROV* const out = m_data.ConsumeIntegralInRange(0, 63) == 63 ? nullptr : &context;
  const bool done = Make([&] { return CPAcquireContext(out, isLong ? longName.c_str() : name, flags, nullptr); },
                         Leaves::kRuntimeError);
  if (done && context != 7) m_contexts.push_back(context);
}

void Caller::Release() {
  const HCRYPTPROV context = Context();
  const bool isKnown = std::count(m_contexts.begin(), m_contexts.end(), context) != 0;
  const bool done = Make([&] { return CPReleaseContext(context, Flags()); }, Leaves::kContextError);
  if (isKnown) Must(done);
  m_contexts.erase(std::remove(m_contexts.begin(), m_contexts.end(), context), m_contexts.end());
}

void Caller::GetProvParam() {
  constexpr DWORD kParams[] = {
      PP_IMPTYPE,          PP_VERSION,          PP_PROVTYPE,         PP_KEYSTORAGE,       PP_KEYSPEC, PP_KEYSET_TYPE,
      PP_SIG_KEYSIZE_INC,  PP_KEYX_KEYSIZE_INC, PP_USE_HARDWARE_RNG, PP_KEYEXCHANGE_PIN,  PP_NAME,    PP_CONTAINER,
      PP_UNIQUE_CONTAINER, PP_SMARTCARD_READER, PP_SMARTCARD_GUID,   PP_KEYSET_SEC_DESCR, 0x7FFF};
  const DWORD param = m_data.PickValueInArray(kParams);
  const Leaves leaves = param == PP_SMARTCARD_GUID ? Leaves::kModuleError : Leaves::kNothing;
  const BOOL odd = param == PP_KEYEXCHANGE_PIN ? static_cast<BOOL>(NTE_BAD_TYPE) : TRUE;
  const DWORD flags = m_data.ConsumeBool() ? DACL_SECURITY_INFORMATION : Flags();
  Buffer buffer(m_data);
  Make([&] { return CPGetProvParam(Context(), param, buffer.Data(), buffer.Length(), flags); }, leaves, odd);
}

void Caller::Enumerate() {
  constexpr DWORD kParams[] = {PP_ENUMALGS, PP_ENUMALGS_EX, PP_ENUMCONTAINERS};
  constexpr DWORD kWays[] = {CRYPT_FIRST, CRYPT_NEXT, CRYPT_NEXT, 0};
  constexpr DWORD kLeast = 128;  // the size that PP_ENUMCONTAINERS relies on
  const DWORD param = m_data.PickValueInArray(kParams);
  const HCRYPTPROV context = Context();
  const int steps = m_data.ConsumeIntegralInRange(1, 4);
  for (int i = 0; i < steps; ++i) {
    Buffer buffer(m_data, param == PP_ENUMCONTAINERS ? kLeast : 0);
    const DWORD way = m_data.PickValueInArray(kWays);
    Make([&] { return CPGetProvParam(context, param, buffer.Data(), buffer.Length(), way); });
  }
}

void Caller::GetStore() {
  HCERTSTORE store = nullptr;
  DWORD length = sizeof(store);
  const DWORD param = m_data.ConsumeBool() ? PP_USER_CERTSTORE : PP_ROOT_CERTSTORE;
  const HCRYPTPROV context = Context();
  Make([&] { return CPGetProvParam(context, param, reinterpret_cast<BYTE*>(&store), &length, 0); });
  if (store != nullptr && !m_stage.ClosesStore(store)) CertCloseStore(store, 0);
}

void Caller::SetProvParam() {
  constexpr DWORD kPINs[] = {PP_KEYEXCHANGE_PIN, PP_SIGNATURE_PIN};
  constexpr DWORD kOthers[] = {PP_UI_PROMPT, PP_KEYSET_SEC_DESCR, PP_PIN_PROMPT_STRING, PP_USE_HARDWARE_RNG, 0x7FFF};
  const bool isPIN = m_data.ConsumeBool();
  const DWORD param = isPIN ? m_data.PickValueInArray(kPINs) : m_data.PickValueInArray(kOthers);
  const std::string text = isPIN ? m_stage.AnyPIN() : m_data.ConsumeRandomLengthString(20);
  const bool isNull = m_data.ConsumeIntegralInRange(0, 15) == 15;
  const auto* const value = isNull ? nullptr : reinterpret_cast<const BYTE*>(text.c_str());
  Make([&] { return CPSetProvParam(Context(), param, value, Flags()); },
       isPIN ? Leaves::kModuleError : Leaves::kNothing);
}

void Caller::GenRandom() {
  Buffer buffer(m_data);
  if (buffer.Length() == nullptr) return;
  Make([&] { return CPGenRandom(Context(), *buffer.Length(), buffer.Data()); });
}

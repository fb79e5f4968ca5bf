// CPGetProvParam: the parameters of the provider and of a context. Each parameter has a row in a table. Its first step
// measures the answer, its second one writes it.
#include <cstring>

#include "common/SortedTable.h"
#include "entry/ProviderInterface.h"
#include "entry/provparam/ProvParamCall.h"
#include "entry/provparam/ProvParamEnumerations.h"
#include "entry/provparam/ProvParamNames.h"
#include "entry/provparam/ProvParamSecurityDescriptor.h"
#include "entry/provparam/ProvParamStores.h"

namespace {

using namespace provparam;

// Answers of a fixed size, and of a fixed value.

template <DWORD size>
Outcome FixedSize(ProvParamCall& call) {
  call.size = size;
  return kGoOn;
}

template <DWORD value>
Outcome WriteNumber(ProvParamCall& call) {
  const DWORD number = value;
  std::memcpy(call.data, &number, sizeof(number));
  return kGoOn;
}

// Required: the caller gets 0, whatever the flags of the context are. The log shows them.
Outcome WriteKeysetType(ProvParamCall& call) {
  g_entryLog.WriteLine("\nCPGetProvParam PP_KEYSET_TYPE");
  const DWORD type = call.context.GetFlags() & CRYPT_MACHINE_KEYSET;
  std::memcpy(call.ownBytes.data(), &type, sizeof(type));
  call.answer = call.ownBytes.data();
  return kGoOn;
}

// Parameters without an answer.

// Required: the result is the code, which the caller takes for a success. No last error is set.
Outcome RefuseKeyExchangePIN(ProvParamCall& /*call*/) {
  g_entryLog.WriteLine("PP_KEYEXCHANGE_PIN not supported");
  return static_cast<BOOL>(NTE_BAD_TYPE);
}

Outcome AcceptHardwareRNG(ProvParamCall& call) {
  return call.frame.SucceedWith("\nCPGetProvParam Success. PP_USE_HARDWARE_RNG supported");
}

struct ProvParamRow {
  DWORD key;
  Outcome (*measure)(ProvParamCall& call);
  Outcome (*write)(ProvParamCall& call);  // null when the first step ends the function
};

constexpr ProvParamRow kProvParamRows[] = {
    {PP_ENUMALGS, FixedSize<sizeof(PROV_ENUMALGS)>, WriteAlgorithm},
    {PP_ENUMCONTAINERS, MeasureNextContainer, WriteNextContainer},
    {PP_IMPTYPE, FixedSize<4>, WriteNumber<CRYPT_IMPL_MIXED | CRYPT_IMPL_REMOVABLE>},
    {PP_NAME, MeasureName, WriteName},
    {PP_VERSION, FixedSize<4>, WriteNumber<1>},
    {PP_CONTAINER, MeasureContainer, WriteContainer},
    {PP_KEYSET_SEC_DESCR, MeasureDescriptor, WriteDescriptor},
    {PP_PROVTYPE, FixedSize<4>, WriteNumber<PROV_RSA_FULL>},
    {PP_KEYSTORAGE, FixedSize<4>, WriteNumber<0>},
    {PP_ENUMALGS_EX, FixedSize<sizeof(PROV_ENUMALGS_EX)>, WriteAlgorithmEx},
    {PP_KEYSET_TYPE, FixedSize<4>, WriteKeysetType},
    {PP_KEYEXCHANGE_PIN, RefuseKeyExchangePIN, nullptr},
    {PP_SIG_KEYSIZE_INC, FixedSize<4>, WriteNumber<512>},
    {PP_KEYX_KEYSIZE_INC, FixedSize<4>, WriteNumber<512>},
    {PP_UNIQUE_CONTAINER, MeasureContainer, WriteContainer},
    {PP_USE_HARDWARE_RNG, AcceptHardwareRNG, nullptr},
    {PP_KEYSPEC, FixedSize<4>, WriteNumber<AT_KEYEXCHANGE | AT_SIGNATURE>},
    {PP_USER_CERTSTORE, FixedSize<8>, WriteUserStore},
    {PP_SMARTCARD_READER, MeasureReader, WriteReader},
    {PP_SMARTCARD_GUID, FixedSize<16>, WriteCardSerial},
    {PP_ROOT_CERTSTORE, FixedSize<8>, WriteRootStore},
};
static_assert(IsAscending(kProvParamRows), "FindRow searches by bisection");

BOOL Answer(ProvParamCall& call, const ProvParamRow& row) {
  if (const Outcome end = row.measure(call)) return *end;
  if (call.data == nullptr) {
    *call.length = call.size;
    g_entryLog.WriteHex("\nCPGetProvParam Success: pbData is NULL, pcbDataLen is set to ", call.size, true);
    return call.frame.SucceedLogged();
  }
  if (*call.length < call.size) return RefuseSmallBuffer(call, call.size);
  std::memset(call.data, 0, call.size);
  if (const Outcome end = row.write(call)) return *end;
  const BOOL result = call.frame.Succeed();
  g_entryLog.WriteBytes("pbData = ", call.answer, call.size, true);
  HandOverStore(call);
  return result;
}

}  // namespace

BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen, DWORD dwFlags) {
  const EntryFrame frame("CPGetProvParam");
  frame.LogNumber("\tdwParam: \t", dwParam);
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  frame.LogPointer("\tpbData: \t", pbData);
  if (pcbDataLen == nullptr) return frame.RefuseNull("pcbDataLen");
  frame.LogNumber("\tpcbDataLen: \t", *pcbDataLen);
  // Required: only the look-up is protected. PP_ENUMCONTAINERS protects its own steps.
  const auto context = frame.FindContext(hProv);
  if (!context) return FALSE;
  if (dwFlags == 0xFFFFFFFF) {
    return frame.RefuseNumber("\nCPGetProvParam Error: Unsupported Flag(s): ", dwFlags, NTE_BAD_FLAGS);
  }
  g_entryLog.WriteHex("\ndwParam: ", dwParam, true);
  const ProvParamRow* const row = FindRow(kProvParamRows, dwParam);
  if (row == nullptr) return frame.Refuse("\nCPGetProvParam dwParam not supported", NTE_BAD_TYPE);
  ProvParamCall call = {{frame, *context}, pbData, pcbDataLen, dwFlags, 0, {}, {}, pbData, {}};
  return Answer(call, *row);
}

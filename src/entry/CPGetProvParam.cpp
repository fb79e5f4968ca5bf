// CPGetProvParam: what the provider and a context say of themselves. Each parameter is a row of a table; the function
// walks a row in two passes, one that finds the size of the answer and one that writes it.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "context/CCSPContext.h"
#include "context/ObjectID.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

namespace {

// The last stores that were opened. Required: nothing closes them; their handles belong to the callers.
std::atomic<HCERTSTORE> g_userStore{nullptr};
std::atomic<HCERTSTORE> g_rootStore{nullptr};

struct Call {
  const EntryFrame& frame;
  CCSPContext& context;
  BYTE* data;  // in the second pass not null, and `size` bytes of it are zero
  DWORD* length;
  DWORD flags;
  DWORD size;                    // of the answer, from the first pass
  std::string text;              // the answer, where it is a name
  std::array<BYTE, 4> ownBytes;  // of PP_KEYSET_TYPE
  const BYTE* answer;            // what the last log line shows
};

// A pass either goes on or ends the function with a result.
using Outcome = std::optional<BOOL>;
constexpr std::nullopt_t kGoOn = std::nullopt;

struct Row {
  DWORD param;
  Outcome (*measure)(Call& call);
  Outcome (*write)(Call& call);  // null when the first pass ends the function
};

// Answers of a fixed value, over bytes that are zero.

template <DWORD size>
Outcome FixedSize(Call& call) {
  call.size = size;
  return kGoOn;
}

template <BYTE value>
Outcome WriteByte(Call& call) {
  call.data[0] = value;
  return kGoOn;
}

template <DWORD value>
Outcome WriteWord(Call& call) {
  const DWORD word = value;
  std::memcpy(call.data, &word, sizeof(word));
  return kGoOn;
}

// Names.

void TakeText(Call& call, const std::string& text) {
  call.text = text.substr(0, text.find('\0'));  // up to the first zero byte
  call.size = static_cast<DWORD>(call.text.size() + 1);
}

void CopyText(Call& call) { std::memcpy(call.data, call.text.c_str(), call.text.size() + 1); }

Outcome MeasureName(Call& call) {
  TakeText(call, call.context.GetProviderName());
  return kGoOn;
}

Outcome WriteName(Call& call) {
  CopyText(call);
  *call.length = call.size;
  g_entryLog.WriteLine("");
  g_entryLog.WriteLine(call.text.c_str());
  return kGoOn;
}

void LogBehindLineEnd(const std::string& text) { g_entryLog.WriteLine(("\n" + text).c_str()); }

Outcome MeasureContainer(Call& call) {
  TakeText(call, call.context.GetContainerName());
  g_entryLog.WriteHex("\nContainer Name Len: ", call.size, true);
  return kGoOn;
}

Outcome WriteContainer(Call& call) {
  CopyText(call);
  *call.length = call.size;
  LogBehindLineEnd(call.text);
  return kGoOn;
}

Outcome MeasureReader(Call& call) {
  TakeText(call, call.context.GetReaderName());
  return kGoOn;
}

// Required: without a reader only the read fails, and the caller's length stays as it was in any case.
Outcome WriteReader(Call& call) {
  if (call.text.empty()) {
    return call.frame.Refuse("\nThe current context is currently NOT associated with any smart card reader",
                             NTE_BAD_TYPE);
  }
  CopyText(call);
  return kGoOn;
}

Outcome WriteCardSerial(Call& call) {
  const std::string serial = call.context.GetTokenInfo().GetSerial();
  std::memcpy(call.data, serial.data(), std::min<std::size_t>(serial.size(), call.size));
  g_entryLog.WriteBytes("\nSerial Number Retrieved: ", call.data, call.size, true);
  return kGoOn;
}

// Enumerations.

template <std::size_t N>
void CopyName(char (&to)[N], const char* from, DWORD length) {
  std::memcpy(to, from, std::min<std::size_t>(length, N));
}

Outcome WriteAlgorithm(Call& call) {
  const Algorithm* const row = call.context.NextAlgorithm((call.flags & CRYPT_FIRST) != 0);
  if (row == nullptr) {
    return call.frame.Refuse("\nCPGetProvParam Algorithm Enumeration (PP_ENUMALGS) done", ERROR_NO_MORE_ITEMS);
  }
  PROV_ENUMALGS item = {};
  static_assert(sizeof(item) == 32, "the size that callers are told");
  item.aiAlgid = row->id;
  item.dwBitLen = row->minBits;  // Required: not the default length
  item.dwNameLen = row->nameLength;
  CopyName(item.szName, row->name, row->nameLength);
  std::memcpy(call.data, &item, sizeof(item));
  return kGoOn;
}

DWORD ProtocolsOf(ALG_ID algorithm) {
  const bool isRSA = algorithm == CALG_RSA_KEYX || algorithm == CALG_RSA_SIGN;
  return isRSA ? CRYPT_FLAG_IPSEC | CRYPT_FLAG_SIGNING : CRYPT_FLAG_PCT1;
}

Outcome WriteAlgorithmEx(Call& call) {
  const Algorithm* const row = call.context.NextAlgorithmEx((call.flags & CRYPT_FIRST) != 0);
  if (row == nullptr) {
    return call.frame.Refuse("\nCPGetProvParam Algorithm Enumeration (PP_ENUMALGS_EX) done", ERROR_NO_MORE_ITEMS);
  }
  PROV_ENUMALGS_EX item = {};
  static_assert(sizeof(item) == 88, "the size that callers are told");
  item.aiAlgid = row->id;
  item.dwDefaultLen = row->defaultBits;
  item.dwMinLen = row->minBits;
  item.dwMaxLen = row->maxBits;
  item.dwProtocols = ProtocolsOf(row->id);
  item.dwNameLen = row->nameLength;
  CopyName(item.szName, row->name, row->nameLength);
  item.dwLongNameLen = row->longNameLength;
  CopyName(item.szLongName, row->longName, row->longNameLength);
  std::memcpy(call.data, &item, sizeof(item));
  return kGoOn;
}

// Runs a pass in a region that hands the module's own code to the caller.
template <typename Pass>
Outcome ProtectPass(Call& call, Pass pass) {
  Outcome outcome;
  const BOOL unfailed = call.frame.Protect(
      [&] {
        outcome = pass();
        return TRUE;
      },
      ModuleFailure::kOwnCode);
  return unfailed != FALSE ? outcome : Outcome(FALSE);
}

Outcome RefuseEndOfContainers(const Call& call) {
  return call.frame.Refuse("\nCPGetProvParam Cert Enumeration (PP_ENUMCONTAINERS) done", ERROR_NO_MORE_ITEMS);
}

constexpr DWORD kContainerNameSize = 128;

// Required: the position moves here, so that a question for the size moves it, too.
Outcome MeasureNextContainer(Call& call) {
  return ProtectPass(call, [&]() -> Outcome {
    // Required: the whole value counts.
    if (call.flags != CRYPT_FIRST && call.flags != CRYPT_NEXT) return call.frame.RefuseSilently(ERROR_NO_MORE_ITEMS);
    Certificate* const certificate = call.context.NextCertificate(call.flags == CRYPT_FIRST);
    if (certificate == nullptr) return RefuseEndOfContainers(call);
    ContainerNameOf(*certificate);  // proves that the name can be read
    // Required: whatever the length of the name.
    call.size = call.flags == CRYPT_FIRST ? kContainerNameSize : 0;
    return kGoOn;
  });
}

Outcome RefuseSmallBuffer(const Call& call, DWORD size) {
  const char* const given = "\nCPGetProvParam Error: pcbDataLen value is less than actual value, pcbDataLen is";
  const char* const needed = "\nCPGetProvParam Error: pcbDataLen value is less than actual value, dataLen is ";
  g_entryLog.WriteHex(given, *call.length, true);
  *call.length = size;
  return call.frame.RefuseNumber(needed, size, ERROR_MORE_DATA);
}

// A caller who goes on with CRYPT_NEXT has the buffer that CRYPT_FIRST asked for, whatever length is declared now.
Outcome WriteNextContainer(Call& call) {
  return ProtectPass(call, [&]() -> Outcome {
    std::memset(call.data, 0, *call.length);
    Certificate* const certificate = call.context.CurrentCertificate();
    if (certificate == nullptr) return RefuseEndOfContainers(call);
    const std::string name = ContainerNameOf(*certificate);
    const DWORD need = static_cast<DWORD>(name.size() + 1);
    if (need > std::max(*call.length, kContainerNameSize)) return RefuseSmallBuffer(call, need);
    std::memcpy(call.data, name.c_str(), need);
    *call.length = need;
    LogBehindLineEnd(name);
    return kGoOn;
  });
}

// The security descriptor: one that grants everybody everything.

bool IsOneOfTheDescriptorsParts(DWORD flags) {
  return flags == OWNER_SECURITY_INFORMATION || flags == GROUP_SECURITY_INFORMATION ||
         flags == DACL_SECURITY_INFORMATION || flags == SACL_SECURITY_INFORMATION;
}

// Whether `data` is a descriptor. The head of one is looked at only where there is a whole one.
bool IsDescriptor(BYTE* data, DWORD length) {
  constexpr DWORD kRelativeSize = 20;
  if (length < kRelativeSize) return false;
  WORD control = 0;
  std::memcpy(&control, data + 2, sizeof(control));
  if ((control & SE_SELF_RELATIVE) == 0 && length < sizeof(SECURITY_DESCRIPTOR)) return false;
  return IsValidSecurityDescriptor(data) != FALSE;
}

// Both passes build the same descriptor. `onOtherFlags` is what becomes of flags that name no part of it.
template <typename OnOtherFlags>
Outcome BuildDescriptor(Call& call, DWORD* length, OnOtherFlags onOtherFlags) {
  const std::unique_ptr<SECURITY_DESCRIPTOR> descriptor(new (std::nothrow) SECURITY_DESCRIPTOR());
  if (!descriptor) return call.frame.RefuseSilently(NTE_NO_MEMORY);
  if (InitializeSecurityDescriptor(descriptor.get(), SECURITY_DESCRIPTOR_REVISION) == FALSE) return FALSE;
  if (!IsOneOfTheDescriptorsParts(call.flags)) {
    SetLastError(static_cast<DWORD>(NTE_BAD_FLAGS));
    onOtherFlags();
    return kGoOn;
  }
  if (SetSecurityDescriptorDacl(descriptor.get(), TRUE, nullptr, FALSE) == FALSE) return FALSE;
  MakeSelfRelativeSD(descriptor.get(), call.data, length);  // its failure shows in the length
  call.size = *length;
  return kGoOn;
}

// Required: flags that name no part of a descriptor are no failure; the answer is empty.
Outcome MeasureDescriptor(Call& call) {
  g_entryLog.WriteLine("\nCPGetProvParam PP_KEYSET_SEC_DESCR");
  // The caller's own length stays, so that too small a buffer is seen.
  DWORD length = call.data != nullptr ? *call.length : 0;
  return BuildDescriptor(call, &length, [&] {
    g_entryLog.WriteLine("PP_KEYSET_SEC_DESCR failed");
    call.size = 0;
  });
}

Outcome WriteDescriptor(Call& call) {
  g_entryLog.WriteLine("\nCPGetProvParam PP_KEYSET_SEC_DESCR 2");
  return BuildDescriptor(call, call.length, [&] {
    const bool isValid = IsDescriptor(call.data, *call.length);
    g_entryLog.WriteLine(isValid ? "\nValid Security Descriptor" : "\nInvalid Security Descriptor");
  });
}

// Required: the caller sees 0, whatever the flags of the context are; the log shows them.
Outcome WriteKeysetType(Call& call) {
  g_entryLog.WriteLine("\nCPGetProvParam PP_KEYSET_TYPE");
  const DWORD type = call.context.GetFlags() & CRYPT_MACHINE_KEYSET;
  std::memcpy(call.ownBytes.data(), &type, sizeof(type));
  call.answer = call.ownBytes.data();
  return kGoOn;
}

// Parameters without an answer.

// Required: the code is the function's result, which the caller takes for a success, and no last error is set.
Outcome RefuseKeyExchangePIN(Call& /*call*/) {
  g_entryLog.WriteLine("PP_KEYEXCHANGE_PIN not supported");
  return static_cast<BOOL>(NTE_BAD_TYPE);
}

Outcome AcceptHardwareRNG(Call& call) {
  return call.frame.SucceedWith("\nCPGetProvParam Success. PP_USE_HARDWARE_RNG supported");
}

// Certificate stores.

void WriteStoreHandle(Call& call, HCERTSTORE store) {
  const auto handle = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(store));
  std::memcpy(call.data, &handle, sizeof(handle));
  *call.length = sizeof(handle);
}

// Required: a store that does not open is a null handle and no failure.
Outcome WriteUserStore(Call& call) {
  g_entryLog.WriteLine("\nCPGetProvParam: Requesting User Cert Store Handle");
  auto* const store = CertOpenSystemStoreA(0, "MY");
  g_userStore = store;
  if (store == nullptr) {
    const DWORD code = GetLastError();
    g_entryLog.WriteLine("\nCPGetProvParam Error: Requesting Cert User Store Handle Failed to Open Cert");
    SetLastError(code);
  } else if (call.context.AddCertificatesToStore(store, 0, 0) != 0) {
    g_entryLog.WriteLine("\nCPGetProvParam: Requesting User Cert Store Handle: Success");
  } else {
    g_entryLog.WriteLine("\nCPGetProvParam: Failed to propagate certificate");
  }
  WriteStoreHandle(call, store);
  return kGoOn;
}

Outcome WriteRootStore(Call& call) {
  g_entryLog.WriteLine("\nCPGetProvParam: Requesting Root Cert Store Handle");
  auto* const store = CertOpenSystemStoreA(0, "ROOT");
  g_rootStore = store;
  if (store == nullptr) {
    return call.frame.Refuse("\nCPGetProvParam Error: Requesting Cert Root Store Handle Failed to Open Cert",
                             GetLastError());
  }
  if (call.context.AddCertificatesToStore(store, 1, 0) == 0) {
    g_entryLog.WriteLine("\nCPGetProvParam: Failed to propagate certificate");
    return FALSE;
  }
  g_entryLog.WriteLine("\nCPGetProvParam: Requesting Root Cert Store Handle: Success");
  WriteStoreHandle(call, store);
  return kGoOn;
}

const Row kRows[] = {
    {PP_ENUMALGS, FixedSize<sizeof(PROV_ENUMALGS)>, WriteAlgorithm},
    {PP_ENUMCONTAINERS, MeasureNextContainer, WriteNextContainer},
    {PP_IMPTYPE, FixedSize<4>, WriteByte<CRYPT_IMPL_MIXED | CRYPT_IMPL_REMOVABLE>},
    {PP_NAME, MeasureName, WriteName},
    {PP_VERSION, FixedSize<4>, WriteByte<1>},
    {PP_CONTAINER, MeasureContainer, WriteContainer},
    {PP_KEYSET_SEC_DESCR, MeasureDescriptor, WriteDescriptor},
    {PP_PROVTYPE, FixedSize<4>, WriteByte<PROV_RSA_FULL>},
    {PP_KEYSTORAGE, FixedSize<4>, WriteByte<0>},
    {PP_ENUMALGS_EX, FixedSize<sizeof(PROV_ENUMALGS_EX)>, WriteAlgorithmEx},
    {PP_KEYSET_TYPE, FixedSize<4>, WriteKeysetType},
    {PP_KEYEXCHANGE_PIN, RefuseKeyExchangePIN, nullptr},
    {PP_SIG_KEYSIZE_INC, FixedSize<4>, WriteWord<512>},
    {PP_KEYX_KEYSIZE_INC, FixedSize<4>, WriteWord<512>},
    {PP_UNIQUE_CONTAINER, MeasureContainer, WriteContainer},
    {PP_USE_HARDWARE_RNG, AcceptHardwareRNG, nullptr},
    {PP_KEYSPEC, FixedSize<4>, WriteByte<AT_KEYEXCHANGE | AT_SIGNATURE>},
    {PP_USER_CERTSTORE, FixedSize<8>, WriteUserStore},
    {PP_SMARTCARD_READER, MeasureReader, WriteReader},
    {PP_SMARTCARD_GUID, FixedSize<16>, WriteCardSerial},
    {PP_ROOT_CERTSTORE, FixedSize<8>, WriteRootStore},
};

BOOL Answer(Call& call, const Row& row) {
  if (const Outcome end = row.measure(call)) return *end;
  if (call.data == nullptr) {
    *call.length = call.size;
    g_entryLog.WriteHex("\nCPGetProvParam Success: pbData is NULL, pcbDataLen is set to ", call.size, true);
    return call.frame.SucceedLogged();
  }
  if (*call.length < call.size) return *RefuseSmallBuffer(call, call.size);
  std::memset(call.data, 0, call.size);
  if (const Outcome end = row.write(call)) return *end;
  const BOOL result = call.frame.Succeed();
  g_entryLog.WriteBytes("pbData = ", call.answer, call.size, true);
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
  const auto context = frame.FindContext(hProv);
  if (!context) return FALSE;
  if (dwFlags == 0xFFFFFFFF) {
    return frame.RefuseNumber("\nCPGetProvParam Error: Unsupported Flag(s): ", dwFlags, NTE_BAD_FLAGS);
  }
  g_entryLog.WriteHex("\ndwParam: ", dwParam, true);
  const auto* const row =
      std::find_if(std::begin(kRows), std::end(kRows), [dwParam](const Row& item) { return item.param == dwParam; });
  if (row == std::end(kRows)) return frame.Refuse("\nCPGetProvParam dwParam not supported", NTE_BAD_TYPE);
  Call call = {frame, *context, pbData, pcbDataLen, dwFlags, 0, {}, {}, pbData};
  return Answer(call, *row);
}

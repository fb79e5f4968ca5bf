#include "entry/provparam/ProvParamEnumerations.h"

#include <algorithm>
#include <cstring>

#include "context/ObjectID.h"

namespace provparam {

namespace {

template <std::size_t N>
void CopyName(char (&to)[N], const char* from, DWORD length) {
  std::memcpy(to, from, std::min<std::size_t>(length, N));
}

DWORD ProtocolsOf(ALG_ID algorithm) {
  const bool isRSA = algorithm == CALG_RSA_KEYX || algorithm == CALG_RSA_SIGN;
  return isRSA ? CRYPT_FLAG_IPSEC | CRYPT_FLAG_SIGNING : CRYPT_FLAG_PCT1;
}

// Runs a step in a protected region. Required: here the caller sees the module's own code.
template <typename Step>
Outcome ProtectStep(const ProvParamCall& call, Step step) {
  Outcome outcome;
  const BOOL done = call.frame.Protect(
      [&] {
        outcome = step();
        return TRUE;
      },
      ModuleFailure::kOwnCode);
  return done != FALSE ? outcome : Outcome(FALSE);
}

Outcome RefuseEndOfContainers(const ProvParamCall& call) {
  return call.frame.Refuse("\nCPGetProvParam Cert Enumeration (PP_ENUMCONTAINERS) done", ERROR_NO_MORE_ITEMS);
}

constexpr DWORD kContainerNameSize = 128;

}  // namespace

Outcome WriteAlgorithm(ProvParamCall& call) {
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

Outcome WriteAlgorithmEx(ProvParamCall& call) {
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

// Required: the position moves in this step, so a size query moves it, too.
Outcome MeasureNextContainer(ProvParamCall& call) {
  return ProtectStep(call, [&]() -> Outcome {
    // Required: the whole value counts, not one bit of it.
    if (call.flags != CRYPT_FIRST && call.flags != CRYPT_NEXT) return call.frame.RefuseSilently(ERROR_NO_MORE_ITEMS);
    Certificate* const certificate = call.context.NextCertificate(call.flags == CRYPT_FIRST);
    if (certificate == nullptr) return RefuseEndOfContainers(call);
    ContainerNameOf(*certificate);  // fails here if the name cannot be read
    // Required: these sizes, regardless of the length of the name.
    call.size = call.flags == CRYPT_FIRST ? kContainerNameSize : 0;
    return kGoOn;
  });
}

// Required: up to kContainerNameSize bytes are written even if `*call.length` is smaller. With CRYPT_NEXT, callers pass
// the buffer that CRYPT_FIRST asked for, and the length of the last name.
Outcome WriteNextContainer(ProvParamCall& call) {
  return ProtectStep(call, [&]() -> Outcome {
    std::memset(call.data, 0, *call.length);
    Certificate* const certificate = call.context.CurrentCertificate();
    if (certificate == nullptr) return RefuseEndOfContainers(call);
    const std::string name = ContainerNameOf(*certificate);
    const DWORD need = static_cast<DWORD>(name.size() + 1);
    if (need > std::max(*call.length, kContainerNameSize)) return RefuseSmallBuffer(call, need);
    std::memcpy(call.data, name.c_str(), need);
    *call.length = need;
    g_entryLog.WriteLine(("\n" + name).c_str());
    return kGoOn;
  });
}

}  // namespace provparam

#include "entry/keyparam/KeyParamPinInfo.h"

#include <cstring>

namespace keyparam {

namespace {

struct PinInfo {
  DWORD dwVersion;
  DWORD PinType;
  DWORD PinPurpose;
  DWORD dwChangePermission;
  DWORD dwUnblockPermission;
  struct {
    DWORD dwVersion;
    DWORD PinCachePolicyType;
    DWORD dwPinCachePolicyInfo;
  } PinCachePolicy;
  DWORD dwFlags;
};
static_assert(sizeof(PinInfo) == 36, "the size that callers are told");

constexpr PinInfo kPinInfo = {6, 0, 0, 2, 4, {6, 0, 0}, 0};

}  // namespace

Outcome AskPinInfo(const KeyParamCall& call) {
  *call.length = sizeof(kPinInfo);
  return kGoOn;
}

Outcome ReadPinInfo(const KeyParamCall& call) {
  if (*call.length < sizeof(kPinInfo)) return RefuseSmallBuffer(call);
  std::memcpy(call.data, &kPinInfo, sizeof(kPinInfo));
  *call.length = sizeof(kPinInfo);
  return kGoOn;
}

}  // namespace keyparam

// CPGetHashParam: the parameters of a hash.
#include <cstring>

#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHash.h"

namespace {

BOOL TooSmall(const EntryFrame& frame) {
  return frame.Refuse("\nCPGetHashParam Error: pcbDataLen too small", ERROR_MORE_DATA);
}

// Required: with a buffer `*length` stays as it is.
BOOL GetNumber(const EntryFrame& frame, DWORD number, BYTE* data, DWORD* length) {
  if (data == nullptr) {
    *length = sizeof(number);
    return frame.Succeed();
  }
  if (*length < sizeof(number)) return TooSmall(frame);
  std::memcpy(data, &number, sizeof(number));
  return frame.Succeed();
}

BOOL GetValue(const EntryFrame& frame, CCSPHash& hash, BYTE* data, DWORD* length) {
  if (data == nullptr || *length < hash.GetHashLength()) {
    *length = hash.GetHashLength();
    return data == nullptr ? frame.Succeed() : TooSmall(frame);
  }
  // Required: if the buffer is large enough, the length of the value does not reach the caller.
  DWORD room = *length;
  hash.Compute(data, &room);
  return frame.Succeed();
}

}  // namespace

BOOL WINAPI CPGetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                           DWORD dwFlags) {
  // Required: the first line spells the name differently.
  const EntryFrame frame("CPGetHashParam", "CPGethashParam");
  frame.LogNumber("\tdwParam:    ", dwParam);
  frame.LogNumber("\tdwFlags:    ", dwFlags);
  frame.LogPointer("\tpbData:     ", pbData);
  if (pcbDataLen == nullptr) return frame.RefuseNull("pcbDataLen");
  frame.LogNumber("\tpcbDataLen: ", *pcbDataLen);
  if (dwFlags != 0) return frame.Refuse("\nCPGetHASHParam Error: Unsupported Flag(s)", NTE_BAD_FLAGS);
  return frame.WithHash(hProv, hHash, [&](CCSPContext& /*context*/, const boost::shared_ptr<CCSPHash>& hash) {
    switch (dwParam) {
      case HP_ALGID:
        return GetNumber(frame, hash->GetAlgID(), pbData, pcbDataLen);
      case HP_HASHVAL:
        return GetValue(frame, *hash, pbData, pcbDataLen);
      case HP_HASHSIZE:
        return GetNumber(frame, hash->GetHashLength(), pbData, pcbDataLen);
      default:
        return frame.Refuse("\nCPGetHASHParam Error: Invalid dwParam, dwParam not supported", NTE_BAD_TYPE);
    }
  });
}

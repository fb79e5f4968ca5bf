// CPSignHash: signs a hash with the container's key.
#include <vector>

#include "entry/EntryFrame.h"
#include "entry/HashBytes.h"
#include "entry/ProviderInterface.h"

namespace {

BOOL SignHash(const EntryFrame& frame, CCSPContext& context, CCSPHash& hash, DWORD dwFlags, BYTE* pbSignature,
              DWORD* pcbSigLen) {
  if (hash.IsFinished() == 0) {
    DWORD length = 0;
    hash.Compute(nullptr, &length);
  }
  std::vector<BYTE> data;
  switch (dwFlags) {
    case 0:
      g_entryLog.WriteLine("\nRetrieving Raw Hash Data and OID");
      data = FetchHashBytes(hash, &CCSPHash::GetPreSignData);
      break;
    case CRYPT_NOHASHOID:
      g_entryLog.WriteLine("\nRetrieving Raw Hash Data");
      data = FetchHashBytes(hash, &CCSPHash::Compute);
      break;
    default:
      // Required: the hash is finished by now.
      return frame.Refuse("\nCPSignHash Error: Invalid dwFlags", NTE_BAD_FLAGS);
  }
  const DWORD length = static_cast<DWORD>(data.size());
  g_entryLog.WriteHex("\nHash Length ", length, true);
  g_entryLog.WriteBytes("Hash Value ", data.data(), length, true);
  DWORD signatureLength = *pcbSigLen;
  context.Sign(data.data(), &length, pbSignature, &signatureLength);
  *pcbSigLen = signatureLength;
  return frame.Succeed();
}

}  // namespace

BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR szDescription, DWORD dwFlags,
                       BYTE* pbSignature, DWORD* pcbSigLen) {
  const EntryFrame frame("CPSignHash");
  frame.LogNumber("\tdwKeySpec: \t", dwKeySpec);
  frame.LogPointer("\tszDescription: \t", szDescription);
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  frame.LogPointer("\tpbSignature: \t", pbSignature);
  if (pcbSigLen == nullptr) return frame.RefuseNull("pcbSigLen");
  frame.LogNumber("\tpcbSigLen: \t", *pcbSigLen);
  // Nothing else depends on the key spec, because the container has one key pair.
  if (dwKeySpec != 0 && dwKeySpec != AT_KEYEXCHANGE && dwKeySpec != AT_SIGNATURE) {
    return frame.Refuse("Invalid dwKeySpec!!", NTE_NO_KEY);
  }
  return frame.WithHash(hProv, hHash, [&](CCSPContext& context, const boost::shared_ptr<CCSPHash>& hash) {
    return SignHash(frame, context, *hash, dwFlags, pbSignature, pcbSigLen);
  });
}

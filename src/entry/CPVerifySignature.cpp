// CPVerifySignature: whether a signature is that of a hash.
#include <vector>

#include "entry/EntryFrame.h"
#include "entry/HashBytes.h"
#include "entry/ProviderInterface.h"

namespace {

BOOL VerifySignature(const EntryFrame& frame, CCSPContext& context, CCSPHash& hash, const BYTE* pbSignature,
                     DWORD cbSigLen, HCRYPTKEY hPubKey, DWORD dwFlags) {
  PublicKey* imported = nullptr;  // null: the container's key pair
  if (!context.IsKeyPair(hPubKey)) imported = context.GetImportedPublicKey(static_cast<DWORD>(hPubKey));
  if (hash.IsFinished() == 0) hash.Finish();
  const bool bare = (dwFlags & CRYPT_NOHASHOID) != 0;
  const std::vector<BYTE> data = FetchHashBytes(hash, bare ? &CCSPHash::GetHash : &CCSPHash::GetPreSignData);
  context.Verify(data.data(), static_cast<DWORD>(data.size()), pbSignature, cbSigLen, imported);
  return frame.Succeed();
}

}  // namespace

BOOL WINAPI CPVerifySignature(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbSignature, DWORD cbSigLen,
                              HCRYPTKEY hPubKey, LPCWSTR szDescription, DWORD dwFlags) {
  const EntryFrame frame("CPVerifySignature");
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  frame.LogNumber("\tSigLen: \t", cbSigLen);
  if (szDescription != nullptr) {
    return frame.Refuse("\nCPVerifySignature Error: Description is not NULL", ERROR_INVALID_PARAMETER);
  }
  if (hHash == 0) return frame.Refuse("\nCPVerifySignature Error: pHash is NULL", NTE_BAD_HASH);
  if (hPubKey == 0) return frame.Refuse("\nCPVerifySignature Error: Invalid Public Key", NTE_BAD_KEY);
  if (pbSignature == nullptr || cbSigLen == 0) {
    return frame.Refuse(
        "\nCPVerifySignature Error: The Signature to Verify is set to NULL or the Signature Length is 0",
        ERROR_INVALID_PARAMETER);
  }
  return frame.WithHash(hProv, hHash, [&](CCSPContext& context, const boost::shared_ptr<CCSPHash>& hash) {
    return VerifySignature(frame, context, *hash, pbSignature, cbSigLen, hPubKey, dwFlags);
  });
}

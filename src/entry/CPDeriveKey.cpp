// CPDeriveKey: a session key, made from a hash.
#include "common/SortedTable.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHash.h"
#include "objects/CCSPSecretKey.h"
#include "objects/CCSPSecretKeyFactory.h"

namespace {

struct LengthRule {
  ALG_ID key;
  DWORD bits;  // the only length that is accepted; 0 for none
  const char* refusal;
};

constexpr const char* kNotDoubleLength =
    "\nCPDeriveKey Error: Algo is 3DES (Double Length Key)/AES but Key length in bits is not 128";

// Required: these lengths count, although the log lines name others.
constexpr LengthRule kLengthRules[] = {
    {CALG_DES, 56, "\nCPDeriveKey Error: Algo is DES but Key length in bits is not 64"},
    {CALG_3DES, 168, "\nCPDeriveKey Error: Algo is 3DES (Triple Length Key) but Key length in bits is not 192"},
    {CALG_3DES_112, 0, kNotDoubleLength},
    {CALG_AES_128, 112, kNotDoubleLength},
};
static_assert(IsAscending(kLengthRules), "FindRow searches by bisection");

}  // namespace

BOOL WINAPI CPDeriveKey(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTHASH hBaseData, DWORD dwFlags, HCRYPTKEY* phKey) {
  const EntryFrame frame("CPDeriveKey");
  g_entryLog.WriteHex("\tALGID:", Algid, true);
  g_entryLog.WriteHex("\thHash:", static_cast<DWORD>(hBaseData), true);
  g_entryLog.WriteHex("\thdwFlags:", dwFlags, true);
  const LengthRule* const rule = FindRow(kLengthRules, Algid);
  if (rule == nullptr) {
    return frame.RefuseNumber("\nCPDeriveKey Error: Unsupported ALGID = ", Algid, NTE_BAD_ALGID);
  }
  if (dwFlags == 0) {
    return frame.Refuse("\nCPDeriveKey Error: dwFlags is 0, Upper 16 bit of dwFlags should contain the Key Length",
                        NTE_BAD_FLAGS);
  }
  const DWORD bits = dwFlags >> 16U;
  const DWORD lowFlags = dwFlags & 0xFFFFU;
  if (bits == 0) {
    return frame.Refuse("\nCPDeriveKey Error: Upper 16 bit of dwFlags should contain the Key Length", NTE_BAD_FLAGS);
  }
  if (bits != rule->bits) return frame.Refuse(rule->refusal, NTE_BAD_FLAGS);
  return frame.WithHash(hProv, hBaseData, [&](CCSPContext& context, const boost::shared_ptr<CCSPHash>& hash) {
    if (hash->IsFinished() != 0) {
      return frame.Refuse("\nCPDeriveKey Error: Hash already in finished state", NTE_BAD_HASH_STATE);
    }
    // The other flags are accepted without effect.
    if ((lowFlags & 0xFFE8U) != 0) {
      return frame.RefuseNumber("\nCPDeriveKey Error: Unsupported dwFlags: ", lowFlags, NTE_BAD_FLAGS, "%08X");
    }
    if (phKey == nullptr) return frame.RefuseNull("phKey");
    *phKey = context.DeriveKey(hash, Algid, bits / 8, &g_secretKeyFactory)->GetKeyID();
    return frame.Succeed();
  });
}

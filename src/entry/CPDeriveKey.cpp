// CPDeriveKey: a session key made of a hash.
#include <algorithm>
#include <iterator>

#include "entry/CCSPContextList.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPHash.h"
#include "objects/CCSPSecretKey.h"
#include "objects/CCSPSecretKeyFactory.h"

namespace {

struct LengthRule {
  ALG_ID algorithm;
  DWORD bits;  // the one length that is taken; 0 for none
  const char* refusal;
};

constexpr const char* kNotDoubleLength =
    "\nCPDeriveKey Error: Algo is 3DES (Double Length Key)/AES but Key length in bits is not 128";

// Required: the lengths are these, and the texts speak of others.
constexpr LengthRule kLengthRules[] = {
    {CALG_DES, 56, "\nCPDeriveKey Error: Algo is DES but Key length in bits is not 64"},
    {CALG_3DES, 168, "\nCPDeriveKey Error: Algo is 3DES (Triple Length Key) but Key length in bits is not 192"},
    {CALG_AES_128, 112, kNotDoubleLength},
    {CALG_3DES_112, 0, kNotDoubleLength},
};

// Refuses with a line that ends in a number, which was logged.
BOOL Refused(DWORD code) {
  SetLastError(code);
  return FALSE;
}

}  // namespace

BOOL WINAPI CPDeriveKey(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTHASH hBaseData, DWORD dwFlags, HCRYPTKEY* phKey) {
  const EntryFrame frame("CPDeriveKey");
  g_entryLog.WriteHex("\tALGID:", Algid, true);
  g_entryLog.WriteHex("\thHash:", static_cast<DWORD>(hBaseData), true);
  g_entryLog.WriteHex("\thdwFlags:", dwFlags, true);
  const auto rule = std::find_if(std::begin(kLengthRules), std::end(kLengthRules),
                                 [Algid](const LengthRule& row) { return row.algorithm == Algid; });
  if (rule == std::end(kLengthRules)) {
    g_entryLog.WriteHex("\nCPDeriveKey Error: Unsupported ALGID = ", Algid, true);
    return Refused(static_cast<DWORD>(NTE_BAD_ALGID));
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
  return frame.Protect([&] {
    const auto context = g_contextList.FindContext(hProv);
    const auto hash = context->GetHash(static_cast<DWORD>(hBaseData));
    if (hash->IsFinished() != 0) {
      return frame.Refuse("\nCPDeriveKey Error: Hash already in finished state", NTE_BAD_HASH_STATE);
    }
    // The flags that are accepted go no further.
    if ((lowFlags & 0xFFE8U) != 0) {
      g_entryLog.WriteFormatted("\nCPDeriveKey Error: Unsupported dwFlags: ", lowFlags, "%08X", true);
      return Refused(static_cast<DWORD>(NTE_BAD_FLAGS));
    }
    if (phKey == nullptr) return frame.RefuseNull("phKey");
    *phKey = context->DeriveKey(hash, Algid, bits / 8, &g_secretKeyFactory)->GetKeyID();
    return frame.Succeed();
  });
}

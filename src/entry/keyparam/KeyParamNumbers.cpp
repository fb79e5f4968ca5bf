#include "entry/keyparam/KeyParamNumbers.h"

#include <algorithm>
#include <cstring>

namespace keyparam {

namespace {

// Required: as many bytes as the caller declared are cleared, even if these are too few.
bool HasClearedRoom(const KeyParamCall& call) {
  std::memset(call.data, 0, std::min<DWORD>(*call.length, 4));
  return *call.length >= 4;
}

Outcome WriteLength(const KeyParamCall& call, DWORD value, const char* label, DWORD logged) {
  g_entryLog.WriteHex(label, logged, true);
  *call.length = sizeof(value);
  std::memcpy(call.data, &value, sizeof(value));
  return kGoOn;
}

// Required: the log shows what the buffer holds before the answer, which is 0. Only the block length of a session key
// is logged as it is.
constexpr DWORD kCleared = 0;

Outcome ReadRSALength(const KeyParamCall& call, const char* importedLabel) {
  if (!HasClearedRoom(call)) return RefuseSmallBuffer(call);
  if (call.importedKey != nullptr) {
    return WriteLength(call, static_cast<DWORD>(call.importedKey->GetModulusBits()), importedLabel, kCleared);
  }
  return WriteLength(call, call.context.GetKeyBits(), "\n\nIn RSA *pbData: ", kCleared);
}

}  // namespace

Outcome WriteNumber(const KeyParamCall& call, DWORD number) {
  if (*call.length < sizeof(number)) return RefuseSmallBuffer(call);
  std::memcpy(call.data, &number, sizeof(number));
  return kGoOn;
}

Outcome ReadAlgorithm(const KeyParamCall& call) { return WriteNumber(call, call.sessionKey->GetAlgID()); }

Outcome AskEffectiveLength(const KeyParamCall& call) {
  if (call.sessionKey->GetAlgID() != CALG_RC2) {
    return call.frame.Refuse("\nCPGetKeyParam Error: Invalid Effective Keylen", NTE_BAD_FLAGS);
  }
  return AskFixed<4>(call);
}

Outcome ReadEffectiveLength(const KeyParamCall& call) {
  if (call.sessionKey->GetAlgID() != CALG_RC2) {
    return call.frame.Refuse("\nCPGetKeyParam Error: Invalid Effective Keylen,Alg ID is NOT CALG_RC2", NTE_BAD_FLAGS);
  }
  return WriteNumber(call, call.sessionKey->GetKeyLength());
}

Outcome ReadBlockLength(const KeyParamCall& call) {
  if (!HasClearedRoom(call)) return RefuseSmallBuffer(call);
  const DWORD bits = call.sessionKey->GetBlockLength();
  return WriteLength(call, bits, "\n\nIn Symmetric Key *pbData: ", bits);
}

// Required: in bytes. The length of an RSA key is in bits.
Outcome ReadKeyLength(const KeyParamCall& call) {
  if (!HasClearedRoom(call)) return RefuseSmallBuffer(call);
  return WriteLength(call, call.sessionKey->GetKeyLength(), "\n\nIn Symmetric Key *pbData: ", kCleared);
}

Outcome ReadRSABlockLength(const KeyParamCall& call) {
  return ReadRSALength(call, "\n\nIn RSA *pbData: (Imported Public Key)");
}

Outcome ReadRSAKeyLength(const KeyParamCall& call) {
  return ReadRSALength(call, "\n\nIn RSA *pbData (imported Public Key): ");
}

}  // namespace keyparam

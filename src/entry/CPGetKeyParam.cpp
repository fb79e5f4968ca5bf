// CPGetKeyParam: the parameters of a key. There are two tables, one for calls without a buffer and one for calls with
// one. A row defines what a parameter is for a session key, and what it is for any other key: the key pair of the
// context or an imported public key.
#include "common/SortedTable.h"
#include "entry/ProviderInterface.h"
#include "entry/keyparam/KeyParamBytes.h"
#include "entry/keyparam/KeyParamCall.h"
#include "entry/keyparam/KeyParamCertificate.h"
#include "entry/keyparam/KeyParamNumbers.h"
#include "entry/keyparam/KeyParamPinInfo.h"

namespace {

using namespace keyparam;

// What a parameter is for one kind of key: a function, or a refusal in its place.
struct Action {
  Outcome (*function)(const KeyParamCall& call);
  const char* refusal;
  DWORD code;
};

constexpr Action Do(Outcome (*function)(const KeyParamCall& call)) { return {function, nullptr, 0}; }

template <typename Code>
constexpr Action Refused(const char* line, Code code) {
  return {nullptr, line, static_cast<DWORD>(code)};
}

constexpr Action kNoIV = Refused("KP_IV valid only on Symmetric Keys", NTE_BAD_TYPE);
constexpr Action kNoSalt = Refused("KP_SALT valid only on Symmetric Keys", NTE_BAD_TYPE);
constexpr Action kNoMode = Refused("KP_MODE valid only on Symmetric Keys", NTE_BAD_TYPE);
constexpr Action kNoModeBits = Refused("KP_MODE_BITS valid only on Symmetric Keys", NTE_BAD_TYPE);
constexpr Action kNoPermissions = Refused("KP_PERMISSIONS valid only on Symmetric Keys", NTE_BAD_TYPE);
constexpr Action kNoEffectiveLength = Refused("KP_EFFECTIVE_KEYLEN", NTE_BAD_TYPE);
constexpr Action kNoCertificate = Refused(kPairsOnly, NTE_BAD_TYPE);
constexpr Action kFourBytes = Do(AskFixed<4>);

struct AskRow {
  DWORD key;
  Action sessionKey;
  Action otherKey;
};

constexpr AskRow kAskRows[] = {
    {KP_IV, Do(AskBytes<&CCSPSecretKey::GetIV>), kNoIV},
    {KP_SALT, Do(AskBytes<&CCSPSecretKey::GetSalt>), kNoSalt},
    {KP_PADDING, kFourBytes, kFourBytes},
    {KP_MODE, kFourBytes, kFourBytes},
    {KP_MODE_BITS, kFourBytes, kFourBytes},
    {KP_PERMISSIONS, kFourBytes, kNoPermissions},  // Required: with a buffer any key has permissions
    {KP_ALGID, kFourBytes, kFourBytes},
    {KP_BLOCKLEN, kFourBytes, kFourBytes},
    {KP_KEYLEN, kFourBytes, kFourBytes},
    {KP_EFFECTIVE_KEYLEN, Do(AskEffectiveLength), kNoIV},  // Required: the line is that of KP_IV
    {KP_CERTIFICATE, kNoCertificate, Do(AskCertificate)},
    {KP_PIN_INFO, Do(AskPinInfo), Do(AskPinInfo)},
};
static_assert(IsAscending(kAskRows), "FindRow searches by bisection");

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which a row is read
struct ReadRow {
  DWORD key = 0;
  Action sessionKey = {};
  Action otherKey = {};
  const char* smallBufferLine = nullptr;
  DWORD smallBufferCode = ERROR_MORE_DATA;
};

constexpr ReadRow kReadRows[] = {
    {KP_IV, Do(ReadBytes<&CCSPSecretKey::GetIV>), kNoIV, "\nCPGetKeyParam Error: Invalid IV len"},
    {KP_SALT, Do(ReadBytes<&CCSPSecretKey::GetSalt>), kNoSalt, "\nCPGetKeyParam Error: Invalid SALT"},
    {KP_PADDING, Do(ReadFixed<1>), Do(ReadFixed<1>), "\nCPGetKeyParam Error: Invalid PADDING"},
    {KP_MODE, Do(ReadNumber<&CCSPSecretKey::GetMode>), kNoMode, "\nCPGetKeyParam Error: Invalid MODE"},
    {KP_MODE_BITS, Do(ReadNumber<&CCSPSecretKey::GetModeBits>), kNoModeBits, "\nCPGetKeyParam Error: Invalid MODE"},
    {KP_PERMISSIONS, Do(ReadNumber<&CCSPSecretKey::GetPermissions>), Do(ReadFixed<3>),
     "\nCPGetKeyParam Error: invalid KP_PERMISSIONS", ERROR_INVALID_PARAMETER},
    // Required: the signature key of the pair reports CALG_RSA_KEYX, too.
    {KP_ALGID, Do(ReadAlgorithm), Do(ReadFixed<CALG_RSA_KEYX>), "\nCPGetKeyParam Error: Invalid ALGID "},
    {KP_BLOCKLEN, Do(ReadBlockLength), Do(ReadRSABlockLength), "\nCPGetKeyParam Error: Invalid BLOCKLEN"},
    {KP_KEYLEN, Do(ReadKeyLength), Do(ReadRSAKeyLength), "\nCPGetKeyParam Error: Invalid KEYLEN pcbDataLen"},
    {KP_EFFECTIVE_KEYLEN, Do(ReadEffectiveLength), kNoEffectiveLength, "\nCPGetKeyParam Error: Invalid EFFECTIVE LEN"},
    {KP_CERTIFICATE, Do(ReadCertificate), Do(ReadCertificate), "\nCPGetKeyParam Error: Invalid KP_CERTIFICATE Length"},
    {KP_PIN_INFO, Do(ReadPinInfo), Do(ReadPinInfo), "\nCPGetKeyParam Error: Invalid KP_PIN_INFO Length"},
};
static_assert(IsAscending(kReadRows), "FindRow searches by bisection");

// A null row is a parameter that has none.
template <typename Row>
Outcome Run(const Row* row, const KeyParamCall& call) {
  if (row == nullptr) return call.frame.Refuse("\nCPGetKeyParam Error: dwParam not supported", NTE_BAD_TYPE);
  const Action& action = call.sessionKey ? row->sessionKey : row->otherKey;
  if (action.function == nullptr) return call.frame.Refuse(action.refusal, action.code);
  return action.function(call);
}

BOOL Ask(const KeyParamCall& call, DWORD param) {
  if (const Outcome end = Run(FindRow(kAskRows, param), call)) return *end;
  g_entryLog.WriteHex("\npbData is NULL. pcDataLen is set to: ", *call.length, true);
  return call.frame.Succeed();
}

BOOL Read(KeyParamCall& call, DWORD param) {
  const ReadRow* const row = FindRow(kReadRows, param);
  if (row != nullptr) {
    call.smallBufferLine = row->smallBufferLine;
    call.smallBufferCode = row->smallBufferCode;
  }
  if (const Outcome end = Run(row, call)) return *end;
  return call.frame.Succeed();
}

// Finds out which key is asked. A look-up that fails has its line in the log, even if the next one succeeds.
Outcome FindKey(KeyParamCall& call, HCRYPTKEY handle) {
  if (call.context.IsKeyPair(handle)) return kGoOn;
  try {
    call.sessionKey = call.context.GetSecretKey(static_cast<DWORD>(handle));
    return kGoOn;
  } catch (const CCSPContextError& error) {
    g_entryLog.WriteLine(error.GetMessage().c_str());
  }
  try {
    call.importedKey = call.context.GetImportedPublicKey(static_cast<DWORD>(handle));
    return kGoOn;
  } catch (const CCSPContextError& error) {
    return call.frame.Refuse("\nCPGetKeyParam Error: Key does not exist in this context ", error.GetCode());
  }
}

}  // namespace

BOOL WINAPI CPGetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                          DWORD dwFlags) {
  const EntryFrame frame("CPGetKeyParam");
  frame.LogNumber("\tdwParam:", dwParam);
  frame.LogNumber("\tdwFlags:", dwFlags);
  frame.LogPointer("\tpbData: ", pbData);
  if (pcbDataLen == nullptr) return frame.RefuseNull("pcbDataLen");
  frame.LogNumber("\tDataLen:", *pcbDataLen);
  if (dwFlags != 0) return frame.Refuse("\nCPGetKeyParam Error: Invalid dwFlags ", NTE_BAD_FLAGS);
  return frame.WithContext(hProv, [&](CCSPContext& context) -> BOOL {
    KeyParamCall call = {{frame, context}, pbData, pcbDataLen, {}};
    if (const Outcome end = FindKey(call, hKey)) return *end;
    return pbData == nullptr ? Ask(call, dwParam) : Read(call, dwParam);
  });
}

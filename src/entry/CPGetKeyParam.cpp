// CPGetKeyParam: what a key says of itself. The rows of two tables, one for a question without a buffer and one with
// it, say what a parameter is for a session key and what for any other key: a key pair of the context or an imported
// public key.
#include <algorithm>
#include <cstring>
#include <optional>

#include "context/CCSPContext.h"
#include "entry/DataKey.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPSecretKey.h"

namespace {

struct Call {
  const EntryFrame& frame;
  CCSPContext& context;
  BYTE* data;
  DWORD* length;
  boost::shared_ptr<CCSPSecretKey> sessionKey;  // null: another key
  PublicKey* importedKey = nullptr;             // null as well: a key pair
  // Of the row: what is said of too small a buffer.
  const char* tooSmall = nullptr;
  DWORD tooSmallCode = ERROR_MORE_DATA;
};

// An action either goes on to the success or ends the function with a result.
using Outcome = std::optional<BOOL>;
constexpr std::nullopt_t kGoOn = std::nullopt;

// What a parameter is for one kind of key: a function, or the refusal that stands in its place.
struct Action {
  Outcome (*function)(const Call& call);
  const char* refusal;
  DWORD code;
};

constexpr Action Do(Outcome (*function)(const Call& call)) { return {function, nullptr, 0}; }

template <typename Code>
constexpr Action Refused(const char* line, Code code) {
  return {nullptr, line, static_cast<DWORD>(code)};
}

Outcome Run(const Action& action, const Call& call) {
  if (action.function == nullptr) return call.frame.Refuse(action.refusal, action.code);
  return action.function(call);
}

// Required: the caller's length stays as it is.
Outcome TooSmall(const Call& call) { return call.frame.Refuse(call.tooSmall, call.tooSmallCode); }

constexpr char kPairsOnly[] = "KP_CERTIFICATE is only for RSA Public/private Key pairs";
constexpr char kPairsWithCertificateOnly[] =
    "KP_CERTIFICATE is only for RSA Public/private Key pairs that has certificate in them";

// IV and salt.

using GetBytes = void (CCSPSecretKey::*)(BYTE* out, DWORD* length);

template <GetBytes getBytes>
Outcome AskBytes(const Call& call) {
  DWORD length = 0;
  ((*call.sessionKey).*getBytes)(nullptr, &length);
  *call.length = length;
  return kGoOn;
}

// Required: the key takes the caller's bytes and hands out none, and the caller's length stays as it is.
template <GetBytes getBytes>
Outcome ReadBytes(const Call& call) {
  DWORD length = 0;
  ((*call.sessionKey).*getBytes)(nullptr, &length);
  if (*call.length < length) return TooSmall(call);
  ((*call.sessionKey).*getBytes)(call.data, &length);
  return kGoOn;
}

// Numbers.

template <DWORD size>
Outcome AskFixed(const Call& call) {
  *call.length = size;
  return kGoOn;
}

// Required: the caller's length stays as it is.
Outcome WriteNumber(const Call& call, DWORD number) {
  if (*call.length < sizeof(number)) return TooSmall(call);
  std::memcpy(call.data, &number, sizeof(number));
  return kGoOn;
}

template <DWORD number>
Outcome ReadFixed(const Call& call) {
  return WriteNumber(call, number);
}

using GetNumber = DWORD (CCSPSecretKey::*)() const;

template <GetNumber getNumber>
Outcome ReadNumber(const Call& call) {
  return WriteNumber(call, ((*call.sessionKey).*getNumber)());
}

Outcome ReadAlgorithm(const Call& call) { return WriteNumber(call, call.sessionKey->GetAlgID()); }

Outcome AskEffectiveLength(const Call& call) {
  if (call.sessionKey->GetAlgID() != CALG_RC2) {
    return call.frame.Refuse("\nCPGetKeyParam Error: Invalid Effective Keylen", NTE_BAD_FLAGS);
  }
  return AskFixed<4>(call);
}

Outcome ReadEffectiveLength(const Call& call) {
  if (call.sessionKey->GetAlgID() != CALG_RC2) {
    return call.frame.Refuse("\nCPGetKeyParam Error: Invalid Effective Keylen,Alg ID is NOT CALG_RC2", NTE_BAD_FLAGS);
  }
  return WriteNumber(call, call.sessionKey->GetKeyLength());
}

// The lengths of blocks and keys: the answer's place is cleared before its size is looked at.

// Required: as far as the caller declared it, also when that is not enough.
bool HasClearedRoom(const Call& call) {
  std::memset(call.data, 0, std::min<DWORD>(*call.length, 4));
  return *call.length >= 4;
}

Outcome WriteLength(const Call& call, DWORD value, const char* label, DWORD logged) {
  g_entryLog.WriteHex(label, logged, true);
  *call.length = sizeof(value);
  std::memcpy(call.data, &value, sizeof(value));
  return kGoOn;
}

// Required: what the log shows is what was in the buffer, 0, but for the block length of a session key.
constexpr DWORD kCleared = 0;

Outcome ReadBlockLength(const Call& call) {
  if (!HasClearedRoom(call)) return TooSmall(call);
  const DWORD bits = call.sessionKey->GetBlockLength();
  return WriteLength(call, bits, "\n\nIn Symmetric Key *pbData: ", bits);
}

// Required: in bytes, while that of an RSA key is in bits.
Outcome ReadKeyLength(const Call& call) {
  if (!HasClearedRoom(call)) return TooSmall(call);
  return WriteLength(call, call.sessionKey->GetKeyLength(), "\n\nIn Symmetric Key *pbData: ", kCleared);
}

Outcome ReadRSALength(const Call& call, const char* importedLabel) {
  if (!HasClearedRoom(call)) return TooSmall(call);
  if (call.importedKey != nullptr) {
    return WriteLength(call, static_cast<DWORD>(call.importedKey->GetModulusBits()), importedLabel, kCleared);
  }
  return WriteLength(call, call.context.GetKeyBits(), "\n\nIn RSA *pbData: ", kCleared);
}

Outcome ReadRSABlockLength(const Call& call) {
  return ReadRSALength(call, "\n\nIn RSA *pbData: (Imported Public Key)");
}

Outcome ReadRSAKeyLength(const Call& call) { return ReadRSALength(call, "\n\nIn RSA *pbData (imported Public Key): "); }

// The certificate: that of the context, whichever key is asked.

Attribute ValueOfCertificate(const Call& call) { return call.context.GetDefaultCertificate()->GetAttribute(CKA_VALUE); }

Outcome AskCertificate(const Call& call) {
  if (call.context.HasCertificate() == 0) return call.frame.Refuse(kPairsWithCertificateOnly, NTE_BAD_TYPE);
  *call.length = static_cast<DWORD>(ValueOfCertificate(call).GetReadableLength());
  return kGoOn;
}

// Required: the buffer is cleared even for a key that has no certificate.
Outcome ReadCertificate(const Call& call) {
  std::memset(call.data, 0, *call.length);
  if (call.sessionKey) return call.frame.Refuse(kPairsOnly, NTE_BAD_TYPE);
  // Required: without a buffer the code is another one.
  if (call.context.HasCertificate() == 0) return call.frame.Refuse(kPairsWithCertificateOnly, NTE_BAD_KEY);
  if (call.context.HasPrivateKey() == 0) return call.frame.Refuse("Private Key does not exist", NTE_BAD_TYPE);
  const Attribute value = ValueOfCertificate(call);
  const DWORD length = static_cast<DWORD>(value.GetReadableLength());
  if (*call.length < length) return TooSmall(call);
  if (length != 0) std::memcpy(call.data, value.GetValue(), length);
  *call.length = length;
  g_entryLog.WriteLine("Certificate: ");
  g_entryLog.WriteHexDump(call.data, length);
  return kGoOn;
}

// What is said of the PIN: the same for every key.

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

Outcome ReadPinInfo(const Call& call) {
  if (*call.length < sizeof(kPinInfo)) return TooSmall(call);
  std::memcpy(call.data, &kPinInfo, sizeof(kPinInfo));
  *call.length = sizeof(kPinInfo);
  return kGoOn;
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
  DWORD param;
  Action sessionKey;
  Action otherKey;
};

const AskRow kAskRows[] = {
    {KP_IV, Do(AskBytes<&CCSPSecretKey::GetIV>), kNoIV},
    {KP_SALT, Do(AskBytes<&CCSPSecretKey::GetSalt>), kNoSalt},
    {KP_PADDING, kFourBytes, kFourBytes},
    {KP_MODE, kFourBytes, kFourBytes},
    {KP_MODE_BITS, kFourBytes, kFourBytes},
    {KP_PERMISSIONS, kFourBytes, kNoPermissions},  // Required: with a buffer any key has permissions
    {KP_ALGID, kFourBytes, kFourBytes},
    {KP_BLOCKLEN, kFourBytes, kFourBytes},
    {KP_KEYLEN, kFourBytes, kFourBytes},
    {KP_EFFECTIVE_KEYLEN, Do(AskEffectiveLength), kNoIV},  // Required: the text is that of KP_IV
    {KP_CERTIFICATE, kNoCertificate, Do(AskCertificate)},
    {KP_PIN_INFO, Do(AskFixed<sizeof(PinInfo)>), Do(AskFixed<sizeof(PinInfo)>)},
};

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which a row is read
struct ReadRow {
  DWORD param = 0;
  Action sessionKey = {};
  Action otherKey = {};
  const char* tooSmall = nullptr;
  DWORD tooSmallCode = ERROR_MORE_DATA;
};

const ReadRow kReadRows[] = {
    {KP_IV, Do(ReadBytes<&CCSPSecretKey::GetIV>), kNoIV, "\nCPGetKeyParam Error: Invalid IV len"},
    {KP_SALT, Do(ReadBytes<&CCSPSecretKey::GetSalt>), kNoSalt, "\nCPGetKeyParam Error: Invalid SALT"},
    {KP_PADDING, Do(ReadFixed<1>), Do(ReadFixed<1>), "\nCPGetKeyParam Error: Invalid PADDING"},
    {KP_MODE, Do(ReadNumber<&CCSPSecretKey::GetMode>), kNoMode, "\nCPGetKeyParam Error: Invalid MODE"},
    {KP_MODE_BITS, Do(ReadNumber<&CCSPSecretKey::GetModeBits>), kNoModeBits, "\nCPGetKeyParam Error: Invalid MODE"},
    {KP_PERMISSIONS, Do(ReadNumber<&CCSPSecretKey::GetPermissions>), Do(ReadFixed<3>),
     "\nCPGetKeyParam Error: invalid KP_PERMISSIONS", ERROR_INVALID_PARAMETER},
    // Required: the signature pair says so, too.
    {KP_ALGID, Do(ReadAlgorithm), Do(ReadFixed<CALG_RSA_KEYX>), "\nCPGetKeyParam Error: Invalid ALGID "},
    {KP_BLOCKLEN, Do(ReadBlockLength), Do(ReadRSABlockLength), "\nCPGetKeyParam Error: Invalid BLOCKLEN"},
    {KP_KEYLEN, Do(ReadKeyLength), Do(ReadRSAKeyLength), "\nCPGetKeyParam Error: Invalid KEYLEN pcbDataLen"},
    {KP_EFFECTIVE_KEYLEN, Do(ReadEffectiveLength), kNoEffectiveLength, "\nCPGetKeyParam Error: Invalid EFFECTIVE LEN"},
    {KP_CERTIFICATE, Do(ReadCertificate), Do(ReadCertificate), "\nCPGetKeyParam Error: Invalid KP_CERTIFICATE Length"},
    {KP_PIN_INFO, Do(ReadPinInfo), Do(ReadPinInfo), "\nCPGetKeyParam Error: Invalid KP_PIN_INFO Length"},
};

// The row of a parameter, or null behind a refusal.
template <typename Row, std::size_t N>
const Row* RowOf(const Row (&rows)[N], DWORD param, const EntryFrame& frame) {
  const Row* const row = std::find_if(rows, rows + N, [param](const Row& item) { return item.param == param; });
  if (row != rows + N) return row;
  frame.Refuse("\nCPGetKeyParam Error: dwParam not supported", NTE_BAD_TYPE);
  return nullptr;
}

template <typename Row>
Outcome Run(const Row& row, const Call& call) {
  return Run(call.sessionKey ? row.sessionKey : row.otherKey, call);
}

BOOL Ask(Call& call, DWORD param) {
  const AskRow* const row = RowOf(kAskRows, param, call.frame);
  if (row == nullptr) return FALSE;
  if (const Outcome end = Run(*row, call)) return *end;
  g_entryLog.WriteHex("\npbData is NULL. pcDataLen is set to: ", *call.length, true);
  return call.frame.Succeed();
}

BOOL Read(Call& call, DWORD param) {
  const ReadRow* const row = RowOf(kReadRows, param, call.frame);
  if (row == nullptr) return FALSE;
  call.tooSmall = row->tooSmall;
  call.tooSmallCode = row->tooSmallCode;
  if (const Outcome end = Run(*row, call)) return *end;
  return call.frame.Succeed();
}

// Settles which key is asked; false behind a refusal.
bool FindKey(Call& call, HCRYPTKEY handle) {
  if (IsKeyPair(call.context, handle)) return true;
  try {
    call.sessionKey = call.context.GetSecretKey(static_cast<DWORD>(handle));
    return true;
  } catch (const CCSPContextError& error) {
    g_entryLog.WriteLine(error.GetMessage().c_str());
  }
  try {
    call.importedKey = call.context.GetImportedPublicKey(static_cast<DWORD>(handle));
    return true;
  } catch (const CCSPContextError& error) {
    call.frame.Refuse("\nCPGetKeyParam Error: Key does not exist in this context ", error.GetCode());
    return false;
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
    Call call = {frame, context, pbData, pcbDataLen, {}};
    if (!FindKey(call, hKey)) return FALSE;
    return pbData == nullptr ? Ask(call, dwParam) : Read(call, dwParam);
  });
}

// CPSetKeyParam: the parameters that an application sets on a key, and the certificate that it writes. A row of the
// table defines what a parameter does to a session key, and what it does to the key pair of the context.
#include <cstring>

#include "common/SortedTable.h"
#include "entry/EncodedLength.h"
#include "entry/ParamCall.h"
#include "entry/ProviderInterface.h"
#include "objects/CCSPSecretKey.h"

namespace {

struct Call : ParamCall {
  const BYTE* data;
  boost::shared_ptr<CCSPSecretKey> sessionKey;  // null: the key pair

  DWORD Number() const {
    DWORD number = 0;
    std::memcpy(&number, data, sizeof(number));
    return number;
  }
};

Outcome Nothing(const Call& /*call*/) { return kGoOn; }

// Required: the new IV is as long as the old one.
Outcome SetIV(const Call& call) {
  DWORD length = 0;
  call.sessionKey->GetIV(nullptr, &length);
  call.sessionKey->SetIV(call.data, length);
  g_entryLog.WriteLine("Initial Vector Set!");
  return kGoOn;
}

// Required: as many bytes are taken as the key's salt has already. A key without a salt takes none.
Outcome AddSalt(const Call& call) {
  DWORD length = 0;
  call.sessionKey->GetSalt(nullptr, &length);
  call.sessionKey->AddSalt(call.data, length);
  return kGoOn;
}

Outcome AddSaltOfBlob(const Call& call) {
  CRYPT_INTEGER_BLOB blob = {};
  std::memcpy(&blob, call.data, sizeof(blob));
  call.sessionKey->AddSalt(blob.pbData, blob.cbData);
  return kGoOn;
}

Outcome SetPadding(const Call& call) {
  if (call.Number() != PKCS5_PADDING) {
    return call.frame.Refuse("\nCPSetKeyParam invalid PADDING", NTE_BAD_FLAGS);
  }
  if (call.sessionKey) call.sessionKey->SetPadding(PKCS5_PADDING);
  return kGoOn;
}

Outcome SetMode(const Call& call) {
  call.sessionKey->SetMode(call.Number());
  return kGoOn;
}

Outcome SetModeBits(const Call& call) {
  call.sessionKey->SetModeBits(call.Number());
  return kGoOn;
}

Outcome SetPermissions(const Call& call) {
  constexpr DWORD kAll = 0x3F;
  const DWORD permissions = call.Number();
  if ((permissions & ~kAll) != 0) {
    return call.frame.RefuseNumber("\nCPSetKeyParam Error: Invalid permission in pbData: ", permissions, NTE_BAD_FLAGS);
  }
  if (call.sessionKey) call.sessionKey->SetPermissions(permissions);
  return kGoOn;
}

Outcome WriteCertificate(const Call& call) {
  call.context.WriteCertificate(call.data, EncodedLength(call.data));
  return kGoOn;
}

struct KeyParamRow {
  DWORD key;
  Outcome (*sessionKey)(const Call& call);
  Outcome (*keyPair)(const Call& call);  // null: refused
  const char* refusal;
};

// Required: the key pair accepts some parameters that it cannot have. They have no effect.
constexpr KeyParamRow kKeyParamRows[] = {
    {KP_IV, SetIV, nullptr, "CPSetKeyParam Error: KP_IV valid only on Symmetric Keys"},
    {KP_SALT, AddSalt, nullptr, "CPSetKeyParam Error: KP_SALT valid only on Symmetric Keys"},
    {KP_PADDING, SetPadding, SetPadding, nullptr},
    {KP_MODE, SetMode, Nothing, nullptr},
    {KP_MODE_BITS, SetModeBits, Nothing, nullptr},
    {KP_PERMISSIONS, SetPermissions, SetPermissions, nullptr},
    {KP_SALT_EX, AddSaltOfBlob, nullptr, "CPSetKeyParam Error: KP_SALT_EX valid only on Symmetric Keys"},
    {KP_EFFECTIVE_KEYLEN, Nothing, Nothing, nullptr},
    {KP_CERTIFICATE, WriteCertificate, WriteCertificate, nullptr},
};
static_assert(IsAscending(kKeyParamRows), "FindRow searches by bisection");

BOOL Set(const Call& call, DWORD param) {
  const KeyParamRow* const row = FindRow(kKeyParamRows, param);
  if (row == nullptr) return call.frame.Refuse("\nCPSetKeyParam Error: Bad key type", NTE_BAD_TYPE);
  const auto action = call.sessionKey ? row->sessionKey : row->keyPair;
  if (action == nullptr) return call.frame.Refuse(row->refusal, NTE_BAD_TYPE);
  if (const Outcome end = action(call)) return *end;
  return call.frame.Succeed();
}

// Required: an imported key is unknown here, the line in the log names CPGetKeyParam, and the result is a code, which
// the caller takes for a success.
Outcome FindKey(Call& call, HCRYPTKEY handle) {
  if (call.context.IsKeyPair(handle)) return kGoOn;
  try {
    call.sessionKey = call.context.GetSecretKey(static_cast<DWORD>(handle));
    return kGoOn;
  } catch (const CCSPContextError& error) {
    call.frame.Refuse("\nCPGetKeyParam Error: Key does not exist in this context ", error.GetCode());
    return static_cast<BOOL>(NTE_BAD_KEY);
  }
}

}  // namespace

BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
  const EntryFrame frame("CPSetKeyParam");
  frame.LogNumber("\tdwParam: \t", dwParam);
  frame.LogPointer("\tpbData: \t", pbData);
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  // Required: the line names CPGetKeyParam.
  if (dwFlags != 0) return frame.Refuse("\nCPGetKeyParam Error: Invalid dwFlags ", NTE_BAD_FLAGS);
  if (pbData == nullptr) return frame.RefuseNull("pbData");
  return frame.WithContext(hProv, [&](CCSPContext& context) -> BOOL {
    Call call = {{frame, context}, pbData, {}};
    if (const Outcome end = FindKey(call, hKey)) return *end;
    return Set(call, dwParam);
  });
}

#include "CallersTable.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "CallersStage.h"
#include "module/KeyBlobBytes.h"

namespace {

using Values = const std::uint64_t*;

constexpr DWORD kLargest = 0xFFFFFFFF;
constexpr DWORD kWholeLargest = DWORD{1} << 16U;
constexpr std::size_t kModulusBytes = CallersStage::kModulusBytes;

template <typename Type>
Type* Pointer(std::uint64_t value) {
  return reinterpret_cast<Type*>(static_cast<std::uintptr_t>(value));
}
DWORD Word(std::uint64_t value) { return static_cast<DWORD>(value); }

// --- The functions

int Acquire(Values v) {
  auto* const handle = Pointer<HCRYPTPROV>(v[0]);
  const BOOL result = CPAcquireContext(handle, Pointer<const char>(v[1]), Word(v[2]), Pointer<void>(v[3]));
  return result;
}
int Release(Values v) { return CPReleaseContext(v[0], Word(v[1])); }
int GetProvParam(Values v) {
  return CPGetProvParam(v[0], Word(v[1]), Pointer<BYTE>(v[2]), Pointer<DWORD>(v[3]), Word(v[4]));
}
// The caller owns the store.
int GetStore(Values v) {
  const int result = GetProvParam(v);
  if (result == TRUE && v[2] != 0) {
    std::uint64_t store = 0;
    std::memcpy(&store, Pointer<BYTE>(v[2]), sizeof(store));
    const DWORD error = GetLastError();
    if (store != 0) CertCloseStore(Pointer<void>(store), 0);
    SetLastError(error);
  }
  return result;
}
int SetProvParam(Values v) { return CPSetProvParam(v[0], Word(v[1]), Pointer<const BYTE>(v[2]), Word(v[3])); }
int GenRandom(Values v) { return CPGenRandom(v[0], Word(v[1]), Pointer<BYTE>(v[2])); }
int CreateHash(Values v) { return CPCreateHash(v[0], Word(v[1]), v[2], Word(v[3]), Pointer<HCRYPTHASH>(v[4])); }
int HashData(Values v) { return CPHashData(v[0], v[1], Pointer<const BYTE>(v[2]), Word(v[3]), Word(v[4])); }
int HashSessionKey(Values v) { return CPHashSessionKey(v[0], v[1], v[2], Word(v[3])); }
int GetHashParam(Values v) {
  return CPGetHashParam(v[0], v[1], Word(v[2]), Pointer<BYTE>(v[3]), Pointer<DWORD>(v[4]), Word(v[5]));
}
int SetHashParam(Values v) { return CPSetHashParam(v[0], v[1], Word(v[2]), Pointer<const BYTE>(v[3]), Word(v[4])); }
int DestroyHash(Values v) { return CPDestroyHash(v[0], v[1]); }
int SignHash(Values v) {
  return CPSignHash(v[0], v[1], Word(v[2]), reinterpret_cast<LPCWSTR>(Pointer<BYTE>(v[3])), Word(v[4]),
                    Pointer<BYTE>(v[5]), Pointer<DWORD>(v[6]));
}
int VerifySignature(Values v) {
  return CPVerifySignature(v[0], v[1], Pointer<const BYTE>(v[2]), Word(v[3]), v[4],
                           reinterpret_cast<LPCWSTR>(Pointer<BYTE>(v[5])), Word(v[6]));
}
int GenKey(Values v) { return CPGenKey(v[0], Word(v[1]), Word(v[2]), Pointer<HCRYPTKEY>(v[3])); }
int DeriveKey(Values v) { return CPDeriveKey(v[0], Word(v[1]), v[2], Word(v[3]), Pointer<HCRYPTKEY>(v[4])); }
int GetUserKey(Values v) { return CPGetUserKey(v[0], Word(v[1]), Pointer<HCRYPTKEY>(v[2])); }
int DestroyKey(Values v) { return CPDestroyKey(v[0], v[1]); }
int ExportKey(Values v) {
  return CPExportKey(v[0], v[1], v[2], Word(v[3]), Word(v[4]), Pointer<BYTE>(v[5]), Pointer<DWORD>(v[6]));
}
int ImportKey(Values v) {
  return CPImportKey(v[0], Pointer<const BYTE>(v[1]), Word(v[2]), v[3], Word(v[4]), Pointer<HCRYPTKEY>(v[5]));
}
int Encrypt(Values v) {
  return CPEncrypt(v[0], v[1], v[2], static_cast<BOOL>(v[3]), Word(v[4]), Pointer<BYTE>(v[5]), Pointer<DWORD>(v[6]),
                   Word(v[7]));
}
int Decrypt(Values v) {
  return CPDecrypt(v[0], v[1], v[2], static_cast<BOOL>(v[3]), Word(v[4]), Pointer<BYTE>(v[5]), Pointer<DWORD>(v[6]));
}
int GetKeyParam(Values v) {
  return CPGetKeyParam(v[0], v[1], Word(v[2]), Pointer<BYTE>(v[3]), Pointer<DWORD>(v[4]), Word(v[5]));
}
int SetKeyParam(Values v) { return CPSetKeyParam(v[0], v[1], Word(v[2]), Pointer<const BYTE>(v[3]), Word(v[4])); }

// --- The arguments

Argument Of(Kind kind) {
  Argument argument;
  argument.kind = kind;
  return argument;
}
const Argument kContext = Of(Kind::kContext);
const Argument kHash = Of(Kind::kHash);
const Argument kSessionKey = Of(Kind::kSessionKey);
const Argument kPair = Of(Kind::kPair);
const Argument kImportedKey = Of(Kind::kImportedKey);
const Argument kHandleOut = Of(Kind::kHandleOut);
const Argument kUnread = Of(Kind::kUnread);

// The constants of parameters have different types on the two platforms.
template <typename... Constants>
std::vector<DWORD> Params(Constants... constants) {
  return {static_cast<DWORD>(constants)...};
}

Argument Number(std::vector<std::uint64_t> values) {
  Argument argument = Of(Kind::kNumber);
  argument.values = std::move(values);
  return argument;
}
Argument Length(Kind kind, std::size_t need, bool whole = false) {
  Argument argument = Of(kind);
  argument.need = need;
  argument.whole = whole;
  return argument;
}
Argument Buffer(Kind kind, std::size_t need, int lengthAt, Bytes content = {}) {
  Argument argument = Of(kind);
  argument.need = need;
  argument.lengthAt = lengthAt;
  argument.content = std::move(content);
  return argument;
}
Argument Input(Bytes content, int lengthAt = -1) {
  const std::size_t need = content.size();
  return Buffer(Kind::kInput, need, lengthAt, std::move(content));
}
Argument String(const std::string& text) {
  Bytes bytes = Text(text);
  bytes.push_back(0);
  return Input(bytes);
}
Argument Output(std::size_t need, int lengthAt, std::size_t least = 0) {
  Argument argument = Buffer(Kind::kOutput, need, lengthAt);
  argument.least = least;
  return argument;
}

// --- The rows

void AddContexts(std::vector<Row>& rows) {
  const Argument flags = Number({0, CRYPT_SILENT, CRYPT_VERIFYCONTEXT, CRYPT_NEWKEYSET, CRYPT_DELETEKEYSET, kLargest});
  for (const std::string& name : {std::string("one"), std::string("two"), std::string(), std::string("\\\\.\\"),
                                  std::string("\\\\.\\TELVO Reader A"), std::string("\\\\.\\TELVO Reader A\\one"),
                                  std::string("\\\\.\\Nowhere\\one"), std::string(261, 'n')}) {
    Row row = {"CPAcquireContext", Acquire, {kHandleOut, String(name), flags, kUnread}};
    row.spoils = true;
    row.needsContext = false;
    rows.push_back(row);
  }
  Row release = {"CPReleaseContext", Release, {kContext, Number({0, 1, kLargest})}};
  release.spoils = true;
  release.escapes = true;
  rows.push_back(release);
  rows.push_back({"CPGenRandom", GenRandom, {kContext, Length(Kind::kLength, 16, true), Output(16, 1)}});
}

void AddProvParam(std::vector<Row>& rows, DWORD param, std::size_t need, std::vector<std::uint64_t> flags,
                  bool whole = false, std::size_t least = 0) {
  Row row = {"CPGetProvParam",
             GetProvParam,
             {kContext, Number({param}), Output(need, 3, least), Length(Kind::kLengthInOut, need, whole),
              Number(std::move(flags))}};
  if (param == PP_USER_CERTSTORE || param == PP_ROOT_CERTSTORE) row.function = GetStore;
  if (param == PP_KEYEXCHANGE_PIN) row.oddResult = static_cast<DWORD>(NTE_BAD_TYPE);
  rows.push_back(row);
}

void AddProvParams(std::vector<Row>& rows) {
  for (const DWORD param : Params(PP_IMPTYPE, PP_VERSION, PP_PROVTYPE, PP_KEYSTORAGE, PP_KEYSPEC, PP_KEYSET_TYPE,
                                  PP_SIG_KEYSIZE_INC, PP_KEYX_KEYSIZE_INC, PP_USE_HARDWARE_RNG, PP_KEYEXCHANGE_PIN)) {
    AddProvParam(rows, param, 4, {0, kLargest});
  }
  AddProvParam(rows, PP_NAME, 26, {0});
  AddProvParam(rows, PP_CONTAINER, 4, {0});
  AddProvParam(rows, PP_UNIQUE_CONTAINER, 4, {0});
  AddProvParam(rows, PP_SMARTCARD_READER, 15, {0});
  AddProvParam(rows, PP_SMARTCARD_GUID, 16, {0});
  AddProvParam(rows, PP_ENUMALGS, 32, {CRYPT_FIRST, 0, CRYPT_NEXT});
  AddProvParam(rows, PP_ENUMALGS_EX, 88, {CRYPT_FIRST, 0, CRYPT_NEXT});
  AddProvParam(rows, PP_ENUMCONTAINERS, 128, {CRYPT_FIRST, 0}, true);
  AddProvParam(rows, PP_ENUMCONTAINERS, 128, {CRYPT_NEXT}, true, 128);
  AddProvParam(rows, PP_KEYSET_SEC_DESCR, 20, {OWNER_SECURITY_INFORMATION, 0, DACL_SECURITY_INFORMATION, kLargest},
               true);
  AddProvParam(rows, PP_USER_CERTSTORE, 8, {0});
  AddProvParam(rows, PP_ROOT_CERTSTORE, 8, {0});
  AddProvParam(rows, 0x7FFF, 4, {0});
  for (const DWORD param : Params(PP_KEYEXCHANGE_PIN, PP_SIGNATURE_PIN, PP_UI_PROMPT, PP_KEYSET_SEC_DESCR,
                                  PP_PIN_PROMPT_STRING, PP_USE_HARDWARE_RNG, 0x7FFF)) {
    for (const char* text : {"1234", "", "a longer string than any PIN of a card may be"}) {
      rows.push_back(
          {"CPSetProvParam", SetProvParam, {kContext, Number({param}), String(text), Number({0, kLargest})}});
    }
  }
}

void AddHashes(std::vector<Row>& rows) {
  Row create = {"CPCreateHash",
                CreateHash,
                {kContext, Number({CALG_SHA1, CALG_SHA_512, 0, kLargest}), kSessionKey, Number({0, 1}), kHandleOut}};
  create.spoils = true;
  rows.push_back(create);
  const auto add = [&rows](const char* name, int (*function)(Values), std::vector<Argument> arguments) {
    Row row = {name, function, std::move(arguments)};
    row.takesHash = true;
    rows.push_back(row);
  };
  add("CPHashData", HashData,
      {kContext, kHash, Input(Counting(64, 1), 3), Length(Kind::kLength, 64, true), Number({0, 1})});
  add("CPHashSessionKey", HashSessionKey, {kContext, kHash, kSessionKey, Number({0, CRYPT_LITTLE_ENDIAN, 2})});
  add("CPHashSessionKey", HashSessionKey, {kContext, kHash, kHash, Number({0, CRYPT_LITTLE_ENDIAN, 2})});
  for (const auto& [param, need] :
       {std::pair<DWORD, std::size_t>{HP_ALGID, 4}, {HP_HASHSIZE, 4}, {HP_HASHVAL, 20}, {99, 4}}) {
    add("CPGetHashParam", GetHashParam,
        {kContext, kHash, Number({param}), Output(need, 4), Length(Kind::kLengthInOut, need), Number({0, 1})});
    add("CPSetHashParam", SetHashParam, {kContext, kHash, Number({param}), Input(Counting(20, 1)), Number({0, 1})});
  }
  add("CPDestroyHash", DestroyHash, {kContext, kHash});
  add("CPSignHash", SignHash,
      {kContext, kHash, Number({0, AT_KEYEXCHANGE, AT_SIGNATURE, 3}), kUnread, Number({0, CRYPT_NOHASHOID, 2}),
       Output(kModulusBytes, 6), Length(Kind::kLengthInOut, kModulusBytes)});
  for (const Argument& key : {kPair, kImportedKey, kSessionKey}) {
    add("CPVerifySignature", VerifySignature,
        {kContext, kHash, Input(Counting(kModulusBytes, 1), 3), Length(Kind::kLength, kModulusBytes, true), key,
         kUnread, Number({0, CRYPT_NOHASHOID})});
  }
}

void AddKeys(std::vector<Row>& rows) {
  Row generate = {"CPGenKey",
                  GenKey,
                  {kContext, Number({AT_KEYEXCHANGE, CALG_3DES, CALG_DES, CALG_AES_128, 0, kLargest}),
                   Number({0, CRYPT_EXPORTABLE, 1024U << 16U, kLargest}), kHandleOut}};
  generate.spoils = true;
  rows.push_back(generate);
  Row derive = {"CPDeriveKey",
                DeriveKey,
                {kContext, Number({CALG_DES, CALG_3DES, CALG_AES_128, 0}), kHash,
                 Number({56U << 16U, 168U << 16U | 1U, 112U << 16U, 0, kLargest}), kHandleOut}};
  derive.takesHash = derive.spoils = true;
  rows.push_back(derive);
  rows.push_back(
      {"CPGetUserKey", GetUserKey, {kContext, Number({AT_KEYEXCHANGE, AT_SIGNATURE, 0, 3, kLargest}), kHandleOut}});
  for (const Argument& key : {kPair, kImportedKey, kSessionKey}) {
    Row destroy = {"CPDestroyKey", DestroyKey, {kContext, key}};
    destroy.spoils = true;
    rows.push_back(destroy);
    for (const Argument& exchangeKey : {kPair, kImportedKey, kSessionKey}) {
      for (const auto& [type, need] : {std::pair<DWORD, std::size_t>{PUBLICKEYBLOB, 20 + kModulusBytes},
                                       {SIMPLEBLOB, 12 + kModulusBytes},
                                       {99, 4}}) {
        rows.push_back({"CPExportKey",
                        ExportKey,
                        {kContext, key, exchangeKey, Number({type}), Number({0}), Output(need, 6),
                         Length(Kind::kLengthInOut, need)}});
      }
    }
  }
  for (const Bytes& blob :
       {PublicKeyBlob(CALG_RSA_KEYX, Counting(kModulusBytes, 0x91)), PublicKeyBlob(CALG_RSA_SIGN, Counting(16, 1)),
        SimpleBlob(CALG_3DES, Reversed(EncryptedKey(Counting(24, 1), kModulusBytes))),
        Bytes{99, 2, 0, 0, 0, 0, 0, 0}}) {
    Row import = {"CPImportKey",
                  ImportKey,
                  {kContext, Input(blob, 2), Length(Kind::kLength, blob.size(), true), kPair,
                   Number({0, CRYPT_EXPORTABLE}), kHandleOut}};
    import.spoils = true;
    rows.push_back(import);
  }
}

// The buffer is both input and output. It has space for either declared length.
void AddData(std::vector<Row>& rows) {
  Argument noHash = kHash;
  noHash.proper = 0;
  const Argument final = Number({FALSE, TRUE});
  const Argument flags = Number({0, 0x40});
  for (const Argument& key : {kPair, kImportedKey, kSessionKey}) {
    const bool isSession = key.kind == Kind::kSessionKey;
    const std::size_t need = isSession ? 16 : kModulusBytes;
    // With a session key the declared length of the buffer is the data's length, with a pair `*pcbDataLen` is.
    Argument data = Buffer(Kind::kOutput, need, isSession ? 7 : 6, Counting(need, 1));
    data.least = isSession ? 0 : need;
    rows.push_back(
        {"CPEncrypt",
         Encrypt,
         {kContext, key, noHash, final, flags, data, Length(Kind::kLengthInOut, isSession ? need : 16, !isSession),
          Length(Kind::kLength, need, isSession)}});
    rows.push_back({"CPDecrypt",
                    Decrypt,
                    {kContext, key, noHash, final, flags,
                     Buffer(Kind::kOutput, need, 6,
                            isSession ? Counting(need, 1) : Reversed(EncryptedKey(Counting(24, 1), kModulusBytes))),
                     Length(Kind::kLengthInOut, need, true)}});
  }
}

void AddKeyParams(std::vector<Row>& rows) {
  const Bytes certificate = {0x30, 0x02, 0x05, 0x00};
  for (const Argument& key : {kPair, kImportedKey, kSessionKey}) {
    const auto get = [&](DWORD param, std::size_t need, std::size_t least, bool whole) {
      rows.push_back({"CPGetKeyParam",
                      GetKeyParam,
                      {kContext, key, Number({param}), Output(need, 4, least), Length(Kind::kLengthInOut, need, whole),
                       Number({0, 1})}});
    };
    const auto set = [&](DWORD param, Bytes content) {
      Row row = {
          "CPSetKeyParam", SetKeyParam, {kContext, key, Number({param}), Input(std::move(content)), Number({0, 1})}};
      row.oddResult = static_cast<DWORD>(NTE_BAD_KEY);
      row.spoils = true;
      rows.push_back(row);
    };
    for (const DWORD param :
         Params(KP_ALGID, KP_PADDING, KP_MODE, KP_MODE_BITS, KP_PERMISSIONS, KP_EFFECTIVE_KEYLEN, 99)) {
      get(param, 4, 0, false);
    }
    for (const DWORD param : Params(KP_BLOCKLEN, KP_KEYLEN)) get(param, 4, 4, false);
    get(KP_CERTIFICATE, 2, 0, true);
    get(KP_PIN_INFO, 36, 0, false);
    for (const DWORD param : Params(KP_IV, KP_SALT)) get(param, 8, 0, false);
    for (const DWORD param : Params(KP_PADDING, KP_MODE, KP_MODE_BITS, KP_PERMISSIONS)) {
      for (const BYTE value : {BYTE{1}, BYTE{2}, BYTE{0xFF}}) set(param, {value, 0, 0, 0});
    }
    set(KP_IV, Counting(8, 1));
    set(KP_SALT, {});
    set(KP_SALT_EX, Bytes(sizeof(CRYPT_INTEGER_BLOB)));
    set(KP_CERTIFICATE, certificate);
    set(KP_CERTIFICATE, {0x30, 0x81, 0x01, 0x00});
    set(KP_EFFECTIVE_KEYLEN, {});
    set(99, {});
  }
}

}  // namespace

std::size_t Argument::Choices() const {
  switch (kind) {
    case Kind::kNumber:
      return values.size();
    case Kind::kLength:
      return 5;
    case Kind::kLengthInOut:
      return 6;
    case Kind::kInput:
    case Kind::kOutput:
    case Kind::kHandleOut:
    case Kind::kUnread:
      return 2;
    default:
      return 4;
  }
}

std::size_t Argument::Proper() const {
  if (proper >= 0) return static_cast<std::size_t>(proper);
  switch (kind) {
    case Kind::kNumber:
    case Kind::kUnread:
      return 0;
    case Kind::kLength:
      return 3;
    case Kind::kLengthInOut:
      return 4;
    case Kind::kInput:
    case Kind::kOutput:
    case Kind::kHandleOut:
      return 1;
    default:
      return 2;
  }
}

DWORD Argument::Length(std::size_t choice) const {
  const std::size_t lengths[] = {0, 1, need == 0 ? 0 : need - 1, need, whole ? kWholeLargest : kLargest};
  return static_cast<DWORD>(lengths[choice]);
}

std::size_t Argument::Room(const Row& row, const std::vector<std::size_t>& choices) const {
  if (lengthAt < 0) return need;
  const Argument& length = row.arguments[static_cast<std::size_t>(lengthAt)];
  std::size_t choice = choices[static_cast<std::size_t>(lengthAt)];
  if (length.kind == Kind::kLengthInOut && choice == 0) return std::max(least, need);
  if (length.kind == Kind::kLengthInOut) --choice;
  // A buffer with a declared length of 0xFFFFFFFF has only the bytes that are needed.
  const DWORD declared = length.Length(choice);
  return std::max<std::size_t>(least, declared == kLargest ? need : declared);
}

std::vector<Row> AllRows() {
  std::vector<Row> rows;
  AddContexts(rows);
  AddProvParams(rows);
  AddHashes(rows);
  AddKeys(rows);
  AddData(rows);
  AddKeyParams(rows);
  return rows;
}

std::size_t CountOfFunctions(const std::vector<Row>& rows) {
  std::set<std::string> names;
  for (const Row& row : rows) names.insert(row.name);
  return names.size();
}

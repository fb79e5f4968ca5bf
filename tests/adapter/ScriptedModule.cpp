#include "ScriptedModule.h"

#include <algorithm>
#include <cstring>

namespace scripted {

Script& TheScript() {
  static Script script;
  return script;
}

CK_OBJECT_HANDLE Script::Add(const Attributes& attributes) {
  const CK_OBJECT_HANDLE handle = nextHandle;
  nextHandle += handleStep;
  objects[handle] = attributes;
  return handle;
}

int Script::Count(const std::string& name) const {
  return static_cast<int>(std::count(calls.begin(), calls.end(), name));
}

namespace {

Script& S() { return TheScript(); }

ScriptedSlot* SlotOf(CK_SLOT_ID id) {
  for (ScriptedSlot& slot : S().slots) {
    if (slot.id == id) return &slot;
  }
  return nullptr;
}

template <std::size_t Size>
void Fill(CK_UTF8CHAR (&field)[Size], const std::string& text) {
  std::memset(field, ' ', Size);
  std::memcpy(field, text.data(), std::min(Size, text.size()));
}

CK_FLAGS TriesFlags() {
  if (S().telling == Telling::Nothing || S().wrong == 0) return 0;
  if (S().telling == Telling::AlwaysLow) return CKF_USER_PIN_COUNT_LOW;
  const unsigned left = S().lockAfter - std::min(S().wrong, S().lockAfter);
  if (left == 0) return CKF_USER_PIN_LOCKED;
  return left == 1 ? CKF_USER_PIN_FINAL_TRY : CKF_USER_PIN_COUNT_LOW;
}

// Each call on a session begins here.
CK_RV Enter(const char* name, CK_SESSION_HANDLE session) {
  S().calls.emplace_back(name);
  if (S().removal != CKR_OK) return S().removal;
  if (S().fail) {
    if (const CK_RV failed = S().fail(name)) return failed;
  }
  return S().sessions.count(session) != 0 ? CKR_OK : CKR_SESSION_HANDLE_INVALID;
}

bool IsPrivate(const Attributes& attributes) {
  const auto found = attributes.find(CKA_PRIVATE);
  return found != attributes.end() && found->second == Flag(true);
}

bool IsSeen(const Attributes& attributes) { return S().loggedIn || !IsPrivate(attributes); }

// The handles of private objects change at a logout.
void RenewPrivateHandles() {
  if (!S().privateKeysDie) return;
  std::map<CK_OBJECT_HANDLE, Attributes> moved;
  for (const auto& [handle, attributes] : S().objects) {
    if (!IsPrivate(attributes)) moved[handle] = attributes;
  }
  for (const auto& [handle, attributes] : S().objects) {
    if (!IsPrivate(attributes)) continue;
    moved[S().nextHandle] = attributes;
    S().nextHandle += S().handleStep;
  }
  S().objects = moved;
}

}  // namespace

void Script::LogOutAsPulled() {
  loggedIn = false;
  RenewPrivateHandles();
}

namespace {

Attributes CopyOf(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  Attributes taken;
  for (CK_ULONG i = 0; i < count; ++i) {
    taken[attributes[i].type] = std::string(static_cast<const char*>(attributes[i].pValue), attributes[i].ulValueLen);
  }
  return taken;
}

CK_RV Initialize(CK_VOID_PTR) { return CKR_OK; }
CK_RV Finalize(CK_VOID_PTR) { return CKR_OK; }

CK_RV GetInfo(CK_INFO_PTR info) {
  Fill(info->manufacturerID, "Scripted");
  return CKR_OK;
}

CK_RV GetSlotList(CK_BBOOL, CK_SLOT_ID_PTR list, CK_ULONG_PTR count) {
  const CK_ULONG room = *count;
  *count = S().Told(S().slots.size());
  if (list == nullptr) return CKR_OK;
  if (room < S().slots.size()) return CKR_BUFFER_TOO_SMALL;
  for (const ScriptedSlot& slot : S().slots) *list++ = slot.id;
  return CKR_OK;
}

CK_RV GetSlotInfo(CK_SLOT_ID id, CK_SLOT_INFO_PTR info) {
  const ScriptedSlot* const slot = SlotOf(id);
  if (slot == nullptr) return CKR_SLOT_ID_INVALID;
  *info = {};
  Fill(info->slotDescription, slot->description);
  info->flags = slot->flags | (slot->tokenIn ? CKF_TOKEN_PRESENT : 0);
  return CKR_OK;
}

CK_RV GetTokenInfo(CK_SLOT_ID id, CK_TOKEN_INFO_PTR info) {
  S().calls.emplace_back("C_GetTokenInfo");
  ScriptedSlot* const slot = SlotOf(id);
  if (slot == nullptr || !slot->tokenIn) return CKR_TOKEN_NOT_PRESENT;
  if (slot->failures > 0) {
    --slot->failures;
    return CKR_GENERAL_ERROR;
  }
  *info = {};
  Fill(info->label, slot->label);
  Fill(info->manufacturerID, "Scripted");
  Fill(info->model, "Model");
  Fill(info->serialNumber, slot->serial);
  info->flags = (slot->initialised ? CKF_TOKEN_INITIALIZED | CKF_USER_PIN_INITIALIZED : 0) | TriesFlags();
  return CKR_OK;
}

CK_RV GetMechanismList(CK_SLOT_ID, CK_MECHANISM_TYPE_PTR list, CK_ULONG_PTR count) {
  const std::size_t given = std::min<std::size_t>(*count, S().mechanisms.size());
  if (list != nullptr) std::copy_n(S().mechanisms.begin(), given, list);
  *count = S().Told(S().mechanisms.size());
  return CKR_OK;
}

CK_RV GetMechanismInfo(CK_SLOT_ID, CK_MECHANISM_TYPE, CK_MECHANISM_INFO_PTR info) {
  *info = {1024, 4096, CKF_SIGN | CKF_DECRYPT | CKF_WRAP};
  return CKR_OK;
}

CK_RV OpenSession(CK_SLOT_ID slot, CK_FLAGS, CK_VOID_PTR, CK_NOTIFY, CK_SESSION_HANDLE_PTR session) {
  S().calls.emplace_back("C_OpenSession");
  const ScriptedSlot* const found = SlotOf(slot);
  if (found == nullptr || !found->tokenIn) return CKR_TOKEN_NOT_PRESENT;
  *session = S().nextSession++;
  S().sessions.insert(*session);
  return CKR_OK;
}

CK_RV CloseSession(CK_SESSION_HANDLE session) {
  S().calls.emplace_back("C_CloseSession");
  if (S().sessions.erase(session) == 0) return CKR_SESSION_HANDLE_INVALID;
  S().working.erase(session);
  if (S().sessions.empty()) S().loggedIn = false;
  return CKR_OK;
}

CK_RV GetSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info) {
  if (const CK_RV failed = Enter("C_GetSessionInfo", session)) return failed;
  *info = {};
  const bool isUser = S().loggedIn && !S().stateIsPublic;
  info->state = isUser ? CKS_RW_USER_FUNCTIONS : CKS_RW_PUBLIC_SESSION;
  return CKR_OK;
}

CK_RV WrongPin() {
  ++S().wrong;
  const bool locked = S().wrong >= S().lockAfter;
  return locked && !S().lockedSaysIncorrect ? CKR_PIN_LOCKED : CKR_PIN_INCORRECT;
}

CK_RV Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG length) {
  if (const CK_RV failed = Enter("C_Login", session)) return failed;
  const bool right = S().pin == std::string(reinterpret_cast<char*>(pin), length);
  if (user == CKU_CONTEXT_SPECIFIC) {
    ++S().needsContextLogin;
    return right ? CKR_OK : CKR_PIN_INCORRECT;
  }
  if (S().loggedIn || S().officer) return CKR_USER_ALREADY_LOGGED_IN;
  if (user == CKU_SO) {
    S().officer = true;
    return CKR_OK;
  }
  if (S().wrong >= S().lockAfter) return CKR_PIN_LOCKED;
  if (!right) return WrongPin();
  S().wrong = 0;
  S().loggedIn = true;
  S().stateIsPublic = false;
  return CKR_OK;
}

CK_RV Logout(CK_SESSION_HANDLE session) {
  if (const CK_RV failed = Enter("C_Logout", session)) return failed;
  if (!S().loggedIn && !S().officer) return CKR_USER_NOT_LOGGED_IN;
  S().loggedIn = S().officer = false;
  RenewPrivateHandles();
  return CKR_OK;
}

CK_RV SetPin(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLength, CK_UTF8CHAR_PTR newPin,
             CK_ULONG newLength) {
  if (const CK_RV failed = Enter("C_SetPIN", session)) return failed;
  if (S().changePinNeedsLogin && !S().loggedIn) return CKR_USER_NOT_LOGGED_IN;
  if (S().pin != std::string(reinterpret_cast<char*>(oldPin), oldLength)) return WrongPin();
  if (S().changePinAnswer != CKR_OK) return S().changePinAnswer;
  S().pin.assign(reinterpret_cast<char*>(newPin), newLength);
  return CKR_OK;
}

CK_RV InitPin(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR pin, CK_ULONG length) {
  if (const CK_RV failed = Enter("C_InitPIN", session)) return failed;
  S().pin.assign(reinterpret_cast<char*>(pin), length);
  S().wrong = 0;
  return CKR_OK;
}

CK_RV FindObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count) {
  if (const CK_RV failed = Enter("C_FindObjectsInit", session)) return failed;
  if (S().searches.count(session) != 0) return CKR_OPERATION_ACTIVE;
  const Attributes wanted = CopyOf(attributes, count);
  std::vector<CK_OBJECT_HANDLE>& found = S().searches[session];
  for (const auto& [handle, has] : S().objects) {
    const Attributes& object = has;
    const bool matches = std::all_of(wanted.begin(), wanted.end(), [&](const auto& entry) {
      const auto value = object.find(entry.first);
      return value != object.end() && value->second == entry.second;
    });
    if (matches && IsSeen(object)) found.push_back(handle);
  }
  return CKR_OK;
}

CK_RV FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG most, CK_ULONG_PTR count) {
  if (const CK_RV failed = Enter("C_FindObjects", session)) return failed;
  std::vector<CK_OBJECT_HANDLE>& found = S().searches[session];
  const std::size_t given = std::min<std::size_t>(most, found.size());
  std::copy_n(found.begin(), given, objects);
  found.erase(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(given));
  *count = S().foundLie.value_or(S().Told(given));
  return CKR_OK;
}

CK_RV FindObjectsFinal(CK_SESSION_HANDLE session) {
  if (const CK_RV failed = Enter("C_FindObjectsFinal", session)) return failed;
  return S().searches.erase(session) != 0 ? CKR_OK : CKR_OPERATION_NOT_INITIALIZED;
}

CK_RV ReadOne(const Attributes& object, CK_ATTRIBUTE& attribute) {
  const auto value = object.find(attribute.type);
  if (value == object.end()) {
    attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_ATTRIBUTE_TYPE_INVALID;
  }
  if (attribute.pValue != nullptr && attribute.ulValueLen < value->second.size()) return CKR_BUFFER_TOO_SMALL;
  if (attribute.pValue != nullptr) std::memcpy(attribute.pValue, value->second.data(), value->second.size());
  attribute.ulValueLen = S().attributeLie.value_or(S().Told(value->second.size()));
  return CKR_OK;
}

CK_RV GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                        CK_ULONG count) {
  if (const CK_RV failed = Enter("C_GetAttributeValue", session)) return failed;
  const auto found = S().objects.find(object);
  if (found == S().objects.end() || !IsSeen(found->second)) return CKR_OBJECT_HANDLE_INVALID;
  CK_RV result = CKR_OK;
  for (CK_ULONG i = 0; i < count; ++i) {
    const CK_RV one = ReadOne(found->second, attributes[i]);
    if (one != CKR_OK) result = S().stopsAtBadAttribute ? CKR_FUNCTION_FAILED : one;
  }
  return result;
}

CK_RV SetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                        CK_ULONG count) {
  if (const CK_RV failed = Enter("C_SetAttributeValue", session)) return failed;
  if (S().objects.count(object) == 0) return CKR_OBJECT_HANDLE_INVALID;
  for (const auto& [type, value] : CopyOf(attributes, count)) S().objects[object][type] = value;
  return CKR_OK;
}

CK_RV CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                   CK_OBJECT_HANDLE_PTR object) {
  if (const CK_RV failed = Enter("C_CreateObject", session)) return failed;
  *object = S().Add(CopyOf(attributes, count));
  return CKR_OK;
}

CK_RV DestroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
  if (const CK_RV failed = Enter("C_DestroyObject", session)) return failed;
  return S().objects.erase(object) != 0 ? CKR_OK : CKR_OBJECT_HANDLE_INVALID;
}

CK_RV GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM_PTR, CK_ATTRIBUTE_PTR publicAttributes,
                      CK_ULONG publicCount, CK_ATTRIBUTE_PTR privateAttributes, CK_ULONG privateCount,
                      CK_OBJECT_HANDLE_PTR publicKey, CK_OBJECT_HANDLE_PTR privateKey) {
  if (const CK_RV failed = Enter("C_GenerateKeyPair", session)) return failed;
  Attributes attributes = CopyOf(publicAttributes, publicCount);
  attributes[CKA_CLASS] = Number(CKO_PUBLIC_KEY);
  attributes[CKA_KEY_TYPE] = Number(CKK_RSA);
  attributes[CKA_MODULUS] = std::string(128, '\x8B');
  *publicKey = S().Add(attributes);
  if (S().leavesOrphan) return CKR_DEVICE_MEMORY;
  attributes = CopyOf(privateAttributes, privateCount);
  attributes[CKA_CLASS] = Number(CKO_PRIVATE_KEY);
  attributes[CKA_KEY_TYPE] = Number(CKK_RSA);
  attributes[CKA_MODULUS] = std::string(128, '\x8B');
  attributes[CKA_PUBLIC_EXPONENT] = "\1\0\1";
  *privateKey = S().Add(attributes);
  return CKR_OK;
}

CK_RV BeginUse(const char* name, CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  if (const CK_RV failed = Enter(name, session)) return failed;
  if (S().working.count(session) != 0) return CKR_OPERATION_ACTIVE;
  if (!S().loggedIn) return CKR_USER_NOT_LOGGED_IN;
  if (S().objects.count(key) == 0) return CKR_KEY_HANDLE_INVALID;
  S().working.insert(session);
  S().mechanism = mechanism->mechanism;
  S().key = key;
  return CKR_OK;
}

CK_RV FinishUse(const char* name, CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG length, CK_BYTE_PTR out,
                CK_ULONG_PTR outLength) {
  if (const CK_RV failed = Enter(name, session)) return failed;
  if (S().working.count(session) == 0) return CKR_OPERATION_NOT_INITIALIZED;
  const std::string input(reinterpret_cast<char*>(data), length);
  std::string result = S().use ? S().use(S().mechanism, input) : "signed:" + input;
  const CK_ULONG room = *outLength;
  *outLength = S().lengthLie.value_or(S().Told(result.size()));
  if (room < result.size()) {
    if (!S().keepsOperation) S().working.erase(session);
    return CKR_BUFFER_TOO_SMALL;
  }
  std::memcpy(out, result.data(), result.size());
  if (!S().keepsOperation) S().working.erase(session);
  return CKR_OK;
}

CK_RV SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return BeginUse("C_SignInit", session, mechanism, key);
}
CK_RV Sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG length, CK_BYTE_PTR out, CK_ULONG_PTR outLength) {
  return FinishUse("C_Sign", session, data, length, out, outLength);
}
CK_RV DecryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return BeginUse("C_DecryptInit", session, mechanism, key);
}
CK_RV Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG length, CK_BYTE_PTR out, CK_ULONG_PTR outLength) {
  return FinishUse("C_Decrypt", session, data, length, out, outLength);
}

CK_RV GenerateRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG length) {
  if (const CK_RV failed = Enter("C_GenerateRandom", session)) return failed;
  if (S().randomAnswer == CKR_OK) std::memset(data, 0x55, length);
  return S().randomAnswer;
}

// The entries that a script does not cover.
template <typename... P>
CK_RV Refuse(P... /*arguments*/) {
  return CKR_FUNCTION_NOT_SUPPORTED;
}
template <typename... P>
auto RefusalFor(CK_RV (* /*entry*/)(P...)) {
  return &Refuse<P...>;
}

CK_FUNCTION_LIST MakeTable() {
  CK_FUNCTION_LIST table = {};
  table.version = {2, 40};
#define ENTRY(name, parameters, arguments) table.name = RefusalFor(decltype(table.name){});
#include "cryptoki/CryptokiEntries.inc"
  table.C_Initialize = &Initialize;
  table.C_Finalize = &Finalize;
  table.C_GetInfo = &GetInfo;
  table.C_GetSlotList = &GetSlotList;
  table.C_GetSlotInfo = &GetSlotInfo;
  table.C_GetTokenInfo = &GetTokenInfo;
  table.C_GetMechanismList = &GetMechanismList;
  table.C_GetMechanismInfo = &GetMechanismInfo;
  table.C_OpenSession = &OpenSession;
  table.C_CloseSession = &CloseSession;
  table.C_GetSessionInfo = &GetSessionInfo;
  table.C_Login = &Login;
  table.C_Logout = &Logout;
  table.C_SetPIN = &SetPin;
  table.C_InitPIN = &InitPin;
  table.C_FindObjectsInit = &FindObjectsInit;
  table.C_FindObjects = &FindObjects;
  table.C_FindObjectsFinal = &FindObjectsFinal;
  table.C_GetAttributeValue = &GetAttributeValue;
  table.C_SetAttributeValue = &SetAttributeValue;
  table.C_CreateObject = &CreateObject;
  table.C_DestroyObject = &DestroyObject;
  table.C_GenerateKeyPair = &GenerateKeyPair;
  table.C_SignInit = &SignInit;
  table.C_Sign = &Sign;
  table.C_DecryptInit = &DecryptInit;
  table.C_Decrypt = &Decrypt;
  table.C_GenerateRandom = &GenerateRandom;
  return table;
}

}  // namespace
}  // namespace scripted

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR functionList) {
  static CK_FUNCTION_LIST table = scripted::MakeTable();
  *functionList = &table;
  return CKR_OK;
}

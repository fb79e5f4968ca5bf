#include "module/ScriptedModule.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

std::string Join(std::initializer_list<std::string> parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : ", ") + part;
  return text;
}

std::string Str(CK_ULONG value) { return std::to_string(value); }

// Fills a field of an information record and pads it with spaces.
template <std::size_t N>
void Fill(CK_UTF8CHAR (&field)[N], const std::string& text) {
  std::memset(field, ' ', N);
  std::memcpy(field, text.data(), std::min(N, text.size()));
}

bool IsMatch(const ScriptedObject& object, const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  const ScriptedObject wanted = ObjectFrom(attributes, count);
  return std::all_of(wanted.attributes.begin(), wanted.attributes.end(), [&object](const auto& pair) {
    const auto found = object.attributes.find(pair.first);
    return found != object.attributes.end() && found->second == pair.second;
  });
}

// C_GetAttributeValue, for one attribute (PKCS #11 v2.40, 5.7).
CK_RV ReadAttribute(const ScriptedObject& object, CK_ATTRIBUTE& item) {
  const auto found = object.attributes.find(item.type);
  if (found == object.attributes.end()) {
    item.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_ATTRIBUTE_TYPE_INVALID;
  }
  const Bytes& value = found->second;
  if (item.pValue != nullptr && item.ulValueLen < value.size()) {
    item.ulValueLen = CK_UNAVAILABLE_INFORMATION;
    return CKR_BUFFER_TOO_SMALL;
  }
  if (item.pValue != nullptr && !value.empty()) std::memcpy(item.pValue, value.data(), value.size());
  item.ulValueLen = static_cast<CK_ULONG>(value.size());
  return CKR_OK;
}

}  // namespace

CK_OBJECT_HANDLE ScriptedToken::Add(const ScriptedObject& object) {
  const CK_OBJECT_HANDLE handle = m_nextHandle++;
  objects[handle] = object;
  return handle;
}

ScriptedModule::ScriptedModule() : CryptokiInterface("scripted") {}

ScriptedModule::~ScriptedModule() = default;

ScriptedToken& ScriptedModule::InsertToken(const std::string& reader) {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  const auto found =
      std::find_if(m_readers.begin(), m_readers.end(), [&](const Reader& r) { return r.name == reader; });
  if (found == m_readers.end()) return AddReader(reader);
  found->hasToken = true;
  return found->token;
}

ScriptedToken& ScriptedModule::AddReader(const std::string& reader) {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  AddEmptyReader(reader);
  m_readers.back().hasToken = true;
  return m_readers.back().token;
}

void ScriptedModule::AddEmptyReader(const std::string& reader) {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  m_readers.emplace_back();
  m_readers.back().name = reader;
}

void ScriptedModule::RemoveToken(const std::string& reader) {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  for (std::size_t i = 0; i < m_readers.size(); ++i) {
    if (m_readers[i].name != reader) continue;
    m_readers[i].hasToken = false;
    m_readers[i].token.loggedIn = false;
    for (auto session = m_sessions.begin(); session != m_sessions.end();) {
      if (session->second.reader != i) {
        ++session;
        continue;
      }
      for (const CK_OBJECT_HANDLE object : session->second.objects) m_readers[i].token.objects.erase(object);
      session = m_sessions.erase(session);
    }
  }
}

void ScriptedModule::FailOnCall(const std::string& entry, int n, CK_RV result) {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  m_orders[entry].push_back(Order{n, result});
}

void ScriptedModule::FailAlways(const std::string& entry, CK_RV result) {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  m_always[entry] = result;
}

void ScriptedModule::FailAnyCall(int n, CK_RV result, bool fromThenOn) {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  m_anyOrders.push_back(AnyOrder{m_callNumber + n, result, fromThenOn});
}

void ScriptedModule::BeforeNext(const std::string& entry, std::function<void()> action) {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  m_before[entry] = std::move(action);
}

Calls ScriptedModule::TakeCalls() {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  Calls calls;
  for (const auto& call : m_calls) calls.push_back(call.first + "(" + call.second + ")");
  m_calls.clear();
  return calls;
}

Calls ScriptedModule::TakeCallNames() {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  Calls names;
  for (const auto& call : m_calls) names.push_back(call.first);
  m_calls.clear();
  return names;
}

void ScriptedModule::ForgetCalls() {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  m_calls.clear();
}

std::size_t ScriptedModule::OpenSessions() {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  return m_sessions.size();
}

bool ScriptedModule::IsInitialized() {
  const std::lock_guard<std::recursive_mutex> lock(m_mutex);
  return m_initialized;
}

CK_RV ScriptedModule::Announce(const std::string& entry, const std::string& arguments) {
  m_calls.emplace_back(entry, arguments);
  if (const std::function<void()> action = std::exchange(m_before[entry], nullptr)) action();
  CK_RV result = m_always[entry];
  ++m_callNumber;
  for (const AnyOrder& order : m_anyOrders) {
    if (m_callNumber == order.call || (order.fromThenOn && m_callNumber > order.call)) result = order.result;
  }
  std::vector<Order>& orders = m_orders[entry];
  for (Order& order : orders) {
    if (--order.callsToGo == 0) result = order.result;
  }
  orders.erase(std::remove_if(orders.begin(), orders.end(), [](const Order& order) { return order.callsToGo <= 0; }),
               orders.end());
  return result;
}

CK_RV ScriptedModule::NotSupported(const char* entry) {
  return Do(entry, "", []() -> CK_RV { return CKR_FUNCTION_NOT_SUPPORTED; });
}

void ScriptedModule::Falsify(const char* entry, CK_ULONG* count) {
  if (falsifyCount) falsifyCount(entry, *count);
}

// --- The module as a whole

void ScriptedModule::Load() {
  Do("Load", "", []() -> CK_RV { return CKR_OK; });
}

void ScriptedModule::Unload() {
  Do("Unload", "", []() -> CK_RV { return CKR_OK; });
}

void ScriptedModule::Reinitialize() {
  CK_ULONG count = 0;
  C_Finalize(nullptr);
  C_Initialize(nullptr);
  C_GetSlotList(CK_FALSE, nullptr, &count);
}

CK_RV ScriptedModule::C_Initialize(CK_VOID_PTR initArgs) {
  return Do("C_Initialize", initArgs == nullptr ? "null" : "arguments", [&]() -> CK_RV {
    if (std::exchange(m_initialized, true)) return CKR_CRYPTOKI_ALREADY_INITIALIZED;
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_Finalize(CK_VOID_PTR reserved) {
  return Do("C_Finalize", reserved == nullptr ? "null" : "reserved", [&]() -> CK_RV {
    m_sessions.clear();
    for (Reader& reader : m_readers) reader.token.loggedIn = false;
    return std::exchange(m_initialized, false) ? CKR_OK : CKR_CRYPTOKI_NOT_INITIALIZED;
  });
}

CK_RV ScriptedModule::C_GetInfo(CK_INFO_PTR info) {
  return Do("C_GetInfo", "", [&]() -> CK_RV {
    *info = CK_INFO{};
    info->cryptokiVersion.major = 2;
    info->cryptokiVersion.minor = 20;
    Fill(info->manufacturerID, "Scripted");
    Fill(info->libraryDescription, "A module for tests");
    info->libraryVersion.major = 1;
    info->libraryVersion.minor = 7;
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR) { return NotSupported("C_GetFunctionList"); }

// --- Slots and tokens

CK_RV ScriptedModule::C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slotList, CK_ULONG_PTR count) {
  const std::string buffer = slotList == nullptr ? "null" : "room " + Str(*count);
  return Do("C_GetSlotList", Join({tokenPresent == CK_TRUE ? "with token" : "all", buffer}), [&]() -> CK_RV {
    std::vector<CK_SLOT_ID> ids;
    for (std::size_t i = 0; i < m_readers.size(); ++i) {
      if (tokenPresent == CK_FALSE || m_readers[i].hasToken) ids.push_back(static_cast<CK_SLOT_ID>(i));
    }
    const CK_ULONG room = *count;
    *count = static_cast<CK_ULONG>(ids.size());
    if (slotList != nullptr) {
      if (room < ids.size()) return CKR_BUFFER_TOO_SMALL;
      std::copy(ids.begin(), ids.end(), slotList);
    }
    Falsify("C_GetSlotList", count);
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR info) {
  return Do("C_GetSlotInfo", Str(slot), [&]() -> CK_RV {
    if (slot >= m_readers.size()) return CKR_SLOT_ID_INVALID;
    *info = CK_SLOT_INFO{};
    Fill(info->slotDescription, m_readers[slot].name);
    Fill(info->manufacturerID, "Scripted");
    info->flags = CKF_REMOVABLE_DEVICE | CKF_HW_SLOT;
    if (m_readers[slot].hasToken) info->flags |= CKF_TOKEN_PRESENT;
    info->hardwareVersion.major = 3;
    info->hardwareVersion.minor = 1;
    info->firmwareVersion.major = 4;
    info->firmwareVersion.minor = 2;
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) {
  return DoInSlot("C_GetTokenInfo", "", slot, [&](const ScriptedToken& token) -> CK_RV {
    *info = CK_TOKEN_INFO{};
    Fill(info->label, token.label);
    Fill(info->manufacturerID, "Scripted");
    Fill(info->model, "Model");
    Fill(info->serialNumber, token.serial);
    Fill(info->utcTime, "2026010203040500");
    info->flags = token.flags;
    info->ulMaxSessionCount = CK_EFFECTIVELY_INFINITE;
    info->ulSessionCount = static_cast<CK_ULONG>(m_sessions.size());
    info->ulMaxRwSessionCount = 12;
    info->ulRwSessionCount = 3;
    info->ulMaxPinLen = token.maxPinLen;
    info->ulMinPinLen = token.minPinLen;
    info->ulTotalPublicMemory = CK_UNAVAILABLE_INFORMATION;
    info->ulFreePublicMemory = 2000;
    info->ulTotalPrivateMemory = 3000;
    info->ulFreePrivateMemory = 4000;
    info->hardwareVersion.major = 5;
    info->firmwareVersion.major = 6;
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE_PTR list, CK_ULONG_PTR count) {
  const std::string buffer = list == nullptr ? "null" : "room " + Str(*count);
  return DoInSlot("C_GetMechanismList", buffer, slot, [&](const ScriptedToken& token) -> CK_RV {
    const CK_ULONG room = *count;
    *count = static_cast<CK_ULONG>(token.mechanisms.size());
    if (list != nullptr) {
      if (room < token.mechanisms.size()) return CKR_BUFFER_TOO_SMALL;
      std::copy(token.mechanisms.begin(), token.mechanisms.end(), list);
    }
    Falsify("C_GetMechanismList", count);
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR info) {
  CK_MECHANISM mechanism = {type, nullptr, 0};
  return DoInSlot("C_GetMechanismInfo", MechanismText(&mechanism), slot, [&](const ScriptedToken&) -> CK_RV {
    info->ulMinKeySize = 512;
    info->ulMaxKeySize = 4096;
    info->flags = CKF_SIGN;
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_InitToken(CK_SLOT_ID slot, CK_UTF8CHAR_PTR, CK_ULONG pinLen, CK_UTF8CHAR_PTR label) {
  return DoInSlot("C_InitToken", Join({Str(pinLen) + " bytes", std::string(label, label + 32)}), slot,
                  [](const ScriptedToken&) -> CK_RV { return CKR_OK; });
}

CK_RV ScriptedModule::C_WaitForSlotEvent(CK_FLAGS, CK_SLOT_ID_PTR, CK_VOID_PTR) {
  return NotSupported("C_WaitForSlotEvent");
}

// --- Sessions and login

CK_RV ScriptedModule::C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR application, CK_NOTIFY notify,
                                    CK_SESSION_HANDLE_PTR session) {
  std::string arguments = "flags " + Str(flags);
  if (application != nullptr || notify != nullptr) arguments += ", with callback";
  return DoInSlot("C_OpenSession", arguments, slot, [&](const ScriptedToken&) -> CK_RV {
    *session = m_nextSession++;
    m_sessions[*session].reader = slot;
    m_sessions[*session].flags = flags;
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_CloseSession(CK_SESSION_HANDLE session) {
  return DoInSession("C_CloseSession", "", session, [&](const OpenSession& open, ScriptedToken& token) -> CK_RV {
    for (const CK_OBJECT_HANDLE object : open.objects) token.objects.erase(object);
    m_sessions.erase(session);
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_CloseAllSessions(CK_SLOT_ID) { return NotSupported("C_CloseAllSessions"); }

CK_RV ScriptedModule::C_GetSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info) {
  return DoInSession("C_GetSessionInfo", "", session,
                     [&](const OpenSession& open, const ScriptedToken& token) -> CK_RV {
                       info->slotID = static_cast<CK_SLOT_ID>(open.reader);
                       info->state = token.loggedIn ? CKS_RW_USER_FUNCTIONS : CKS_RW_PUBLIC_SESSION;
                       info->flags = open.flags;
                       info->ulDeviceError = open.deviceError;
                       return CKR_OK;
                     });
}

CK_RV ScriptedModule::C_GetOperationState(CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG_PTR) {
  return NotSupported("C_GetOperationState");
}

CK_RV ScriptedModule::C_SetOperationState(CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_OBJECT_HANDLE,
                                          CK_OBJECT_HANDLE) {
  return NotSupported("C_SetOperationState");
}

CK_RV ScriptedModule::DoLogin(const char* entry, CK_SESSION_HANDLE handle, CK_USER_TYPE user, const CK_BYTE* pin,
                              CK_ULONG pinLen, bool countAsResult) {
  const std::string text(pin, pin + pinLen);
  return DoInSession(entry, Join({"user " + Str(user), text}), handle,
                     [&](OpenSession& open, ScriptedToken& token) -> CK_RV {
                       if (token.loggedIn) return CKR_USER_ALREADY_LOGGED_IN;
                       if (token.triesLeft == 0) return CKR_PIN_LOCKED;
                       if (text == token.pin) {
                         token.loggedIn = true;
                         token.triesLeft = token.tries;
                         open.deviceError = 0;
                         return CKR_OK;
                       }
                       open.deviceError = --token.triesLeft;
                       if (token.triesLeft == 0) return CKR_PIN_LOCKED;
                       return countAsResult ? token.triesLeft : CKR_PIN_INCORRECT;
                     });
}

CK_RV ScriptedModule::C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  return DoLogin("C_Login", session, user, pin, pinLen, false);
}

CK_RV ScriptedModule::C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin,
                                      CK_ULONG pinLen) {
  return DoLogin("C_LoginExtended", session, user, pin, pinLen, wrongPin == WrongPin::kTriesLeft);
}

CK_RV ScriptedModule::C_Logout(CK_SESSION_HANDLE session) {
  return DoInSession("C_Logout", "", session, [&](const OpenSession& left, ScriptedToken& token) -> CK_RV {
    if (!std::exchange(token.loggedIn, false)) return CKR_USER_NOT_LOGGED_IN;
    // Operations begun with a private key end.
    for (auto& open : m_sessions) {
      if (open.second.reader != left.reader) continue;
      for (const Operation ended : {kSign, kDecrypt}) open.second.operations[ended].active = false;
    }
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_InitPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  const std::string text(pin, pin + pinLen);
  return DoInSession("C_InitPIN", text, session, [&](const OpenSession&, ScriptedToken& token) -> CK_RV {
    token.pin = text;
    token.triesLeft = token.tries;
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_SetPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen,
                               CK_UTF8CHAR_PTR newPin, CK_ULONG newLen) {
  const std::string oldText(oldPin, oldPin + oldLen);
  const std::string newText(newPin, newPin + newLen);
  return DoInSession("C_SetPIN", Join({oldText, newText}), session,
                     [&](const OpenSession&, ScriptedToken& token) -> CK_RV {
                       if (oldText != token.pin) return CKR_PIN_INCORRECT;
                       token.pin = newText;
                       return CKR_OK;
                     });
}

// --- Objects

CK_RV ScriptedModule::C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                                     CK_OBJECT_HANDLE_PTR object) {
  return DoInSession("C_CreateObject", Values(attributes, count), session,
                     [&](OpenSession& open, ScriptedToken& token) -> CK_RV {
                       ScriptedObject created = ObjectFrom(attributes, count);
                       SupplyDefaults(created);
                       *object = token.Add(created);
                       if (created.attributes[CKA_TOKEN] == Flag(false)) open.objects.push_back(*object);
                       return CKR_OK;
                     });
}

CK_RV ScriptedModule::C_CopyObject(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR, CK_ULONG,
                                   CK_OBJECT_HANDLE_PTR) {
  return NotSupported("C_CopyObject");
}

CK_RV ScriptedModule::C_DestroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
  return DoInSession("C_DestroyObject", Str(object), session, [&](const OpenSession&, ScriptedToken& token) -> CK_RV {
    return token.objects.erase(object) == 1 ? CKR_OK : CKR_OBJECT_HANDLE_INVALID;
  });
}

CK_RV ScriptedModule::C_GetObjectSize(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ULONG_PTR) {
  return NotSupported("C_GetObjectSize");
}

CK_RV ScriptedModule::C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                          CK_ATTRIBUTE_PTR attributes, CK_ULONG count) {
  return DoInSession("C_GetAttributeValue", Join({Str(object), Buffers(attributes, count)}), session,
                     [&](const OpenSession&, ScriptedToken& token) -> CK_RV {
                       const auto found = token.objects.find(object);
                       if (found == token.objects.end()) return CKR_OBJECT_HANDLE_INVALID;
                       CK_RV result = CKR_OK;
                       for (CK_ULONG i = 0; i < count; ++i) {
                         const CK_RV one = ReadAttribute(found->second, attributes[i]);
                         if (one != CKR_OK) result = one;
                         if (falsify) falsify(attributes[i]);
                       }
                       return result;
                     });
}

CK_RV ScriptedModule::C_SetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                          CK_ATTRIBUTE_PTR attributes, CK_ULONG count) {
  return DoInSession("C_SetAttributeValue", Join({Str(object), Values(attributes, count)}), session,
                     [&](const OpenSession&, ScriptedToken& token) -> CK_RV {
                       const auto found = token.objects.find(object);
                       if (found == token.objects.end()) return CKR_OBJECT_HANDLE_INVALID;
                       for (const auto& pair : ObjectFrom(attributes, count).attributes) {
                         found->second.With(pair.first, pair.second);
                       }
                       return CKR_OK;
                     });
}

CK_RV ScriptedModule::C_FindObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count) {
  return DoInSession("C_FindObjectsInit", Values(attributes, count), session,
                     [&](OpenSession& open, ScriptedToken& token) -> CK_RV {
                       if (open.searching) return CKR_OPERATION_ACTIVE;
                       open.searching = true;
                       open.found.clear();
                       for (const auto& pair : token.objects) {
                         if (IsMatch(pair.second, attributes, count)) open.found.push_back(pair.first);
                       }
                       return CKR_OK;
                     });
}

CK_RV ScriptedModule::C_FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maxCount,
                                    CK_ULONG_PTR count) {
  return DoInSession("C_FindObjects", Str(maxCount), session, [&](OpenSession& open, const ScriptedToken&) -> CK_RV {
    if (!open.searching) return CKR_OPERATION_NOT_INITIALIZED;
    const std::size_t found = std::min<std::size_t>(maxCount, open.found.size());
    std::copy_n(open.found.begin(), found, objects);
    open.found.erase(open.found.begin(), open.found.begin() + static_cast<std::ptrdiff_t>(found));
    *count = static_cast<CK_ULONG>(found);
    Falsify("C_FindObjects", count);
    return CKR_OK;
  });
}

CK_RV ScriptedModule::C_FindObjectsFinal(CK_SESSION_HANDLE session) {
  return DoInSession("C_FindObjectsFinal", "", session, [](OpenSession& open, const ScriptedToken&) -> CK_RV {
    return std::exchange(open.searching, false) ? CKR_OK : CKR_OPERATION_NOT_INITIALIZED;
  });
}

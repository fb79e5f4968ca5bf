#include "cryptoki/CryptokiFunctions.h"

#include <utility>

#include "cryptoki/CryptokiError.h"

std::atomic<CK_RV> g_lastResult{CKR_OK};

namespace {

// The list of entries has the entries of the table in the same order. Position 0 is right after the version.
enum Position : std::size_t {
#define ENTRY(name, params, args) kPositionOf_##name,
#include "cryptoki/CryptokiEntries.inc"
  kEntryCount
};

static_assert(kEntryCount == 68, "the standard table has 68 entries");
#define ENTRY(name, params, args)                                                                            \
  static_assert(offsetof(CK_FUNCTION_LIST, name) ==                                                          \
                    offsetof(CK_FUNCTION_LIST, C_Initialize) + kPositionOf_##name * sizeof(CK_C_Initialize), \
                #name " stands at another place of the table");
#include "cryptoki/CryptokiEntries.inc"

}  // namespace

CryptokiInterface::CryptokiInterface(std::string moduleName) : m_moduleName(std::move(moduleName)) {}

CryptokiInterface::~CryptokiInterface() = default;

std::string CryptokiInterface::GetModuleName() { return m_moduleName; }

CryptokiFunctions::CryptokiFunctions(std::string moduleName) : CryptokiInterface(std::move(moduleName)) {}

CryptokiFunctions::~CryptokiFunctions() {
  if (m_module != nullptr) FreeLibrary(m_module);
}

void CryptokiFunctions::Load() {
  if (m_module != nullptr) return;
  m_functions = nullptr;
  m_module = LoadLibraryA(CryptokiInterface::GetModuleName().c_str());
  if (m_module == nullptr) throw CryptokiError(CKR_GENERAL_ERROR);

  // Required: without the symbol the library stays loaded, and a later Load returns at once.
  const FARPROC symbol = GetProcAddress(m_module, "C_GetFunctionList");
  if (symbol == nullptr) throw CryptokiError(CKR_GENERAL_ERROR);

  const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(reinterpret_cast<void (*)()>(symbol));
  if (getFunctionList(&m_functions) != CKR_OK) {
    m_functions = nullptr;
    FreeLibrary(m_module);
    m_module = nullptr;
  }
}

void CryptokiFunctions::Unload() {
  if (m_module == nullptr) return;
  if (m_functions != nullptr) {
    C_Finalize(nullptr);
    m_functions = nullptr;
  }
  FreeLibrary(m_module);
  m_module = nullptr;
}

void CryptokiFunctions::Reinitialize() {
  CK_ULONG count = 0;
  C_Finalize(nullptr);
  C_Initialize(nullptr);
  C_GetSlotList(CK_FALSE, nullptr, &count);
}

template <typename Body>
CK_RV CryptokiFunctions::Forward(Body body) {
  const std::lock_guard<std::mutex> gate(m_gate);
  return ForwardPastTheGate(body);
}

template <typename Body>
CK_RV CryptokiFunctions::ForwardPastTheGate(Body body) {
  CK_RV result = CKR_CRYPTOKI_NOT_INITIALIZED;
  g_lastResult = result;
  if (m_functions == nullptr) return result;
  // A lambda and not a pointer to member: the table is packed, and a pointer to a member does not know that.
  result = body(*m_functions);
  g_lastResult = result;
  return result;
}

template <typename Body>
CK_RV CryptokiFunctions::ForwardLogin(CK_SESSION_HANDLE session, Body body) {
  return Forward([&](CK_FUNCTION_LIST& table) {
    table.C_Logout(session);
    return body(table);
  });
}

#define ENTRY(name, params, args)                                             \
  CK_RV CryptokiFunctions::name params {                                      \
    return Forward([&](CK_FUNCTION_LIST& table) { return table.name args; }); \
  }
#define ENTRY_OWN(name, params, args)
#include "cryptoki/CryptokiEntries.inc"

CK_RV CryptokiFunctions::C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  return ForwardLogin(session, [&](CK_FUNCTION_LIST& table) { return table.C_Login(session, user, pin, pinLen); });
}

CK_RV CryptokiFunctions::C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin,
                                         CK_ULONG pinLen) {
  return ForwardLogin(session, [&](CK_FUNCTION_LIST& table) {
    return reinterpret_cast<ExtendedFunctionList&>(table).C_LoginExtended(session, user, pin, pinLen);
  });
}

// Without the gate: it may wait for a card for any length of time, and no other call should have to wait for that.
CK_RV CryptokiFunctions::C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR slot, CK_VOID_PTR reserved) {
  return ForwardPastTheGate([&](CK_FUNCTION_LIST& table) { return table.C_WaitForSlotEvent(flags, slot, reserved); });
}

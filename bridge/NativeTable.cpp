// The bridge's table: each entry translates the caller's handles into the module's and calls the module's entry.
#include "pkcs11/NativeTable.h"

#include <tuple>

#include "Handles.h"
#include "Module.h"

namespace bridge {
namespace {

// No module uses 0 as a session handle. Some modules use 0 as an object handle.
Handles& Sessions() {
  static Handles sessions(CK_INVALID_HANDLE);
  return sessions;
}

Handles& Objects() {
  static Handles objects(~CK_ULONG{0});
  return objects;
}

// The signatures of the entries, with a separate type for each kind of handle.
namespace marked {
struct CK_SESSION_HANDLE;
struct CK_OBJECT_HANDLE;
using CK_SESSION_HANDLE_PTR = CK_SESSION_HANDLE*;
using CK_OBJECT_HANDLE_PTR = CK_OBJECT_HANDLE*;
// NOLINTNEXTLINE(bugprone-macro-parentheses): the parameters of a type cannot be put in parentheses.
#define ENTRY(name, parameters, arguments) using name = CK_RV parameters;
#include "cryptoki/CryptokiEntries.inc"
}  // namespace marked

// Argument<T> converts a parameter of marked type T for the module. After a successful call, Keep converts the returned
// handle.
template <typename T>
struct Argument {
  using Type = T;
  T value;
  T Native() const { return value; }
  void Keep() const {}
};

template <Handles& (*Table)()>
struct HandleArgument {
  using Type = CK_ULONG;
  CK_ULONG value;
  CK_ULONG Native() const { return Table().NativeOf(value); }
  void Keep() const {}
};

template <Handles& (*Table)()>
struct NewHandle {
  using Type = CK_ULONG*;
  CK_ULONG* value;
  CK_ULONG* Native() const { return value; }
  void Keep() const { *value = Table().UpperOf(*value); }
};

template <>
struct Argument<marked::CK_SESSION_HANDLE> : HandleArgument<&Sessions> {};
template <>
struct Argument<marked::CK_OBJECT_HANDLE> : HandleArgument<&Objects> {};
template <>
struct Argument<marked::CK_SESSION_HANDLE*> : NewHandle<&Sessions> {};
template <>
struct Argument<marked::CK_OBJECT_HANDLE*> : NewHandle<&Objects> {};

template <auto Entry, typename... Arguments>
CK_RV CallModule(Arguments... arguments) {
  const CK_FUNCTION_LIST* const table = Module::Instance().Table();
  if (table == nullptr) return CKR_GENERAL_ERROR;
  const auto function = table->*Entry;
  return function == nullptr ? CKR_FUNCTION_NOT_SUPPORTED : function(arguments...);
}

template <auto Entry, typename Signature>
struct Thunk;

template <auto Entry, typename... Parameters>
struct Thunk<Entry, CK_RV(Parameters...)> {
  static CK_RV Call(typename Argument<Parameters>::Type... given) {
    const auto arguments = std::make_tuple(Argument<Parameters>{given}...);
    const CK_RV result = std::apply([](auto... each) { return CallModule<Entry>(each.Native()...); }, arguments);
    if (result == CKR_OK) std::apply([](auto... each) { (each.Keep(), ...); }, arguments);
    return result;
  }
};

// The entries that do more than pass the call on.
struct Own {
  // The mutex functions belong to a Windows program. A Linux library must not call them.
  static CK_RV C_Initialize(CK_VOID_PTR initArgs) {
    if (initArgs == nullptr) return CallModule<&CK_FUNCTION_LIST::C_Initialize>(initArgs);
    const auto& given = *static_cast<const CK_C_INITIALIZE_ARGS*>(initArgs);
    if (given.CreateMutex != nullptr && (given.flags & CKF_OS_LOCKING_OK) == 0) return CKR_CANT_LOCK;
    CK_C_INITIALIZE_ARGS arguments = {};
    arguments.flags = given.flags;
    arguments.pReserved = given.pReserved;
    return CallModule<&CK_FUNCTION_LIST::C_Initialize>(static_cast<CK_VOID_PTR>(&arguments));
  }

  static CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR functionList) {
    if (functionList == nullptr) return CKR_ARGUMENTS_BAD;
    *functionList = &pkcs11::NativeTable().standard;
    return CKR_OK;
  }

  static CK_RV C_CloseSession(CK_SESSION_HANDLE session) {
    const CK_RV result = CallModule<&CK_FUNCTION_LIST::C_CloseSession>(Sessions().NativeOf(session));
    if (result == CKR_OK) Sessions().Forget(session);
    return result;
  }

  static CK_RV C_DestroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
    const CK_RV result =
        CallModule<&CK_FUNCTION_LIST::C_DestroyObject>(Sessions().NativeOf(session), Objects().NativeOf(object));
    if (result == CKR_OK) Objects().Forget(object);
    return result;
  }

  static CK_RV C_FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maxCount,
                             CK_ULONG_PTR count) {
    const CK_RV result =
        CallModule<&CK_FUNCTION_LIST::C_FindObjects>(Sessions().NativeOf(session), objects, maxCount, count);
    if (result != CKR_OK) return result;
    for (CK_ULONG i = 0; i < *count; ++i) objects[i] = Objects().UpperOf(objects[i]);
    return result;
  }
};

// Choose_C_Xyz returns Own's function for an entry, or else the generated one.
#define ENTRY(name, parameters, arguments)                      \
  template <typename Server>                                    \
  constexpr auto Choose_##name(int)->decltype(&Server::name) {  \
    return &Server::name;                                       \
  }                                                             \
  template <typename Server>                                    \
  constexpr auto Choose_##name(...)->CK_##name {                \
    return &Thunk<&CK_FUNCTION_LIST::name, marked::name>::Call; \
  }
#include "cryptoki/CryptokiEntries.inc"

// An ordinary module has no such entry.
CK_RV NoLogin(CK_SESSION_HANDLE /*session*/, CK_USER_TYPE /*user*/, CK_UTF8CHAR_PTR /*pin*/, CK_ULONG /*pinLen*/) {
  return CKR_FUNCTION_NOT_SUPPORTED;
}

ExtendedFunctionList MakeTable() {
  ExtendedFunctionList table = {};
  table.standard.version = {2, 40};
#define ENTRY(name, parameters, arguments) table.standard.name = Choose_##name<Own>(0);
#include "cryptoki/CryptokiEntries.inc"
  table.C_LoginExtended = &NoLogin;
  return table;
}

}  // namespace
}  // namespace bridge

namespace pkcs11 {

ExtendedFunctionList& NativeTable() {
  static ExtendedFunctionList table = bridge::MakeTable();
  return table;
}

}  // namespace pkcs11

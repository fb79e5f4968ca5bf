#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "Settings.h"
#include "SharedNames.h"
#include "SoftToken.h"

namespace softtoken {
namespace {

// The process-wide state: the lock around everything, and the token between C_Initialize and C_Finalize.
struct Process {
  std::mutex mutex;
  std::unique_ptr<SoftToken> token;

  // At the end of the process a thread that was stopped inside a call still holds the lock. Its token is not destroyed.
  ~Process() {
    if (mutex.try_lock()) {
      token.reset();
      mutex.unlock();
    } else {
      static_cast<void>(token.release());
    }
  }
};

Process g_process;

template <typename Body>
CK_RV Guarded(Body body) noexcept {
  try {
    return body();
  } catch (const Failure& failure) {
    return failure.code;
  } catch (const std::bad_alloc&) {
    return CKR_HOST_MEMORY;
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "telvopkcs11: %s\n", error.what()));
    return CKR_GENERAL_ERROR;
  }
}

// Runs `body` on the token under the process-wide lock.
template <typename Body>
CK_RV Served(Body body) noexcept {
  return Guarded([&]() -> CK_RV {
    const std::lock_guard<std::mutex> lock(g_process.mutex);
    Require(g_process.token != nullptr, CKR_CRYPTOKI_NOT_INITIALIZED);
    return body(*g_process.token);
  });
}

void CheckInitializeArguments(CK_VOID_PTR initArgs) {
  if (initArgs == nullptr) return;
  const auto& arguments = *static_cast<const CK_C_INITIALIZE_ARGS*>(initArgs);
  Require(arguments.pReserved == nullptr, CKR_ARGUMENTS_BAD);
  const bool all = arguments.CreateMutex && arguments.DestroyMutex && arguments.LockMutex && arguments.UnlockMutex;
  const bool any = arguments.CreateMutex || arguments.DestroyMutex || arguments.LockMutex || arguments.UnlockMutex;
  Require(all == any, CKR_ARGUMENTS_BAD);
  // The lock is one of the system. It cannot be replaced by the application's own.
  Require(!any || (arguments.flags & CKF_OS_LOCKING_OK) != 0, CKR_CANT_LOCK);
}

// The entries that work without a token.
struct Module {
  static CK_RV C_Initialize(CK_VOID_PTR initArgs) {
    return Guarded([&] {
      const std::lock_guard<std::mutex> lock(g_process.mutex);
      Require(g_process.token == nullptr, CKR_CRYPTOKI_ALREADY_INITIALIZED);
      CheckInitializeArguments(initArgs);
      g_process.token = std::make_unique<SoftToken>(LoadSettings());
      return CKR_OK;
    });
  }

  static CK_RV C_Finalize(CK_VOID_PTR reserved) {
    return Guarded([&] {
      const std::lock_guard<std::mutex> lock(g_process.mutex);
      Require(g_process.token != nullptr, CKR_CRYPTOKI_NOT_INITIALIZED);
      Require(reserved == nullptr, CKR_ARGUMENTS_BAD);
      g_process.token->Stop();
      g_process.token.reset();
      return CKR_OK;
    });
  }

  static CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR functionList) {
    if (functionList == nullptr) return CKR_ARGUMENTS_BAD;
    *functionList = &NativeTable().standard;
    return CKR_OK;
  }
};

CK_RV LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  return Served([&](SoftToken& token) { return token.C_LoginExtended(session, user, pin, pinLen); });
}

// One function for each entry. It calls the operation of the same name of Module or of SoftToken, or SoftHSM if neither
// has one. Only the name decides: an operation whose parameters differ from the entry's does not compile.
template <typename Library, typename Token>
struct Entries {
// NOLINTBEGIN(bugprone-macro-parentheses): the name of a member cannot stand in parentheses.
#define ENTRY(name, parameters, arguments)                                  \
  template <typename Server>                                                \
  static constexpr auto Has_##name(int)->decltype(&Server::name, true) {    \
    return true;                                                            \
  }                                                                         \
  template <typename Server>                                                \
  static constexpr bool Has_##name(...) {                                   \
    return false;                                                           \
  }                                                                         \
  static CK_RV name parameters {                                            \
    if constexpr (Has_##name<Library>(0)) {                                 \
      return Library::name arguments;                                       \
    } else {                                                                \
      return Served([&](Token& token) -> CK_RV {                            \
        if constexpr (Has_##name<Token>(0)) {                               \
          return token.name arguments;                                      \
        } else {                                                            \
          return token.template Forward<&CK_FUNCTION_LIST::name> arguments; \
        }                                                                   \
      });                                                                   \
    }                                                                       \
  }
// NOLINTEND(bugprone-macro-parentheses)
#include "cryptoki/CryptokiEntries.inc"
};

ExtendedFunctionList MakeTable() {
  ExtendedFunctionList table = {};
  table.standard.version = {2, 40};
#define ENTRY(name, parameters, arguments) table.standard.name = &Entries<Module, SoftToken>::name;
#include "cryptoki/CryptokiEntries.inc"
  table.C_LoginExtended = &LoginExtended;
  return table;
}

}  // namespace
}  // namespace softtoken

ExtendedFunctionList& pkcs11::NativeTable() {
  static ExtendedFunctionList table = softtoken::MakeTable();
  return table;
}

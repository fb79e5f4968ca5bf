// The function table of a module of this project: one function for each entry, which calls an object of the module's
// own class.
#pragma once

#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <new>

#include "pkcs11/Failure.h"

namespace pkcs11 {

// FunctionTable makes the entries of the table from the operations of a class Token. An operation that has the name of
// an entry takes the entry's parameters, and returns its result or throws it as Failure. All other entries go to
// Token::Forward<Entry>. C_Initialize makes the object with Token::Make(), and C_Finalize calls Stop before it destroys
// it.
//
// The entries may be called from any thread; one call runs at a time. None throws.
template <typename Token>
class FunctionTable {
 public:
  // Get returns the one table of the process.
  static ExtendedFunctionList& Get() {
    static ExtendedFunctionList table = Fill();
    return table;
  }

  // Served runs `body` on the object under the process-wide lock. It returns the result of `body`, or the code of the
  // Failure that `body` throws, or CKR_CRYPTOKI_NOT_INITIALIZED if there is no object.
  template <typename Body>
  static CK_RV Served(Body body) noexcept {
    return Guarded([&]() -> CK_RV {
      const std::lock_guard<std::mutex> lock(s_process.mutex);
      Require(s_process.token != nullptr, CKR_CRYPTOKI_NOT_INITIALIZED);
      return body(*s_process.token);
    });
  }

 private:
  // The process-wide state: the lock around everything, and the object between C_Initialize and C_Finalize.
  struct Process {
    std::mutex mutex;
    std::unique_ptr<Token> token;

    // At the end of the process a thread that was stopped inside a call still holds the lock. Then the object is not
    // destroyed.
    ~Process() {
      if (mutex.try_lock()) {
        token.reset();
        mutex.unlock();
      } else {
        static_cast<void>(token.release());
      }
    }
  };

  inline static Process s_process;

  template <typename Body>
  static CK_RV Guarded(Body body) noexcept {
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

  static void CheckInitializeArguments(CK_VOID_PTR initArgs) {
    if (initArgs == nullptr) return;
    const auto& arguments = *static_cast<const CK_C_INITIALIZE_ARGS*>(initArgs);
    Require(arguments.pReserved == nullptr, CKR_ARGUMENTS_BAD);
    const bool all = arguments.CreateMutex && arguments.DestroyMutex && arguments.LockMutex && arguments.UnlockMutex;
    const bool any = arguments.CreateMutex || arguments.DestroyMutex || arguments.LockMutex || arguments.UnlockMutex;
    Require(all == any, CKR_ARGUMENTS_BAD);
    // The lock is the system's. The application cannot replace it with its own.
    Require(!any || (arguments.flags & CKF_OS_LOCKING_OK) != 0, CKR_CANT_LOCK);
  }

  // The entries that work without an object.
  struct Library {
    static CK_RV C_Initialize(CK_VOID_PTR initArgs) {
      return Guarded([&] {
        const std::lock_guard<std::mutex> lock(s_process.mutex);
        Require(s_process.token == nullptr, CKR_CRYPTOKI_ALREADY_INITIALIZED);
        CheckInitializeArguments(initArgs);
        s_process.token = Token::Make();
        return CKR_OK;
      });
    }

    static CK_RV C_Finalize(CK_VOID_PTR reserved) {
      return Guarded([&] {
        const std::lock_guard<std::mutex> lock(s_process.mutex);
        Require(s_process.token != nullptr, CKR_CRYPTOKI_NOT_INITIALIZED);
        Require(reserved == nullptr, CKR_ARGUMENTS_BAD);
        s_process.token->Stop();
        s_process.token.reset();
        return CKR_OK;
      });
    }

    static CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR functionList) {
      if (functionList == nullptr) return CKR_ARGUMENTS_BAD;
      *functionList = &Get().standard;
      return CKR_OK;
    }
  };

  // One function for each entry. Only the name selects an operation: one whose parameters differ from the entry's does
  // not compile.
  template <typename Own, typename Object>
  struct Entries {
// NOLINTBEGIN(bugprone-macro-parentheses): the name of a member cannot be put in parentheses.
#define ENTRY(name, parameters, arguments)                                   \
  template <typename Server>                                                 \
  static constexpr auto Has_##name(int)->decltype(&Server::name, true) {     \
    return true;                                                             \
  }                                                                          \
  template <typename Server>                                                 \
  static constexpr bool Has_##name(...) {                                    \
    return false;                                                            \
  }                                                                          \
  static CK_RV name parameters {                                             \
    if constexpr (Has_##name<Own>(0)) {                                      \
      return Own::name arguments;                                            \
    } else {                                                                 \
      return Served([&](Object& served) -> CK_RV {                           \
        if constexpr (Has_##name<Object>(0)) {                               \
          return served.name arguments;                                      \
        } else {                                                             \
          return served.template Forward<&CK_FUNCTION_LIST::name> arguments; \
        }                                                                    \
      });                                                                    \
    }                                                                        \
  }
// NOLINTEND(bugprone-macro-parentheses)
#include "cryptoki/CryptokiEntries.inc"
  };

  static CK_RV LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
    return Served([&](Token& token) { return token.C_LoginExtended(session, user, pin, pinLen); });
  }

  static ExtendedFunctionList Fill() {
    ExtendedFunctionList table = {};
    table.standard.version = {2, 40};
#define ENTRY(name, parameters, arguments) table.standard.name = &Entries<Library, Token>::name;
#include "cryptoki/CryptokiEntries.inc"
    table.C_LoginExtended = &LoginExtended;
    return table;
  }
};

}  // namespace pkcs11

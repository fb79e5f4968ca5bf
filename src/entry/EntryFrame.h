// EntryFrame: the common part of the CP... functions: banner and name in the log, the argument lines, the look-up of
// context and hash, the translation of exceptions to last errors, and the ways to end.
//
// A function that does one of these in its own way has a comment about that.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <cstdint>

#include "common/CCSPContextError.h"
#include "context/CCSPContext.h"
#include "cryptoki/CryptokiError.h"
#include "entry/CCSPContextList.h"
#include "log/Logs.h"

// What the caller of a function sees when the module fails.
enum class ModuleFailure {
  kNteFail,  // NTE_FAIL, whatever the CK_RV
  kOwnCode,  // the CK_RV
  kLeaves,   // the CryptokiError itself, which leaves the function
};

class EntryFrame {
 public:
  // Logs the banner and the function's name.
  explicit EntryFrame(const char* function) : EntryFrame(function, function) {}
  // The same for a function whose first line spells the name differently.
  EntryFrame(const char* function, const char* firstLine);
  EntryFrame(const EntryFrame&) = delete;
  EntryFrame& operator=(const EntryFrame&) = delete;

  // Argument lines. A label looks like "\tdwFlags: \t". Pointers and wider numbers show their low 32 bits.
  void LogNumber(const char* label, std::uint64_t value) const {
    g_entryLog.WriteFormatted(label, static_cast<DWORD>(value), "%08X", true);
  }
  void LogPointer(const char* label, const void* value) const {
    LogNumber(label, reinterpret_cast<std::uintptr_t>(value));
  }
  static DWORD Low32(const void* pointer) { return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(pointer)); }

  // The ways to end a function with a failure. Each sets the last error and returns false. A code is the system's
  // constant, whatever its type.

  // Logs the line.
  template <typename Code>
  BOOL Refuse(const char* line, Code code) const {
    g_entryLog.WriteLine(line);
    return RefuseLogged(code);
  }
  // Logs the line with the number at its end.
  template <typename Code>
  BOOL RefuseNumber(const char* line, DWORD number, Code code, const char* format = "%X") const {
    g_entryLog.WriteFormatted(line, number, format, true);
    return RefuseLogged(code);
  }
  // A parameter that must be read or written is null: ERROR_INVALID_PARAMETER.
  BOOL RefuseNull(const char* parameter) const;
  // The reason is in the log already.
  template <typename Code>
  BOOL RefuseLogged(Code code) const {
    SetLastError(static_cast<DWORD>(code));
    return FALSE;
  }
  // The log has no line for this refusal.
  template <typename Code>
  BOOL RefuseSilently(Code code) const {
    return RefuseLogged(code);
  }

  // The ways to end a function with a success. Each sets the last error to 0 and returns true.

  // Logs the function's success.
  BOOL Succeed() const;
  // Logs another line.
  BOOL SucceedWith(const char* line) const;
  // The success is in the log already.
  BOOL SucceedLogged() const;

  // The protected region: runs `region`, a function BOOL(), and returns its result. A CCSPContextError ends the
  // function with the error's message and code, a CryptokiError with its own text and the code of the policy. Nothing
  // else is caught.
  template <typename Region>
  BOOL Protect(Region region, ModuleFailure policy = ModuleFailure::kNteFail) const {
    try {
      return region();
    } catch (const CCSPContextError& error) {
      return Refuse(error.GetMessage().c_str(), error.GetCode());
    } catch (const CryptokiError& error) {
      if (policy == ModuleFailure::kLeaves) throw;
      return Refuse(error.GetText().c_str(), CodeOf(error, policy));
    }
  }

  // Looks up the context and calls `use`, a function BOOL(CCSPContext&), all in a protected region. The context lives
  // until `use` returns, even if another thread releases it.
  template <typename Use>
  BOOL WithContext(HCRYPTPROV hProv, Use use, ModuleFailure policy = ModuleFailure::kNteFail) const {
    const auto region = [&]() -> BOOL {
      const boost::shared_ptr<CCSPContext> context = g_contextList.FindContext(hProv);
      return use(*context);
    };
    return Protect(region, policy);
  }
  // The same with a hash of the context, by the low 32 bits of its handle, for a function
  // BOOL(CCSPContext&, const boost::shared_ptr<CCSPHash>&).
  template <typename Use>
  BOOL WithHash(HCRYPTPROV hProv, HCRYPTHASH hHash, Use use) const {
    return WithContext(hProv, [&](CCSPContext& context) -> BOOL {
      const boost::shared_ptr<CCSPHash> hash = context.GetHash(static_cast<DWORD>(hHash));
      return use(context, hash);
    });
  }
  // The context alone, for a function that works outside the protected region. Null after a refusal.
  boost::shared_ptr<CCSPContext> FindContext(HCRYPTPROV hProv) const;

 private:
  static DWORD CodeOf(const CryptokiError& error, ModuleFailure policy);

  const char* m_function;
};

// EntryFrame: what all CP... functions have in common: banner and name in the log, the argument lines, refusals, the
// translation of exceptions to last-error codes, and the success line. A function that deviates says how.
#pragma once

#include "common/Platform.h"

#include <cstdint>
#include <string>

#include "common/CCSPContextError.h"
#include "cryptoki/CryptokiError.h"
#include "log/Logs.h"

class EntryFrame {
 public:
  // Logs the banner and the function's name.
  explicit EntryFrame(const char* function) : EntryFrame(function, function) {}
  // The same for a function that is spelled otherwise in its first line.
  EntryFrame(const char* function, const char* firstLine);
  EntryFrame(const EntryFrame&) = delete;
  EntryFrame& operator=(const EntryFrame&) = delete;

  // Argument lines. A label reads "\tdwFlags: \t". Of a wider number, and of a pointer, the low 32 bits are shown.
  void LogNumber(const char* label, std::uint64_t value) const {
    g_entryLog.WriteFormatted(label, static_cast<DWORD>(value), "%08X", true);
  }
  void LogPointer(const char* label, const void* value) const {
    LogNumber(label, reinterpret_cast<std::uintptr_t>(value));
  }
  // What is logged of a pointer: its low 32 bits.
  static DWORD Low32(const void* pointer) { return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(pointer)); }

  // Ends the function: logs the line, sets the last error, false. The code is the system's constant, whatever its type.
  template <typename Code>
  BOOL Refuse(const char* line, Code code) const {
    return RefuseWith(line, static_cast<DWORD>(code));
  }
  // The same for a parameter that the function must read or write and that is null: ERROR_INVALID_PARAMETER.
  BOOL RefuseNull(const char* parameter) const;
  // Ends the function: logs its success, sets the last error to 0, true.
  BOOL Succeed() const;
  // The same with a line of its own.
  BOOL SucceedWith(const char* line) const;

  // Failures of the protected region, by the one rule: a context's error has its own code, the module's is NTE_FAIL
  // whatever its CK_RV.
  BOOL Fail(const CCSPContextError& error) const;
  BOOL Fail(const CryptokiError& error) const;
  // The one place where the module's own code reaches the caller is the enumeration of containers.
  BOOL FailWithModuleCode(const CryptokiError& error) const;

  // Runs the protected region, a function that returns the function's result, with a handler for each of the two.
  // Nothing else is caught.
  template <typename Region>
  BOOL Protect(Region region) const {
    try {
      return region();
    } catch (const CCSPContextError& error) {
      return Fail(error);
    } catch (const CryptokiError& error) {
      return Fail(error);
    }
  }

  // The same with a handler for a context's error alone: the module's leaves the function.
  template <typename Region>
  BOOL ProtectFromContext(Region region) const {
    try {
      return region();
    } catch (const CCSPContextError& error) {
      return Fail(error);
    }
  }

  // The same, but of the module's error the caller sees the CK_RV.
  template <typename Region>
  BOOL ProtectWithModuleCode(Region region) const {
    try {
      return region();
    } catch (const CCSPContextError& error) {
      return Fail(error);
    } catch (const CryptokiError& error) {
      return FailWithModuleCode(error);
    }
  }

 private:
  static BOOL RefuseWith(const char* line, DWORD code);

  const char* m_function;
};

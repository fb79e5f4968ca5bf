// The trace: a text file with one line for each call of the module.
//
//   2031-05-09 17:04:05.123 thread 4711 C_Sign 5.201 ms CKR_OK session=1 dataLen=36 signatureLen=256
//
// Numbers, lengths, handles, and the types and lengths of attributes are written. Bytes never are: neither PINs, whose
// lengths are left out, too, nor keys, data, or values of attributes.
#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <type_traits>

#include "adapter/System.h"
#include "cryptoki/Pkcs11.h"

namespace adapter {

// The name of an entry of the module's table, and those of its arguments: "(session, data, dataLen)".
struct EntryName {
  const char* name;
  const char* arguments;
};

template <auto Entry>
inline constexpr EntryName kEntryName = {};
#define ENTRY(name, parameters, arguments) \
  template <>                              \
  inline constexpr EntryName kEntryName<&CK_FUNCTION_LIST::name> = {#name, #arguments};
#include "cryptoki/CryptokiEntries.inc"

// TracedArguments writes the arguments of a call after it has returned: " session=1 dataLen=36". It writes numbers,
// lengths and types. Of any other pointer it writes only whether it is null, so no PIN, key or data is in the trace.
// Pointers are not const, so that each finds the overload for its type.
class TracedArguments {
 public:
  TracedArguments(const char* names, CK_RV result) : m_names(names), m_result(result) {}

  void Add(CK_ULONG number);
  void Add(CK_BBOOL flag) { Add(CK_ULONG{flag}); }
  void Add(CK_ULONG* number);
  void Add(CK_ATTRIBUTE* attributes);
  void Add(CK_MECHANISM* mechanism);
  template <typename T>
  void Add(T* pointer) {
    AddPointer(pointer == nullptr);
  }

  const std::string& Text() const { return m_text; }

 private:
  void AddPointer(bool isNull);
  std::string NextName();

  const char* m_names;
  const CK_RV m_result;
  const CK_ATTRIBUTE* m_attributes = nullptr;  // those whose number is the next argument
  std::string m_text;
};

// Trace may be used by several threads. A problem with the file never fails the call.
class Trace {
 public:
  // Opens the file for appending.
  explicit Trace(const std::string& path);

  // Note writes a separate line.
  void Note(const std::string& text) noexcept;

  // Run calls a function of the module, writes the line, and returns the result.
  template <typename... P>
  CK_RV Run(const EntryName& entry, CK_RV (*function)(P...), std::common_type_t<P>... arguments) {
    const auto start = std::chrono::steady_clock::now();
    const CK_RV result = function(arguments...);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    try {
      TracedArguments traced(entry.arguments, result);
      (traced.Add(arguments), ...);
      WriteCall(entry.name, time.count(), result, traced.Text());
    } catch (const std::exception&) {  // out of memory
    }
    return result;
  }

 private:
  void WriteCall(const char* name, double milliseconds, CK_RV result, const std::string& arguments);
  void WriteLine(const std::string& text);

  std::mutex m_mutex;
  system::File m_file;
};

}  // namespace adapter

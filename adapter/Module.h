// The ordinary PKCS #11 module below the adapter.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "adapter/Settings.h"
#include "adapter/System.h"
#include "adapter/Trace.h"
#include "cryptoki/Pkcs11.h"

namespace adapter {

// ModuleError explains why the module cannot be used, in one sentence that begins with the module's path.
class ModuleError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Module owns the loaded library and the trace. Its operations may be called by several threads, as far as the module
// allows that.
class Module {
 public:
  // Loads the module, checks its table and calls C_Initialize. A module that is initialised already is accepted. Throws
  // ModuleError, and writes its text to the trace.
  explicit Module(const Settings& settings);

  // The library is unloaded. Stop must have been called before.
  ~Module() = default;
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  // Call calls an entry of the module and returns its result: Call<&CK_FUNCTION_LIST::C_CloseSession>(session).
  template <auto Entry, typename... A>
  CK_RV Call(A... arguments) {
    if (!m_trace) return (m_functions->*Entry)(arguments...);
    return m_trace->Run(kEntryName<Entry>, m_functions->*Entry, arguments...);
  }

  // Stop calls C_Finalize, unless another part of the process had initialised the module. The module cannot be used
  // afterwards.
  void Stop();

 private:
  void Load(const std::string& path);
  void CheckTable(const std::string& path) const;
  void Initialise(const Settings& settings);
  CK_RV InitialiseWith(const std::string& text, CK_FLAGS flags);

  std::unique_ptr<Trace> m_trace;  // null: there is no trace
  system::Library m_library;
  CK_FUNCTION_LIST* m_functions = nullptr;
  bool m_started = false;
};

}  // namespace adapter

#include "adapter/Module.h"

#include "adapter/LibraryHeader.h"
#include "adapter/ResultNames.h"

namespace adapter {
namespace {

#if defined(_WIN32)
constexpr System kSystem = System::Windows;
#else
constexpr System kSystem = System::Linux;
#endif

[[noreturn]] void Fail(const std::string& path, const std::string& reason) { throw ModuleError(path + ": " + reason); }

// Why a library was not loaded: the file shows the reason better than the system's message.
std::string WhyNotLoaded(const std::string& path, const std::string& systemsReason) {
  const std::string named = system::FindLibrary(path);
  const system::File file = system::OpenFile(named, "rb");
  if (!file) return "there is no such file, or it cannot be read (" + systemsReason + ')';
  char bytes[4096] = {};
  const std::size_t length = std::fread(bytes, 1, sizeof bytes, file.get());
  const std::string reason = WhyNotLoadable(std::string_view(bytes, length), kSystem);
  return reason.empty() ? "it cannot be loaded (" + systemsReason + "); a library that it needs may be missing"
                        : "the file " + reason;
}

std::string Version(const CK_VERSION& version) {
  return std::to_string(version.major) + '.' + std::to_string(version.minor);
}

// What may help when C_Initialize fails.
std::string Advice(CK_RV result, const std::string& initialisation) {
  if (result != CKR_ARGUMENTS_BAD && result != CKR_GENERAL_ERROR && result != CKR_FUNCTION_FAILED) return "";
  return initialisation.empty() ? "; it may need an initialisation string ('initialisation' in the settings)"
                                : "; it may not take the initialisation string of the settings, or not this one";
}

// The arguments of C_Initialize. Some modules read the initialisation string from pReserved, and then one more pointer
// after it.
struct InitialiseArguments {
  CK_C_INITIALIZE_ARGS standard;
  void* after;
};

}  // namespace

Module::Module(const Settings& settings) {
  if (!settings.trace.empty()) m_trace = std::make_unique<Trace>(settings.trace);
  if (m_trace) m_trace->Note("the module is " + settings.module);
  try {
    Load(settings.module);
    CheckTable(settings.module);
    Initialise(settings);
  } catch (const ModuleError& error) {
    if (m_trace) m_trace->Note(error.what());
    throw;
  }
}

void Module::Load(const std::string& path) {
  std::string error;
  m_library = system::Load(path, error);
  if (!m_library) Fail(path, WhyNotLoaded(path, error));
  const auto getFunctionList =
      reinterpret_cast<CK_C_GetFunctionList>(system::FindSymbol(m_library, "C_GetFunctionList"));
  if (getFunctionList == nullptr) Fail(path, "the library has no C_GetFunctionList: it is no PKCS #11 module");
  const CK_RV result = getFunctionList(&m_functions);
  if (result != CKR_OK) Fail(path, "C_GetFunctionList answered " + ResultName(result));
  if (m_functions == nullptr) Fail(path, "C_GetFunctionList answered no table");
}

void Module::CheckTable(const std::string& path) const {
  if (m_functions->version.major < 2) {
    Fail(path, "the module has version " + Version(m_functions->version) + " of PKCS #11, and 2.0 is needed");
  }
#define ENTRY(name, parameters, arguments) \
  if (m_functions->name == nullptr) Fail(path, "the module's table lacks " #name);
#include "cryptoki/CryptokiEntries.inc"
}

CK_RV Module::InitialiseWith(const std::string& text, CK_FLAGS flags) {
  InitialiseArguments arguments = {};
  arguments.standard.flags = flags;
  if (!text.empty()) arguments.standard.pReserved = const_cast<char*>(text.c_str());
  return Call<&CK_FUNCTION_LIST::C_Initialize>(&arguments.standard);
}

void Module::Initialise(const Settings& settings) {
  CK_RV result = InitialiseWith(settings.initialisation, CKF_OS_LOCKING_OK);
  // The calls then come one at a time, which is all that such a module needs.
  if (result == CKR_CANT_LOCK) result = InitialiseWith(settings.initialisation, 0);
  m_started = result == CKR_OK;
  if (m_started || result == CKR_CRYPTOKI_ALREADY_INITIALIZED) return;
  Fail(settings.module, "C_Initialize answered " + ResultName(result) + Advice(result, settings.initialisation));
}

void Module::Stop() {
  if (m_started) Call<&CK_FUNCTION_LIST::C_Finalize>(nullptr);
  m_started = false;
}

}  // namespace adapter

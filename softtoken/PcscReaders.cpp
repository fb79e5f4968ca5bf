#include "PcscReaders.h"

#include <dlfcn.h>
#include <winscard.h>

namespace softtoken {

// The library is never unloaded: the process may use it elsewhere.
struct PcscReaders::Library {
  decltype(&::SCardEstablishContext) establish = nullptr;
  decltype(&::SCardReleaseContext) release = nullptr;
  decltype(&::SCardGetStatusChange) getStatusChange = nullptr;
  std::optional<SCARDCONTEXT> context;
};

namespace {

template <typename Function>
void FindFunction(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
}

}  // namespace

PcscReaders::PcscReaders() = default;

PcscReaders::~PcscReaders() { Disconnect(); }

bool PcscReaders::Connect() {
  if (!m_library) {
    void* const handle = ::dlopen("libpcsclite.so.1", RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return false;
    auto library = std::make_unique<Library>();
    FindFunction(handle, "SCardEstablishContext", library->establish);
    FindFunction(handle, "SCardReleaseContext", library->release);
    FindFunction(handle, "SCardGetStatusChange", library->getStatusChange);
    if (!library->establish || !library->release || !library->getStatusChange) return false;
    m_library = std::move(library);
  }
  if (!m_library->context) {
    SCARDCONTEXT context = 0;
    if (m_library->establish(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) != SCARD_S_SUCCESS) return false;
    m_library->context = context;
  }
  return true;
}

void PcscReaders::Disconnect() {
  if (m_library && m_library->context) m_library->release(*m_library->context);
  if (m_library) m_library->context.reset();
}

std::optional<std::uint32_t> PcscReaders::State(const std::string& reader) {
  if (!Connect()) return std::nullopt;
  SCARD_READERSTATE state = {};
  state.szReader = reader.c_str();
  state.dwCurrentState = SCARD_STATE_UNAWARE;  // makes the call return at once
  const LONG result = m_library->getStatusChange(*m_library->context, 0, &state, 1);
  if (result == SCARD_S_SUCCESS) return static_cast<std::uint32_t>(state.dwEventState);
  if (result != SCARD_E_UNKNOWN_READER && result != SCARD_E_TIMEOUT) Disconnect();
  return std::nullopt;
}

}  // namespace softtoken

// CPAcquireContext: the beginning of a context.
#include <array>

#include "common/LibraryInstance.h"
#include "context/TELVOCSPContext.h"
#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

namespace {

void LogProcess() {
  std::array<char, MAX_PATH> module = {};
  GetModuleFileNameA(nullptr, module.data(), static_cast<DWORD>(module.size()));
  module.back() = '\0';  // a path that is too long fills the buffer
  g_entryLog.Write("\tNOTE: Using module: ", module.data(), true);
  g_entryLog.WriteFormatted("\tNOTE: Process Id: ", GetCurrentProcessId(), "%d", true);
}

// True when the container is gone. A failure is only logged.
bool DeleteContainer(CCSPContext& context) {
  try {
    context.DeleteContainer();
    return true;
  } catch (const CryptokiError& error) {
    g_entryLog.WriteLine(error.GetText().c_str());
  } catch (const CCSPContextError& error) {
    g_entryLog.WriteLine(error.GetMessage().c_str());
  }
  return false;
}

// Closes the session of a context when an exception leaves the function: after an allocation failure nothing else
// could.
class SessionCloser {
 public:
  explicit SessionCloser(CCSPContext& context) : m_context(&context) {}
  ~SessionCloser() {
    if (m_context != nullptr) m_context->CloseSession();
  }
  SessionCloser(const SessionCloser&) = delete;
  SessionCloser& operator=(const SessionCloser&) = delete;

  void Leave() { m_context = nullptr; }

 private:
  CCSPContext* m_context;
};

}  // namespace

BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags, void* /*pVTable*/) {
  LogProcess();
  const EntryFrame frame("CPAcquireContext");
  g_entryLog.Write("\tContainer Name: ", szContainer != nullptr ? szContainer : "NULL", true);
  frame.LogNumber("\tdwFlags: \t", dwFlags);
  TELVOCSPContext context(g_libraryInstance);
  if (phProv == nullptr) {
    return frame.Refuse("\nCPAcquireContext Error: Handle is Invalid", ERROR_INVALID_HANDLE);
  }

  SessionCloser closer(context);
  const BOOL initialized = frame.Protect([&] {
    g_entryLog.WriteLine("\nRetrieving Crypto Wrapper");
    const auto cryptoki = CCryptoWrapper::GetCryptoki();
    g_entryLog.WriteLine("\nInitializing Context");
    context.Initialize(szContainer, dwFlags, cryptoki, CCryptoWrapper::GetUseCount());
    return TRUE;
  });
  if (initialized == FALSE) {
    // The failure is in the log already. Closing the session must not change its code. The use count stays raised.
    const DWORD code = GetLastError();
    *phProv = 0;
    context.CloseSession();
    closer.Leave();
    return frame.RefuseLogged(code);
  }
  // Required: a deletion that succeeds leaves *phProv alone; one that fails ends in success and a live handle.
  if ((dwFlags & CRYPT_DELETEKEYSET) != 0 && DeleteContainer(context)) {
    closer.Leave();  // the session in which a container was deleted stays open
    return frame.Succeed();
  }
  *phProv = g_contextList.AddContext(context);
  closer.Leave();
  return frame.Succeed();
}

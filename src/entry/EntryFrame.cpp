#include "entry/EntryFrame.h"

#include <string>

EntryFrame::EntryFrame(const char* function, const char* firstLine) : m_function(function) {
  static const std::string banner = "\n" + std::string(80, '=');
  g_entryLog.WriteLine(banner.c_str());
  g_entryLog.WriteLine(("\n" + std::string(firstLine)).c_str());
}

BOOL EntryFrame::RefuseNull(const char* parameter) const {
  return Refuse(("\n" + std::string(m_function) + " Error: " + parameter + " is NULL").c_str(),
                ERROR_INVALID_PARAMETER);
}

BOOL EntryFrame::Succeed() const { return SucceedWith(("\n" + std::string(m_function) + " Success").c_str()); }

BOOL EntryFrame::SucceedWith(const char* line) const {
  g_entryLog.WriteLine(line);
  return SucceedLogged();
}

BOOL EntryFrame::SucceedLogged() const {
  SetLastError(0);
  return TRUE;
}

boost::shared_ptr<CCSPContext> EntryFrame::FindContext(HCRYPTPROV hProv) const {
  boost::shared_ptr<CCSPContext> context;
  Protect([&] {
    context = g_contextList.FindContext(hProv);
    return TRUE;
  });
  return context;
}

DWORD EntryFrame::CodeOf(const CryptokiError& error, ModuleFailure policy) {
  return policy == ModuleFailure::kOwnCode ? static_cast<DWORD>(error.GetCode()) : static_cast<DWORD>(NTE_FAIL);
}

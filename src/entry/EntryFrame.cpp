#include "entry/EntryFrame.h"

EntryFrame::EntryFrame(const char* function, const char* firstLine) : m_function(function) {
  static const std::string banner = "\n" + std::string(80, '=');
  g_entryLog.WriteLine(banner.c_str());
  g_entryLog.WriteLine(("\n" + std::string(firstLine)).c_str());
}

BOOL EntryFrame::RefuseWith(const char* line, DWORD code) {
  g_entryLog.WriteLine(line);
  SetLastError(code);
  return FALSE;
}

BOOL EntryFrame::RefuseNull(const char* parameter) const {
  return Refuse(("\n" + std::string(m_function) + " Error: " + parameter + " is NULL").c_str(),
                ERROR_INVALID_PARAMETER);
}

BOOL EntryFrame::Succeed() const { return SucceedWith(("\n" + std::string(m_function) + " Success").c_str()); }

BOOL EntryFrame::SucceedWith(const char* line) const {
  g_entryLog.WriteLine(line);
  SetLastError(0);
  return TRUE;
}

BOOL EntryFrame::Fail(const CCSPContextError& error) const {
  return Refuse(error.GetMessage().c_str(), error.GetCode());
}

BOOL EntryFrame::Fail(const CryptokiError& error) const { return Refuse(error.GetText().c_str(), NTE_FAIL); }

BOOL EntryFrame::FailWithModuleCode(const CryptokiError& error) const {
  return Refuse(error.GetText().c_str(), error.GetCode());
}

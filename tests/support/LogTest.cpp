#include "LogTest.h"

#include <new>

#include "LogLines.h"
#include "log/Logs.h"

std::string Line(const std::string& text) { return LogLine(text); }

std::string Value(const std::string& label, const std::string& value) { return LogValue(label, value); }

namespace {

void Restart(CCSPLog& log, DWORD limit) { new (&log) CCSPLog(limit); }

// Only Windows writes two characters; on the host such a pair stands in an item itself.
std::string WithSingleLineEnds(std::string text) {
#if defined(_WIN32)
  for (std::size_t i = text.find("\r\n"); i != std::string::npos; i = text.find("\r\n", i)) text.erase(i, 1);
#endif
  return text;
}

}  // namespace

void RestartLogs() {
  for (CCSPLog* log : {&g_pinCacheLog, &g_entryLog, &g_changePwdLog, &g_contextLog, &g_loginLog, &g_secretKeyLog,
                       &g_cryptokiLog, &g_unusedLog, &g_objectLog, &g_sessionLog, &g_certificateLog}) {
    Restart(*log, 200000);
  }
  Restart(g_hashLog, 2147483647);
}

LogTest::LogTest() : m_logFile(m_folder.File("csp.log")) {
  m_registry.SetText(kProductKey, "CSPLOG", "1");
  m_registry.SetText(kProductKey, "CSPDIR", m_logFile);
  g_logStarted = 1;
  RestartLogs();
}

LogTest::~LogTest() {
  m_registry.SetText(kProductKey, "CSPLOG", "0");
  RestartLogs();
}

std::string LogTest::TakeLog() {
  const std::string bytes = LogBytes();
  const std::string fresh = bytes.substr(m_taken);
  m_taken = bytes.size();
  return WithSingleLineEnds(fresh);
}

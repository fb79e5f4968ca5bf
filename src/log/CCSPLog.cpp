#include "log/CCSPLog.h"

#include <algorithm>
#include <boost/format.hpp>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <new>
#include <string>

#include "common/BytesAsText.h"
#include "common/FormatNumber.h"
#include "log/LogLock.h"
#include "settings/Settings.h"

BYTE g_logStarted = 0;

namespace {

constexpr const Setting& kSwitch = SettingNamed("CSPLOG");
constexpr const Setting& kFile = SettingNamed("CSPDIR");
constexpr std::size_t kBytesPerRow = 16;

void AppendDumpRow(std::string& dump, const BYTE* data, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) AppendHex(dump, data[i]);
  dump += '\t';
  for (std::size_t i = 0; i < length; ++i) dump += IsPlain(data[i]) ? static_cast<char>(data[i]) : '.';
  dump += '\n';
}

// One call writes the text in one piece, so that items of other threads and processes come before it or
// after it.
void Put(std::ostream& file, std::string& text) {
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  text.clear();
}

// Logging does not change the last error, which the caller may read afterwards.
class LastErrorKept {
 public:
  LastErrorKept() : m_code(GetLastError()) {}
  ~LastErrorKept() { SetLastError(m_code); }
  LastErrorKept(const LastErrorKept&) = delete;
  LastErrorKept& operator=(const LastErrorKept&) = delete;

 private:
  DWORD m_code;
};

// Long data is written in pieces: as one string it would take several times its own memory.
void PutWhenLong(std::ostream& file, std::string& text) {
  constexpr std::size_t kPiece = std::size_t{256} * 1024;
  if (text.size() >= kPiece) Put(file, text);
}

}  // namespace

void ReportStreamState(const std::ios& stream, std::ostream& errors) {
  const std::ios::iostate state = stream.rdstate();
  if ((state & std::ios::eofbit) != 0) errors << "EOF BIT\n";
  if ((state & std::ios::failbit) != 0) errors << "FAIL BIT\n";
  if ((state & std::ios::badbit) != 0) errors << "BAD BIT\n";
}

CCSPLog::CCSPLog(DWORD maxLines) : m_fileName{}, m_lineCount(0), m_lineLimit(maxLines), m_enabled(0) {
  m_enabled = Settings().IsOn(kSwitch) ? 1 : 0;
  // Required: an object without a file name writes no start line. The next object with one writes it.
  if (m_enabled != 0 && !ReadFileName()) return;
  if (g_logStarted == 0) WriteStartLine();
  m_lineCount = 0;
}

bool CCSPLog::ReadFileName() {
  const StoredSetting stored = Settings().Read(kFile);
  // A value as long as the limit and without a terminating zero loses its last byte.
  std::memcpy(m_fileName, stored.text, sizeof(m_fileName) - 1);
  return stored.IsUsed();
}

void CCSPLog::WriteStartLine() {
  const std::time_t now = std::time(nullptr);
  const std::string line =
      (boost::format("\n\n****************************** LOG START - %s ******************************") %
       std::ctime(&now))
          .str();
  Write(line.c_str(), " ", true);
  // Required: set also when logging is off and nothing was written.
  g_logStarted = 1;
}

bool CCSPLog::IsExhausted() const { return m_lineCount >= m_lineLimit; }

template <typename Body>
bool CCSPLog::WithFile(Body body) {
  if (IsOff()) return false;
  const LastErrorKept lastError;
  try {
    std::ofstream file(m_fileName, std::ios::out | std::ios::app);
    if (file.fail()) return false;
    if (!file.is_open()) {
      ReportStreamState(file, std::cerr);
      return false;
    }
    const LogLock lock;
    body(file);
    file.flush();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// Without a file name nothing is written; with logging off there is none.
bool CCSPLog::IsOff() const { return m_fileName[0] == '\0'; }

void CCSPLog::Write(const char* label, const char* value, bool newline) {
  if (IsExhausted()) return;
  const bool written = WithFile([&](std::ostream& file) {
    std::string item;
    item.append(label).append(1, ' ').append(value).append(1, ' ').append(1, newline ? '\n' : '\0');
    Put(file, item);
  });
  if (written) ++m_lineCount;
}

void CCSPLog::WriteLine(const char* text) { Write(text, " ", true); }

void CCSPLog::WriteHex(const char* label, DWORD value, bool newline) { WriteFormatted(label, value, "%0X", newline); }

void CCSPLog::WriteFormatted(const char* label, DWORD value, const char* format, bool newline) {
  if (IsOff()) return;
  std::string number;
  try {
    number = FormatNumber(format, value);
  } catch (const std::bad_alloc&) {
    return;
  }
  Write(label, number.c_str(), newline);
}

void CCSPLog::WriteDecimal(const char* label, DWORD value, bool newline) {
  WriteFormatted(label, value, "%d", newline);
}

void CCSPLog::WriteBytes(const char* label, const BYTE* data, DWORD length, bool newline) {
  if (IsExhausted()) return;
  WithFile([&](std::ostream& file) {
    std::string text = label;
    for (std::size_t i = 0; i < length; ++i) {
      AppendHex(text, data[i]);
      text += ' ';
      PutWhenLong(file, text);
    }
    if (newline) text += '\n';
    Put(file, text);
  });
}

void CCSPLog::WriteHexDump(const BYTE* data, DWORD length) {
  if (IsExhausted()) return;
  WithFile([&](std::ostream& file) {
    std::string text;
    for (std::size_t offset = 0; offset < length; offset += kBytesPerRow) {
      AppendDumpRow(text, data + offset, std::min<std::size_t>(kBytesPerRow, length - offset));
      PutWhenLong(file, text);
    }
    Put(file, text);
  });
}

void CCSPLog::WriteTLV(const char* heading, DWORD tag, DWORD length, const BYTE* value) {
  WriteLine(heading);
  WriteHex("Tag", tag, false);
  WriteHex(" Length", length, false);
  WriteHex(" Value", static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(value)), true);
  if (value != nullptr) WriteBytes("", value, length, true);
}

bool CCSPLog::SetEnabled(bool enabled) {
  if (WriteRegistryValue(kSwitch.name, enabled ? "00000001" : "00000000", 8)) m_enabled = enabled ? 1 : 0;
  return true;
}

bool CCSPLog::ReadRegistryValue(const char* name, BYTE* buffer, DWORD* length) {
  return Settings().ReadValue(name, buffer, length) == ERROR_SUCCESS;
}

bool CCSPLog::WriteRegistryValue(const char* name, const void* data, DWORD length) {
  return Settings().WriteString(name, data, length) == ERROR_SUCCESS;
}

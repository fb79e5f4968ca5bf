// CCSPLog: the provider's text trace, its only diagnostic.
//
// Each source module owns one process-wide object (log/Logs.h), and all of them append to one file. Whether
// and where is read from the registry when an object is constructed: `CSPLOG`, a decimal number in text,
// switches logging on when it is not zero; `CSPDIR` is the complete path of the file. Callers log
// unconditionally; the object decides. A failure to log is never reported: the item vanishes.
//
// The file is opened and closed for each item, so that it can be read while it grows and several processes
// can append to it. Items of two threads or processes may alternate. On Windows line ends are written as CR
// LF.
#pragma once

#include "common/Platform.h"

#include <atomic>
#include <iosfwd>

// Set once a log object has tried to write the start line of this process, so that the file gets one and not
// one an object.
extern BYTE g_logStarted;

class CCSPLog {
 public:
  // Reads the settings and, as the first of the process, writes the start line. The object writes `maxLines`
  // items and is silent for good afterwards.
  explicit CCSPLog(DWORD maxLines);

  // Write appends `label`, a blank, `value`, a blank, and a line end, or a zero byte when `newline` is false.
  // It counts as one item, as do the operations down to WriteDecimal that are built on it.
  void Write(const char* label, const char* value, bool newline);
  // WriteLine is Write with a value of one blank: the line ends in three blanks.
  void WriteLine(const char* text);
  // WriteHex shows `value` with "%0X", WriteDecimal with "%d", WriteFormatted with the given format of one
  // number.
  void WriteHex(const char* label, DWORD value, bool newline);
  void WriteFormatted(const char* label, DWORD value, const char* format, bool newline);
  void WriteDecimal(const char* label, DWORD value, bool newline);

  // WriteBytes appends `label` and then each byte as two upper-case hexadecimal digits and a blank. Not
  // counted.
  void WriteBytes(const char* label, const BYTE* data, DWORD length, bool newline);
  // WriteHexDump appends rows of sixteen bytes: hexadecimal digits, a tab, and the bytes as text, where
  // everything outside '!' to '~' shows as a dot. The last row is not padded. Not counted.
  void WriteHexDump(const BYTE* data, DWORD length);
  // WriteTLV appends a heading, the three parts in hexadecimal (of `value` the low 32 bits of its address),
  // and the bytes of a `value` that is not null.
  void WriteTLV(const char* heading, DWORD tag, DWORD length, const BYTE* value);

  // The number of items after which the object is silent.
  DWORD GetLineLimit() const { return m_lineLimit; }

  // SetEnabled stores the switch in the registry for processes to come. Always true.
  bool SetEnabled(bool enabled);
  // ReadRegistryValue reads `name` below the product's key into `buffer` of `*length` bytes; `*length`
  // becomes the value's length. False when no key opens or the value is absent or longer.
  bool ReadRegistryValue(const char* name, BYTE* buffer, DWORD* length);
  // WriteRegistryValue stores `length` bytes as a string value. False when no key opens or the value cannot
  // be set.
  bool WriteRegistryValue(const char* name, const void* data, DWORD length);

 private:
  bool IsExhausted() const;
  bool IsOff() const;
  bool ReadFileName();
  void WriteStartLine();
  // Opens the file for appending and hands it to `body`; false when it cannot be opened.
  template <typename Body>
  bool WithFile(Body body);

  // All zero until the constructor ran, and then an exhausted object: other static objects may log before
  // that.
  char m_fileName[MAX_PATH];
  std::atomic<DWORD> m_lineCount;
  DWORD m_lineLimit;
  DWORD m_enabled;
};

// ReportStreamState names on `errors`, one a line, the state bits of a file stream that neither failed nor
// opened.
void ReportStreamState(const std::ios& stream, std::ostream& errors);

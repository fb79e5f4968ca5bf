// CCSPLog: the provider's text trace, its only diagnostic.
//
// Each source module owns one process-wide object (log/Logs.h), and all of them append to one file. Whether
// and where they write is read from the registry when an object is constructed: `CSPLOG`, a string with a
// decimal number, switches logging on when it is not zero; `CSPDIR` is the complete path of the file. Callers
// always log, and the object decides whether to write. A failure is never reported: the item is lost. An item
// that finds no memory does not throw: destructors log, too.
//
// The file is opened and closed for each item, so that it can be read while it grows and several processes
// can append to it. Items of two threads or processes may alternate. On Windows line ends are written as CR
// LF.
#pragma once

#include "common/Platform.h"

#include <atomic>
#include <iosfwd>

// Not 0 once a log object has tried to write the start line of this process: there is one such line for all
// objects.
extern BYTE g_logStarted;

class CCSPLog {
 public:
  // Reads the settings. The first object of the process also writes the start line. After `maxLines` items the
  // object writes nothing more.
  explicit CCSPLog(DWORD maxLines);

  // Write appends `label`, a space, `value`, a space, and a line end, or a zero byte when `newline` is false.
  // It counts as one item. So do the operations down to WriteDecimal, which call it.
  void Write(const char* label, const char* value, bool newline);
  // WriteLine is Write with a value of one space: the line ends in three spaces.
  void WriteLine(const char* text);
  // WriteHex shows `value` with "%0X", WriteDecimal with "%d", WriteFormatted with the given format of one
  // number.
  void WriteHex(const char* label, DWORD value, bool newline);
  void WriteFormatted(const char* label, DWORD value, const char* format, bool newline);
  void WriteDecimal(const char* label, DWORD value, bool newline);

  // WriteBytes appends `label` and then each byte as two upper-case hexadecimal digits and a space. Not
  // counted.
  void WriteBytes(const char* label, const BYTE* data, DWORD length, bool newline);
  // WriteHexDump appends rows of sixteen bytes: hexadecimal digits, a tab, and the bytes as characters, where
  // everything outside '!' to '~' is a dot. The last row is not padded. Not counted.
  void WriteHexDump(const BYTE* data, DWORD length);
  // WriteTLV appends a heading, tag, length and the low 32 bits of the address `value` in hexadecimal, and then
  // the bytes of a `value` that is not null.
  void WriteTLV(const char* heading, DWORD tag, DWORD length, const BYTE* value);

  // The number of items after which the object writes nothing more.
  DWORD GetLineLimit() const { return m_lineLimit; }

  // SetEnabled stores the switch in the registry for later processes. Always true.
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
  // Opens the file for appending and hands it to `body`; false when it cannot be opened, or when there is no memory.
  template <typename Body>
  bool WithFile(Body body);

  // Other static objects may log before the constructor runs. The object is zero-initialised before
  // construction, so its limit is 0 and it writes nothing.
  char m_fileName[MAX_PATH];
  std::atomic<DWORD> m_lineCount;
  DWORD m_lineLimit;
  DWORD m_enabled;
};

// ReportStreamState writes the state bits of a stream to `errors`, one a line. For a file that is not open although no
// failure was reported.
void ReportStreamState(const std::ios& stream, std::ostream& errors);

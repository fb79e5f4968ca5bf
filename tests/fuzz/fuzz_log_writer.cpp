// The log with items in any order, compared byte for byte with what printf makes of the same numbers and bytes. Also
// after the object's last item.
#include <cstdint>
#include <cstdio>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>

#include "Must.h"
#include "log/CCSPLog.h"
#include "module/ScriptedObjects.h"
#include "platform/TestRegistry.h"

namespace {

template <typename... Values>
std::string Printed(const char* format, Values... values) {
  char text[600];
  std::snprintf(text, sizeof(text), format, values...);
  return text;
}

// The file to which all inputs log.
class LogFolder {
 public:
  LogFolder() : m_file(m_folder.File("csp.log")) {
    m_registry.SetText(kProductKey, "CSPDIR", m_file);
    m_registry.SetText(kProductKey, "CSPLOG", "1");
  }
  const std::string& File() const { return m_file; }
  TestRegistry& Registry() { return m_registry; }

 private:
  TestRegistry m_registry;
  TempFolder m_folder;
  std::string m_file;
};

LogFolder& Folder() {
  static LogFolder folder;
  return folder;
}

// A log, and the expected contents of its file.
class Writer {
 public:
  explicit Writer(FuzzedDataProvider& data)
      : m_data(data), m_limit(data.ConsumeBool() ? 200000 : data.ConsumeIntegralInRange<DWORD>(0, 6)), m_log(m_limit) {
    Must(m_log.GetLineLimit() == m_limit);
  }

  void Step() {
    const std::string label = Text();
    const auto number = m_data.ConsumeIntegral<DWORD>();
    const bool newline = m_data.ConsumeBool();
    switch (m_data.ConsumeIntegralInRange(0, 7)) {
      case 0:
        m_log.WriteLine(label.c_str());
        return Item(label, " ", true);
      case 1:
        m_log.WriteHex(label.c_str(), number, newline);
        return Item(label, Printed("%X", number), newline);
      case 2:
        m_log.WriteDecimal(label.c_str(), number, newline);
        return Item(label, Printed("%u", number), newline);
      case 3:
        m_log.WriteFormatted(label.c_str(), number, "%08X", newline);
        return Item(label, Printed("%08X", number), newline);
      case 4:
        return WriteBytes(label, newline);
      case 5:
        return WriteDump();
      case 6:
        return WriteTLV(label, number);
      default: {
        const std::string value = Text();
        m_log.Write(label.c_str(), value.c_str(), newline);
        return Item(label, value, newline);
      }
    }
  }

  const std::string& Expected() const { return m_expected; }

 private:
  std::string Text() { return m_data.ConsumeRandomLengthString(40).c_str(); }
  Bytes SomeBytes() {
    // Long data is written in pieces.
    const bool isLong = m_data.ConsumeIntegralInRange(0, 255) == 255;
    const auto length = m_data.ConsumeIntegralInRange<std::size_t>(0, 50);
    return isLong ? Bytes(100000 + length, 0x41) : m_data.ConsumeBytes<unsigned char>(length);
  }

  void Item(const std::string& label, const std::string& value, bool newline) {
    if (m_items == m_limit) return;
    ++m_items;
    m_expected += label + ' ' + value + ' ' + (newline ? '\n' : '\0');
  }

  // Text that does not count as an item.
  void Uncounted(const std::string& text) {
    if (m_items < m_limit) m_expected += text;
  }

  static std::string InDigits(const Bytes& bytes, const char* format) {
    std::string text;
    for (const unsigned char byte : bytes) text += Printed(format, static_cast<unsigned>(byte));
    return text;
  }

  void WriteBytes(const std::string& label, bool newline) {
    const Bytes bytes = SomeBytes();
    m_log.WriteBytes(label.c_str(), bytes.data(), static_cast<DWORD>(bytes.size()), newline);
    Uncounted(label + InDigits(bytes, "%02X ") + (newline ? "\n" : ""));
  }

  void WriteDump() {
    const Bytes bytes = SomeBytes();
    m_log.WriteHexDump(bytes.data(), static_cast<DWORD>(bytes.size()));
    std::string text;
    for (std::size_t start = 0; start < bytes.size(); start += 16) {
      const std::size_t end = std::min<std::size_t>(start + 16, bytes.size());
      const Bytes row(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                      bytes.begin() + static_cast<std::ptrdiff_t>(end));
      text += InDigits(row, "%02X") + '\t';
      for (const unsigned char byte : row) text += byte > 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
      text += '\n';
    }
    Uncounted(text);
  }

  void WriteTLV(const std::string& heading, DWORD tag) {
    const Bytes bytes = m_data.ConsumeBool() ? Bytes() : Bytes(5, 0xAB);
    const auto length = static_cast<DWORD>(bytes.size());
    m_log.WriteTLV(heading.c_str(), tag, length, bytes.data());
    Item(heading, " ", true);
    Item("Tag", Printed("%X", tag), false);
    Item(" Length", Printed("%X", length), false);
    Item(" Value", Printed("%X", static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(bytes.data()))), true);
    if (bytes.data() != nullptr) Uncounted(InDigits(bytes, "%02X ") + "\n");
  }

  FuzzedDataProvider& m_data;
  DWORD m_limit;
  CCSPLog m_log;
  DWORD m_items = 0;
  std::string m_expected;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const std::string& file = Folder().File();
  g_logStarted = 1;
  WriteFile(file, "");
  Writer writer(data);
  constexpr int kMostItems = 60;
  for (int i = 0; i < kMostItems && data.remaining_bytes() > 0; ++i) writer.Step();
  Must(ReadFile(file) == writer.Expected());
  return 0;
}

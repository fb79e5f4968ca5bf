// The registry of the host build: one text file, named by the environment variable TELVO_REGISTRY. Each call reads it
// again.
//
//   [SOFTWARE\Maker\Product]
//   NAME=sz:text to the end of the line
//   NUMBER=dword:0000000a
//   BYTES=hex:0102ff
//
// Keys are below HKEY_LOCAL_MACHINE. Key and value names are case-insensitive. An "sz" value is stored without
// its terminating zero and returned with it. "hex" stores a string whose bytes do not end in a zero (type REG_SZ, as
// the provider itself writes it) or that does not fit into one line. A value that cannot be read counts as missing.
#include <windows.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <strings.h>
#include <vector>

struct HostRegistryKey {
  std::string path;
};

namespace {

using Lines = std::vector<std::string>;

struct Value {
  DWORD type = REG_SZ;
  std::vector<BYTE> data;
};

bool SameName(const std::string& left, const char* right) { return strcasecmp(left.c_str(), right) == 0; }

Lines ReadLines() {
  Lines lines;
  const char* fileName = std::getenv("TELVO_REGISTRY");
  if (fileName == nullptr) return lines;
  std::ifstream file(fileName);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

bool WriteLines(const Lines& lines) {
  const char* fileName = std::getenv("TELVO_REGISTRY");
  if (fileName == nullptr) return false;
  std::ofstream file(fileName, std::ios::trunc);
  for (const std::string& line : lines) file << line << '\n';
  return file.good();
}

bool IsSection(const std::string& line) { return line.size() >= 2 && line.front() == '[' && line.back() == ']'; }

// The index of the line after the key's header.
std::optional<std::size_t> FindKey(const Lines& lines, const std::string& path) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (IsSection(lines[i]) && SameName(lines[i].substr(1, lines[i].size() - 2), path.c_str())) return i + 1;
  }
  return std::nullopt;
}

// The index of the line with the value. The values of its key begin at line `begin`.
std::optional<std::size_t> FindValue(const Lines& lines, std::size_t begin, const char* name) {
  for (std::size_t i = begin; i < lines.size() && !IsSection(lines[i]); ++i) {
    const std::size_t equals = lines[i].find('=');
    if (equals != std::string::npos && SameName(lines[i].substr(0, equals), name)) return i;
  }
  return std::nullopt;
}

bool FromHex(const std::string& digits, std::vector<BYTE>& bytes) {
  bytes.resize(digits.size() / 2);
  const char* pair = digits.data();
  for (BYTE& byte : bytes) {
    if (std::from_chars(pair, pair + 2, byte, 16).ptr != pair + 2) return false;
    pair += 2;
  }
  return digits.size() % 2 == 0;
}

std::string ToHex(const BYTE* data, DWORD length) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (DWORD i = 0; i < length; ++i) {
    text += kDigits[data[i] >> 4U];
    text += kDigits[data[i] & 15U];
  }
  return text;
}

bool ParseValue(const std::string& text, Value& value) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  const std::string kind = text.substr(0, colon);
  const std::string rest = text.substr(colon + 1);
  if (kind == "sz") {
    value.data.assign(rest.begin(), rest.end());
    value.data.push_back(0);
  } else if (kind == "dword") {
    const DWORD number = static_cast<DWORD>(std::strtoul(rest.c_str(), nullptr, 16));
    value.type = REG_DWORD;
    value.data.resize(sizeof(number));
    std::memcpy(value.data.data(), &number, sizeof(number));
  } else {
    return kind == "hex" && FromHex(rest, value.data);
  }
  return true;
}

std::string FormatValue(DWORD type, const BYTE* data, DWORD length) {
  if (type == REG_DWORD && length == sizeof(DWORD)) {
    DWORD number = 0;
    std::memcpy(&number, data, sizeof(number));
    std::ostringstream text;
    text << "dword:" << std::hex << number;
    return text.str();
  }
  const bool plainText = length > 0 && data[length - 1] == 0 && std::memchr(data, 0, length) == data + length - 1 &&
                         std::memchr(data, '\n', length) == nullptr;
  if (plainText) return "sz:" + std::string(reinterpret_cast<const char*>(data), length - 1);
  return "hex:" + ToHex(data, length);
}

}  // namespace

LSTATUS RegOpenKeyA(HKEY key, LPCSTR subKey, PHKEY result) {
  if (key != HKEY_LOCAL_MACHINE) return static_cast<LSTATUS>(ERROR_INVALID_HANDLE);
  if (!FindKey(ReadLines(), subKey)) return ERROR_FILE_NOT_FOUND;
  *result = std::make_unique<HostRegistryKey>(HostRegistryKey{subKey}).release();
  return ERROR_SUCCESS;
}

LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD length) {
  const Lines lines = ReadLines();
  const std::optional<std::size_t> begin = FindKey(lines, key->path);
  const std::optional<std::size_t> line = begin ? FindValue(lines, *begin, name) : std::nullopt;
  Value value;
  if (!line || !ParseValue(lines[*line].substr(lines[*line].find('=') + 1), value)) return ERROR_FILE_NOT_FOUND;
  const DWORD room = *length;
  *length = static_cast<DWORD>(value.data.size());
  if (type != nullptr) *type = value.type;
  if (data == nullptr) return ERROR_SUCCESS;
  if (room < value.data.size()) return static_cast<LSTATUS>(ERROR_MORE_DATA);
  std::copy(value.data.begin(), value.data.end(), data);
  return ERROR_SUCCESS;
}

LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD, DWORD type, const BYTE* data, DWORD length) {
  Lines lines = ReadLines();
  const std::optional<std::size_t> begin = FindKey(lines, key->path);
  if (!begin) return ERROR_FILE_NOT_FOUND;
  const std::string text = std::string(name) + "=" + FormatValue(type, data, length);
  if (const std::optional<std::size_t> line = FindValue(lines, *begin, name)) {
    lines[*line] = text;
  } else {
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(*begin), text);
  }
  return WriteLines(lines) ? ERROR_SUCCESS : static_cast<LSTATUS>(ERROR_ACCESS_DENIED);
}

LSTATUS RegCloseKey(HKEY key) {
  const std::unique_ptr<HostRegistryKey> owned(key);
  return ERROR_SUCCESS;
}

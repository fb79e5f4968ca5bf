#include "pkcs11/SettingsFile.h"

#include <charconv>
#include <utility>

namespace pkcs11 {

SettingsFile::SettingsFile(std::string fileName, std::string block)
    : m_fileName(std::move(fileName)), m_block(std::move(block)) {}

void SettingsFile::Walk(std::string_view text) {
  while (!text.empty()) {
    ++m_line;
    const std::size_t end = text.find('\n');
    ReadLine(Trimmed(text.substr(0, end)));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

void SettingsFile::ReadLine(std::string_view line) {
  if (line.empty() || line.front() == '#' || line.front() == ';') return;
  if (line.front() == '[') return ReadBlock(line);
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) Fail("this is neither 'key = value' nor " + m_block);
  const std::string name(Trimmed(line.substr(0, equals)));
  const std::string_view value = Trimmed(line.substr(equals + 1));
  if (value.empty()) Fail('\'' + name + "' has no value");
  ReadKey(name, value);
}

void SettingsFile::ReadBlock(std::string_view line) {
  if (line != m_block) Fail("unknown block " + std::string(line));
  BeginBlock();
  m_seen.clear();
  m_blockLine = m_line;
}

void SettingsFile::ReadKey(const std::string& name, std::string_view value) {
  const bool inBlock = m_blockLine != 0;
  const ReadValue read = FindKey(name, inBlock);
  if (!read) Fail("unknown key '" + name + (inBlock ? "' in a " : "' before the first ") + m_block);
  if (!m_seen.insert(name).second) Fail('\'' + name + "' is given twice");
  read(value);
}

void SettingsFile::Fail(const std::string& message) const { FailAt(m_line, message); }
void SettingsFile::FailInBlock(const std::string& message) const { FailAt(m_blockLine, message); }

void SettingsFile::FailAt(std::size_t line, const std::string& message) const {
  throw SettingsError(m_fileName + ':' + std::to_string(line) + ": " + message);
}

std::string SettingsFile::Text(std::string_view value, std::size_t limit) const {
  if (value.size() > limit) Fail("the value has more than " + std::to_string(limit) + " bytes");
  return std::string(value);
}

bool SettingsFile::ReadNumber(std::string_view value, unsigned most, unsigned& number) {
  const char* const end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, number);
  return error == std::errc() && stop == end && number >= 1 && number <= most;
}

std::string_view SettingsFile::Trimmed(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\r";
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

}  // namespace pkcs11

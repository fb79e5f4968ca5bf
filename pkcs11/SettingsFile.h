// Settings files: lines `key = value`, comments that begin with # or ;, and blocks that begin with a line like [slot].
#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

namespace pkcs11 {

// SettingsError names the file and line that cannot be used: "FILE:LINE: reason".
class SettingsError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// SettingsFile reads the lines of a file once. A derived class knows the keys. Every error names the current line.
class SettingsFile {
 public:
  // `block` is the line that begins a block, such as "[slot]". The keys before the first block are those of the file.
  SettingsFile(std::string fileName, std::string block);
  virtual ~SettingsFile() = default;
  SettingsFile(const SettingsFile&) = delete;
  SettingsFile& operator=(const SettingsFile&) = delete;

 protected:
  using ReadValue = std::function<void(std::string_view value)>;

  void Walk(std::string_view text);

  // BeginBlock is called for the line that begins a block. FindKey returns the function that reads the value of a key,
  // and an empty function for an unknown key. A key may occur once before the first block, and once in each block.
  virtual void BeginBlock() = 0;
  virtual ReadValue FindKey(const std::string& name, bool inBlock) = 0;

  // Fail names the current line, and FailInBlock the line that began the block. Both throw SettingsError.
  [[noreturn]] void Fail(const std::string& message) const;
  [[noreturn]] void FailInBlock(const std::string& message) const;

  // Text returns a value of at most `limit` bytes.
  std::string Text(std::string_view value, std::size_t limit) const;

  // Whether the value is a number from 1 to `most`; if so, it is stored in `number`.
  static bool ReadNumber(std::string_view value, unsigned most, unsigned& number);

  // The string without the white space around it.
  static std::string_view Trimmed(std::string_view text);

  // FindRow looks a key up in a table of rows {name, member function that reads the value}.
  template <typename Parser, typename Row, std::size_t count>
  static ReadValue FindRow(Parser& parser, const Row (&rows)[count], const std::string& name) {
    for (const Row& row : rows) {
      if (row.name == name) return [&parser, &row](std::string_view value) { (parser.*row.read)(value); };
    }
    return nullptr;
  }

 private:
  [[noreturn]] void FailAt(std::size_t line, const std::string& message) const;
  void ReadLine(std::string_view line);
  void ReadBlock(std::string_view line);
  void ReadKey(const std::string& name, std::string_view value);

  const std::string m_fileName, m_block;
  std::size_t m_line = 0, m_blockLine = 0;
  std::set<std::string> m_seen;
};

}  // namespace pkcs11

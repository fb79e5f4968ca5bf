// TempFolder: a folder for one test, deleted with the object.
#pragma once

#include <filesystem>
#include <string>

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string File(const std::string& name) const { return (m_path / name).string(); }

 private:
  std::filesystem::path m_path;
};

// The bytes of a file from the offset `from` on; empty when there is no file.
std::string ReadFile(const std::string& name, std::size_t from = 0);
void WriteFile(const std::string& name, const std::string& content);

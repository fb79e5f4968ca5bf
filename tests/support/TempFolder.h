// TempFolder: a folder of the test's own, gone with the object.
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

// The whole of a file, byte for byte; empty when there is none.
std::string ReadFile(const std::string& name);
void WriteFile(const std::string& name, const std::string& content);

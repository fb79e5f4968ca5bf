#include "platform/TempFolder.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <random>

namespace {

std::string UniqueName() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  return "telvo-test-" + std::to_string(now) + "-" + std::to_string(std::random_device()());
}

}  // namespace

TempFolder::TempFolder() : m_path(std::filesystem::temp_directory_path() / UniqueName()) {
  std::filesystem::create_directories(m_path);
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string ReadFile(const std::string& name, std::size_t from) {
  std::ifstream file(name, std::ios::binary | std::ios::ate);
  if (!file) return {};
  const auto length = static_cast<std::size_t>(file.tellg());
  std::string content(length > from ? length - from : 0, ' ');
  file.seekg(static_cast<std::streamoff>(from));
  file.read(content.data(), static_cast<std::streamsize>(content.size()));
  return content;
}

void WriteFile(const std::string& name, const std::string& content) {
  std::ofstream(name, std::ios::binary) << content;
}

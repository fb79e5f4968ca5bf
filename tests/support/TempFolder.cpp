#include "TempFolder.h"

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

std::string ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& name, const std::string& content) {
  std::ofstream(name, std::ios::binary) << content;
}

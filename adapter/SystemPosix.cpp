#include <chrono>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "adapter/System.h"

namespace adapter::system {

std::optional<std::string> Environment(const char* name) {
  const char* const value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

std::optional<std::string> RegistryText(const char* /*name*/) { return std::nullopt; }

std::string LibraryFolder() {
  Dl_info info = {};
  if (::dladdr(reinterpret_cast<const void*>(&LibraryFolder), &info) == 0 || info.dli_fname == nullptr) return ".";
  const std::string path = info.dli_fname;
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

bool IsSeparator(char c) { return c == '/'; }
bool IsAbsolute(const std::string& path) { return !path.empty() && path.front() == '/'; }

File OpenFile(const std::string& path, const char* mode) {
  // This flag keeps a child process from inheriting the file.
  return File(std::fopen(path.c_str(), (std::string(mode) + 'e').c_str()));
}

Library Load(const std::string& path, std::string& error) {
  Library library(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (!library) error = ::dlerror();
  return library;
}

void Unload::operator()(void* handle) const { ::dlclose(handle); }

void* FindSymbol(const Library& library, const char* name) { return ::dlsym(library.get(), name); }

std::string FindLibrary(const std::string& name) { return name; }

void StayLoaded() {
  Dl_info info = {};
  if (::dladdr(reinterpret_cast<const void*>(&StayLoaded), &info) == 0 || info.dli_fname == nullptr) return;
  ::dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

std::uint64_t ThreadNumber() { return static_cast<std::uint64_t>(::syscall(SYS_gettid)); }

std::string LocalTime() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
  std::tm local = {};
  ::localtime_r(&seconds, &local);
  char text[64] = {};
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  static_cast<void>(
      std::snprintf(text + length, sizeof text - length, ".%03d", static_cast<int>(sinceEpoch.count() % 1000)));
  return text;
}

}  // namespace adapter::system

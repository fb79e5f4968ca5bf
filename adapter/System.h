// What the adapter needs from the platform. Names and paths are UTF-8. SystemWindows.cpp and SystemPosix.cpp are the
// two ports.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace adapter::system {

// Environment returns a variable; no value if it is not set or empty.
std::optional<std::string> Environment(const char* name);

// RegistryText returns a string value below the product's registry key; no value where there is none, as on Linux.
std::optional<std::string> RegistryText(const char* name);

// LibraryFolder returns the folder of the file that contains this code.
std::string LibraryFolder();

// Whether a path begins at a root or a drive, and whether a character separates folders.
bool IsAbsolute(const std::string& path);
bool IsSeparator(char c);

struct CloseFile {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// OpenFile is std::fopen: null if the file cannot be opened.
File OpenFile(const std::string& path, const char* mode);

// Library is a loaded library, which is unloaded at the end. When Load returns null, `error` has the reason in the
// system's words.
struct Unload {
  void operator()(void* handle) const;
};
using Library = std::unique_ptr<void, Unload>;
Library Load(const std::string& path, std::string& error);
void* FindSymbol(const Library& library, const char* name);

// The file that Load would load for a name without folders, if that is known beforehand; else the name itself.
std::string FindLibrary(const std::string& name);

// StayLoaded keeps the library that contains this code loaded until the process ends.
void StayLoaded();

// The number of the current thread, as debuggers show it.
std::uint64_t ThreadNumber();

// The current local time: 2031-05-09 17:04:05.123.
std::string LocalTime();

}  // namespace adapter::system

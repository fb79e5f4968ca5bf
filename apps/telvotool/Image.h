// Program files: where Windows finds a library, and for which kind of machine it is.
#pragma once

#include <optional>
#include <string>

namespace tool {

// The header of a program file.
struct Image {
  bool isLibrary = false;
  bool is64Bit = false;  // x86-64
  std::string machine;   // "x86-64", "x86", "0xAA64"
};

// No value for a file that cannot be read or is not a program file.
std::optional<Image> ReadImage(const std::string& path);

// The full path of a library. It is searched for as LoadLibrary does: beside this program, in the system folder, on the
// path. Empty when it is not found.
std::string FindLibrary(const std::string& name);

// Raises a Failure with advice when the file is missing or is not a 64-bit library.
void RequireLibrary(const std::string& path);

}  // namespace tool

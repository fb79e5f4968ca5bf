// Program files: where Windows finds a library, and for which machine it is.
#pragma once

#include <optional>
#include <string>

namespace tool {

// What the head of a program file says.
struct Image {
  bool isLibrary = false;
  bool is64Bit = false;  // x86-64
  std::string machine;   // "x86-64", "x86", "0xAA64"
};

// Nothing for a file that cannot be read or is no program file.
std::optional<Image> ReadImage(const std::string& path);

// The full path of a library, looked for as LoadLibrary does: beside this program, in the system folder, on the path.
// Empty when it is nowhere.
std::string FindLibrary(const std::string& name);

// Raises a Failure, with what to do, when the file is not there or is no 64-bit library.
void RequireLibrary(const std::string& path);

}  // namespace tool

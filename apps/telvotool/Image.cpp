#include "telvotool/Image.h"

#include "common/Platform.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "telvotool/Errors.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

template <typename Structure>
bool ReadAt(std::ifstream& file, std::streamoff place, Structure* structure) {
  file.seekg(place);
  file.read(reinterpret_cast<char*>(structure), sizeof(*structure));
  return file.good();
}

std::string MachineName(WORD machine) {
  if (machine == IMAGE_FILE_MACHINE_AMD64) return "x86-64";
  if (machine == IMAGE_FILE_MACHINE_I386) return "x86";
  char text[8];
  static_cast<void>(std::snprintf(text, sizeof(text), "0x%04X", machine));
  return text;
}

}  // namespace

std::optional<Image> ReadImage(const std::string& path) {
  std::ifstream file(std::filesystem::path(Wide(path)), std::ios::binary);
  IMAGE_DOS_HEADER dos = {};
  if (!ReadAt(file, 0, &dos) || dos.e_magic != IMAGE_DOS_SIGNATURE) return std::nullopt;
  DWORD signature = 0;
  if (!ReadAt(file, dos.e_lfanew, &signature) || signature != IMAGE_NT_SIGNATURE) return std::nullopt;
  IMAGE_FILE_HEADER header = {};
  if (!ReadAt(file, dos.e_lfanew + static_cast<LONG>(sizeof(signature)), &header)) return std::nullopt;
  Image image;
  image.isLibrary = (header.Characteristics & IMAGE_FILE_DLL) != 0;
  image.is64Bit = header.Machine == IMAGE_FILE_MACHINE_AMD64;
  image.machine = MachineName(header.Machine);
  return image;
}

std::string FindLibrary(const std::string& name) {
  std::wstring path(32768, L'\0');
  const DWORD length =
      SearchPathW(nullptr, Wide(name).c_str(), nullptr, static_cast<DWORD>(path.size()), path.data(), nullptr);
  return Narrow(path.substr(0, length < path.size() ? length : 0));
}

void RequireLibrary(const std::string& path) {
  const std::optional<Image> image = ReadImage(path);
  if (!image) throw Failure(path + " is not there, or no library", kNotThere, "give the path of telvocsp.dll by --dll");
  if (!image->isLibrary || !image->is64Bit) {
    throw Failure(path + " is no 64-bit library, but one for " + image->machine, kFailed,
                  "take the 64-bit telvocsp.dll");
  }
}

}  // namespace tool

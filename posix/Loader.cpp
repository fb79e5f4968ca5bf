#include <windows.h>

#include <dlfcn.h>
#include <string>

namespace {

constexpr char kWindowsSuffix[] = ".dll";

// "folder/x.dll" -> "folder/libx.so". A name without that suffix stays as it is.
std::string NativeName(const std::string& fileName) {
  const std::size_t suffixLength = sizeof(kWindowsSuffix) - 1;
  if (fileName.size() < suffixLength ||
      fileName.compare(fileName.size() - suffixLength, suffixLength, kWindowsSuffix) != 0) {
    return fileName;
  }
  const std::size_t slash = fileName.rfind('/');
  const std::size_t base = slash == std::string::npos ? 0 : slash + 1;
  return fileName.substr(0, base) + "lib" + fileName.substr(base, fileName.size() - suffixLength - base) + ".so";
}

}  // namespace

HMODULE LoadLibraryA(LPCSTR fileName) {
  void* library = dlopen(NativeName(fileName).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) SetLastError(ERROR_MOD_NOT_FOUND);
  return reinterpret_cast<HMODULE>(library);
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
  void* symbol = dlsym(module, name);
  if (symbol == nullptr) SetLastError(ERROR_PROC_NOT_FOUND);
  return reinterpret_cast<FARPROC>(symbol);
}

BOOL FreeLibrary(HMODULE module) { return dlclose(module) == 0 ? TRUE : FALSE; }

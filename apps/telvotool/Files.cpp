#include "telvotool/Files.h"

#include "telvotool/Errors.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

class File {
 public:
  File(const std::string& path, DWORD access, DWORD share, DWORD creation)
      : m_handle(CreateFileW(Wide(path).c_str(), access, share, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (m_handle == INVALID_HANDLE_VALUE) throw Failure(path + " cannot be opened", GetLastError());
  }
  ~File() { CloseHandle(m_handle); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  HANDLE Get() const { return m_handle; }

 private:
  HANDLE m_handle;
};

}  // namespace

std::uint64_t SizeOfFile(const std::string& path) {
  const File file(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  LARGE_INTEGER size = {};
  if (GetFileSizeEx(file.Get(), &size) == FALSE) throw Failure(path + " has no size", GetLastError());
  return static_cast<std::uint64_t>(size.QuadPart);
}

void ReadInPieces(const std::string& path, DWORD size, const std::function<void(const BYTE*, DWORD, bool)>& take) {
  const File file(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  Bytes piece(size);
  DWORD read = 0;
  do {
    if (ReadFile(file.Get(), piece.data(), size, &read, nullptr) == FALSE) {
      throw Failure(path + " cannot be read", GetLastError());
    }
    take(piece.data(), read, read == 0);
  } while (read != 0);
}

Bytes ReadWholeFile(const std::string& path) {
  Bytes content;
  ReadInPieces(path, 1U << 20U, [&](const BYTE* piece, DWORD length, bool) {
    if (content.size() + length >= MAXDWORD) throw Failure(path + " is too long", DWORD{ERROR_FILE_TOO_LARGE});
    content.insert(content.end(), piece, piece + length);
  });
  return content;
}

void WriteWholeFile(const std::string& path, const Bytes& content) {
  const File file(path, GENERIC_WRITE, 0, CREATE_ALWAYS);
  DWORD written = 0;
  if (WriteFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr) == FALSE ||
      written != content.size()) {
    throw Failure(path + " cannot be written", GetLastError());
  }
}

}  // namespace tool

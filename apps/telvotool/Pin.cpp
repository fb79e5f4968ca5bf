#include "telvotool/Pin.h"

#include <string>

#include "telvotool/Errors.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

constexpr DWORD kLongestPin = 255;

// Reads with the system's own function, so that no copy stays in a buffer of the run-time library.
Pin FirstLine(HANDLE file, const char* source) {
  auto pin = std::make_unique<WipedBuffer>(kLongestPin + 2);
  DWORD length = 0;
  DWORD read = 0;
  while (length <= kLongestPin) {
    BYTE* const next = pin->Data() + length;
    if (ReadFile(file, next, 1, &read, nullptr) == FALSE && GetLastError() != ERROR_BROKEN_PIPE) {
      throw Failure(std::string(source) + " cannot be read", GetLastError());
    }
    if (read == 0 || *next == '\n') break;
    ++length;
  }
  if (length > kLongestPin)
    throw Failure(std::string(source) + " begins with a line too long for a PIN", kPinProblem, "");
  if (length > 0 && pin->Data()[length - 1] == '\r') --length;
  pin->Data()[length] = 0;
  if (length == 0) throw Failure(std::string(source) + " holds no PIN in its first line", kPinProblem, "");
  return pin;
}

}  // namespace

Pin ReadPin(const Options& options) {
  const bool fromFile = options.Has("--pin-file");
  if (fromFile && options.Has("--pin-stdin")) throw UsageError("--pin-file and --pin-stdin together");
  if (options.Has("--pin-stdin")) return FirstLine(GetStdHandle(STD_INPUT_HANDLE), "the standard input");
  if (!fromFile) return nullptr;
  const std::string path = options.Value("--pin-file");
  const HANDLE file = CreateFileW(Wide(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) throw Failure(path + " cannot be opened", GetLastError());
  const std::unique_ptr<void, BOOL(WINAPI*)(HANDLE)> closer(file, CloseHandle);
  return FirstLine(file, path.c_str());
}

}  // namespace tool

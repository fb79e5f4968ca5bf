// Whole files, by paths in UTF-8. Each function raises a Failure that names the file.
#pragma once

#include "common/Platform.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

using Bytes = std::vector<BYTE>;

// The size in bytes of a file that can be read.
std::uint64_t SizeOfFile(const std::string& path);
// The content of a file. At most 4 GiB less one byte: CryptoAPI takes no more in one piece.
Bytes ReadWholeFile(const std::string& path);
// Passes on the file in pieces of at most `size` bytes. `last` is true for the last piece, which may be empty.
void ReadInPieces(const std::string& path, DWORD size, const std::function<void(const BYTE*, DWORD, bool last)>& take);
// Creates the file or replaces its content.
void WriteWholeFile(const std::string& path, const Bytes& content);

}  // namespace tool

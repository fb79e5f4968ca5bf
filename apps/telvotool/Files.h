// Whole files, by paths in UTF-8. Each function raises a Failure that names the file.
#pragma once

#include "common/Platform.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

using Bytes = std::vector<BYTE>;

// In bytes; the file can be read.
std::uint64_t SizeOfFile(const std::string& path);
// At most 4 GiB less one byte, which is as much as CryptoAPI takes in one piece.
Bytes ReadWholeFile(const std::string& path);
// Hands on the file piece by piece, at most `size` bytes each; `last` comes with the last piece, which may be empty.
void ReadInPieces(const std::string& path, DWORD size, const std::function<void(const BYTE*, DWORD, bool last)>& take);
// Makes the file or replaces what is in it.
void WriteWholeFile(const std::string& path, const Bytes& content);

}  // namespace tool

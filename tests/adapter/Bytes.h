// Byte helpers for the tests of the adapter.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cryptoki/Pkcs11.h"
#include "pkcs11/Failure.h"

namespace adapter::testing {

using Bytes = std::vector<CK_BYTE>;

inline Bytes BytesOf(std::string_view text) { return {text.begin(), text.end()}; }

inline Bytes FromHex(std::string_view hex) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<CK_BYTE>(std::stoul(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

// Bytes that differ from their neighbours.
inline Bytes Counting(std::size_t length, unsigned first = 1) {
  Bytes bytes(length);
  for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<CK_BYTE>(first + i * 7);
  return bytes;
}

// The code of the pkcs11::Failure that `body` throws, or CKR_OK if it throws none.
template <typename Body>
CK_RV CodeOf(Body body) {
  try {
    body();
    return CKR_OK;
  } catch (const pkcs11::Failure& failure) {
    return failure.code;
  }
}

}  // namespace adapter::testing

#include "objects/Algorithms.h"

#include <algorithm>
#include <iterator>

namespace {

// One row, one line.
// clang-format off
constexpr Algorithm kAlgorithms[] = {
    {CALG_SHA1, 160, "SHA-1", 6, "Secure Hash Algorithm (SHA-1)", 30, 160, 160, {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14}, 15},
    {CALG_SHA_256, 256, "SHA-256", 8, "Secure Hash Algorithm (SHA-256)", 32, 256, 256, {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20}, 19},
    {CALG_SHA_512, 512, "SHA-512", 8, "Secure Hash Algorithm (SHA-512)", 32, 512, 512, {0x30, 0x51, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x03, 0x05, 0x00, 0x04, 0x40}, 19},
    {CALG_MD5, 128, "MD5", 4, "Message Digest 5 (MD5)", 23, 128, 128, {0x30, 0x20, 0x30, 0x0c, 0x06, 0x08, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x05, 0x05, 0x00, 0x04, 0x10}, 18},
    {CALG_SSL3_SHAMD5, 288, "SSL3 SHAMD5", 12, "SSL3 SHAMD5", 12, 288, 288, {}, 0},
    {CALG_RSA_SIGN, 1024, "RSA_SIGN", 9, "RSA Signature", 14, 512, 4096, {}, 0},
    {CALG_RSA_KEYX, 1024, "RSA_KEYX", 9, "RSA Key Exchange", 17, 512, 4096, {}, 0},
    {CALG_DES, 56, "DES", 4, "Data Encryption Standard (DES)", 31, 56, 56, {}, 0},
    {CALG_3DES, 168, "3DES", 5, "Three Key Triple DES", 21, 168, 168, {}, 0},
    {CALG_3DES_112, 112, "3DES TWO KEY", 13, "Two Key Triple DES", 19, 112, 112, {}, 0},
    {CALG_AES_128, 128, "AES 128", 8, "Advanced Encryption Standard 128-bit", 37, 128, 128, {}, 0},
};
// clang-format on

}  // namespace

std::list<Algorithm> AllAlgorithms() { return {std::begin(kAlgorithms), std::end(kAlgorithms)}; }

const Algorithm* FindAlgorithm(ALG_ID id) {
  const auto* const found =
      std::find_if(std::begin(kAlgorithms), std::end(kAlgorithms), [id](const Algorithm& row) { return row.id == id; });
  return found == std::end(kAlgorithms) ? nullptr : found;
}

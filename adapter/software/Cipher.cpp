#include "adapter/software/Cipher.h"

#include <algorithm>

#include "adapter/software/Gcrypt.h"
#include "pkcs11/Failure.h"

namespace adapter::software {
namespace {

using pkcs11::Require;
using pkcs11::Secret;

enum class Family { Des, Des3, Aes };

struct CipherRow {
  CK_MECHANISM_TYPE mechanism;
  Family family;
  int mode;
  bool padded;
};

constexpr CipherRow kCiphers[] = {
    {CKM_DES_ECB, Family::Des, GCRY_CIPHER_MODE_ECB, false},
    {CKM_DES_CBC, Family::Des, GCRY_CIPHER_MODE_CBC, false},
    {CKM_DES_CBC_PAD, Family::Des, GCRY_CIPHER_MODE_CBC, true},
    {CKM_DES3_ECB, Family::Des3, GCRY_CIPHER_MODE_ECB, false},
    {CKM_DES3_CBC, Family::Des3, GCRY_CIPHER_MODE_CBC, false},
    {CKM_DES3_CBC_PAD, Family::Des3, GCRY_CIPHER_MODE_CBC, true},
    {CKM_AES_ECB, Family::Aes, GCRY_CIPHER_MODE_ECB, false},
    {CKM_AES_CBC, Family::Aes, GCRY_CIPHER_MODE_CBC, false},
    {CKM_AES_CBC_PAD, Family::Aes, GCRY_CIPHER_MODE_CBC, true},
};

// The keys of a family: the type and length of each, and the library's cipher for it.
struct KeyRow {
  Family family;
  CK_KEY_TYPE type;
  std::size_t length;
  int algorithm;
};

constexpr KeyRow kKeys[] = {
    {Family::Des, CKK_DES, 8, GCRY_CIPHER_DES},     {Family::Des3, CKK_DES2, 16, GCRY_CIPHER_3DES},
    {Family::Des3, CKK_DES3, 24, GCRY_CIPHER_3DES}, {Family::Aes, CKK_AES, 16, GCRY_CIPHER_AES128},
    {Family::Aes, CKK_AES, 24, GCRY_CIPHER_AES192}, {Family::Aes, CKK_AES, 32, GCRY_CIPHER_AES256},
};

const CipherRow* Find(CK_MECHANISM_TYPE mechanism) {
  const auto* const row = std::find_if(std::begin(kCiphers), std::end(kCiphers),
                                       [&](const CipherRow& cipher) { return cipher.mechanism == mechanism; });
  return row == std::end(kCiphers) ? nullptr : row;
}

int AlgorithmFor(Family family, CK_KEY_TYPE type, std::size_t length) {
  const auto fits = [&](const KeyRow& row) { return row.family == family && row.type == type; };
  Require(std::any_of(std::begin(kKeys), std::end(kKeys), fits), CKR_KEY_TYPE_INCONSISTENT);
  const auto* const row = std::find_if(std::begin(kKeys), std::end(kKeys),
                                       [&](const KeyRow& key) { return fits(key) && key.length == length; });
  Require(row != std::end(kKeys), CKR_KEY_SIZE_RANGE);
  return row->algorithm;
}

}  // namespace

bool Cipher::Knows(CK_MECHANISM_TYPE mechanism) { return Find(mechanism) != nullptr; }

Cipher::Cipher(Way way, const CK_MECHANISM& mechanism, CK_KEY_TYPE type, const CK_BYTE* key, std::size_t length)
    : m_way(way) {
  const CipherRow* const cipher = Find(mechanism.mechanism);
  Require(cipher != nullptr, CKR_MECHANISM_INVALID);
  const int algorithm = AlgorithmFor(cipher->family, type, length);
  StartGcrypt();
  m_padded = cipher->padded;
  m_block = gcry_cipher_get_algo_blklen(algorithm);
  const bool needsVector = cipher->mode == GCRY_CIPHER_MODE_CBC;
  Require(mechanism.ulParameterLen == (needsVector ? m_block : 0), CKR_MECHANISM_PARAM_INVALID);
  Require(!needsVector || mechanism.pParameter != nullptr, CKR_MECHANISM_PARAM_INVALID);
  gcry_cipher_hd_t handle = nullptr;
  Succeed(gcry_cipher_open(&handle, algorithm, cipher->mode, 0));
  m_handle.reset(handle);
  SetKey(type, key, length);
  if (needsVector) Succeed(gcry_cipher_setiv(handle, mechanism.pParameter, mechanism.ulParameterLen));
}

void Cipher::SetKey(CK_KEY_TYPE type, const CK_BYTE* key, std::size_t length) {
  Secret whole(key, key + length);
  if (type == CKK_DES2) {
    whole.resize(24);
    std::copy_n(key, 8, whole.begin() + 16);
  }
  Succeed(gcry_cipher_ctl(m_handle.get(), GCRYCTL_SET_ALLOW_WEAK_KEY, nullptr, 1));
  const gcry_error_t error = gcry_cipher_setkey(m_handle.get(), whole.data(), whole.size());
  if (gcry_err_code(error) != GPG_ERR_WEAK_KEY) Succeed(error);
}

void Cipher::Work(std::vector<CK_BYTE>& blocks) {
  if (blocks.empty()) return;
  const auto work = m_way == Way::Encrypt ? gcry_cipher_encrypt : gcry_cipher_decrypt;
  Succeed(work(m_handle.get(), blocks.data(), blocks.size(), nullptr, 0));
}

std::size_t Cipher::UpdateLength(std::size_t length) const {
  const std::size_t total = m_pending.size() + length;
  const std::size_t rest = total % m_block;
  if (m_padded && m_way == Way::Decrypt && rest == 0 && total != 0) return total - m_block;
  return total - rest;
}

std::size_t Cipher::ResultLength(std::size_t length) const {
  const std::size_t total = m_pending.size() + length;
  return m_padded && m_way == Way::Encrypt ? total - total % m_block + m_block : total;
}

std::vector<CK_BYTE> Cipher::Update(const CK_BYTE* data, std::size_t length) {
  const std::size_t ready = UpdateLength(length);
  if (ready == 0) {
    m_pending.insert(m_pending.end(), data, data + length);
    return {};
  }
  std::vector<CK_BYTE> blocks;
  blocks.reserve(ready);                              // a vector that grows would leave copies
  blocks.assign(m_pending.begin(), m_pending.end());  // at most one block
  const std::size_t taken = ready - blocks.size();
  blocks.insert(blocks.end(), data, data + taken);
  Work(blocks);
  m_pending.assign(data + taken, data + length);
  return blocks;
}

std::vector<CK_BYTE> Cipher::Final() {
  std::vector<CK_BYTE> last;
  last.reserve(m_block);
  last.assign(m_pending.begin(), m_pending.end());
  if (m_padded && m_way == Way::Encrypt) {
    const std::size_t added = m_block - last.size();
    last.insert(last.end(), added, static_cast<CK_BYTE>(added));
  }
  const bool whole = m_padded ? last.size() == m_block : last.empty();
  Require(whole, m_way == Way::Encrypt ? CKR_DATA_LEN_RANGE : CKR_ENCRYPTED_DATA_LEN_RANGE);
  Work(last);
  if (m_padded && m_way == Way::Decrypt) RemovePadding(last);
  m_pending.clear();
  return last;
}

void Cipher::RemovePadding(std::vector<CK_BYTE>& block) const {
  const std::size_t added = block.back();
  const bool good = added >= 1 && added <= m_block &&
                    std::all_of(block.end() - static_cast<std::ptrdiff_t>(added), block.end(),
                                [&](CK_BYTE byte) { return byte == added; });
  if (!good) pkcs11::Wipe(block.data(), block.size());
  Require(good, CKR_ENCRYPTED_DATA_INVALID);
  block.resize(m_block - added);
}

void Cipher::Close::operator()(gcry_cipher_handle* handle) const { gcry_cipher_close(handle); }

}  // namespace adapter::software

#include "CryptoApi.h"

#include "Calls.h"
#include "common/FormatNumber.h"

namespace {

void Check(BOOL done, const char* function) {
  if (done == FALSE) throw ApiError(function, GetLastError());
}

DWORD Length(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }

}  // namespace

ApiError::ApiError(const char* function, DWORD lastError)
    : std::runtime_error(std::string(function) + " fails with " + FormatNumber("%08X", lastError)), code(lastError) {}

Context::Context(const char* name, DWORD flags) {
  Check(calls::AcquireContext(&m_handle, name, flags), "CryptAcquireContext");
}

Context::~Context() { calls::ReleaseContext(m_handle); }

void Context::SetPin(const std::string& pin) const {
  Check(calls::SetProvParam(m_handle, PP_KEYEXCHANGE_PIN, reinterpret_cast<const BYTE*>(pin.c_str())),
        "CryptSetProvParam of the PIN");
}

std::string Context::GetText(DWORD parameter, DWORD flags) const {
  BYTE text[128] = {};
  DWORD length = sizeof text;
  const BOOL done = calls::GetProvParam(m_handle, parameter, text, &length, flags);
  if (done == FALSE && GetLastError() == ERROR_NO_MORE_ITEMS) return std::string();
  Check(done, "CryptGetProvParam");
  return std::string(reinterpret_cast<const char*>(text));
}

HCERTSTORE Context::OpenUserStore() const {
  HCERTSTORE store = nullptr;
  DWORD length = sizeof store;
  Check(calls::GetProvParam(m_handle, PP_USER_CERTSTORE, reinterpret_cast<BYTE*>(&store), &length, 0),
        "CryptGetProvParam of the store");
  return store;
}

Bytes Context::Random(DWORD length) const {
  Bytes bytes(length);
  Check(calls::GenRandom(m_handle, length, bytes.data()), "CryptGenRandom");
  return bytes;
}

HCRYPTKEY Context::UserKey() const {
  HCRYPTKEY key = 0;
  Check(calls::GetUserKey(m_handle, &key), "CryptGetUserKey");
  return key;
}

HCRYPTKEY Context::Generate(ALG_ID algorithm, DWORD flags) const {
  HCRYPTKEY key = 0;
  Check(calls::GenKey(m_handle, algorithm, flags, &key), "CryptGenKey");
  return key;
}

HCRYPTKEY Context::Import(const Bytes& blob) const {
  HCRYPTKEY key = 0;
  Check(calls::ImportKey(m_handle, blob.data(), Length(blob), &key), "CryptImportKey");
  return key;
}

Bytes Context::Export(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type) const {
  DWORD length = 0;
  Check(calls::ExportKey(m_handle, key, exchangeKey, type, nullptr, &length), "CryptExportKey");
  Bytes blob(length);
  Check(calls::ExportKey(m_handle, key, exchangeKey, type, blob.data(), &length), "CryptExportKey");
  return blob;
}

void Context::SetKey(HCRYPTKEY key, DWORD parameter, const BYTE* value) const {
  Check(calls::SetKeyParam(m_handle, key, parameter, value), "CryptSetKeyParam");
}

Bytes Context::Certificate(HCRYPTKEY key) const {
  DWORD length = 0;
  Check(calls::GetKeyParam(m_handle, key, KP_CERTIFICATE, nullptr, &length), "CryptGetKeyParam of the certificate");
  Bytes certificate(length);
  Check(calls::GetKeyParam(m_handle, key, KP_CERTIFICATE, certificate.data(), &length),
        "CryptGetKeyParam of the certificate");
  certificate.resize(length);
  return certificate;
}

void Context::Destroy(HCRYPTKEY key) const { Check(calls::DestroyKey(m_handle, key), "CryptDestroyKey"); }

DWORD Context::Encrypt(HCRYPTKEY key, Bytes& data, DWORD length, DWORD room) const {
  Check(calls::Encrypt(m_handle, key, data.data(), &length, room), "CryptEncrypt");
  return length;
}

DWORD Context::Decrypt(HCRYPTKEY key, bool final, Bytes& data, DWORD length) const {
  Check(calls::Decrypt(m_handle, key, final ? TRUE : FALSE, data.data(), &length), "CryptDecrypt");
  return length;
}

HCRYPTHASH Context::Hash(ALG_ID algorithm, const Bytes& data) const {
  HCRYPTHASH hash = 0;
  Check(calls::CreateHash(m_handle, algorithm, &hash), "CryptCreateHash");
  Check(calls::HashData(m_handle, hash, data.data(), Length(data)), "CryptHashData");
  return hash;
}

Bytes Context::SignHash(HCRYPTHASH hash) const {
  DWORD length = 0;
  Check(calls::SignHash(m_handle, hash, nullptr, &length), "CryptSignHash");
  Bytes signature(length);
  Check(calls::SignHash(m_handle, hash, signature.data(), &length), "CryptSignHash");
  signature.resize(length);
  calls::DestroyHash(m_handle, hash);
  return signature;
}

Bytes Context::Sign(ALG_ID algorithm, const Bytes& data) const { return SignHash(Hash(algorithm, data)); }

Bytes Context::SignValue(ALG_ID algorithm, const Bytes& value) const {
  HCRYPTHASH hash = 0;
  Check(calls::CreateHash(m_handle, algorithm, &hash), "CryptCreateHash");
  Check(calls::SetHashValue(m_handle, hash, value.data()), "CryptSetHashParam");
  return SignHash(hash);
}

bool Context::Verify(ALG_ID algorithm, const Bytes& data, const Bytes& signature, HCRYPTKEY key) const {
  const HCRYPTHASH hash = Hash(algorithm, data);
  const BOOL done = calls::VerifySignature(m_handle, hash, signature.data(), Length(signature), key);
  const DWORD error = done == FALSE ? GetLastError() : 0;
  calls::DestroyHash(m_handle, hash);
  if (error == static_cast<DWORD>(NTE_BAD_SIGNATURE)) return false;
  if (error != 0) throw ApiError("CryptVerifySignature", error);
  return true;
}

void DeleteContainer(const std::string& name) {
  HCRYPTPROV context = 0;
  Check(calls::AcquireContext(&context, name.c_str(), CRYPT_DELETEKEYSET), "CryptAcquireContext to delete");
}

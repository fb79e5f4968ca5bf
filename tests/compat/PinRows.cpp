// A card whose PIN was not given: the container "closed" on the card in the second reader. No window can be shown. On
// the platform's side, which has no PINs, it is the prepared container.
#include <filesystem>
#include <fstream>
#include <string>

#include "ProviderRegistration.h"
#include "Row.h"

namespace {

// Inserts the card as long as the object lives. With two cards, rows elsewhere would ask the user for a reader.
class SecondCard {
 public:
  SecondCard() : m_file(Environment("TELVO_CARDS") + "/b") { std::ofstream(m_file) << "in"; }
  ~SecondCard() { std::filesystem::remove(m_file); }
  SecondCard(const SecondCard&) = delete;
  SecondCard& operator=(const SecondCard&) = delete;

 private:
  std::string m_file;
};

class Closed {
 public:
  Closed(const Side& side, DWORD flags)
      : m_context(side, side.IsThis() ? "\\\\.\\TELVO Reader B\\closed" : "prepared", flags) {}
  operator HCRYPTPROV() const { return m_context; }  // NOLINT: a row reads like the call

 private:
  SecondCard m_card;
  Context m_context;
};

Call Without(DWORD flags, std::string (*work)(HCRYPTPROV)) {
  return [=](const Side& side) { return work(Closed(side, flags)); };
}

namespace work {

std::string GetKey(HCRYPTPROV context) {
  Key key;
  return Answer(CryptGetUserKey(context, AT_KEYEXCHANGE, key.Out()));
}
std::string ExportKey(HCRYPTPROV context) { return "TRUE, " + InBytes(Exported(Pair(context), PUBLICKEYBLOB).size()); }
std::string Random(HCRYPTPROV context) {
  BYTE bytes[16];
  return Answer(CryptGenRandom(context, sizeof bytes, bytes));
}
std::string Digest(HCRYPTPROV context) { return HashValue(HashOf(context, CALG_SHA1)); }
std::string Sign(HCRYPTPROV context) { return "TRUE, " + InBytes(Signature(HashOf(context, CALG_SHA1)).size()); }
std::string SignSize(HCRYPTPROV context) {
  DWORD length = 0;
  const Hash hash = HashOf(context, CALG_SHA1);
  const BOOL done = CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &length);
  return Answer(done, InBytes(length));
}
std::string Verify(HCRYPTPROV context) {
  const Key pair = Pair(context);
  const Hash hash = HashOf(context, CALG_SHA1);
  return Answer(CryptVerifySignatureA(hash, Bytes(128).data(), 128, pair, nullptr, 0));
}
std::string Encrypt(HCRYPTPROV context) {
  const Key pair = Pair(context);
  Bytes data(128, 'a');
  DWORD length = 3;
  return Answer(CryptEncrypt(pair, 0, TRUE, 0, data.data(), &length, 128));
}
std::string GenerateKey(HCRYPTPROV context) {
  Key key;
  return Answer(CryptGenKey(context, CALG_3DES, CRYPT_EXPORTABLE, key.Out()));
}
std::string ImportPublic(HCRYPTPROV context) {
  const Prepared other(Side::Platform());
  const Bytes blob = Exported(Pair(other), PUBLICKEYBLOB);
  Key key;
  return Answer(CryptImportKey(context, blob.data(), Length(blob), 0, 0, key.Out()));
}

}  // namespace work
}  // namespace

const Rows kPinRows = {
    {"pin.user_key", "CryptGetUserKey, CRYPT_SILENT", "TRUE", Without(CRYPT_SILENT, work::GetKey)},
    {"pin.export", "CryptExportKey PUBLICKEYBLOB, CRYPT_SILENT", "TRUE, 148 bytes",
     Without(CRYPT_SILENT, work::ExportKey)},
    {"pin.random", "CryptGenRandom, CRYPT_SILENT", "TRUE", Without(CRYPT_SILENT, work::Random)},
    {"pin.hash", "the value of SHA-1 of \"abc\", CRYPT_SILENT", "TRUE, A9993E36", Without(CRYPT_SILENT, work::Digest)},
    {"pin.sign", "CryptSignHash, CRYPT_SILENT", "FALSE NTE_SILENT_CONTEXT or TRUE, 128 bytes; TRUE without PINs",
     Without(CRYPT_SILENT, work::Sign)},
    {"pin.sign_size", "CryptSignHash, null buffer, CRYPT_SILENT",
     "FALSE NTE_SILENT_CONTEXT or TRUE, 128 bytes; TRUE without PINs", Without(CRYPT_SILENT, work::SignSize)},
    {"pin.verify", "CryptVerifySignature of zeros, CRYPT_SILENT", "FALSE NTE_BAD_SIGNATURE",
     Without(CRYPT_SILENT, work::Verify)},
    {"pin.encrypt", "CryptEncrypt with the pair, CRYPT_SILENT", "TRUE", Without(CRYPT_SILENT, work::Encrypt)},
    {"pin.generate", "CryptGenKey CALG_3DES, CRYPT_SILENT", "TRUE or FALSE NTE_SILENT_CONTEXT",
     Without(CRYPT_SILENT, work::GenerateKey)},
    {"pin.import", "CryptImportKey PUBLICKEYBLOB, CRYPT_SILENT", "TRUE", Without(CRYPT_SILENT, work::ImportPublic)},
    {"pin.sign_dialog", "CryptSignHash, and the dialog for the PIN cannot be shown",
     "FALSE; the code is not documented", Without(0, work::Sign)},
};

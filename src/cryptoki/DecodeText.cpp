#include "cryptoki/DecodeText.h"

#include <algorithm>
#include <vector>

namespace {

constexpr DWORD kNameForm = CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG;

// A DER encoded name as a string, "CN=..., O=..., C=..."; empty when the bytes are not a name.
std::string NameText(const BYTE* data, DWORD length) {
  CERT_NAME_BLOB name = {};
  name.cbData = length;
  name.pbData = const_cast<BYTE*>(data);
  const DWORD size = CertNameToStrA(X509_ASN_ENCODING, &name, kNameForm, nullptr, 0);
  if (size <= 1) return std::string();
  std::vector<char> text(size, '\0');
  CertNameToStrA(X509_ASN_ENCODING, &name, kNameForm, text.data(), size);
  text.back() = '\0';
  return text.data();
}

std::string UpToComma(const std::string& text, std::size_t begin) {
  begin = std::min(begin, text.size());
  return text.substr(begin, text.find(',', begin) - begin);
}

}  // namespace

std::string DecodeText(const BYTE* data, DWORD length) {
  if (data == nullptr || length == 0) return std::string();
  const std::string name = NameText(data, length);
  if (name.empty()) return std::string(data, std::find(data, data + length, BYTE{0}));

  // Required: three characters are skipped for either key, although "O=" has two.
  constexpr std::size_t kKeyLength = 3;
  for (const char* key : {"CN=", "O="}) {
    const std::size_t position = name.find(key);
    if (position != std::string::npos) return UpToComma(name, position + kKeyLength);
  }
  return UpToComma(name, 0);
}

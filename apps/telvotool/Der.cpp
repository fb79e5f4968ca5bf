#include "telvotool/Der.h"

#include "telvotool/Errors.h"

namespace tool {

Bytes Encode(LPCSTR type, const void* structure, const char* what) {
  DWORD length = 0;
  Require(CryptEncodeObject(X509_ASN_ENCODING, type, structure, nullptr, &length), what);
  Bytes der(length);
  Require(CryptEncodeObject(X509_ASN_ENCODING, type, structure, der.data(), &length), what);
  der.resize(length);
  return der;
}

Bytes Wrap(BYTE tag, const Bytes& content) {
  const std::size_t length = content.size();
  if (length > 0xFFFF) throw Failure("the subject or the list of purposes is too long", kUsage, "");
  Bytes der = {tag};
  if (length >= 0x100) {
    der.insert(der.end(), {0x82, static_cast<BYTE>(length >> 8U), static_cast<BYTE>(length & 0xFFU)});
  } else if (length >= 0x80) {
    der.insert(der.end(), {0x81, static_cast<BYTE>(length)});
  } else {
    der.push_back(static_cast<BYTE>(length));
  }
  Append(der, content);
  return der;
}

void Append(Bytes& bytes, const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

}  // namespace tool

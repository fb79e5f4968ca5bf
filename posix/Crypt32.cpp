#include <algorithm>
#include <cstring>
#include <memory>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <string>
#include <vector>
#include <wincrypt.h>

namespace {

struct NameKey {
  int nid;
  const char* key;
};

// The attribute keys of the X.500 form. An attribute without a key is written as "OID." and its number.
constexpr NameKey kNameKeys[] = {
    {NID_commonName, "CN"},
    {NID_countryName, "C"},
    {NID_localityName, "L"},
    {NID_organizationName, "O"},
    {NID_organizationalUnitName, "OU"},
    {NID_stateOrProvinceName, "S"},
    {NID_streetAddress, "STREET"},
    {NID_title, "T"},
    {NID_givenName, "G"},
    {NID_initials, "I"},
    {NID_surname, "SN"},
    {NID_domainComponent, "DC"},
    {NID_pkcs9_emailAddress, "E"},
};

std::string KeyOf(const ASN1_OBJECT* object) {
  const int nid = OBJ_obj2nid(object);
  for (const NameKey& row : kNameKeys) {
    if (row.nid == nid) return row.key;
  }
  char number[80] = {};
  OBJ_obj2txt(number, sizeof(number), object, 1);
  return std::string("OID.") + number;
}

// A value is quoted when it contains special characters, or begins or ends with a space. Quotes inside are doubled.
std::string Quoted(const std::string& value) {
  const bool needed = !value.empty() && (value.front() == ' ' || value.back() == ' ' ||
                                         value.find_first_of(",+=\"\n<>#;") != std::string::npos);
  if (!needed) return value;
  std::string quoted = "\"";
  for (const char c : value) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

std::string TextOf(const ASN1_STRING* value) {
  unsigned char* utf8 = nullptr;
  const int length = ASN1_STRING_to_UTF8(&utf8, value);
  if (length < 0) return std::string();
  std::string text(reinterpret_cast<char*>(utf8), static_cast<std::size_t>(length));
  OPENSSL_free(utf8);
  return text;
}

using NameHolder = std::unique_ptr<X509_NAME, decltype(&X509_NAME_free)>;

NameHolder Decode(const CERT_NAME_BLOB& name) {
  const unsigned char* der = name.pbData;
  return NameHolder(d2i_X509_NAME(nullptr, &der, static_cast<long>(name.cbData)), &X509_NAME_free);
}

// The value in a name by which people know its holder.
std::string DisplayText(const X509_NAME* name) {
  for (const int nid : {NID_commonName, NID_organizationalUnitName, NID_organizationName, NID_pkcs9_emailAddress}) {
    const int index = X509_NAME_get_index_by_NID(name, nid, -1);
    if (index >= 0) return TextOf(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
  }
  return std::string();
}

DWORD HandOut(const std::string& full, LPSTR text, DWORD size) {
  if (text == nullptr || size == 0) return static_cast<DWORD>(full.size() + 1);
  const std::size_t count = std::min<std::size_t>(full.size(), size - 1);
  std::memcpy(text, full.data(), count);
  text[count] = '\0';
  return static_cast<DWORD>(count + 1);
}

std::string NameText(const X509_NAME* name, bool reversed) {
  std::vector<std::string> parts;
  int lastPart = -1;
  for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
    const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name, i);
    const std::string text =
        KeyOf(X509_NAME_ENTRY_get_object(entry)) + "=" + Quoted(TextOf(X509_NAME_ENTRY_get_data(entry)));
    const int part = X509_NAME_ENTRY_set(entry);
    if (part == lastPart) {
      parts.back() += " + " + text;
    } else {
      parts.push_back(text);
    }
    lastPart = part;
  }
  if (reversed) std::reverse(parts.begin(), parts.end());
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : ", ") + part;
  return text;
}

}  // namespace

DWORD CertNameToStrA(DWORD, PCERT_NAME_BLOB name, DWORD form, LPSTR text, DWORD size) {
  const NameHolder decoded = Decode(*name);
  const std::string full = decoded ? NameText(decoded.get(), (form & CERT_NAME_STR_REVERSE_FLAG) != 0) : std::string();
  return HandOut(full, text, size);
}

DWORD CertGetNameStringA(PCCERT_CONTEXT certificate, DWORD, DWORD, void*, LPSTR text, DWORD size) {
  const NameHolder subject = Decode(certificate->pCertInfo->Subject);
  return HandOut(subject ? DisplayText(subject.get()) : std::string(), text, size);
}

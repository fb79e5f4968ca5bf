#include "QuietModule.h"

#include <algorithm>
#include <utility>

namespace {

const Bytes kRight = {'1', '2', '3', '4'};
const Bytes kWrong = {'9', '9', '9', '9'};
constexpr BYTE kKeyMask = 0x5A;  // the scripted module's session keys XOR each byte with it

// Encodes or decodes a byte.
BYTE Coded(BYTE byte, std::size_t place) { return static_cast<BYTE>(byte ^ Marker::CodeAt(place)); }

Bytes CodedCopy(const BYTE* bytes, std::size_t length) {
  Bytes coded(length);
  for (std::size_t place = 0; place < length; ++place) coded[place] = Coded(bytes[place], place);
  return coded;
}

void Decode(BYTE* bytes, std::size_t length) {
  for (std::size_t place = 0; place < length; ++place) bytes[place] = Coded(bytes[place], place);
}

BYTE* Start(Bytes& bytes) { return bytes.empty() ? nullptr : bytes.data(); }

// Fills a buffer with repetitions of a marker.
void Fill(const Marker& secret, BYTE* out, CK_ULONG length) {
  for (CK_ULONG place = 0; place < length; ++place) out[place] = secret.At(place % secret.Length());
}

}  // namespace

Bytes QuietModule::EncryptedKeyOf(const Marker& key, std::size_t modulusBytes) {
  Bytes block(modulusBytes - key.Length() - 1, 'E');
  block.push_back(0);
  for (std::size_t place = 0; place < key.Length(); ++place) block.push_back(Coded(key.At(place), place));
  return block;
}

Bytes QuietModule::EncryptedDataOf(const Marker& data) {
  Bytes coded;
  for (std::size_t place = 0; place < data.Length(); ++place) {
    coded.push_back(static_cast<BYTE>(Coded(data.At(place), place) ^ kKeyMask));
  }
  return coded;
}

bool QuietModule::IsCoded(const Marker& secret, const Bytes& coded) { return coded == EncryptedDataOf(secret); }

Bytes QuietModule::StandIn(const CK_BYTE* pin, CK_ULONG length) {
  ++m_pinsSeen;
  if (m_pin == nullptr || !m_pin->Equals(pin, length)) return kWrong;
  ++m_rightPins;
  return kRight;
}

CK_RV QuietModule::C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  Bytes other = StandIn(pin, pinLen);
  return ScriptedModule::C_LoginExtended(session, user, other.data(), static_cast<CK_ULONG>(other.size()));
}

CK_RV QuietModule::C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
  Bytes other = StandIn(pin, pinLen);
  return ScriptedModule::C_Login(session, user, other.data(), static_cast<CK_ULONG>(other.size()));
}

CK_RV QuietModule::C_SetPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen, CK_UTF8CHAR_PTR newPin,
                            CK_ULONG newLen) {
  Bytes before = StandIn(oldPin, oldLen);
  if (m_newPin == nullptr || !m_newPin->Equals(newPin, newLen)) return CKR_PIN_INVALID;
  Bytes after = kRight;
  const CK_RV result =
      ScriptedModule::C_SetPIN(session, before.data(), static_cast<CK_ULONG>(before.size()), after.data(), 4);
  if (result == CKR_OK) m_pin = std::exchange(m_newPin, nullptr);
  return result;
}

CK_RV QuietModule::C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                                  CK_OBJECT_HANDLE_PTR object) {
  std::vector<CK_ATTRIBUTE> changed(attributes, attributes + count);
  const bool isKey = ObjectFrom(attributes, 1).NumberOf(CKA_CLASS) == CKO_SECRET_KEY;
  Bytes coded;
  for (CK_ATTRIBUTE& attribute : changed) {
    if (!isKey || attribute.type != CKA_VALUE) continue;
    coded = CodedCopy(static_cast<const BYTE*>(attribute.pValue), attribute.ulValueLen);
    attribute.pValue = Start(coded);
  }
  return ScriptedModule::C_CreateObject(session, changed.data(), count, object);
}

CK_RV QuietModule::C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                                       CK_ULONG count) {
  const CK_RV result = ScriptedModule::C_GetAttributeValue(session, object, attributes, count);
  if (result != CKR_OK) return result;
  CK_ULONG kind = 0;
  CK_ATTRIBUTE kindOf = {CKA_CLASS, &kind, sizeof(kind)};
  for (CK_ULONG i = 0; i < count; ++i) {
    if (attributes[i].type != CKA_VALUE || attributes[i].pValue == nullptr) continue;
    if (ScriptedModule::C_GetAttributeValue(session, object, &kindOf, 1) != CKR_OK || kind != CKO_SECRET_KEY) continue;
    Decode(static_cast<BYTE*>(attributes[i].pValue), attributes[i].ulValueLen);
  }
  return result;
}

CK_RV QuietModule::C_Encrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR out,
                             CK_ULONG_PTR outLen) {
  Bytes coded = CodedCopy(data, dataLen);
  return ScriptedModule::C_Encrypt(session, Start(coded), dataLen, out, outLen);
}

CK_RV QuietModule::C_Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR out,
                             CK_ULONG_PTR outLen) {
  const CK_RV result = ScriptedModule::C_Decrypt(session, data, dataLen, out, outLen);
  if (result == CKR_OK && out != nullptr) Decode(out, *outLen);
  return result;
}

CK_RV QuietModule::C_Digest(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR digest,
                            CK_ULONG_PTR digestLen) {
  Bytes coded = CodedCopy(data, dataLen);
  const CK_RV result = ScriptedModule::C_Digest(session, Start(coded), dataLen, digest, digestLen);
  if (result == CKR_OK && digest != nullptr && m_digest != nullptr) {
    Fill(*std::exchange(m_digest, nullptr), digest, *digestLen);
  }
  return result;
}

CK_RV QuietModule::C_GenerateRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG length) {
  const CK_RV result = ScriptedModule::C_GenerateRandom(session, data, length);
  if (result == CKR_OK && m_random != nullptr && length >= 8) Fill(*std::exchange(m_random, nullptr), data, length);
  return result;
}

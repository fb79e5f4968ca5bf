// QuietModule: a scripted module that keeps no secret in clear. It compares PINs with a marker. It encodes the bytes of
// session keys and of data on the way in and decodes them on the way out, so that its own memory never has them.
#pragma once

#include <map>

#include "Marker.h"
#include "module/ScriptedModule.h"

class QuietModule : public ScriptedModule {
 public:
  // The PIN of all its tokens; ScriptedModule has a different one.
  void SetPin(const Marker& pin) { m_pin = &pin; }
  // The only new PIN that C_SetPIN accepts. It is the PIN from then on.
  void TakeNewPin(const Marker& pin) { m_newPin = &pin; }
  // The next random bytes and the next digest are the marker, repeated as often as necessary.
  void GiveRandom(const Marker& secret) { m_random = &secret; }
  void GiveDigest(const Marker& secret) { m_digest = &secret; }
  // How often any PIN was offered, and how often the right one.
  int PinsSeen() const { return m_pinsSeen; }
  int RightPins() const { return m_rightPins; }

  // A marker as the token encrypts it: as a key, for a pair with a modulus of that many bytes, highest byte first; and
  // as data, with a session key.
  static Bytes EncryptedKeyOf(const Marker& key, std::size_t modulusBytes);
  static Bytes EncryptedDataOf(const Marker& data);
  // Whether `coded` is EncryptedDataOf(secret).
  static bool IsCoded(const Marker& secret, const Bytes& coded);

  CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) override;
  CK_RV C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) override;
  CK_RV C_SetPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen, CK_UTF8CHAR_PTR newPin,
                 CK_ULONG newLen) override;
  CK_RV C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                       CK_OBJECT_HANDLE_PTR object) override;
  CK_RV C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                            CK_ULONG count) override;
  CK_RV C_Encrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR out,
                  CK_ULONG_PTR outLen) override;
  CK_RV C_Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR out,
                  CK_ULONG_PTR outLen) override;
  CK_RV C_Digest(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR digest,
                 CK_ULONG_PTR digestLen) override;
  CK_RV C_GenerateRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG length) override;

 private:
  Bytes StandIn(const CK_BYTE* pin, CK_ULONG length);

  const Marker* m_pin = nullptr;
  const Marker* m_newPin = nullptr;
  const Marker* m_random = nullptr;
  const Marker* m_digest = nullptr;
  int m_pinsSeen = 0;
  int m_rightPins = 0;
};

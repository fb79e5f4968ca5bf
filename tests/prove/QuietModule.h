// QuietModule: a scripted module that keeps no secret in clear. A PIN it compares with a marker. The bytes of session
// keys and of data it codes on the way in and out, so that they stand nowhere in its own memory.
#pragma once

#include <map>

#include "Marker.h"
#include "module/ScriptedModule.h"

class QuietModule : public ScriptedModule {
 public:
  // The PIN of all its tokens; ScriptedModule knows another one.
  void SetPin(const Marker& pin) { m_pin = &pin; }
  // The only PIN that C_SetPIN takes, which is the PIN from then on.
  void TakeNewPin(const Marker& pin) { m_newPin = &pin; }
  // What the next random bytes and the next digest are: the marker, as far as it goes.
  void GiveRandom(const Marker& secret) { m_random = &secret; }
  void GiveDigest(const Marker& secret) { m_digest = &secret; }
  // How often a PIN was offered, and how often the right one.
  int PinsSeen() const { return m_pinsSeen; }
  int RightPins() const { return m_rightPins; }

  // What the token makes of a marker: a key that is encrypted for a pair of so many bytes, with the highest byte first,
  // and data that is encrypted with a session key.
  static Bytes EncryptedKeyOf(const Marker& key, std::size_t modulusBytes);
  static Bytes EncryptedDataOf(const Marker& data);
  // Likewise data that was encrypted, but of the bytes themselves.
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

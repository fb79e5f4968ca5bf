// CCSPSecretKey: what stands behind the HCRYPTKEY of a session key: the key's parameters as the platform sees them, and
// the handle of the token's key object. It holds no key material; each encryption and decryption is one operation of
// the token, and what lets calls chain is the IV alone. The concrete classes choose the mechanism for a mode.
//
// Failures of a parameter are CCSPContextError, those of the token CryptokiError. Lengths count bytes unless said
// otherwise. No operation is safe against another one on the same key at the same time. A key may outlive the context
// that made it: without its session its operations on the token do nothing.
#pragma once

#include "common/Platform.h"

#include "cryptoki/Pkcs11.h"
#include "objects/SessionLink.h"

class CCSPSecretKey {
 public:
  // In interface order: append, never reorder.
  virtual ~CCSPSecretKey();
  virtual ALG_ID GetAlgID() const;
  // The three setters have no effect in the concrete classes.
  virtual void SetAlgID(DWORD algorithm);
  // In bits.
  virtual DWORD GetBlockLength() const;
  virtual void SetBlockLength(DWORD bits);
  virtual DWORD GetKeyLength() const;
  virtual void SetKeyLength(DWORD length);
  virtual DWORD GetMode() const;
  virtual void SetMode(DWORD mode);
  // Appends; null or a zero length adds nothing.
  virtual void AddSalt(const BYTE* salt, DWORD length);
  // A null `out` asks for the length; NTE_BAD_KEY_STATE without a salt. Required: with a buffer that is long enough the
  // salt takes the buffer's bytes, and neither the buffer nor `*length` changes.
  virtual void GetSalt(BYTE* out, DWORD* length);
  virtual void SetIV(const BYTE* iv, DWORD length);
  // A key without an IV is first put into CBC mode. A null `out` asks for the length. Required: with a buffer that is
  // long enough the IV takes the buffer's bytes, and neither the buffer nor `*length` changes.
  virtual void GetIV(BYTE* out, DWORD* length);
  virtual DWORD GetModeBits() const;
  virtual void SetModeBits(DWORD bits);
  virtual DWORD GetPermissions() const;
  virtual void SetPermissions(DWORD permissions);
  virtual DWORD GetPadding() const;
  // Only PKCS5_PADDING; NTE_BAD_FLAGS otherwise.
  virtual void SetPadding(DWORD padding);
  // The value handed out as HCRYPTKEY.
  virtual DWORD GetKeyID() const;
  virtual CK_OBJECT_HANDLE GetObjectHandle() const;
  virtual void Encrypt(const BYTE* in, DWORD inLength, BYTE* out, DWORD* outLength);
  virtual void Decrypt(const BYTE* in, DWORD inLength, BYTE* out, DWORD* outLength);
  // Reads the value from the token into `out`. Required: `*length` is only read, and a null `out` tells nothing.
  virtual void GetKeyValue(BYTE* out, DWORD* length);
  // Destroys the key object on the token. A failure of the module is swallowed.
  virtual void DestroyObject();
};

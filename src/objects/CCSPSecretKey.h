// CCSPSecretKey: the object of a session key's HCRYPTKEY: the key's parameters as CryptoAPI sees them, and the handle
// of the token's key object. It has no key material. Each encryption and decryption is one operation of the token; only
// the IV connects one call to the next. The derived classes choose the mechanism for a mode. Each
// operation on the token takes the LoginLock, because the token has no private objects while a login logs it out first.
//
// A bad parameter raises CCSPContextError, a failure of the token CryptokiError. Lengths are in bytes unless a comment
// says bits. Only one thread may use a key at a time. A key may live longer than its session (see Session.h), but then
// its operations on the token do nothing.
#pragma once

#include "common/Platform.h"

#include <vector>

#include "cryptoki/Mechanism.h"
#include "cryptoki/Pkcs11.h"
#include "cryptoki/SecretKey.h"
#include "objects/SessionLink.h"

class CCSPSecretKey {
 public:
  // A key without algorithm, token, mode, IV and salt.
  CCSPSecretKey() = default;
  // Required: the mechanism's parameter is not copied. A copy has the IV, but the module gets no parameter before
  // SetMode or, in the derived classes, SetIV.
  CCSPSecretKey(const CCSPSecretKey& other);
  CCSPSecretKey& operator=(const CCSPSecretKey& other);

  // In interface order: append, never reorder.

  virtual ~CCSPSecretKey();
  virtual ALG_ID GetAlgID() const;
  // This setter and the two below have no effect in the derived classes.
  virtual void SetAlgID(DWORD algorithm);
  // In bits.
  virtual DWORD GetBlockLength() const;
  virtual void SetBlockLength(DWORD bits);
  virtual DWORD GetKeyLength() const;
  virtual void SetKeyLength(DWORD length);
  virtual DWORD GetMode() const;
  // Stores the mode. The derived classes set mechanism, block length, mode bits and IV accordingly.
  virtual void SetMode(DWORD mode);
  // Appends to the salt. A null `salt` or a length of 0 adds nothing.
  virtual void AddSalt(const BYTE* salt, DWORD length);
  // A null `out` asks for the length, and raises NTE_BAD_KEY_STATE without a salt. If `*length` is too small, it
  // becomes the salt's length, and ERROR_MORE_DATA is raised. Required: otherwise the buffer's bytes replace those of
  // the salt, and neither the buffer nor `*length` changes.
  virtual void GetSalt(BYTE* out, DWORD* length);
  // Null or a length of 0 removes the IV. The derived classes take only an IV of their block length, and raise
  // NTE_BAD_DATA for any other.
  virtual void SetIV(const BYTE* iv, DWORD length);
  // Sets a key without an IV to CBC mode first. A null `out` asks for the length. If `*length` is too small, it becomes
  // the IV's length, and ERROR_MORE_DATA is raised. Required: otherwise the buffer's bytes replace those of the IV, and
  // neither the buffer nor `*length` changes.
  virtual void GetIV(BYTE* out, DWORD* length);
  virtual DWORD GetModeBits() const;
  virtual void SetModeBits(DWORD bits);
  virtual DWORD GetPermissions() const;
  virtual void SetPermissions(DWORD permissions);
  virtual DWORD GetPadding() const;
  // Raises NTE_BAD_FLAGS for anything but PKCS5_PADDING.
  virtual void SetPadding(DWORD padding);
  // The number that applications get as HCRYPTKEY.
  virtual DWORD GetKeyID() const;
  virtual CK_OBJECT_HANDLE GetObjectHandle() const;
  // Nothing is padded: `inLength` must be a length that the mechanism accepts. `in` and `out` may be the same buffer. A
  // null `out` asks for the length. The end of the output becomes the next IV.
  //
  // Required: the next IV is read from eight bytes before the end of the output. So an IV of 16 bytes gets the second
  // half of the last block and then what follows in the buffer. Bytes that are not in the caller's buffer count as
  // zero. An output of fewer than eight bytes leaves the IV as it is.
  virtual void Encrypt(const BYTE* in, DWORD inLength, BYTE* out, DWORD* outLength);
  // Does not remove padding. Required: afterwards the key has no IV, and the module gets no parameter until SetIV or
  // SetMode. This is so even when the call only asked for the length.
  virtual void Decrypt(const BYTE* in, DWORD inLength, BYTE* out, DWORD* outLength);
  // Reads the key's value from the token into `out`. Required: `*length` is never changed, so a null `out` is useless.
  virtual void GetKeyValue(BYTE* out, DWORD* length);
  // Destroys the key object on the token. A failure of the module is ignored.
  virtual void DestroyObject();

  // After the interface.

  // Gives a new key its object on the token. The session must have an owner: the key keeps a SessionLink.
  void Bind(Session* session, CK_OBJECT_HANDLE object, DWORD id);

 protected:
  CCSPSecretKey(ALG_ID algorithm, DWORD keyLength, DWORD blockBits);

  // Sets what belongs to a mode. `bits` is both the block length and the mode bits. The IV is cut, or extended with
  // zeros, to `ivLength` bytes, and becomes the mechanism's parameter.
  void UseMode(DWORD bits, CK_MECHANISM_TYPE mechanism, DWORD ivLength);
  void UseMechanism(CK_MECHANISM_TYPE mechanism) { m_mechanism = mechanism; }
  // Stores an IV of the block length. For a mechanism that chains, it becomes the parameter again.
  void UseIV(const BYTE* iv, DWORD length);

 private:
  Mechanism ModuleMechanism() const;
  SecretKey ModuleKey(const Session& session) const;
  void ChainOn(const BYTE* out, DWORD length, DWORD readable);

  ALG_ID m_algorithm = 0;
  DWORD m_blockBits = 0;
  DWORD m_keyLength = 0;
  DWORD m_padding = PKCS5_PADDING;
  DWORD m_mode = 0;
  DWORD m_permissions = 0;
  DWORD m_modeBits = 0;
  std::vector<BYTE> m_salt;
  std::vector<BYTE> m_iv;
  DWORD m_id = 0;
  CK_MECHANISM_TYPE m_mechanism = CKM_DES_ECB;
  DWORD m_parameterLength = 0;  // 0, or that of the IV
  SessionLink m_session;
  CK_OBJECT_HANDLE m_object = 0;
};

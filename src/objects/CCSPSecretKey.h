// CCSPSecretKey: what stands behind the HCRYPTKEY of a session key: the key's parameters as the platform sees them, and
// the handle of the token's key object. It holds no key material; each encryption and decryption is one operation of
// the token, and what lets calls chain is the IV alone. The concrete classes choose the mechanism for a mode. Each
// operation on the token takes the LoginLock: the token has no private objects while a login goes through its logout.
//
// Failures of a parameter are CCSPContextError, those of the token CryptokiError. Lengths count bytes unless said
// otherwise. No operation is safe against another one on the same key at the same time. A key may outlive the context
// that made it: without its session its operations on the token do nothing.
#pragma once

#include "common/Platform.h"

#include <vector>

#include "cryptoki/Mechanism.h"
#include "cryptoki/Pkcs11.h"
#include "cryptoki/SecretKey.h"
#include "objects/SessionLink.h"

class CCSPSecretKey {
 public:
  // A key of no algorithm and no token, without mode, IV and salt.
  CCSPSecretKey() = default;
  // Required: the mechanism's parameter is not copied. Until SetMode or, in the concrete classes, SetIV the module gets
  // none from a copy, although there is an IV.
  CCSPSecretKey(const CCSPSecretKey& other);
  CCSPSecretKey& operator=(const CCSPSecretKey& other);

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
  // Stores the mode; the concrete classes choose mechanism, block length, mode bits and IV by it.
  virtual void SetMode(DWORD mode);
  // Appends; null or a zero length adds nothing.
  virtual void AddSalt(const BYTE* salt, DWORD length);
  // A null `out` asks for the length; NTE_BAD_KEY_STATE without a salt. Required: with a buffer that is long enough the
  // salt takes the buffer's bytes, and neither the buffer nor `*length` changes. Too short a `*length` takes the salt's
  // and raises ERROR_MORE_DATA.
  virtual void GetSalt(BYTE* out, DWORD* length);
  // Null or a zero length leaves no IV. The concrete classes take only one of their block's length: NTE_BAD_DATA.
  virtual void SetIV(const BYTE* iv, DWORD length);
  // A key without an IV is first put into CBC mode. A null `out` asks for the length. Required: with a buffer that is
  // long enough the IV takes the buffer's bytes, and neither the buffer nor `*length` changes. Too short a `*length`
  // takes the IV's and raises ERROR_MORE_DATA.
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
  // `in` is as long as the mechanism wants it: nothing is padded. `in` and `out` may be the same buffer; a null `out`
  // asks for the length. The IV becomes the end of the output.
  //
  // Required: the IV takes bytes from eight before the end on, so that of a block of 16 bytes it gets the second half
  // and what lies behind it in the buffer. Bytes that are not the caller's count as zero, and from fewer than eight
  // bytes nothing is taken.
  virtual void Encrypt(const BYTE* in, DWORD inLength, BYTE* out, DWORD* outLength);
  // Padding stays. Required: afterwards, and after a question for the length as well, the key has no IV, and the
  // mechanism goes without a parameter until SetIV or SetMode.
  virtual void Decrypt(const BYTE* in, DWORD inLength, BYTE* out, DWORD* outLength);
  // Reads the value from the token into `out`. Required: `*length` is only read, and a null `out` tells nothing.
  virtual void GetKeyValue(BYTE* out, DWORD* length);
  // Destroys the key object on the token. A failure of the module is swallowed.
  virtual void DestroyObject();

  // Behind the interface.

  // Binds a new key to its object on the token. The session is not owned: see SessionLink.
  void Bind(Session* session, CK_OBJECT_HANDLE object, DWORD id);

 protected:
  CCSPSecretKey(ALG_ID algorithm, DWORD keyLength, DWORD blockBits);

  // What a mode makes of the key: `bits` are block length and mode bits. An IV of another length than `ivLength` is cut
  // at its end or lengthened with zeros, and goes to the module as the mechanism's parameter.
  void UseMode(DWORD bits, CK_MECHANISM_TYPE mechanism, DWORD ivLength);
  void UseMechanism(CK_MECHANISM_TYPE mechanism) { m_mechanism = mechanism; }
  // Stores an IV of the block's length. A mechanism that chains has its parameter again.
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

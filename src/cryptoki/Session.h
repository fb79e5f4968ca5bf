// Session: one session of the module. Each operation is one module call, or a short fixed series, and a check of the
// result; a failure is an exception. It remembers neither logins nor operations that were begun.
//
// Who owns a session. Only the owner closes a session, with Close:
// - a context. It holds the session by a shared pointer, together with its copies. CPReleaseContext closes it, and
//   CPAcquireContext when the acquisition fails; both by CCSPContext::CloseSession.
// - the function that opened it, where it is a local object, as in telvotool.
// All others use the session and own nothing. They do so through a Session pointer or reference, which is valid for a
// call or for the run of a dialog, while the owner lives. An object that may live longer, a hash or a session key,
// keeps the session as a SessionLink, which returns null after the last owner is gone.
//
// In addition, the interface has numbers that name a session: each object of the token has its session's handle
// (ICryptokiSettable), and a Token has a copy of each session that it opened. Neither keeps a session alive. The
// token's copies are closed in one case: Token::OpenSession failed and is about to restart the module, which ends every
// session of the process.
//
// Destroying a Session, a Token or a context closes nothing. A session that is never closed stays open in the module
// until the module is finalised or the process ends. So do the sessions of slots that CPAcquireContext visited and
// left, and the session in which it deleted a container.
//
// A dead session. Close sets the handle to 0; copies and objects keep the old number. A pulled card, or a restart of
// the module (ModuleRestarts.h), ends a session without notice: its number stays as it is, until its context logs in
// after a restart. The next call goes to the module, which refuses it. What objects read before can still be read.
//
// Errors. Without a module every operation raises CryptokiError CKR_ARGUMENTS_BAD. A call that the module refuses
// raises CryptokiError with the module's code. Output buffers and length pointers go to the module unchanged: a null
// buffer asks for the length. EncryptInit and DecryptInit pass a mechanism with its parameter, everything else passes
// only the type.
#pragma once

#include "common/Platform.h"

#include <boost/enable_shared_from_this.hpp>
#include <list>

#include "cryptoki/Attribute.h"
#include "cryptoki/CryptokiObject.h"
#include "cryptoki/CryptokiObjects.h"
#include "cryptoki/ICryptokiSettable.h"
#include "cryptoki/Mechanism.h"
#include "cryptoki/PrivateKey.h"
#include "cryptoki/PublicKey.h"
#include "cryptoki/SecretKey.h"

class Session : public ICryptokiSettable, public boost::enable_shared_from_this<Session> {
 public:
  Session() = default;  // closed
  explicit Session(CK_SESSION_HANDLE handle);
  Session(const Session&) = default;
  Session& operator=(const Session&) = default;
  Session& operator=(CK_SESSION_HANDLE handle);

  // In interface order: append, never reorder.

  virtual ~Session();
  virtual CK_SESSION_INFO GetSessionInfo();
  virtual CK_FLAGS GetFlags();
  virtual CK_STATE GetState();
  // Whether the module knows the session. Raises only without a module.
  virtual bool IsValid();
  // Required: true when the session's flags, not its state, are 0 or 2. With a module that sets
  // CKF_SERIAL_SESSION it is never true.
  virtual bool IsLoggedIn();
  // Logs out first. A null or empty PIN raises CKR_ARGUMENTS_BAD before any call.
  virtual void Login(CK_USER_TYPE user, BYTE* pin, DWORD length);
  virtual void Logout();
  // A null or empty PIN raises CKR_ARGUMENTS_BAD before any call; so does InitPIN.
  virtual void SetPIN(BYTE* oldPin, DWORD oldLength, BYTE* newPin, DWORD newLength);
  virtual void InitPIN(BYTE* pin, DWORD length);
  // The objects with these attributes, each read once by CryptokiObject::Retrieve. An empty list finds nothing, without
  // a call. More than kMaxCount objects raise CKR_GENERAL_ERROR. A failure leaves the search open in the module.
  virtual CryptokiObjects FindObjects(const std::list<Attribute>& attributes);
  virtual CryptokiObjects FindAllObjects();
  virtual CryptokiObject CreateObject(CryptokiObject& object);
  // The new object has its handles and the module; none of its attributes was read. An empty list raises
  // CKR_BUFFER_TOO_SMALL.
  virtual CryptokiObject CreateObject(const std::list<Attribute>& attributes);
  // Required: the module's result is ignored. A failed generation shows as CKR_ARGUMENTS_BAD, from the first read of
  // the key.
  virtual SecretKey GenerateKey(const Mechanism& mechanism, const std::list<Attribute>& attributes);
  virtual void DigestInit(const Mechanism& mechanism);
  virtual void Digest(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength);
  virtual void DigestUpdate(BYTE* in, CK_ULONG length);
  virtual void DigestFinal(BYTE* out, CK_ULONG* outLength);
  virtual void EncryptInit(const Mechanism& mechanism, const PublicKey& key);
  virtual void EncryptInit(const Mechanism& mechanism, const SecretKey& key);
  virtual void Encrypt(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength);
  virtual void EncryptUpdate(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength);
  virtual void EncryptFinal(BYTE* out, CK_ULONG* outLength);
  virtual void DecryptInit(const Mechanism& mechanism, const PrivateKey& key);
  virtual void DecryptInit(const Mechanism& mechanism, const SecretKey& key);
  virtual void Decrypt(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength);
  virtual void DecryptUpdate(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength);
  virtual void DecryptFinal(BYTE* out, CK_ULONG* outLength);
  virtual void SignInit(const Mechanism& mechanism, const CryptokiObject& key);
  virtual void Sign(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength);
  virtual void SignUpdate(BYTE* in, CK_ULONG length);
  virtual void SignFinal(BYTE* out, CK_ULONG* outLength);
  virtual void SignRecoverInit(const Mechanism& mechanism, const CryptokiObject& key);
  virtual void SignRecover(BYTE* in, CK_ULONG length, BYTE* out, CK_ULONG* outLength);
  virtual void VerifyInit(const Mechanism& mechanism, const CryptokiObject& key);
  virtual void VerifyInit(const Mechanism& mechanism, const PublicKey& key);
  virtual void Verify(BYTE* data, CK_ULONG length, BYTE* signature, CK_ULONG signatureLength);
  virtual void VerifyUpdate(BYTE* in, CK_ULONG length);
  virtual void VerifyFinal(BYTE* signature, CK_ULONG signatureLength);
  virtual void VerifyRecoverInit(const Mechanism& mechanism, const CryptokiObject& key);
  virtual void VerifyRecover(BYTE* signature, CK_ULONG signatureLength, BYTE* out, CK_ULONG* outLength);
  virtual void WrapKey(const Mechanism& mechanism, const PublicKey& wrappingKey, const CryptokiObject& key, BYTE* out,
                       CK_ULONG* outLength);
  virtual void WrapKey(const Mechanism& mechanism, const SecretKey& wrappingKey, const CryptokiObject& key, BYTE* out,
                       CK_ULONG* outLength);
  virtual SecretKey UnwrapKey(const Mechanism& mechanism, const PrivateKey& unwrappingKey, BYTE* wrapped,
                              CK_ULONG wrappedLength, const std::list<Attribute>& attributes);
  virtual SecretKey UnwrapKey(const Mechanism& mechanism, const SecretKey& unwrappingKey, BYTE* wrapped,
                              CK_ULONG wrappedLength, const std::list<Attribute>& attributes);
  // Reads both keys after the generation. When a read fails, the pair stays on the token.
  virtual void GenerateKeyPair(const Mechanism& mechanism, const std::list<Attribute>& publicAttributes,
                               const std::list<Attribute>& privateAttributes, PublicKey& publicKey,
                               PrivateKey& privateKey);
  virtual void SeedRandom(BYTE* seed, CK_ULONG length);
  virtual void GenerateRandom(BYTE* out, CK_ULONG length);

  // Closes the session if it is open, for its owner only; see above. The module's result is ignored.
  void Close();

 private:
  CryptokiObjects Find(CryptokiInterface& module, CK_ATTRIBUTE* items, CK_ULONG count);
  SecretKey Unwrap(const Mechanism& mechanism, const CryptokiObject& unwrappingKey, BYTE* wrapped,
                   CK_ULONG wrappedLength, const std::list<Attribute>& attributes);
  void Wrap(const Mechanism& mechanism, const CryptokiObject& wrappingKey, const CryptokiObject& key, BYTE* out,
            CK_ULONG* outLength);
};

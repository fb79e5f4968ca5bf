// CCSPContext is what a provider handle stands for: one container on one token, with the hashes and keys that were made
// under the handle. This class holds what is independent of the card; TELVOCSPContext, its only concrete class, does
// the rest. The file is long because it states the contract of every operation.
//
// Failures are CCSPContextError; CryptokiError of the module passes through every operation that reaches it, unless the
// operation says otherwise. An operation that needs a session raises NTE_FAIL in a context without one. "Logs in" means
// Login, with its failures. No operation is safe against another one on the same context at the same time.
//
// Lengths are in bytes. Input pointers must be valid for their length; null means no bytes. Where a null output asks
// for the length, the comment says so; its `*length` is the available room before and the length of the output
// afterwards, and is unchanged after a failure. RSA numbers (signatures, moduli, encrypted data) are little-endian on
// the caller's side, unless it says otherwise; the module has them big-endian.
//
// Hashes and session keys are shared with the process's factories. The context owns the objects that returned pointers
// point to.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <list>
#include <map>
#include <string>

#include "cryptoki/Attribute.h"
#include "cryptoki/Certificate.h"
#include "cryptoki/Cryptoki.h"
#include "objects/Algorithms.h"
#include "objects/CImportedPublicKeyList.h"

class CCSPHash;
class CCSPSecretKey;
class CCSPSecretKeyFactory;
class CTELVOPINCache;
class Session;

class CCSPContext {
 public:
  CCSPContext& operator=(const CCSPContext&) = delete;

  // In interface order: append, never reorder.

  // Neither logs out nor closes the session: that is CloseSession's.
  virtual ~CCSPContext();
  virtual DWORD GetHandle() const;
  virtual void SetHandle(DWORD handle);
  virtual std::string GetReaderName() const;
  virtual std::string GetContainerName() const;
  // The token's label, known from the first PIN dialog on.
  virtual std::string GetTokenName() const;
  // The flags of CPAcquireContext as they were given.
  virtual DWORD GetFlags() const;
  virtual std::string GetProviderName() const;
  // Null when there is none. No reference is taken.
  virtual Session* GetSession() const = 0;
  // Takes a name and flags as Initialize does, and binds to nothing.
  virtual void SetContainer(const char* name, DWORD flags) = 0;
  // Asks the token for the session's state.
  virtual bool IsLoggedIn() = 0;
  // Logs the session in, with the cached PIN or by asking the user. Each operation on a private object does that first.
  // A LoginLock that the caller holds keeps the session logged in until its end; it is released while the user is
  // asked. A dialog that ends in any way other than a cancel counts as a login. If nobody is logged in then, the
  // operation fails.
  //
  // NTE_SILENT_CONTEXT when the user would have to be asked, SCARD_W_CANCELLED_BY_USER when the user cancels. With a
  // cached PIN SCARD_W_CHV_BLOCKED, or SCARD_W_CARD_NOT_AUTHENTICATED for a failure other than a wrong PIN; a wrong PIN
  // is forgotten, and the user is asked. NTE_FAIL for a token that is not initialised, and, before the user is asked,
  // without a session.
  virtual void Login() = 0;
  // Logs the session in with a PIN that the application supplies, and caches it. If that PIN is already cached, this
  // succeeds without a call of the module.
  //
  // ERROR_INVALID_PARAMETER for null or no bytes, SCARD_W_WRONG_CHV, SCARD_W_CHV_BLOCKED, NTE_FAIL for another failure
  // of the module. CryptokiError when the module does not report how many tries a wrong PIN left.
  virtual void LoginWithPIN(const BYTE* pin, DWORD length) = 0;
  // Logs the session out if it is logged in. Throws nothing.
  virtual void Logout() = 0;
  // Throws nothing; a failure is logged.
  virtual void CloseSession() = 0;
  // Shares the hash, even when the context already has it.
  virtual void AddHash(const boost::shared_ptr<CCSPHash>& hash);
  // Required: an unknown handle is ignored, but in a context without hashes it is NTE_BAD_HASH.
  virtual void RemoveHash(DWORD handle);
  // The same, by the hash's handle.
  virtual void RemoveHash(const boost::shared_ptr<CCSPHash>& hash);
  // NTE_BAD_HASH when there is none.
  virtual boost::shared_ptr<CCSPHash> GetHash(DWORD handle);
  // Shares the key, even when the context already has it.
  virtual void AddSecretKey(const boost::shared_ptr<CCSPSecretKey>& key);
  // Forgets the session key, and destroys its object on the token; a failure of that is ignored. If there is no such
  // session key, does the same for an imported public key of that handle; a failure of that is a CryptokiError. Unknown
  // handles are ignored.
  virtual void RemoveSecretKey(DWORD handle);
  // Forgets the session key, and leaves imported keys and the token's object alone. Null is ignored; NTE_NO_KEY in a
  // context without session keys.
  virtual void RemoveSecretKey(const CCSPSecretKey* key);
  // Does nothing. It keeps its place in the interface order.
  virtual void Reserved() = 0;
  // NTE_NO_KEY when there is none.
  virtual boost::shared_ptr<CCSPSecretKey> GetSecretKey(DWORD handle);
  // What the token stores about a certificate; for null, an attribute without type and value. Issuer and subject are
  // DER, the serial number is big-endian. The label is the certificate's display name, or "TELVO" when it has none.
  virtual Attribute GetCertIssuer(PCCERT_CONTEXT certificate) = 0;
  virtual Attribute GetCertSerialNumber(PCCERT_CONTEXT certificate) = 0;
  virtual Attribute GetCertSubject(PCCERT_CONTEXT certificate) = 0;
  virtual Attribute GetCertLabel(PCCERT_CONTEXT certificate) = 0;
  // Logs in. Replaces the container's certificate on the token, and writes its label to the container's keys. It takes
  // their CKA_ID: CKR_ARGUMENTS_BAD without a private key. Null or a zero length does nothing. Bytes that are not a
  // certificate are written as well, and the certificate's key is not compared. After a failure the container has no
  // certificate.
  virtual void WriteCertificate(const BYTE* der, DWORD length) = 0;
  // Random bytes of the token. Null or a zero length does nothing.
  virtual void GenerateRandom(BYTE* buffer, DWORD length) = 0;
  // Logs in. Makes a new key, whose handle goes to `*handle`: the container's RSA pair, of the size in the upper 16
  // bits of `flags` (other values than 512, 1024 and 2048 give 4096), or a session key with `flags` as its mode.
  // `handle` must not be null; `factory` makes and keeps session keys. The old pair stays on the token.
  //
  // NTE_BAD_ALGID for any other algorithm, NTE_BAD_KEYSET_PARAM for a pair when the container's name has more than 63
  // characters. A failure leaves the old pair in use.
  virtual void GenerateKeyPair(DWORD algorithm, DWORD flags, DWORD* handle, CCSPSecretKeyFactory* factory) = 0;

  // RSA with the container's pair and CKM_RSA_PKCS: the module pads. Each of the four logs in.

  // Signs a DigestInfo or a bare digest. A null `signature` asks for the length, and logs in as well. NTE_NO_KEY
  // without a private key, before the login; too little room is the module's failure. A user who cancels one signature
  // is not asked for the next one, which fails as cancelled.
  virtual void Sign(const BYTE* data, const DWORD* dataLength, BYTE* signature, DWORD* signatureLength) = 0;
  // Verifies with `key`, which is not kept, or with the container's public key for null. ERROR_INVALID_PARAMETER
  // without data or signature; NTE_BAD_SIGNATURE for every failure of the module.
  virtual void Verify(const BYTE* data, DWORD dataLength, const BYTE* signature, DWORD signatureLength,
                      PublicKey* key) = 0;
  // A null `out` asks for the length. `data` and `out` may be the same. NTE_BAD_KEY without a public key, before the
  // login; NTE_FAIL when the module fails.
  //
  // Required: the output is big-endian.
  virtual void Encrypt(const BYTE* data, DWORD dataLength, BYTE* out, DWORD* outLength) = 0;
  // The same with the private key. The input is little-endian.
  virtual void Decrypt(const BYTE* data, DWORD dataLength, BYTE* out, DWORD* outLength) = 0;

  // Logs in. Makes a key from a PUBLICKEYBLOB or a SIMPLEBLOB, both little-endian; its handle goes to `*handle`. For a
  // SIMPLEBLOB `flags` are the permissions, and `factory` makes and keeps the key. NTE_INVALID_PARAMETER without blob
  // or handle, NTE_BAD_TYPE for another kind of blob, NTE_BAD_ALGID for a public key that is not of CALG_RSA_KEYX or a
  // session key of an unknown algorithm, NTE_BAD_DATA for a blob that is shorter than its header, NTE_BAD_KEYSET for a
  // SIMPLEBLOB without a private key, NTE_FAIL when the module fails.
  virtual void ImportKey(const BYTE* blob, DWORD length, DWORD* handle, CCSPSecretKeyFactory* factory, DWORD flags) = 0;
  // Owned by the context. NTE_NO_KEY when there is none.
  virtual PublicKey* GetImportedPublicKey(DWORD handle) = 0;
  // Makes a session key of `length` bytes from the value of `hash`, which it finishes; bytes missing from the value are
  // zero. It does not log in. The key has no mode, and may be exported. NTE_BAD_ALGID for an algorithm that no session
  // key has, NTE_FAIL when the module fails.
  virtual boost::shared_ptr<CCSPSecretKey> DeriveKey(const boost::shared_ptr<CCSPHash>& hash, DWORD algorithm,
                                                     DWORD length, CCSPSecretKeyFactory* factory) = 0;
  // Asks the token again; its CryptokiError passes through.
  virtual TokenInfo GetTokenInfo() = 0;
  // Binds the context to a token and to a container on it. May ask the user for a reader: std::runtime_error when the
  // smart card service knows none. A null `containerName` means no name. The module is shared; `useCount` is not read.
  //
  // NTE_BAD_FLAGS, NTE_BAD_KEYSET_PARAM (a name of more than 260 characters), NTE_BAD_KEYSET (not found), NTE_EXISTS,
  // NTE_SILENT_CONTEXT, SCARD_W_CANCELLED_BY_USER, NTE_FAIL (no module, no card, or the named reader's token fails).
  virtual void Initialize(const char* containerName, DWORD flags, const boost::shared_ptr<Cryptoki>& cryptoki,
                          DWORD useCount) = 0;
  // Destroys the container's objects on the token, in a context of CRYPT_DELETEKEYSET with a container name; else it
  // does nothing. It does not log in.
  virtual void DeleteContainer() = 0;
  // Adds the container's certificate to a store in memory and discards that store. Always 1.
  virtual DWORD PropagateCertificate() = 0;
  // Adds the token's certificates, or only the container's, to the caller's store, each with a reference to its
  // container when it has a private key. `rootStore` is not read. Always 1: a certificate that the store refuses is
  // only logged. A failing token ends the run through all certificates, with its CK_RV as the last error.
  virtual DWORD AddCertificatesToStore(HCERTSTORE store, DWORD rootStore, DWORD defaultOnly) = 0;
  // Each returns 1 or 0.
  virtual DWORD HasCertificate() const = 0;
  virtual DWORD HasPublicKey() const = 0;
  virtual DWORD HasPrivateKey() const = 0;
  // Sets each of the two key handles that is 0 to a random number. Reseeds the process's generator.
  virtual void AssignKeyHandles() = 0;
  // The two handles of the container's one pair. They exist even without a pair; 0 before AssignKeyHandles.
  virtual DWORD GetSignatureKeyHandle() const = 0;
  virtual DWORD GetExchangeKeyHandle() const = 0;
  // Owned by the context. NTE_NOT_FOUND when the container has none.
  virtual Certificate* GetDefaultCertificate() = 0;
  // The size of the container's key pair in bits. NTE_NO_KEY without one.
  virtual DWORD GetKeyBits() = 0;
  // Writes a SIMPLEBLOB with the session key `key`, encrypted for the public key `exchangeKey`. A null `blob` asks for
  // the size; else it logs in. NTE_NO_KEY when one of the keys is unknown, NTE_BAD_PUBLIC_KEY when there is no public
  // key or the session key may not be exported.
  //
  // Required: the encrypted key is big-endian, its value reversed; with a buffer `*length` becomes the length of the
  // encrypted key alone; too small a buffer is the module's failure, which may change `*length`.
  virtual void ExportSessionKey(DWORD key, DWORD exchangeKey, BYTE* blob, DWORD* length) = 0;
  // Writes a PUBLICKEYBLOB, little-endian. A null `blob` asks for the size; a `*length` below it is ERROR_MORE_DATA.
  // NTE_NO_KEY when there is no such key. It does not log in.
  virtual void ExportPublicKey(DWORD key, BYTE* blob, DWORD* length) = 0;

  // After the interface: what the list of contexts needs.
  // A copy as the copy constructor makes it.
  virtual boost::shared_ptr<CCSPContext> Copy() const = 0;
  // Whether no other context shares the session.
  virtual bool IsOnlyOwnerOfSession() const = 0;

  // Whether a key handle stands for the container's key pair.
  bool IsKeyPair(HCRYPTKEY key) const { return key == GetSignatureKeyHandle() || key == GetExchangeKeyHandle(); }

  // The enumerations. Each goes to its first row or to the next one, and returns it; the context owns it. Null at the
  // end, where it stays, and before the first call with `first`.
  const Algorithm* NextAlgorithm(bool first) { return Next(m_algorithms, m_algEnumIterator, first); }
  const Algorithm* NextAlgorithmEx(bool first) { return Next(m_algorithms, m_algExEnumIterator, first); }
  Certificate* NextCertificate(bool first) { return Next(m_certificates, m_certEnumIterator, first); }
  // Where the last NextCertificate went.
  Certificate* CurrentCertificate() { return At(m_certificates, m_certEnumIterator); }

 protected:
  explicit CCSPContext(HINSTANCE resourceHandle);
  // Checks, splits and stores name and flags, too.
  CCSPContext(const char* name, DWORD flags);
  // A copy remembers no cancelled dialog, and its enumeration of containers must be started again. Its enumerations use
  // its own lists.
  CCSPContext(const CCSPContext& other);

  void TakeName(const char* name, DWORD flags);

  std::list<Algorithm>::const_iterator m_algEnumIterator;    // of PP_ENUMALGS
  std::list<Algorithm>::const_iterator m_algExEnumIterator;  // of PP_ENUMALGS_EX
  std::list<Algorithm> m_algorithms;
  std::list<Certificate> m_certificates;                // every certificate of the token, in its order
  std::list<Certificate>::iterator m_certEnumIterator;  // of PP_ENUMCONTAINERS
  DWORD m_flags = 0;
  DWORD m_errFlags = 0;     // a cancelled PIN dialog, remembered between two signatures
  DWORD m_signPending = 0;  // 1: the next login comes from Sign
  std::string m_containerName;
  std::string m_readerName;
  std::string m_tokenName;
  DWORD m_handle = 0;
  HINSTANCE m_resourceHandle = nullptr;
  std::string m_providerName;
  std::list<boost::shared_ptr<CCSPHash>> m_hashes;
  std::list<boost::shared_ptr<CCSPSecretKey>> m_secretKeys;
  boost::shared_ptr<CTELVOPINCache> m_pinCache;  // null before the first login
  CImportedPublicKeyList m_importedKeys;

 private:
  template <typename List, typename Position>
  static auto At(List& list, Position position) -> decltype(&*position) {
    return position == list.end() ? nullptr : &*position;
  }
  template <typename List, typename Position>
  static auto Next(List& list, Position& position, bool first) -> decltype(&*position) {
    if (first) {
      position = list.begin();
    } else if (position != list.end()) {
      ++position;
    }
    return At(list, position);
  }

  using HashPlaces = std::multimap<DWORD, std::list<boost::shared_ptr<CCSPHash>>::iterator>;
  // The place of the first hash of that handle, or the end.
  HashPlaces::iterator FirstPlace(DWORD handle);

  // Where in m_hashes the hashes of a handle are, in the list's order, so that the list need not be searched.
  HashPlaces m_hashPlaces;
};

// CCSPContext: what a provider handle stands for: one container on one token, with the hashes and keys that were made
// under the handle. This class holds what is independent of the card; TELVOCSPContext, its only concrete class, does
// the rest.
//
// Failures are CCSPContextError; CryptokiError of the module passes through every operation that reaches it, unless the
// operation says otherwise. No operation is safe against another one on the same context at the same time.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <list>
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
class LoginTurn;
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
  // The flags of CPAcquireContext as given.
  virtual DWORD GetFlags() const;
  virtual std::string GetProviderName() const;
  // Null when there is none. No reference is taken.
  virtual Session* GetSession() const = 0;
  // Takes a name and flags as Initialize does, and binds to nothing.
  virtual void SetContainer(const char* name, DWORD flags) = 0;
  virtual bool IsLoggedIn() = 0;
  // Logs the session in, with the cached PIN or by asking the user. Each operation on a private object does that first.
  virtual void Login() = 0;
  // Logs the session in with a PIN that the application supplies, and caches it.
  virtual void LoginWithPIN(const BYTE* pin, DWORD length) = 0;
  // Throws nothing.
  virtual void Logout() = 0;
  // Throws nothing; a failure is logged.
  virtual void CloseSession() = 0;
  virtual void AddHash(const boost::shared_ptr<CCSPHash>& hash);
  // Required: an unknown handle is silent, but in a context without hashes NTE_BAD_HASH.
  virtual void RemoveHash(DWORD handle);
  virtual void RemoveHash(const boost::shared_ptr<CCSPHash>& hash);
  // NTE_BAD_HASH when there is none.
  virtual boost::shared_ptr<CCSPHash> GetHash(DWORD handle);
  virtual void AddSecretKey(const boost::shared_ptr<CCSPSecretKey>& key);
  // Session keys and imported public keys share one space of handles: what is no session key is looked for there.
  // Unknown handles are silent.
  virtual void RemoveSecretKey(DWORD handle);
  // Imported keys are left alone. Null is nothing to do; NTE_NO_KEY in a context without session keys.
  virtual void RemoveSecretKey(const CCSPSecretKey* key);
  virtual void Reserved() = 0;
  // NTE_NO_KEY when there is none.
  virtual boost::shared_ptr<CCSPSecretKey> GetSecretKey(DWORD handle);
  // What the token's certificate object holds of a certificate; an attribute without type and value for null.
  virtual Attribute GetCertIssuer(PCCERT_CONTEXT certificate) = 0;
  virtual Attribute GetCertSerialNumber(PCCERT_CONTEXT certificate) = 0;
  virtual Attribute GetCertSubject(PCCERT_CONTEXT certificate) = 0;
  virtual Attribute GetCertLabel(PCCERT_CONTEXT certificate) = 0;
  // Writes a certificate to the token in the place of the container's, and its label to the container's keys, whose
  // CKA_ID it takes: CKR_ARGUMENTS_BAD without a private key. Null or a zero length is nothing to do. After a failure
  // to write the container has no certificate.
  virtual void WriteCertificate(const BYTE* der, DWORD length) = 0;
  // Random bytes of the token. Null or a zero length is nothing to do.
  virtual void GenerateRandom(BYTE* buffer, DWORD length) = 0;
  // A new key, whose handle goes to `*handle`: the container's RSA pair, of the size in the upper 16 bits of `flags`,
  // or a session key with `flags` as its mode. NTE_BAD_ALGID for an algorithm of neither, NTE_BAD_KEYSET_PARAM for a
  // pair when the container's name has more than 63 characters. A failure leaves the old pair in use.
  virtual void GenerateKeyPair(DWORD algorithm, DWORD flags, DWORD* handle, CCSPSecretKeyFactory* factory) = 0;
  virtual void Sign(const BYTE* data, const DWORD* dataLength, BYTE* signature, DWORD* signatureLength) = 0;
  virtual void Verify(const BYTE* data, DWORD dataLength, const BYTE* signature, DWORD signatureLength,
                      PublicKey* key) = 0;
  virtual void Encrypt(const BYTE* data, DWORD dataLength, BYTE* out, DWORD* outLength) = 0;
  virtual void Decrypt(const BYTE* data, DWORD dataLength, BYTE* out, DWORD* outLength) = 0;
  // A key from a PUBLICKEYBLOB or a SIMPLEBLOB; of the latter `flags` are the permissions. NTE_BAD_TYPE for another
  // blob, NTE_BAD_DATA for one that is shorter than its header, NTE_FAIL when the module fails.
  virtual void ImportKey(const BYTE* blob, DWORD length, DWORD* handle, CCSPSecretKeyFactory* factory, DWORD flags) = 0;
  // Owned by the context. NTE_NO_KEY when there is none.
  virtual PublicKey* GetImportedPublicKey(DWORD handle) = 0;
  // A session key of `length` bytes from the value of `hash`, which it finishes. NTE_FAIL when the module fails.
  virtual boost::shared_ptr<CCSPSecretKey> DeriveKey(const boost::shared_ptr<CCSPHash>& hash, DWORD algorithm,
                                                     DWORD length, CCSPSecretKeyFactory* factory) = 0;
  // Asks the token anew.
  virtual TokenInfo GetTokenInfo() = 0;
  // Binds the context to a token and to a container on it. `useCount` is not read.
  virtual void Initialize(const char* containerName, DWORD flags, const boost::shared_ptr<Cryptoki>& cryptoki,
                          DWORD useCount) = 0;
  // Destroys the container's objects on the token, in a context of CRYPT_DELETEKEYSET with a container name.
  virtual void DeleteContainer() = 0;
  virtual DWORD PropagateCertificate() = 0;
  virtual DWORD AddCertificatesToStore(HCERTSTORE store, DWORD rootStore, DWORD defaultOnly) = 0;
  virtual DWORD HasCertificate() const = 0;
  virtual DWORD HasPublicKey() const = 0;
  virtual DWORD HasPrivateKey() const = 0;
  // Draws the two key handles, as far as they are 0. Reseeds the process's generator.
  virtual void AssignKeyHandles() = 0;
  virtual DWORD GetSignatureKeyHandle() const = 0;
  virtual DWORD GetExchangeKeyHandle() const = 0;
  // Owned by the context. NTE_NOT_FOUND when the container has none.
  virtual Certificate* GetDefaultCertificate() = 0;
  // The size of the container's key pair. NTE_NO_KEY without one.
  virtual DWORD GetKeyBits() = 0;
  // Writes a SIMPLEBLOB with the session key `key`, encrypted for the public key `exchangeKey`. A null `blob` asks for
  // the size. NTE_BAD_PUBLIC_KEY when there is no public key or the session key may not leave.
  //
  // Required: with a buffer `*length` becomes the length of the encrypted key alone; too small a buffer is the module's
  // failure.
  virtual void ExportSessionKey(DWORD key, DWORD exchangeKey, BYTE* blob, DWORD* length) = 0;
  // Writes a PUBLICKEYBLOB. A null `blob` asks for the size; a `*length` below it is ERROR_MORE_DATA. NTE_NO_KEY when
  // there is no such key.
  virtual void ExportPublicKey(DWORD key, BYTE* blob, DWORD* length) = 0;

  // Behind the interface.

  // Login for an operation that follows under the same turn, so that no other thread logs the token out in between. The
  // turn is given up while the user is asked.
  virtual void Login(LoginTurn& turn) = 0;

  // What the list of contexts needs.

  // A copy as the copy constructor makes it.
  virtual boost::shared_ptr<CCSPContext> Copy() const = 0;
  // Whether no other context shares the session.
  virtual bool IsOnlyOwnerOfSession() const = 0;

  // The enumerations. Each goes to its first row, or from where it stands to the next one, and returns it; null at the
  // end, where it stays, and as long as it was not begun. What is returned belongs to the context.
  const Algorithm* NextAlgorithm(bool first) { return Next(m_algorithms, m_algEnumIterator, first); }
  const Algorithm* NextAlgorithmEx(bool first) { return Next(m_algorithms, m_algExEnumIterator, first); }
  Certificate* NextCertificate(bool first) { return Next(m_certificates, m_certEnumIterator, first); }
  // Where the last NextCertificate went.
  Certificate* CurrentCertificate() { return At(m_certificates, m_certEnumIterator); }

 protected:
  explicit CCSPContext(HINSTANCE resourceHandle);
  // Checks, splits and stores name and flags, too.
  CCSPContext(const char* name, DWORD flags);
  // A copy remembers no cancelled dialog, and its enumeration of containers must be begun anew. Its enumerations go
  // through its own lists.
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
};

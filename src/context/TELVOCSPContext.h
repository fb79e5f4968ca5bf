// TELVOCSPContext: a context on a token of the TELVO family. It holds the module, the slot and token, the session and
// the container's certificate and key pair.
//
// The container has one key pair, which answers to two handles: one stands for AT_KEYEXCHANGE, one for AT_SIGNATURE.
// An operation that needs a session raises NTE_FAIL in a context without one (CRYPT_VERIFYCONTEXT).
//
// This class holds the state of a context. Each larger operation is a separate class or function, named after what it
// does: SlotWalk, ContextLogin, KeyGeneration, and so on.
#pragma once

#include <list>
#include <string>

#include "context/CCSPContext.h"
#include "cryptoki/CryptokiObjects.h"
#include "cryptoki/Session.h"
#include "cryptoki/Slot.h"
#include "cryptoki/Token.h"

class TELVOCSPContext : public CCSPContext {
 public:
  // `resourceHandle` is the library whose resources the context uses.
  explicit TELVOCSPContext(HINSTANCE resourceHandle);
  // A context that has a name, flags and the module, and is bound to nothing.
  TELVOCSPContext(const char* name, DWORD flags, boost::shared_ptr<Cryptoki> cryptoki);
  // Shares the session. The copy has no slot.
  TELVOCSPContext(const TELVOCSPContext& other);
  TELVOCSPContext& operator=(const TELVOCSPContext&) = delete;
  ~TELVOCSPContext() override;

  Session* GetSession() const override;
  void SetContainer(const char* name, DWORD flags) override;
  bool IsLoggedIn() override;
  void Login() override;
  void LoginWithPIN(const BYTE* pin, DWORD length) override;
  void Logout() override;
  void CloseSession() override;
  // Destroys the key object on the token, too.
  void RemoveSecretKey(DWORD handle) override;
  void RemoveSecretKey(const CCSPSecretKey* key) override;
  void Reserved() override;
  Attribute GetCertIssuer(PCCERT_CONTEXT certificate) override;
  Attribute GetCertSerialNumber(PCCERT_CONTEXT certificate) override;
  Attribute GetCertSubject(PCCERT_CONTEXT certificate) override;
  Attribute GetCertLabel(PCCERT_CONTEXT certificate) override;
  void WriteCertificate(const BYTE* der, DWORD length) override;
  void GenerateRandom(BYTE* buffer, DWORD length) override;
  void GenerateKeyPair(DWORD algorithm, DWORD flags, DWORD* handle, CCSPSecretKeyFactory* factory) override;
  void Sign(const BYTE* data, const DWORD* dataLength, BYTE* signature, DWORD* signatureLength) override;
  void Verify(const BYTE* data, DWORD dataLength, const BYTE* signature, DWORD signatureLength,
              PublicKey* key) override;
  void Encrypt(const BYTE* data, DWORD dataLength, BYTE* out, DWORD* outLength) override;
  void Decrypt(const BYTE* data, DWORD dataLength, BYTE* out, DWORD* outLength) override;
  void ImportKey(const BYTE* blob, DWORD length, DWORD* handle, CCSPSecretKeyFactory* factory, DWORD flags) override;
  PublicKey* GetImportedPublicKey(DWORD handle) override;
  boost::shared_ptr<CCSPSecretKey> DeriveKey(const boost::shared_ptr<CCSPHash>& hash, DWORD algorithm, DWORD length,
                                             CCSPSecretKeyFactory* factory) override;
  TokenInfo GetTokenInfo() override;
  void Initialize(const char* containerName, DWORD flags, const boost::shared_ptr<Cryptoki>& cryptoki,
                  DWORD useCount) override;
  void DeleteContainer() override;
  DWORD PropagateCertificate() override;
  DWORD AddCertificatesToStore(HCERTSTORE store, DWORD rootStore, DWORD defaultOnly) override;
  DWORD HasCertificate() const override;
  DWORD HasPublicKey() const override;
  DWORD HasPrivateKey() const override;
  void AssignKeyHandles() override;
  DWORD GetSignatureKeyHandle() const override;
  DWORD GetExchangeKeyHandle() const override;
  Certificate* GetDefaultCertificate() override;
  DWORD GetKeyBits() override;
  void ExportSessionKey(DWORD key, DWORD exchangeKey, BYTE* blob, DWORD* length) override;
  void ExportPublicKey(DWORD key, BYTE* blob, DWORD* length) override;
  boost::shared_ptr<CCSPContext> Copy() const override;
  bool IsOnlyOwnerOfSession() const override;

  // The string of PP_UI_PROMPT. No dialog shows it.
  const std::string& GetNoCardPrompt() const { return m_noCardPrompt; }
  void SetNoCardPrompt(const std::string& prompt) { m_noCardPrompt = prompt; }

  // Adds a certificate to a store, with a reference to this provider and the container when a private key of the token
  // belongs to it. 1, or 0 after a failure, which is logged.
  DWORD AddCertificateToStore(const Certificate& certificate, HCERTSTORE store, const BYTE* der, DWORD length,
                              const std::string& containerName);

  // The session; CCSPContextError NTE_FAIL when there is none.
  Session& OpenedSession() const;

 private:
  // The classes that do its work.
  friend class CertificateWriter;
  friend class ContextLogin;
  friend class KeyExport;
  friend class KeyGeneration;
  friend class KeyImport;
  friend class SlotVisit;
  friend class SlotWalk;
  friend class StorePropagation;

  std::string m_noCardPrompt = "Insert TELVO/Quillkey";
  boost::shared_ptr<Cryptoki> m_cryptoki;  // shared by all contexts
  CryptokiObjects m_objects;               // all objects of the token, as Initialize found them
  Certificate m_certificate;
  PublicKey m_publicKey;
  PrivateKey m_privateKey;
  boost::shared_ptr<Session> m_session;  // null in a context of CRYPT_VERIFYCONTEXT
  TokenInfo m_tokenInfo;                 // as last read
  Token m_token;
  boost::shared_ptr<Slot> m_slot;  // the slot last visited by Initialize
  std::list<Slot> m_slots;
  DWORD m_hasCertificate = 0;
  DWORD m_hasPrivateKey = 0;
  DWORD m_hasPublicKey = 0;
  DWORD m_exchangeKeyHandle = 0;
  DWORD m_signatureKeyHandle = 0;
  DWORD m_moduleRestarts = 0;  // ModuleRestarts() when m_session was opened
};

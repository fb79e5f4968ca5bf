// SlotVisit: a session on the token of one slot, and what is found of the container there. All of it goes into the
// context.
#pragma once

#include "context/TELVOCSPContext.h"

// The log lines of a visit. They are the only difference between a named reader and any other one.
struct VisitTexts {
  // A null text writes no line.
  const char* readerFound;
  const char* beforeSession;
  const char* openingSession;
  const char* readingObjects;
  const char* objectsRead;
  const char* readingCertificates;

  const char* certificate;
  const char* publicKeyOfCertificate;
  const char* noPublicKeyOfCertificate;
  const char* privateKeyOfCertificate;
  const char* noPrivateKeyOfCertificate;

  const char* privateKey;
  const char* publicKey;
  const char* publicKeyAlone;
};

extern const VisitTexts kTextsOfNamedReader;
extern const VisitTexts kTextsOfAnyReader;

class SlotVisit {
 public:
  SlotVisit(TELVOCSPContext& context, const VisitTexts& texts) : m_context(context), m_texts(texts) {}

  // Opens a session, which becomes the context's, and reads the token's objects. CryptokiError.
  void Open(Slot& slot);

  // Looks for the container: its certificate with the keys that belong to it, or its key pair, or its public key.
  // Without a container name, the first container is taken, and the context gets its name. Whatever goes wrong counts
  // as not found.
  //
  // Required: a certificate or a private key stays in the context, even when the rest of the container was not found.
  enum class Found { kCertificateOrPair, kPublicKey, kNothing };
  Found FindContainer();

 private:
  void ForgetObjects();
  bool TakeCertificate();
  bool TakePair();
  bool TakePublicKey(const char* logLine);

  TELVOCSPContext& m_context;
  const VisitTexts& m_texts;
};

// SlotVisit: a session on the token of one slot, and what is found there of the container. All of it goes into the
// context.
#pragma once

#include "context/TELVOCSPContext.h"

// What the log says of a visit. Nothing else tells a named reader from any other one.
struct VisitTexts {
  // A null text is no line.
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

  // Looks for the container: its certificate with the keys that belong to it, or its key pair, or its public key. A
  // container without a name is whichever comes first, and gives the context its name. Whatever goes wrong counts as
  // not found.
  //
  // Required: a certificate or a private key stays in the context, also when the rest of it was not found.
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

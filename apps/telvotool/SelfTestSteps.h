// The steps of "telvotool selftest", in their own container.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "telvotool/Container.h"

namespace tool {

// A step that cannot be done here, which is not a failure of the card.
class NotApplicable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct SelfTestStep {
  std::string name;
  // Raises Failure, CryptokiError or NotApplicable.
  std::function<void()> work;
};

// The container of a self-test, and what one step keeps for the next.
class SelfTestWork {
 public:
  // `target` names the reader, and a container that is not there. `pin` may be null: then the provider's dialog asks.
  SelfTestWork(const Target& target, const Pin& pin);
  SelfTestWork(const SelfTestWork&) = delete;
  SelfTestWork& operator=(const SelfTestWork&) = delete;

  // All but the deletion, in their order. The functions need this object.
  std::vector<SelfTestStep> Steps();
  // Whether something may be on the card.
  bool HasBegun() const { return m_hasBegun; }
  // Deletes the container on the card, with the PIN that the card has accepted before. It must be the same card. Raises
  // Failure.
  void Remove();

 private:
  void DrawRandom() const;
  void LogIn();
  void MakePair();
  void WriteCertificate();
  void ReadCertificate() const;
  void GivePublicKey();
  void Sign(ALG_ID algorithm) const;
  void VerifyHere() const;
  void Decrypt() const;
  void Encrypt() const;
  void TakeSessionKey(ALG_ID algorithm, std::size_t block) const;
  void GiveSessionKey() const;
  void UseKeptPin() const;
  void Enumerate() const;

  HCRYPTPROV Ours() const { return m_ours.Get(); }
  // Each raises NotApplicable when the step that makes it has failed.
  HCRYPTKEY Pair() const;
  HCRYPTKEY PublicKey() const;

  Target m_target;
  const Pin& m_pin;
  bool m_hasBegun = false;
  ProviderHandle m_ours;
  KeyHandle m_pair;
  Bytes m_certificate;
  // The system's own provider, and the pair's public key in it.
  ProviderHandle m_theirs;
  KeyHandle m_publicKey;
};

}  // namespace tool

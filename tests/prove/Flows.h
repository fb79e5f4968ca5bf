// Flows: what applications do with the provider, from the acquire to the release.
#pragma once

#include <string_view>
#include <vector>

#include "Application.h"

struct Flow {
  const char* name;
  void (*run)(Application& app);
  // Puts the cards into the readers.
  void (*prepare)(ScriptedModule& module);
  // The sessions that it may leave open. Nobody closes the session of a slot that CPAcquireContext visited and left,
  // and that in which a container was deleted (cryptoki/Session.h).
  std::size_t sessionsLeft = 0;
};

const std::vector<Flow>& AllFlows();

// A card with a container "one" of certificate and pair, and the PIN kPin.
void PrepareCard(ScriptedModule& module);
// The same in two readers.
void PrepareTwoCards(ScriptedModule& module);
// A card that also has the object of a session key.
void PrepareCardWithSecretKey(ScriptedModule& module);

// A card that also has the certificates of an authority and of somebody else.
void PrepareCardWithRoot(ScriptedModule& module);

// The bytes of each session key that is made here begin with these.
extern const Bytes kKeyBytes;
// What must not stand in memory that is given back: PINs, and the bytes of keys, as they are and in reverse order.
const std::vector<std::string_view>* Secrets();
constexpr std::size_t kModulusBytes = 128;
constexpr DWORD kRoom = 1024;  // for any answer
constexpr char kContainer[] = "\\\\.\\Reader A\\one";

// By subject, a file each.
void AcquireByName(Application& app);
void AcquireByReader(Application& app);
void AcquireByDefault(Application& app);
void AcquireForVerification(Application& app);
void AcquireByDialog(Application& app);
void MakeContainer(Application& app);
void DeleteContainer(Application& app);
void Enumerate(Application& app);
void AskProvider(Application& app);
void AskForRandom(Application& app);
void ReadCertificate(Application& app);
void WriteCertificate(Application& app);
void OpenStores(Application& app);
void GivePinByApplication(Application& app);
void GivePinByDialog(Application& app);
void CancelPinDialog(Application& app);

void Hash(Application& app);
void HashSessionKey(Application& app);
void Sign(Application& app);
void SignByDialog(Application& app);
void Verify(Application& app);

void MakePair(Application& app);
void MakeSessionKey(Application& app);
void ExchangePublicKey(Application& app);
void ExchangeSessionKey(Application& app);
void DeriveKey(Application& app);
void CryptByPair(Application& app);
void CryptBySessionKey(Application& app);
void AskKeys(Application& app);

// Flows: what applications do with the provider, from acquiring a context to releasing it.
#pragma once

#include <string_view>
#include <vector>

#include "Application.h"

struct Flow {
  const char* name;
  void (*run)(Application& app);
  // Puts the cards into the readers.
  void (*prepare)(ScriptedModule& module);
  // How many sessions it may leave open. The session of a slot that CPAcquireContext visited and left is never closed,
  // nor is the session in which it deleted a container (cryptoki/Session.h).
  std::size_t sessionsLeft = 0;
};

const std::vector<Flow>& AllFlows();

// A card with the PIN kPin and a container "one", which has a certificate and a key pair.
void PrepareCard(ScriptedModule& module);
// The same in two readers.
void PrepareTwoCards(ScriptedModule& module);
// A card that also has a session key object.
void PrepareCardWithSecretKey(ScriptedModule& module);

// A card that also has the certificates of an authority and of another holder.
void PrepareCardWithRoot(ScriptedModule& module);

// Each session key that is made here begins with these bytes.
extern const Bytes kKeyBytes;
// What freed memory must not contain: PINs, and the bytes of keys in either order.
const std::vector<std::string_view>* Secrets();
constexpr std::size_t kModulusBytes = 128;
constexpr DWORD kRoom = 1024;  // for any answer
constexpr char kContainer[] = "\\\\.\\Reader A\\one";

// Grouped by subject; each group has its own file.
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

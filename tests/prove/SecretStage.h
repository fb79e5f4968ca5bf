// SecretStage: the provider that the group "secrets" searches, with its user and its readers. There are two
// implementations: with the sources themselves, on both targets, and with telvocsp.dll under the system's CryptoAPI,
// under Wine.
#pragma once

#include "common/Platform.h"

#include <functional>
#include <memory>
#include <string>

#include "Marker.h"
#include "QuietModule.h"

constexpr char kReader[] = "TELVO Reader A";
constexpr char kContainer[] = "\\\\.\\TELVO Reader A\\one";

class SecretStage {
 public:
  SecretStage(QuietModule& module, bool logging);
  ~SecretStage();
  SecretStage(const SecretStage&) = delete;
  SecretStage& operator=(const SecretStage&) = delete;

  // Runs `act`, in which the login dialog opens. Its user types the PIN, and logs in or cancels.
  void WithUser(const Marker& pin, bool cancels, const std::function<void()>& act);
  // Changes the PIN of the context's card in the dialog. False where the provider has no such dialog.
  bool ChangePin(HCRYPTPROV context, const Marker& current, const Marker& fresh);
  // Pulls the card, waits until its PIN is forgotten, and puts it back. False where nothing watches the reader.
  bool PullCard();
  BOOL DeriveKey(HCRYPTPROV context, ALG_ID algorithm, HCRYPTHASH hash, DWORD flags, HCRYPTKEY* key);
  // CPHashSessionKey with a key that has the same handle as the hash. False where an application cannot have one.
  bool HashSessionKey(HCRYPTPROV context, HCRYPTKEY key);
  // Unloads the library, or resets its objects. Only TakeLog and the destructor may follow.
  void Unload();
  std::string TakeLog();

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

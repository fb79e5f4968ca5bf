#include "telvotool/Container.h"

#include <algorithm>

#include "telvotool/Cards.h"
#include "telvotool/Errors.h"
#include "telvotool/SettingsCheck.h"

namespace tool {

const char kProviderName[] = "Brenholt Devices CSP v4.5";

namespace {

void RequirePinCache() {
  constexpr const Setting& kSwitch = SettingNamed("PINCACHE");
  const StoredSetting stored = Settings().Read(kSwitch);
  if (stored.IsOn()) return;
  const std::optional<Oddity> oddity = OddityOf(kSwitch, stored);
  const std::string why = oddity ? "PINCACHE: " + oddity->what : "PINCACHE is 0";
  throw Failure("the PIN cache is off (" + why + "), and the provider would ask in a dialog", kPinProblem,
                "set PINCACHE to 1, as a string (REG_SZ), or leave out --pin-file and --pin-stdin");
}

void GivePin(HCRYPTPROV provider, const Pin& pin, const std::string& reader) {
  if (!pin) return;
  RequirePinCache();
  if (CryptSetProvParam(provider, PP_KEYEXCHANGE_PIN, pin->Data(), 0) != FALSE) return;
  const DWORD code = GetLastError();
  const std::string tries = TriesText(reader);
  if (tries.empty()) throw Failure("the PIN was not accepted", code);
  throw Failure("the PIN was not accepted, " + tries, kPinProblem, "");
}

// The provider asks for the PIN when it makes a session key. The key itself is not used.
void LogIn(HCRYPTPROV provider) {
  KeyHandle key;
  Require(CryptGenKey(provider, CALG_3DES, 0, key.Receive()), "the login failed");
}

bool IsThere(const Target& target) {
  HCRYPTPROV handle = 0;
  const BOOL found =
      CryptAcquireContextA(&handle, target.FullName().c_str(), kProviderName, PROV_RSA_FULL, CRYPT_SILENT);
  const ProviderHandle provider(found == FALSE ? 0 : handle);
  if (found == FALSE) return false;
  if (target.reader.empty()) return true;
  // With a reader in the name the provider also opens a container that does not exist. One that exists has a key or a
  // certificate.
  KeyHandle key;
  if (CryptGetUserKey(handle, AT_KEYEXCHANGE, key.Receive()) != FALSE) return true;
  const std::vector<std::string> names = ContainersIn(target.reader);
  return std::find(names.begin(), names.end(), target.name) != names.end();
}

void CheckNewName(const std::string& name) {
  const bool plain = std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c <= '~' && c != '\\'; });
  if (name.empty() || name.size() > 63 || !plain) {
    throw UsageError("a container's name has 1 to 63 letters, digits and signs, no blank, no backslash");
  }
}

}  // namespace

std::string Target::FullName() const { return reader.empty() ? name : "\\\\.\\" + reader + "\\" + name; }

ProviderHandle Acquire(const std::string& container, DWORD flags, const std::string& what) {
  HCRYPTPROV handle = 0;
  const char* const name = container.empty() ? nullptr : container.c_str();
  if (CryptAcquireContextA(&handle, name, kProviderName, PROV_RSA_FULL, flags) == FALSE) {
    throw Failure(what, GetLastError());
  }
  return ProviderHandle(handle);
}

Container OpenContainer(const Target& target, const Pin& pin) {
  const std::string what = target.name.empty() ? "the card's default container cannot be opened"
                                               : "the container \"" + target.name + "\" cannot be opened";
  Container container;
  container.provider = Acquire(target.FullName(), pin ? CRYPT_SILENT : 0, what);
  // The provider also opens a container that does not exist; that one has no key.
  if (CryptGetUserKey(container.provider.Get(), AT_KEYEXCHANGE, container.key.Receive()) == FALSE) {
    const DWORD code = GetLastError();
    throw Failure(what, code == static_cast<DWORD>(NTE_NO_KEY) ? static_cast<DWORD>(NTE_BAD_KEYSET) : code);
  }
  GivePin(container.provider.Get(), pin, target.reader);
  return container;
}

ProviderHandle NewContainer(const Target& target, const Pin& pin) {
  CheckNewName(target.name);
  // A silent context makes no container. One that is not silent asks the user nothing when the reader is named.
  Target named = target;
  if (pin) named.reader = OnlyReaderWithCard(target.reader);
  ProviderHandle provider =
      Acquire(named.FullName(), CRYPT_NEWKEYSET, "the container \"" + target.name + "\" cannot be made");
  GivePin(provider.Get(), pin, target.reader);
  return provider;
}

void RemoveContainer(const Target& target, const Pin& pin) {
  // The deletion itself does not log in. The card deletes its objects because of the login below.
  const std::string what = "the container \"" + target.name + "\" cannot be deleted";
  const ProviderHandle provider = Acquire(target.FullName(), pin ? CRYPT_SILENT : 0, what);
  if (!IsThere(target)) throw Failure(what, static_cast<DWORD>(NTE_BAD_KEYSET));
  const CardsIn cards(target.reader);
  GivePin(provider.Get(), pin, target.reader);
  // Also with a PIN: the provider may have kept it since before the card was pulled, and then has not sent it again.
  LogIn(provider.Get());
  HCRYPTPROV none = 0;
  if (CryptAcquireContextA(&none, target.FullName().c_str(), kProviderName, PROV_RSA_FULL,
                           CRYPT_DELETEKEYSET | CRYPT_SILENT) == FALSE) {
    throw Failure(what, GetLastError());
  }
  // The provider reports success even for a deletion that the card refused.
  if (IsThere(target)) throw Failure(what, kFailed, "the card kept it; the log tells what it answered");
  // It also does so when the card was pulled: then nothing seems to be left.
  if (!cards.AreStillIn()) throw Failure(what, kNotThere, "put the card in, and look at its containers");
}

DWORD KeyBits(HCRYPTKEY key) {
  DWORD bits = 0;
  DWORD length = sizeof(bits);
  Require(CryptGetKeyParam(key, KP_KEYLEN, reinterpret_cast<BYTE*>(&bits), &length, 0),
          "the key's size cannot be read");
  return bits;
}

Bytes CertificateOf(HCRYPTKEY key) {
  DWORD length = 0;
  if (CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &length, 0) == FALSE) {
    if (GetLastError() == static_cast<DWORD>(NTE_BAD_TYPE)) return {};
    throw Failure("the certificate cannot be read", GetLastError());
  }
  Bytes der(length);
  Require(CryptGetKeyParam(key, KP_CERTIFICATE, der.data(), &length, 0), "the certificate cannot be read");
  der.resize(length);
  return der;
}

void PutCertificate(HCRYPTKEY key, const Bytes& der) {
  Require(CryptSetKeyParam(key, KP_CERTIFICATE, der.data(), 0), "the certificate cannot be put on the card");
}

std::vector<std::string> ContainersIn(const std::string& reader) {
  // Much longer than any identifier. For a longer name the call fails with ERROR_MORE_DATA.
  constexpr DWORD kRoom = 65536;
  const ProviderHandle provider = Acquire(Target{reader, ""}.FullName(), 0, "the card cannot be opened");
  std::vector<std::string> names;
  std::vector<char> buffer(kRoom);
  DWORD flags = CRYPT_FIRST;
  DWORD length = kRoom;
  while (CryptGetProvParam(provider.Get(), PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(buffer.data()), &length, flags) !=
         FALSE) {
    const std::string name = buffer.data();
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    flags = CRYPT_NEXT;
    length = kRoom;
  }
  if (GetLastError() != ERROR_NO_MORE_ITEMS) throw Failure("the containers cannot be listed", GetLastError());
  return names;
}

}  // namespace tool

// secrets ROUNDS [SEED]: sends PINs and keys through every path of the provider, and searches all writable memory of
// the process for them: after the PIN is forgotten, the key destroyed, the context released, and the library unloaded.
//
// Each round has its own secrets. Every second round has the log on. A round first hides secrets itself, and must find
// them. A PIN that is kept must be found once, under its mask, and in no other form.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "../matrix/Calls.h"
#include "MemorySearch.h"
#include "SecretStage.h"
#include "Tally.h"
#include "module/KeyBlobBytes.h"
#include "platform/HeapWatch.h"

namespace {

constexpr std::size_t kModulusBytes = 128;
constexpr std::size_t kBlock = 24;

class Round {
 public:
  Round(Tally& tally, unsigned seed, bool logging);
  void Run();
  std::size_t Searched() { return m_search.Searched(); }

 private:
  void FindWhatIsHidden();
  void PinOfApplication();
  void PinByDialog();
  void ChangeOfPin();
  void ImportedKey();
  void GeneratedKey();
  void DerivedKeys();
  void DecryptByPair(HCRYPTPROV context);
  void UseSessionKey(HCRYPTPROV context, HCRYPTKEY pair, HCRYPTKEY key);
  void CheckLog(const std::string& log);

  HCRYPTPROV Acquire();
  void Release(HCRYPTPROV context, const char* path);
  bool Give(HCRYPTPROV context, const Marker& pin);
  bool Sign(HCRYPTPROV context);
  // Make the provider forget the PIN: the card is pulled and put back, or it refuses the PIN. Where nothing watches the
  // reader, the card always refuses it.
  void ForgetByPulling(HCRYPTPROV context, const Marker& pin);
  void ForgetByRefusal(HCRYPTPROV context, const Marker& pin);
  // Memory must contain only `pin`, once, under its mask: one byte, which is 0 one time in 256.
  void ExpectKept(const Marker& pin, const std::string& when);
  void ExpectNothing(const std::string& when);
  void Expect(bool holds, const std::string& what) { m_tally.Expect(holds, what); }

  HeapKeeper m_keeper;
  Tally& m_tally;
  const bool m_logging;
  const Marker m_pin;
  const Marker m_wrongPin;
  const Marker m_typedPin;
  const Marker m_newPin;
  const Marker m_importedKey;
  const Marker m_generatedKey;
  const Marker m_derivedKey;
  const Marker m_stretchedKey;
  const Marker m_text;
  MemorySearch m_search;
  QuietModule m_module;
  std::unique_ptr<SecretStage> m_stage;
};

Round::Round(Tally& tally, unsigned seed, bool logging)
    : m_tally(tally),
      m_logging(logging),
      m_pin("the application's PIN", Marker::Kind::kText, 40, seed),
      m_wrongPin("the wrong PIN", Marker::Kind::kText, 48, seed + 1),
      m_typedPin("the typed PIN", Marker::Kind::kText, 8, seed + 2),
      m_newPin("the new PIN", Marker::Kind::kText, 20, seed + 3),
      m_importedKey("the imported key", Marker::Kind::kBytes, 24, seed + 4),
      m_generatedKey("the generated key", Marker::Kind::kBytes, 24, seed + 5),
      m_derivedKey("the derived key", Marker::Kind::kBytes, 32, seed + 6),
      m_stretchedKey("the stretched key", Marker::Kind::kBytes, 20, seed + 7),
      m_text("the decrypted data", Marker::Kind::kBytes, kBlock, seed + 8),
      m_search({&m_pin, &m_wrongPin, &m_typedPin, &m_newPin, &m_importedKey, &m_generatedKey, &m_derivedKey,
                &m_stretchedKey, &m_text}) {
  ScriptedToken& token = m_module.InsertToken(kReader);
  token.maxPinLen = 64;
  token.tries = token.triesLeft = 14;  // a larger number would not count as a wrong PIN
  token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
  token.Add(PublicKeyObject(Text("one"), Counting(kModulusBytes, 0x81)));
  token.Add(PrivateKeyObject(Text("one"), Counting(kModulusBytes, 0x81)));
}

void Round::Run() {
  FindWhatIsHidden();
  m_stage = std::make_unique<SecretStage>(m_module, m_logging);
  PinOfApplication();
  PinByDialog();
  ChangeOfPin();
  ImportedKey();
  GeneratedKey();
  DerivedKeys();
  // The last PIN is still kept when the library is unloaded.
  const HCRYPTPROV context = Acquire();
  m_module.SetPin(m_pin);
  Expect(Give(context, m_pin), "a right PIN is refused before the unload");
  ExpectKept(m_pin, "before the unload");
  Release(context, nullptr);
  const std::string log = m_stage->TakeLog();
  m_stage->Unload();
  ExpectNothing("after the unload");
  CheckLog(log + m_stage->TakeLog());
  m_stage.reset();
}

// A broken search would find nothing either, so this checks the search.
void Round::FindWhatIsHidden() {
  const auto hide = [](const Marker& secret, volatile BYTE* out, unsigned stride, BYTE mask, bool reversed) {
    for (std::size_t i = 0; i < secret.Length(); ++i) {
      out[i * stride] = static_cast<BYTE>(secret.At(reversed ? secret.Length() - 1 - i : i) ^ mask);
    }
  };
  static BYTE data[64] = {};
  BYTE stack[128] = {};
  std::vector<BYTE> heap(64);
  hide(m_typedPin, data, 1, 0, false);
  hide(m_wrongPin, stack, 2, 0, false);
  hide(m_importedKey, heap.data(), 1, 0xA7, true);
  const std::vector<Found> found = m_search.Run();
  const auto has = [&found](const Marker& secret, bool masked, bool wide, bool reversed) {
    return std::any_of(found.begin(), found.end(), [&](const Found& one) {
      return one.secret == secret.Name() && one.masked == masked && one.wide == wide && one.reversed == reversed &&
             one.length == secret.Length();
    });
  };
  Expect(has(m_typedPin, false, false, false), "the search misses a plain PIN in data");
  Expect(has(m_wrongPin, false, true, false), "the search misses a PIN in UTF-16 on the stack");
  Expect(has(m_importedKey, true, false, true), "the search misses a masked key in reverse order on the heap");
  WipeMemory(data, sizeof(data));
  WipeMemory(stack, sizeof(stack));
  WipeMemory(heap.data(), heap.size());
  ExpectNothing("after the search of hidden secrets");
}

HCRYPTPROV Round::Acquire() {
  HCRYPTPROV context = 0;
  Expect(calls::AcquireContext(&context, kContainer, 0) != FALSE, "the context is not acquired");
  return context;
}

void Round::Release(HCRYPTPROV context, const char* path) {
  Expect(calls::ReleaseContext(context) != FALSE, "the context is not released");
  if (path != nullptr) ExpectNothing(std::string("after the release, ") + path);
}

bool Round::Give(HCRYPTPROV context, const Marker& pin) {
  return pin.Reveal([&](const BYTE* plain, DWORD) { return calls::SetProvParam(context, PP_SIGNATURE_PIN, plain); });
}

bool Round::Sign(HCRYPTPROV context) {
  HCRYPTHASH hash = 0;
  BYTE signature[kModulusBytes] = {};
  DWORD length = sizeof(signature);
  const BYTE message[] = {'a', 'b', 'c'};
  const bool prepared = calls::CreateHash(context, CALG_SHA1, &hash) && calls::HashData(context, hash, message, 3);
  const bool done = prepared && calls::SignHash(context, hash, signature, &length);
  return calls::DestroyHash(context, hash) && done;
}

void Round::ForgetByPulling(HCRYPTPROV context, const Marker& pin) {
  if (!m_stage->PullCard()) ForgetByRefusal(context, pin);
}

void Round::ForgetByRefusal(HCRYPTPROV context, const Marker& pin) {
  // Only this result counts as a refusal of the kept PIN. A dialog opens after it, and its user cancels.
  m_module.wrongPin = ScriptedModule::WrongPin::kPinIncorrect;
  m_module.SetPin(m_wrongPin);
  m_stage->WithUser(Marker("nothing", Marker::Kind::kText, 0, 0), true, [&] { Sign(context); });
  m_module.SetPin(pin);
  m_module.wrongPin = ScriptedModule::WrongPin::kTriesLeft;
  // The signature after a cancelled dialog fails, too, without a dialog.
  Sign(context);
}

void Round::ExpectKept(const Marker& pin, const std::string& when) {
  int kept = 0;
  m_tally.Run();
  for (const Found& found : m_search.Run()) {
    const bool isKept = found.secret == pin.Name() && !found.wide && !found.reversed && found.length == pin.Length();
    if (isKept) {
      ++kept;
    } else {
      m_tally.Find(when + ": " + found.Text());
    }
  }
  if (kept != 1) m_tally.Find(when + ": the kept PIN is in memory " + std::to_string(kept) + " times");
}

void Round::ExpectNothing(const std::string& when) {
  m_tally.Run();
  for (const Found& found : m_search.Run()) m_tally.Find(when + ": " + found.Text());
}

void Round::PinOfApplication() {
  const HCRYPTPROV context = Acquire();
  m_module.SetPin(m_pin);
  Expect(!Give(context, m_wrongPin), "a wrong PIN is accepted");
  ExpectNothing("after a wrong PIN of the application");
  Expect(Give(context, m_pin), "the application's PIN is refused");
  Expect(Give(context, m_pin), "the application's PIN is refused when it is given again");
  Expect(!Give(context, m_wrongPin), "a wrong PIN is accepted while the right one is kept");
  Expect(Give(context, m_pin), "the application's PIN is refused after a wrong one");
  Expect(Sign(context), "no signature with the application's PIN");
  ExpectKept(m_pin, "after a signature with the application's PIN");
  ForgetByPulling(context, m_pin);
  ExpectNothing("after the application's PIN is forgotten");
  Release(context, "PIN of the application");
}

void Round::PinByDialog() {
  const HCRYPTPROV context = Acquire();
  m_module.SetPin(m_typedPin);
  m_stage->WithUser(m_typedPin, true, [&] { Expect(!Sign(context), "a signature after a cancelled dialog"); });
  Sign(context);  // fails, too, without a dialog
  ExpectNothing("after a PIN that was typed and not used");
  m_stage->WithUser(m_typedPin, false, [&] { Expect(Sign(context), "no signature with the typed PIN"); });
  Expect(Sign(context), "no second signature with the typed PIN");
  ExpectKept(m_typedPin, "after signatures with the typed PIN");
  ForgetByPulling(context, m_typedPin);
  ExpectNothing("after the typed PIN is forgotten");
  Release(context, "PIN by dialog");
}

void Round::ChangeOfPin() {
  const HCRYPTPROV context = Acquire();
  m_module.SetPin(m_typedPin);
  m_module.TakeNewPin(m_newPin);
  if (m_stage->ChangePin(context, m_typedPin, m_newPin)) {
    ExpectKept(m_newPin, "after the change of the PIN");
    Expect(Sign(context), "no signature with the new PIN");
    ForgetByPulling(context, m_newPin);
    ExpectNothing("after the new PIN is forgotten");
  }
  Release(context, "change of the PIN");
}

void Round::ImportedKey() {
  const HCRYPTPROV context = Acquire();
  m_module.SetPin(m_pin);
  Expect(Give(context, m_pin), "the PIN is refused before the import");
  HCRYPTKEY pair = 0;
  HCRYPTKEY key = 0;
  Expect(calls::GetUserKey(context, &pair) != FALSE, "no key pair");
  const Bytes blob = SimpleBlob(CALG_3DES, Reversed(QuietModule::EncryptedKeyOf(m_importedKey, kModulusBytes)));
  Expect(calls::ImportKey(context, blob.data(), static_cast<DWORD>(blob.size()), &key) != FALSE, "no import");
  ExpectKept(m_pin, "after the import of a key");
  UseSessionKey(context, pair, key);
  m_stage->HashSessionKey(context, key);
  ExpectKept(m_pin, "after a session key was hashed");
  Expect(calls::DestroyKey(context, key) != FALSE, "an imported key is not destroyed");
  DecryptByPair(context);
  ExpectKept(m_pin, "after the imported key is destroyed");
  ForgetByRefusal(context, m_pin);
  Release(context, "import");
}

void Round::UseSessionKey(HCRYPTPROV context, HCRYPTKEY pair, HCRYPTKEY key) {
  const DWORD mode = CRYPT_MODE_CBC;
  Expect(calls::SetKeyParam(context, key, KP_MODE, reinterpret_cast<const BYTE*>(&mode)) != FALSE, "no mode");
  WipedBuffer data(kBlock);
  const Bytes encrypted = QuietModule::EncryptedDataOf(m_text);
  std::copy(encrypted.begin(), encrypted.end(), data.Data());
  DWORD length = kBlock;
  const BOOL decrypted = calls::Decrypt(context, key, FALSE, data.Data(), &length);
  Expect(decrypted != FALSE && m_text.Equals(data.Data(), length), "a session key does not decrypt");
  Expect(calls::SetKeyParam(context, key, KP_MODE, reinterpret_cast<const BYTE*>(&mode)) != FALSE, "no mode");
  length = kBlock;
  m_text.CopyTo(data.Data());
  const BOOL done = calls::Encrypt(context, key, data.Data(), &length, kBlock);
  Expect(done != FALSE && std::equal(encrypted.begin(), encrypted.end(), data.Data()),
         "a session key does not encrypt");
  BYTE blob[12 + kModulusBytes] = {};
  length = sizeof(blob);
  Expect(calls::ExportKey(context, key, pair, SIMPLEBLOB, blob, &length) != FALSE, "a session key is not exported");
}

void Round::DecryptByPair(HCRYPTPROV context) {
  HCRYPTKEY pair = 0;
  Expect(calls::GetUserKey(context, &pair) != FALSE, "no key pair");
  const Bytes encrypted = Reversed(QuietModule::EncryptedKeyOf(m_text, kModulusBytes));
  WipedBuffer data(kModulusBytes);
  std::copy(encrypted.begin(), encrypted.end(), data.Data());
  DWORD length = kModulusBytes;
  const BOOL done = calls::Decrypt(context, pair, TRUE, data.Data(), &length);
  Expect(done != FALSE && m_text.Equals(data.Data(), length), "the key pair does not decrypt");
  Expect(calls::DestroyKey(context, pair) != FALSE, "the handle of the pair is not released");
}

void Round::GeneratedKey() {
  const HCRYPTPROV context = Acquire();
  Expect(Give(context, m_pin), "the PIN is refused before the generation");
  HCRYPTKEY pair = 0;
  HCRYPTKEY key = 0;
  m_module.GiveRandom(m_generatedKey);
  Expect(calls::GenKey(context, CALG_3DES, CRYPT_EXPORTABLE, &key) != FALSE, "no generated key");
  Expect(calls::GetUserKey(context, &pair) != FALSE, "no key pair");
  UseSessionKey(context, pair, key);
  ExpectKept(m_pin, "after a key was generated");
  // This key is destroyed with its context.
  ForgetByRefusal(context, m_pin);
  Release(context, "generation");
}

void Round::DerivedKeys() {
  const HCRYPTPROV context = Acquire();
  Expect(Give(context, m_pin), "the PIN is refused before the derivation");
  const BYTE message[] = {'p', 'h', 'r', 'a', 's', 'e'};
  struct Way {
    ALG_ID hash;
    const Marker& key;
  };
  for (const Way& way : {Way{CALG_SHA_256, m_derivedKey}, Way{CALG_SHA1, m_stretchedKey}}) {
    HCRYPTHASH hash = 0;
    HCRYPTKEY key = 0;
    Expect(calls::CreateHash(context, way.hash, &hash) != FALSE, "no hash");
    Expect(calls::HashData(context, hash, message, sizeof(message)) != FALSE, "nothing is hashed");
    m_module.GiveDigest(way.key);
    Expect(m_stage->DeriveKey(context, CALG_3DES, hash, 168U << 16U, &key) != FALSE, "no derived key");
    Expect(calls::DestroyHash(context, hash) != FALSE, "the hash is not destroyed");
    Expect(calls::DestroyKey(context, key) != FALSE, "the derived key is not destroyed");
  }
  ExpectKept(m_pin, "after keys were derived");
  ForgetByRefusal(context, m_pin);
  Release(context, "derivation");
}

// The bytes that the log shows as pairs of hexadecimal digits, with or without spaces.
std::string BytesShownIn(const std::string& log) {
  std::string bytes;
  std::string digits;
  for (const char character : log) {
    if (std::isxdigit(static_cast<unsigned char>(character)) != 0) {
      digits += character;
    } else if (character != ' ') {
      digits.clear();
      bytes += '\0';
    }
    if (digits.size() == 2) {
      bytes += static_cast<char>(std::strtoul(digits.c_str(), nullptr, 16));
      digits.clear();
    }
  }
  return bytes;
}

// It is documented what the log shows in clear: hashed data and hashes, decrypted data, and keys that are hashed. It
// must not show PINs, or keys that are only imported, generated or exported.
void Round::CheckLog(const std::string& log) {
  m_tally.Run();
  if (m_logging == log.empty()) m_tally.Find("the log is empty, or should be");
  for (const std::string& form : {log, BytesShownIn(log)}) {
    for (const Found& found : m_search.RunOn(form)) {
      const bool isDocumented = found.secret == m_text.Name() || found.secret == m_derivedKey.Name() ||
                                found.secret == m_stretchedKey.Name() || found.secret == m_importedKey.Name();
      if (!isDocumented) m_tally.Find("the log shows " + found.secret);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 2;
  const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 1;
  Tally tally;
  std::size_t searched = 0;
  for (int round = 0; round < rounds; ++round) {
    Round one(tally, (seed + static_cast<unsigned>(round)) * 100, round % 2 == 1);
    one.Run();
    searched = one.Searched();
  }
  return tally.End(std::to_string(rounds) + " " + std::to_string(searched / 1024));
}

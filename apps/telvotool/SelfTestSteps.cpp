#include "telvotool/SelfTestSteps.h"

#include <algorithm>

#include "settings/Settings.h"
#include "telvotool/Certificates.h"
#include "telvotool/Errors.h"
#include "telvotool/KeyWork.h"
#include "telvotool/Request.h"
#include "telvotool/SelfTestParts.h"

namespace tool {

namespace {

constexpr char kSubject[] = "CN=telvotool self-test";

// Enumerate() finds out whether one is missing.
struct SignedHash {
  const char* name;
  ALG_ID id;
};

constexpr SignedHash kSignedHashes[] = {
    {"SHA-1", CALG_SHA1}, {"SHA-256", CALG_SHA_256},         {"SHA-512", CALG_SHA_512},
    {"MD5", CALG_MD5},    {"SSL3 SHAMD5", CALG_SSL3_SHAMD5},
};

struct CipherRow {
  const char* name;
  ALG_ID id;
  std::size_t block;
};

constexpr CipherRow kCiphers[] = {
    {"DES", CALG_DES, 8},
    {"triple DES with two keys", CALG_3DES_112, 8},
    {"triple DES", CALG_3DES, 8},
    {"AES-128", CALG_AES_128, 16},
};

}  // namespace

HCRYPTKEY SelfTestWork::Pair() const {
  if (!m_pair) throw NotApplicable("there is no key pair");
  return m_pair.Get();
}

HCRYPTKEY SelfTestWork::PublicKey() const {
  Pair();
  if (!m_publicKey) throw NotApplicable("the system's own provider does not have the public key");
  return m_publicKey.Get();
}

void SelfTestWork::DrawRandom() const {
  const ProviderHandle provider = Acquire(Target{m_target.reader, ""}.FullName(), 0, "the card cannot be opened");
  Bytes first(32);
  Bytes second(32);
  for (Bytes* const bytes : {&first, &second}) {
    Require(CryptGenRandom(provider.Get(), static_cast<DWORD>(bytes->size()), bytes->data()),
            "the card gives no random bytes");
  }
  Expect(first != second && first != Bytes(32), "the random bytes are always the same");
}

// The only place where the PIN is offered, unless the provider's dialog asks for it.
void SelfTestWork::LogIn() {
  m_ours = NewContainer(m_target, m_pin);
  if (!m_pin) throw NotApplicable("the dialog asks for it in the next step");
}

void SelfTestWork::MakePair() {
  if (!m_ours) throw NotApplicable("there is no container");
  m_hasBegun = true;
  m_pair = NewKey(Ours(), AT_KEYEXCHANGE, kSelfTestBits << 16U, "the key cannot be made");
  Expect(KeyBits(m_pair.Get()) == kSelfTestBits, "the key has another size");
}

void SelfTestWork::WriteCertificate() {
  const HCRYPTKEY pair = Pair();
  CertificateWishes wishes;
  wishes.subject = EncodeSubject(kSubject);
  m_certificate = MakeSelfSigned(Ours(), wishes, 1);
  PutCertificate(pair, m_certificate);
}

void SelfTestWork::ReadCertificate() const {
  if (m_certificate.empty()) throw NotApplicable("there is no certificate");
  const Bytes der = CertificateOf(Pair());
  Expect(der == m_certificate, "another certificate comes back");
  const CertificateHandle certificate = DecodeCertificate(der, "the certificate is damaged");
  const ProviderHandle theirs = BySystem([] { return SystemProvider(MS_ENH_RSA_AES_PROV_A, PROV_RSA_AES); });
  Require(CryptVerifyCertificateSignature(theirs.Get(), kEncoding, const_cast<BYTE*>(der.data()),
                                          static_cast<DWORD>(der.size()),
                                          &certificate.Get()->pCertInfo->SubjectPublicKeyInfo),
          "its signature does not hold");
}

void SelfTestWork::GivePublicKey() {
  const Bytes blob = Export(Pair(), 0, PUBLICKEYBLOB, "the public key cannot be exported");
  m_theirs = BySystem([] { return SystemProvider(MS_ENH_RSA_AES_PROV_A, PROV_RSA_AES); });
  m_publicKey = Import(m_theirs.Get(), blob, 0, "the system's own provider does not take the public key");
}

namespace {

// The hash value that the system's own provider computes. It has no SSL3 SHAMD5 of data, which is MD5 followed by
// SHA-1.
Bytes ValueByTheSystem(HCRYPTPROV theirs, ALG_ID algorithm) {
  if (algorithm != CALG_SSL3_SHAMD5) return ValueOf(HashOf(theirs, algorithm, Message(), kTheirs).Get(), kTheirs);
  Bytes value = ValueByTheSystem(theirs, CALG_MD5);
  const Bytes sha1 = ValueByTheSystem(theirs, CALG_SHA1);
  value.insert(value.end(), sha1.begin(), sha1.end());
  return value;
}

bool HoldsForTheSystem(HCRYPTPROV theirs, HCRYPTKEY publicKey, ALG_ID algorithm, const Bytes& value,
                       const Bytes& signature) {
  HashHandle hash;
  Require(CryptCreateHash(theirs, algorithm, 0, 0, hash.Receive()), kTheirs);
  Require(CryptSetHashParam(hash.Get(), HP_HASHVAL, value.data(), 0), kTheirs);
  return Holds(hash.Get(), signature, publicKey, kTheirs);
}

}  // namespace

void SelfTestWork::Sign(ALG_ID algorithm) const {
  const HCRYPTKEY publicKey = PublicKey();
  const HashHandle hash = HashOf(Ours(), algorithm, Message(), kOurs);
  const Bytes value = ValueOf(hash.Get(), kOurs);
  Bytes signature = SignatureOf(hash.Get(), "the key does not sign");
  const Bytes expected = BySystem([&] { return ValueByTheSystem(m_theirs.Get(), algorithm); });
  Expect(value == expected, "the system's own provider finds another hash");
  // Only another provider of the system verifies SSL3 SHAMD5.
  const bool isSsl3 = algorithm == CALG_SSL3_SHAMD5;
  ProviderHandle other;
  KeyHandle otherKey;
  if (isSsl3) {
    other = BySystem([] { return SystemProvider(MS_DEF_RSA_SCHANNEL_PROV_A, PROV_RSA_SCHANNEL); });
    otherKey = Import(other.Get(), Export(Pair(), 0, PUBLICKEYBLOB, kOurs), 0, kTheirs);
  }
  const auto holds = [&] {
    return HoldsForTheSystem(isSsl3 ? other.Get() : m_theirs.Get(), isSsl3 ? otherKey.Get() : publicKey, algorithm,
                             value, signature);
  };
  Expect(holds(), "the system's own provider does not accept the signature");
  signature[10] ^= 1U;
  Expect(!holds(), "the system's own provider accepts a changed signature");
}

void SelfTestWork::VerifyHere() const {
  const HCRYPTKEY pair = Pair();
  Bytes signature = SignatureOf(HashOf(Ours(), CALG_SHA_256, Message(), kOurs).Get(), "the key does not sign");
  const auto holds = [&] {
    return Holds(HashOf(Ours(), CALG_SHA_256, Message(), kOurs).Get(), signature, pair, kOurs);
  };
  Expect(holds(), "the provider does not accept its own signature");
  signature[10] ^= 1U;
  Expect(!holds(), "the provider accepts a changed signature");
}

void SelfTestWork::Decrypt() const {
  const Bytes encrypted =
      BySystem([&] { return EncryptedWithPadding(PublicKey(), Message(), kSelfTestBits / 8, kTheirs); });
  Expect(Decrypted(Pair(), true, encrypted, "the key does not decrypt") == Message(), "something else comes out");
}

// The provider encrypts to big-endian data, and decrypts little-endian data.
void SelfTestWork::Encrypt() const {
  const Bytes encrypted = EncryptedWithPadding(Pair(), Message(), kSelfTestBits / 8, "the key does not encrypt");
  Expect(Decrypted(Pair(), true, Reversed(encrypted), "the key does not decrypt") == Message(),
         "something else comes out");
}

// A second context, which may not ask the user, signs with the PIN that is kept.
void SelfTestWork::UseKeptPin() const {
  Pair();
  if (!Settings().IsOn(SettingNamed("PINCACHE"))) throw NotApplicable("PINCACHE is off");
  const ProviderHandle second = Acquire(m_target.FullName(), CRYPT_SILENT, "the container is not found again");
  const HashHandle hash = HashOf(second.Get(), CALG_SHA_256, Message(), kOurs);
  try {
    SignatureOf(hash.Get(), "the provider asks for the PIN again");
  } catch (const Failure& failure) {
    // The PIN itself was right: this is not a reason to end the run.
    throw Failure(std::string(failure.what()) + ": " + CodeText(failure.Code()), kFailed, "");
  }
}

namespace {

// Each hash that the provider lists must have been tried.
void RequireAllHashesTried(HCRYPTPROV ours) {
  PROV_ENUMALGS item = {};
  DWORD length = sizeof(item);
  DWORD flags = CRYPT_FIRST;
  while (CryptGetProvParam(ours, PP_ENUMALGS, reinterpret_cast<BYTE*>(&item), &length, flags) != FALSE) {
    const bool isHash = GET_ALG_CLASS(item.aiAlgid) == ALG_CLASS_HASH;
    const bool isKnown = std::any_of(std::begin(kSignedHashes), std::end(kSignedHashes),
                                     [&item](const SignedHash& row) { return row.id == item.aiAlgid; });
    Expect(!isHash || isKnown, "the provider lists a hash that this test does not know");
    flags = CRYPT_NEXT;
    length = sizeof(item);
  }
  if (GetLastError() != ERROR_NO_MORE_ITEMS) throw Failure("the algorithms cannot be listed", GetLastError());
}

}  // namespace

void SelfTestWork::Enumerate() const {
  Pair();
  RequireAllHashesTried(Ours());
  if (m_certificate.empty()) throw NotApplicable("there is no certificate, and lists show no other containers");
  const std::vector<std::string> names = ContainersIn(m_target.reader);
  Expect(std::find(names.begin(), names.end(), m_target.name) != names.end(), "the container is not in the list");
}

SelfTestWork::SelfTestWork(const Target& target, const Pin& pin) : m_target(target), m_pin(pin) {}

std::vector<SelfTestStep> SelfTestWork::Steps() {
  std::vector<SelfTestStep> steps = {
      {"random bytes", [this] { DrawRandom(); }},
      {"PIN", [this] { LogIn(); }},
      {"new key pair, 2048 bits", [this] { MakePair(); }},
      {"certificate written", [this] { WriteCertificate(); }},
      {"certificate read back", [this] { ReadCertificate(); }},
      {"public key for the system's own provider", [this] { GivePublicKey(); }},
  };
  for (const SignedHash& row : kSignedHashes) {
    steps.push_back({std::string("hash and signature, ") + row.name, [this, &row] { Sign(row.id); }});
  }
  steps.push_back({"verification", [this] { VerifyHere(); }});
  steps.push_back({"decryption", [this] { Decrypt(); }});
  steps.push_back({"encryption", [this] { Encrypt(); }});
  for (const CipherRow& row : kCiphers) {
    steps.push_back({std::string("session key in, ") + row.name, [this, &row] { TakeSessionKey(row.id, row.block); }});
  }
  steps.push_back({"session key out, triple DES", [this] { GiveSessionKey(); }});
  steps.push_back({"PIN cache", [this] { UseKeptPin(); }});
  steps.push_back({"enumeration", [this] { Enumerate(); }});
  return steps;
}

void SelfTestWork::Remove() {
  m_publicKey = KeyHandle();
  m_theirs = ProviderHandle();
  m_pair = KeyHandle();
  try {
    RemoveContainer(m_target, m_pin);
  } catch (const Failure& failure) {
    // No key was made.
    if (failure.Code() != static_cast<DWORD>(NTE_BAD_KEYSET)) throw;
  }
  m_hasBegun = false;
}

}  // namespace tool

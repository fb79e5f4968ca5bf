#include "Flows.h"

#include "module/SampleCertificates.h"

const Bytes kKeyBytes = {0xA7, 0x1C, 0x5E, 0xD3, 0x92, 0x4B, 0xF0, 0x68};

namespace {

void AddContainer(ScriptedToken& token) {
  token.pin = kPin;
  token.Add(CertificateObject(Text("one"), "label", kHolderCertificate));
  token.Add(PublicKeyObject(Text("one"), Counting(kModulusBytes, 0x81)));
  token.Add(PrivateKeyObject(Text("one"), Counting(kModulusBytes, 0x81)));
}

}  // namespace

void PrepareCard(ScriptedModule& module) { AddContainer(module.InsertToken(kReader)); }

void PrepareTwoCards(ScriptedModule& module) {
  PrepareCard(module);
  AddContainer(module.InsertToken("Reader B"));
}

void PrepareCardWithSecretKey(ScriptedModule& module) {
  PrepareCard(module);
  Bytes value = kKeyBytes;
  value.resize(24, 0x11);
  module.InsertToken(kReader).Add(SecretKeyObject(CKK_DES3, value));
}

void PrepareCardWithRoot(ScriptedModule& module) {
  PrepareCard(module);
  ScriptedToken& token = module.InsertToken(kReader);
  token.Add(CertificateObject(Text("root"), "root", kRootCertificate));
  token.Add(CertificateObject(Text("first"), "first", kFirstCertificate));
}

const std::vector<std::string_view>* Secrets() {
  // The scripted module's random bytes count up from 1.
  static const Bytes random = Counting(8, 1);
  static const Bytes forms[] = {Text(kPin), Text(kWrongPin),
                                kKeyBytes,  Bytes(kKeyBytes.rbegin(), kKeyBytes.rend()),
                                random,     Bytes(random.rbegin(), random.rend())};
  static const std::vector<std::string_view> secrets = [] {
    std::vector<std::string_view> views;
    for (const Bytes& form : forms) views.emplace_back(reinterpret_cast<const char*>(form.data()), form.size());
    return views;
  }();
  return &secrets;
}

const std::vector<Flow>& AllFlows() {
  static const std::vector<Flow> flows = {
      {"acquire by name", &AcquireByName, &PrepareCard},
      {"acquire by reader", &AcquireByReader, &PrepareTwoCards},
      {"acquire by default", &AcquireByDefault, &PrepareTwoCards, 1},
      {"acquire for verification", &AcquireForVerification, &PrepareCard},
      {"acquire by the reader dialog", &AcquireByDialog, &PrepareTwoCards},
      {"new container", &MakeContainer, &PrepareCard},
      {"delete container", &DeleteContainer, &PrepareCard, 1},
      {"enumerations", &Enumerate, &PrepareTwoCards},
      {"questions to the provider", &AskProvider, &PrepareCard},
      {"random bytes", &AskForRandom, &PrepareCard},
      {"read certificate", &ReadCertificate, &PrepareCard},
      {"write certificate", &WriteCertificate, &PrepareCard},
      {"certificate stores", &OpenStores, &PrepareCardWithRoot},
      {"PIN by application", &GivePinByApplication, &PrepareCard},
      {"PIN by dialog", &GivePinByDialog, &PrepareCard},
      {"PIN dialog cancelled", &CancelPinDialog, &PrepareCard},
      {"hash", &Hash, &PrepareCard},
      {"hash session key", &HashSessionKey, &PrepareCardWithSecretKey},
      {"sign", &Sign, &PrepareCard},
      {"sign by dialog", &SignByDialog, &PrepareCard},
      {"verify", &Verify, &PrepareCard},
      {"new pair", &MakePair, &PrepareCard},
      {"new session key", &MakeSessionKey, &PrepareCard},
      {"public key out and in", &ExchangePublicKey, &PrepareCard},
      {"session key out and in", &ExchangeSessionKey, &PrepareCard},
      {"derive", &DeriveKey, &PrepareCard},
      {"encrypt and decrypt by the pair", &CryptByPair, &PrepareCard},
      {"encrypt and decrypt by a session key", &CryptBySessionKey, &PrepareCard},
      {"questions to keys", &AskKeys, &PrepareCard},
  };
  return flows;
}

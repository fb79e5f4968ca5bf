#include "InterfaceStage.h"

#include <algorithm>

#include "Must.h"
#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "fixtures/LogFile.h"
#include "fixtures/Renew.h"
#include "module/SampleCertificates.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "pin/PINCacheManager.h"
#include "platform/TestRegistry.h"
#include "resources/DialogIds.h"

namespace {

constexpr const char* kReaders[] = {"Reader A", "Reader B"};
constexpr CK_RV kFailures[] = {0x5, 0x32, 0xB3, 0x101, 0x150, 0xE1, 0xA0, 0xA4, 0x100, 0x3, 0xF};

// With some inputs the log is on, and goes to /dev/null.
void SetLogging(bool on) {
  static TestRegistry registry;
  static bool is = false;
  if (is == on) return;
  is = on;
  registry.SetText(kProductKey, "CSPLOG", on ? "1" : "0");
  registry.SetText(kProductKey, "CSPDIR", on ? "/dev/null" : "");
  RestartLogs();
}

void RenewObjects() {
  Renew(g_contextList);
  Renew(g_hashFactory);
  Renew(g_pinCacheManager);
  g_cryptoWrapper = CCryptoWrapper();
}

}  // namespace

CK_RV InterfaceStage::Module::C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin,
                                              CK_ULONG pinLen) {
  Must(m_stage.m_given.count(std::string(pin, pin + pinLen)) != 0);
  return ScriptedModule::C_LoginExtended(session, user, pin, pinLen);
}

InterfaceStage::InterfaceStage(FuzzedDataProvider& data)
    : m_data(data), m_module(std::make_unique<Module>(*this)), m_loaded(std::make_unique<LoadedModule>(*m_module)) {
  SetLogging(data.ConsumeIntegralInRange(0, 15) == 15);
  RenewObjects();
  Renew(g_secretKeyFactory, g_secretKeyLog, m_clock.Clock());
  m_dialogs.OnEvery([this](ScriptedDialog& dialog) { Answer(dialog); });
  for (const char* reader : kReaders) m_service.AddReader(reader);
  DealCards();
  if (data.ConsumeIntegralInRange(0, 3) == 3) FailModule(data.ConsumeBool());
}

InterfaceStage::~InterfaceStage() {
  RenewObjects();
  Renew(g_secretKeyFactory, g_secretKeyLog, CCSPSecretKeyFactory::SystemClock());
}

void InterfaceStage::AddContainer(ScriptedToken& token, const Bytes& id, const Bytes& certificate) {
  const int lacks = m_data.ConsumeIntegralInRange(0, 15);
  const auto first = static_cast<unsigned char>(0x81 + m_data.ConsumeIntegralInRange(0, 1));
  const bool isDefault = m_data.ConsumeBool();
  if (lacks != 1) token.Add(CertificateObject(id, "label", certificate).With(CKA_DEFAULT_CERT, Flag(isDefault)));
  if (lacks != 2) token.Add(PublicKeyObject(id, Counting(kModulusBytes, first)));
  if (lacks != 3) token.Add(PrivateKeyObject(id, Counting(kModulusBytes, first)));
}

void InterfaceStage::DealCards() {
  const Bytes ids[] = {Text("one"), Text("two"), {1, 2, 3}, {'a', 0, 'b'}, Bytes(150, 'n'), {}};
  const Bytes* const certificates[] = {&kHolderCertificate, &kRootCertificate, &kFirstCertificate, &kOddCertificate};
  for (const char* reader : kReaders) {
    const int containers = m_data.ConsumeIntegralInRange(0, 4);
    if (containers == 4) {
      m_module->AddEmptyReader(reader);
      continue;
    }
    ScriptedToken& token = m_module->InsertToken(reader);
    token.serial.back() = static_cast<char>('A' + m_cards++);
    token.mechanisms = {CKM_RSA_PKCS_KEY_PAIR_GEN, CKM_RSA_PKCS, CKM_SHA_1, CKM_MD5, CKM_SHA256, CKM_DES3_CBC};
    if (m_data.ConsumeIntegralInRange(0, 15) == 15) token.flags = CKF_RNG;
    if (m_data.ConsumeBool()) m_module->wrongPin = ScriptedModule::WrongPin::kPinIncorrect;
    for (int i = 0; i < containers; ++i)
      AddContainer(token, i == 0 ? Text("one") : m_data.PickValueInArray(ids), *m_data.PickValueInArray(certificates));
    if (m_data.ConsumeBool()) token.Add(SecretKeyObject(CKK_DES3, Counting(24, 1)));
    if (m_data.ConsumeBool()) token.Add(DataObject(Text("data"), "application"));
  }
}

std::string InterfaceStage::AnyPIN() {
  const char* const pins[] = {kPIN, kPIN, kPIN, "9999", "", "12345678901234567890123456789012345"};
  std::string pin = m_data.PickValueInArray(pins);
  Give(pin);
  return pin;
}

void InterfaceStage::Answer(ScriptedDialog& dialog) {
  if (dialog.GetResource() == IDD_SELECT_CARD) {
    if (m_data.ConsumeIntegralInRange(0, 3) == 3) return;  // m_dialogs then cancels the dialog
    dialog.Choose(IDC_READERS, m_data.ConsumeIntegralInRange(0, 1));
    dialog.Click(IDOK);
    return;
  }
  if (dialog.GetResource() != IDD_LOGIN) return;
  for (int tries = m_data.ConsumeIntegralInRange(0, 3); tries > 0 && !dialog.HasEnded(); --tries) {
    if (!dialog.IsEnabled(IDC_PIN_EDIT)) return;
    dialog.Press(IDC_PIN_EDIT, VK_END);
    while (!dialog.GetText(IDC_PIN_EDIT).empty()) dialog.Press(IDC_PIN_EDIT, VK_BACK);
    const std::string pin = AnyPIN();
    dialog.Type(IDC_PIN_EDIT, pin);
    Give(pin.substr(0, dialog.GetTextLength(IDC_PIN_EDIT)));  // the field accepts no more characters
    dialog.Click(IDC_LOGIN);
  }
}

void InterfaceStage::FailModule(bool fromThenOn) {
  const int call = m_data.ConsumeIntegralInRange(1, 250);
  m_module->FailAnyCall(call, m_data.PickValueInArray(kFailures), fromThenOn);
}

void InterfaceStage::FailPlatform() {
  const char* const ofStores[] = {"CertOpenSystemStoreA",
                                  "CertOpenStore",
                                  "CertCreateCertificateContext",
                                  "CertSetCertificateContextProperty",
                                  "CertAddCertificateContextToStore",
                                  "CertGetNameStringA",
                                  "CryptDecodeObject"};
  const char* const ofSecurity[] = {"InitializeSecurityDescriptor", "SetSecurityDescriptorDacl", "MakeSelfRelativeSD"};
  const char* const ofReaders[] = {"SCardEstablishContext", "SCardListReadersA"};
  const int n = m_data.ConsumeIntegralInRange(1, 4);
  switch (m_data.ConsumeIntegralInRange(0, 2)) {
    case 0:
      m_stores.refused.clear();
      return m_stores.RefuseFromCall(m_data.PickValueInArray(ofStores), n, ERROR_INVALID_PARAMETER);
    case 1:
      return m_security.FailOnCall(m_data.PickValueInArray(ofSecurity), n, ERROR_INVALID_PARAMETER);
    default:
      return m_service.FailNext(m_data.PickValueInArray(ofReaders), static_cast<DWORD>(SCARD_E_NO_SERVICE));
  }
}

// Changes one of the module's next counts or lengths.
void InterfaceStage::MakeLie() {
  const CK_ULONG lies[] = {0, 1, 7, 0x7FFFFFFF, 0xFFFFFFFF, CK_UNAVAILABLE_INFORMATION};
  const CK_ULONG lie = m_data.PickValueInArray(lies);
  const auto left = std::make_shared<int>(m_data.ConsumeIntegralInRange(1, 60));
  const auto lieOnce = [lie, left](CK_ULONG& number) {
    if (--*left == 0) number = lie;
  };
  if (m_data.ConsumeBool()) {
    m_module->falsify = [lieOnce](CK_ATTRIBUTE& item) { lieOnce(item.ulValueLen); };
  } else {
    m_module->falsifyCount = [lieOnce](const std::string&, CK_ULONG& count) { lieOnce(count); };
  }
}

void InterfaceStage::Disturb() {
  const std::string reader = m_data.PickValueInArray(kReaders);
  switch (m_data.ConsumeIntegralInRange(0, 5)) {
    case 0:
      return m_module->RemoveToken(reader);
    case 1:
      m_module->InsertToken(reader).serial.back() = static_cast<char>('A' + m_cards++);
      return;
    case 2:
      return FailModule(false);
    case 3:
      return FailPlatform();
    case 4:
      return MakeLie();
    default:
      m_module->InsertToken(reader).pin = m_data.ConsumeBool() ? kPIN : "5678";
      return;
  }
}

bool InterfaceStage::ClosesStore(HCERTSTORE store) const {
  return std::count(m_stores.stores.begin(), m_stores.stores.end(), store) != 0;
}

void InterfaceStage::BeginAnew() {
  m_loaded.reset();
  m_module = std::make_unique<Module>(*this);
  m_loaded = std::make_unique<LoadedModule>(*m_module);
  m_stores.refused.clear();
  ScriptedToken& token = m_module->InsertToken("Reader Z");
  token.Add(CertificateObject(Text("one"), "label", kHolderCertificate));
  token.Add(PublicKeyObject(Text("one"), Counting(kModulusBytes, 0x81)));
  token.Add(PrivateKeyObject(Text("one"), Counting(kModulusBytes, 0x81)));
}

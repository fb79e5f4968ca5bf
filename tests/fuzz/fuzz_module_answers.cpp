// A module that answers anything: wrong counts, wrong lengths, random bytes, occasional failures. The client makes each
// of its calls. It may throw its exceptions, with a code of the module or its own. It must not read or write memory
// outside its own, and must not hang.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <list>
#include <memory>
#include <stdexcept>

#include "Must.h"
#include "cryptoki/Cryptoki.h"
#include "cryptoki/CryptokiError.h"
#include "module/ScriptedModule.h"

namespace {

class LyingModule : public ScriptedModule {
 public:
  LyingModule(const std::uint8_t* data, std::size_t size) : m_data(data, size) {
    falsifyCount = [this](const std::string&, CK_ULONG& count) { count = Number(count); };
    for (const CK_OBJECT_CLASS objectClass : {CKO_CERTIFICATE, CKO_PRIVATE_KEY, CKO_PUBLIC_KEY, CKO_SECRET_KEY}) {
      InsertToken("Reader").Add(ScriptedObject().With(CKA_CLASS, ::Number(objectClass)));
    }
  }

  CK_RV C_GetAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR items,
                            CK_ULONG count) override {
    for (CK_ULONG i = 0; i < count; ++i) Answer(object, items[i]);
    return Result();
  }

 private:
  // The bytes stay inside the buffer, as a real module's do. The length can be anything.
  void Answer(CK_OBJECT_HANDLE object, CK_ATTRIBUTE& item) {
    if (item.pValue != nullptr) {
      const std::string bytes = m_data.ConsumeRandomLengthString(std::min<CK_ULONG>(item.ulValueLen, 64));
      std::memcpy(item.pValue, bytes.data(), bytes.size());
      if (item.type == CKA_CLASS && item.ulValueLen == sizeof(object))
        std::memcpy(item.pValue, &object, sizeof(object));
    }
    item.ulValueLen = Number(std::min<CK_ULONG>(item.ulValueLen, 64));
  }

  CK_ULONG Number(CK_ULONG truth) {
    switch (m_data.ConsumeIntegralInRange(0, 7)) {
      case 0:
        return CK_UNAVAILABLE_INFORMATION;
      case 1:
        return m_data.ConsumeIntegral<CK_ULONG>();
      case 2:
        return m_data.ConsumeIntegral<std::uint8_t>();
      default:
        return truth;
    }
  }

  // A result has 32 bits, as on Windows: of a wider one the provider would report the lower half, which may be zero.
  CK_RV Result() {
    return m_data.ConsumeIntegralInRange(0, 15) == 15 ? m_data.ConsumeIntegral<std::uint32_t>() : CKR_OK;
  }

  FuzzedDataProvider m_data;
};

// Runs each part separately, so that the failure of one does not hide the next.
template <typename Body>
void Try(Body body) {
  try {
    body();
  } catch (const CryptokiError& error) {
    Must(error.GetCode() != CKR_OK && !error.GetText().empty());
  } catch (const std::out_of_range&) {
  }
}

void UseSlots(TELVOCryptoki& cryptoki) {
  Try([&] { cryptoki.Initialize(); });
  Try([&] { cryptoki.GetInfo(); });
  Try([&] {
    for (Slot& slot : cryptoki.GetActiveSlots()) {
      Try([&] { slot.FlagsText(); });
      Try([&] { slot.GetSlotInfo(); });
      Try([&] { Must(slot.GetToken().GetSlotId() == slot.GetSlotId()); });
    }
  });
  Try([&] {
    for (Slot& slot : cryptoki.GetAllSlots()) Try([&] { slot.IsTokenPresent(); });
  });
}

void UseToken(Token& token) {
  constexpr std::string (Token::*kTexts[])()
      const = {&Token::MaxSessionCountText,   &Token::SessionCountText,     &Token::MaxRwSessionCountText,
               &Token::RwSessionCountText,    &Token::MaxPinLenText,        &Token::MinPinLenText,
               &Token::TotalPublicMemoryText, &Token::FreePublicMemoryText, &Token::TotalPrivateMemoryText,
               &Token::FreePrivateMemoryText};
  Try([&] { token.GetTokenInfo(); });
  Try([&] {
    for (const Mechanism& mechanism : token.GetMechanisms()) Must(mechanism.GetName().empty());
  });
  Try([&] { token.FlagsText(); });
  for (const auto text : kTexts) {
    const std::string number = (token.*text)();
    Must(!number.empty() && number.find_first_not_of("0123456789") == std::string::npos);
  }
  BYTE pin[] = {'1', '2', '3', '4'};
  CK_UTF8CHAR label[32] = {};
  Try([&] { token.InitToken(pin, sizeof(pin), label); });
}

void UseLogin(Session& session) {
  BYTE pin[] = {'1', '2', '3', '4'};
  Try([&] { session.Login(CKU_USER, pin, sizeof(pin)); });
  Try([&] { session.SetPIN(pin, sizeof(pin), pin, sizeof(pin)); });
  Try([&] { session.InitPIN(pin, sizeof(pin)); });
  Try([&] { session.GetState(); });
  Try([&] { session.IsLoggedIn(); });
  Must(session.IsValid() || session.GetSessionHandle() != 0);
  Try([&] { session.SeedRandom(pin, sizeof(pin)); });
  Try([&] { session.GenerateRandom(pin, sizeof(pin)); });
  Try([&] { session.Logout(); });
}

// Data, and an output buffer of exactly the length that the module gets.
class Work {
 public:
  explicit Work(CK_ULONG room) : m_out(std::make_unique<BYTE[]>(room)), m_room(room) {}

  using Whole = void (Session::*)(BYTE*, CK_ULONG, BYTE*, CK_ULONG*);
  using Part = void (Session::*)(BYTE*, CK_ULONG);
  using End = void (Session::*)(BYTE*, CK_ULONG*);
  void Do(Session& session, Whole whole) {
    Try([&] { (session.*whole)(m_in, sizeof(m_in), m_out.get(), &(m_length = m_room)); });
  }
  void Do(Session& session, Part part) {
    Try([&] { (session.*part)(m_in, sizeof(m_in)); });
  }
  void Do(Session& session, End end) {
    Try([&] { (session.*end)(m_out.get(), &(m_length = m_room)); });
  }

 private:
  BYTE m_in[16] = {};
  std::unique_ptr<BYTE[]> m_out;
  CK_ULONG m_room;
  CK_ULONG m_length = 0;
};

void UseOperations(Session& session, const CryptokiObject& object, Work& work) {
  const Mechanism mechanism(CKM_RSA_PKCS);
  Try([&] { session.DigestInit(Mechanism(CKM_SHA_1)); });
  work.Do(session, &Session::DigestUpdate);
  work.Do(session, &Session::DigestFinal);
  work.Do(session, &Session::Digest);
  Try([&] { session.EncryptInit(mechanism, PublicKey(object)); });
  work.Do(session, &Session::EncryptUpdate);
  work.Do(session, &Session::EncryptFinal);
  work.Do(session, &Session::Encrypt);
  Try([&] { session.DecryptInit(mechanism, PrivateKey(object)); });
  work.Do(session, &Session::DecryptUpdate);
  work.Do(session, &Session::DecryptFinal);
  work.Do(session, &Session::Decrypt);
  Try([&] { session.SignInit(mechanism, object); });
  work.Do(session, &Session::SignUpdate);
  work.Do(session, &Session::SignFinal);
  work.Do(session, &Session::Sign);
  Try([&] { session.SignRecoverInit(mechanism, object); });
  work.Do(session, &Session::SignRecover);
  Try([&] { session.VerifyInit(mechanism, object); });
  work.Do(session, &Session::VerifyUpdate);
  work.Do(session, &Session::VerifyFinal);
  Try([&] { session.VerifyRecoverInit(mechanism, object); });
  work.Do(session, &Session::VerifyRecover);
}

void UseKeys(Session& session, CryptokiObject object) {
  const Mechanism mechanism(CKM_DES3_CBC);
  const std::list<Attribute> attributes = {MakeAttribute(CKA_CLASS, ::Number(CKO_SECRET_KEY)),
                                           MakeAttribute(CKA_LABEL, Text("x"))};
  BYTE wrapped[32] = {};
  CK_ULONG length = sizeof(wrapped);
  Try([&] { session.WrapKey(mechanism, PublicKey(object), object, wrapped, &length); });
  length = sizeof(wrapped);
  Try([&] { session.WrapKey(mechanism, SecretKey(object), object, wrapped, &length); });
  Try([&] { session.UnwrapKey(mechanism, PrivateKey(object), wrapped, sizeof(wrapped), attributes); });
  Try([&] { session.UnwrapKey(mechanism, SecretKey(object), wrapped, sizeof(wrapped), attributes); });
  Try([&] { session.GenerateKey(mechanism, attributes).Update(attributes); });
  Try([&] {
    PublicKey publicKey;
    PrivateKey privateKey;
    session.GenerateKeyPair(Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN), attributes, attributes, publicKey, privateKey);
    publicKey.Update(attributes);
    privateKey.Update(attributes);
  });
  Try([&] { session.CreateObject(attributes).Retrieve(); });
  Try([&] { session.CreateObject(object); });
  Try([&] { session.FindObjects(attributes); });
  Try([&] { object.Create(attributes); });
  Try([&] { object.Destroy(); });
}

void UseObjects(Session& session) {
  CryptokiObjects objects = session.FindAllObjects();
  Try([&] { objects.GetCertificates(false); });
  Try([&] { objects.GetSecretKeys(); });
  Try([&] { objects.GetDataObjects(); });
  for (CryptokiObject object : objects.GetObjects()) {
    Try([&] { object.GetAttribute(CKA_DEFAULT_CERT); });
    Try([&] {
      object.Update({MakeAttribute(CKA_LABEL, Text("x")), MakeAttribute(CKA_EXTRACTABLE, Flag(true)),
                     MakeAttribute(CKA_MODIFIABLE, Flag(false)), MakeAttribute(CKA_SENSITIVE, Flag(true)),
                     MakeAttribute(CKA_TOKEN, Flag(true)), MakeAttribute(CKA_PRIVATE, Flag(false))});
    });
    Try([&] { Certificate(object).Update({MakeAttribute(CKA_VERIFY, Flag(true))}); });
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto module = boost::make_shared<LyingModule>(data, size);
  TELVOCryptoki cryptoki(module);
  UseSlots(cryptoki);
  Token token(0);
  token.SetCryptoki(module);
  UseToken(token);
  Try([&] {
    Session session = token.OpenSession(6, nullptr, nullptr);
    Try([&] { UseObjects(session); });
    UseLogin(session);
    CryptokiObject object;
    object.Bind(session, 1);
    Work work(size % 300);
    UseOperations(session, object, work);
    UseKeys(session, object);
  });
  token.CloseAllSessions();
  return 0;
}

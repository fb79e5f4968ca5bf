#include "SoftToken.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "module/ScriptedObjects.h"

namespace {

constexpr char kPIN[] = "123456";

}  // namespace

SoftToken::SoftToken(Cryptoki& cryptoki, std::string reader, std::string presence)
    : m_cryptoki(cryptoki), m_reader(std::move(reader)), m_presence(std::move(presence)) {}

void SoftToken::Insert() {
  if (!std::filesystem::exists(m_presence)) std::ofstream(m_presence) << "in";
}

void SoftToken::Remove() { std::filesystem::remove(m_presence); }

Session SoftToken::Open() {
  std::list<Slot> slots = m_cryptoki.GetActiveSlots();
  for (Slot& slot : slots) {
    if (slot.GetSlotDescription().c_str() == m_reader) {
      return slot.GetToken().OpenSession(CKF_RW_SESSION | CKF_SERIAL_SESSION, nullptr, nullptr);
    }
  }
  throw std::runtime_error("no card in " + m_reader);
}

Session SoftToken::LogIn() {
  Session session = Open();
  std::string pin = kPIN;
  session.Login(CKU_USER, reinterpret_cast<BYTE*>(pin.data()), static_cast<DWORD>(pin.size()));
  return session;
}

void SoftToken::Clear() {
  Session session = LogIn();
  const CryptokiObjects found = session.FindAllObjects();
  for (CryptokiObject object : found.GetObjects()) object.Destroy();
  session.Close();
}

void SoftToken::Create(const std::list<Attribute>& attributes) {
  Session session = LogIn();
  session.CreateObject(attributes);
  session.Close();
}

void SoftToken::AddCertificate(const std::string& id, const std::string& label) {
  Create({MakeAttribute(CKA_TOKEN, Flag(true)), MakeAttribute(CKA_CLASS, Number(CKO_CERTIFICATE)),
          MakeAttribute(CKA_CERTIFICATE_TYPE, Number(CKC_X_509)), MakeAttribute(CKA_SUBJECT, {0x30, 0x00}),
          MakeAttribute(CKA_LABEL, Text(label)), MakeAttribute(CKA_ID, Text(id)),
          MakeAttribute(CKA_VALUE, {0x30, 0x00})});
}

void SoftToken::AddPublicKey(const std::string& id) {
  Create({MakeAttribute(CKA_TOKEN, Flag(true)), MakeAttribute(CKA_CLASS, Number(CKO_PUBLIC_KEY)),
          MakeAttribute(CKA_KEY_TYPE, Number(CKK_RSA)), MakeAttribute(CKA_ID, Text(id)),
          MakeAttribute(CKA_MODULUS, Counting(128, 0x81)), MakeAttribute(CKA_PUBLIC_EXPONENT, {1, 0, 1}),
          MakeAttribute(CKA_VERIFY, Flag(true))});
}

void SoftToken::AddKeyPair(const std::string& id, CK_ULONG bits) {
  Session session = LogIn();
  PublicKey publicKey;
  PrivateKey privateKey;
  session.GenerateKeyPair(
      Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN),
      {MakeAttribute(CKA_TOKEN, Flag(true)), MakeAttribute(CKA_VERIFY, Flag(true)),
       MakeAttribute(CKA_PUBLIC_EXPONENT, {1, 0, 1}), MakeAttribute(CKA_MODULUS_BITS, Number(bits)),
       MakeAttribute(CKA_ID, Text(id))},
      {MakeAttribute(CKA_TOKEN, Flag(true)), MakeAttribute(CKA_PRIVATE, Flag(true)),
       MakeAttribute(CKA_SENSITIVE, Flag(true)), MakeAttribute(CKA_SIGN, Flag(true)), MakeAttribute(CKA_ID, Text(id))},
      publicKey, privateKey);
  session.Close();
}

std::size_t SoftToken::CountObjects() {
  Session session = Open();
  const std::size_t count = session.FindAllObjects().GetObjects().size();
  session.Close();
  return count;
}

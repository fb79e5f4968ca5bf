// cryptoki_tour FOLDER PIN: the client from end to end against the module that the loader finds. It lists slots and
// tokens, logs in, generates an RSA pair of 2048 bits, finds it again, and signs FOLDER/message with it. FOLDER/modulus
// and FOLDER/signature, both most significant byte first, are left for an independent verifier.
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "common/CCSPContextError.h"
#include "cryptoki/CCryptoWrapper.h"
#include "cryptoki/CryptokiError.h"

namespace {

using Bytes = std::vector<BYTE>;
using List = std::list<Attribute>;

Bytes ReadBytes(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void WriteBytes(const std::string& name, const Bytes& bytes) {
  std::ofstream(name, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

template <typename Value>
void Append(List& list, CK_ATTRIBUTE_TYPE type, const Value& value) {
  list.emplace_back();
  list.back().SetValue(reinterpret_cast<const BYTE*>(&value), sizeof(value), type);
}

void Append(List& list, CK_ATTRIBUTE_TYPE type, const std::string& value) {
  list.emplace_back();
  list.back().SetValue(reinterpret_cast<const BYTE*>(value.data()), static_cast<CK_ULONG>(value.size()), type);
}

constexpr BYTE kTrue = 1;

Token OnlyToken(TELVOCryptoki& cryptoki) {
  std::list<Slot> slots = cryptoki.GetActiveSlots();
  for (Slot& slot : slots) {
    TokenInfo& info = slot.GetToken().GetTokenInfo();
    std::cout << "slot: " << slot.GetSlotDescription().c_str() << "\n";
    std::cout << "token: " << info.GetLabel() << "serial " << info.GetSerial() << "\n";
  }
  return slots.front().GetToken();
}

void GeneratePair(Session& session, PublicKey& publicKey, PrivateKey& privateKey) {
  const std::string name = "tour";
  List publicAttributes;
  Append(publicAttributes, CKA_TOKEN, kTrue);
  Append(publicAttributes, CKA_VERIFY, kTrue);
  Append(publicAttributes, CKA_PUBLIC_EXPONENT, std::string("\1\0\1", 3));
  Append(publicAttributes, CKA_MODULUS_BITS, CK_ULONG{2048});
  Append(publicAttributes, CKA_ID, name);
  List privateAttributes;
  Append(privateAttributes, CKA_TOKEN, kTrue);
  Append(privateAttributes, CKA_PRIVATE, kTrue);
  Append(privateAttributes, CKA_SENSITIVE, kTrue);
  Append(privateAttributes, CKA_SIGN, kTrue);
  Append(privateAttributes, CKA_ID, name);
  session.GenerateKeyPair(Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN), publicAttributes, privateAttributes, publicKey,
                          privateKey);
}

// DigestInfo of SHA-256 (RFC 8017, 9.2, note 1), the digest made by the token.
Bytes DigestInfo(Session& session, Bytes message) {
  Bytes info = {0x30, 0x31, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
  Bytes digest(32);
  CK_ULONG length = 32;
  session.DigestInit(Mechanism(CKM_SHA256));
  session.Digest(message.data(), static_cast<CK_ULONG>(message.size()), digest.data(), &length);
  info.insert(info.end(), digest.begin(), digest.end());
  return info;
}

Bytes Sign(Session& session, const PrivateKey& key, Bytes data) {
  CK_ULONG length = 0;
  session.SignInit(Mechanism(CKM_RSA_PKCS), key);
  session.Sign(data.data(), static_cast<CK_ULONG>(data.size()), nullptr, &length);
  Bytes signature(length);
  session.Sign(data.data(), static_cast<CK_ULONG>(data.size()), signature.data(), &length);
  signature.resize(length);
  return signature;
}

template <typename Key>
Bytes ModulusOf(const Key& key) {
  CK_ULONG length = 0;
  key.GetModulus(nullptr, &length);
  Bytes modulus(length);
  key.GetModulus(modulus.data(), &length);
  return modulus;
}

int Tour(const std::string& folder, std::string pin) {
  const boost::shared_ptr<TELVOCryptoki> cryptoki = CCryptoWrapper::GetCryptoki();
  cryptoki->GetInfo();
  Token token = OnlyToken(*cryptoki);
  Session session = token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr);
  session.Login(CKU_USER, reinterpret_cast<BYTE*>(pin.data()), static_cast<DWORD>(pin.size()));

  PublicKey publicKey;
  PrivateKey privateKey;
  GeneratePair(session, publicKey, privateKey);
  std::cout << "generated: " << publicKey.GetModulusBits() << " bits\n";

  CryptokiObjects found = session.FindAllObjects();
  std::list<PrivateKey> privateKeys = found.GetPrivateKeys(false);
  std::cout << "found: " << found.GetObjects().size() << " objects, " << privateKeys.size() << " private keys, "
            << found.GetPublicKeys(false).size() << " public keys, " << found.GetCertificates(false).size()
            << " certificates\n";
  if (privateKeys.empty() || ModulusOf(privateKeys.front()) != ModulusOf(publicKey)) {
    std::cout << "the key that was found is not the one that was generated\n";
    return 1;
  }

  WriteBytes(folder + "/modulus", ModulusOf(publicKey));
  WriteBytes(folder + "/signature",
             Sign(session, privateKeys.front(), DigestInfo(session, ReadBytes(folder + "/message"))));
  privateKey.Destroy();
  publicKey.Destroy();
  session.Close();
  std::cout << "signed\n";
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  try {
    return Tour(arguments[1], arguments[2]);
  } catch (const CryptokiError& error) {
    std::cout << "failed: " << error.GetText() << "\n";
  } catch (const CCSPContextError& error) {
    std::cout << "failed: " << error.GetMessage() << "\n";
  }
  return 1;
}

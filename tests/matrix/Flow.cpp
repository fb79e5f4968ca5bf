#include "Flow.h"

#include <algorithm>
#include <fstream>
#include <iterator>

const std::vector<Flow>& AllFlows() {
  static const std::vector<Flow> flows = {
      {"acquire_by_name", "acquire a container by its name", &AcquireByName, nullptr},
      {"acquire_by_default", "acquire the default container", &AcquireByDefault, nullptr},
      {"acquire_by_reader", "acquire a container by reader and name", &AcquireByReader, nullptr},
      {"list_containers", "list the containers", &ListContainers, nullptr},
      {"certificates_into_my", "copy the certificates into MY", &CopyCertificates, nullptr},
      {"sign_sha1", "sign SHA-1", &SignSha1, nullptr},
      {"sign_sha256", "sign SHA-256", &SignSha256, nullptr},
      {"sign_sha512", "sign SHA-512", &SignSha512, nullptr},
      {"sign_ssl3", "sign the 36 bytes of SSL3", &SignSsl3, nullptr},
      {"verify", "verify with the container's key", &VerifyOwn, "C_Verify"},
      {"verify_imported_key", "verify with an imported public key", &VerifyOfOthers, "C_Verify"},
      {"decrypt", "decrypt with the container's key", &DecryptOfOthers, nullptr},
      {"encrypt", "encrypt with the container's key", &EncryptOwn, "C_Encrypt"},
      {"random", "random numbers", &MakeRandom, "C_GenerateRandom"},
      {"session_key_des_cbc", "import a DES key, encrypt and decrypt in CBC", &DesCbc, "C_Encrypt"},
      {"session_key_des_ecb", "import a DES key, encrypt and decrypt in ECB", &DesEcb, "C_Encrypt"},
      {"session_key_3des_cbc", "import a triple DES key, encrypt and decrypt in CBC", &TripleDesCbc, "C_Encrypt"},
      {"session_key_3des_ecb", "import a triple DES key, encrypt and decrypt in ECB", &TripleDesEcb, "C_Encrypt"},
      {"session_key_aes_cbc", "import an AES-128 key, encrypt and decrypt in CBC", &AesCbc, "C_Encrypt"},
      {"session_key_aes_ecb", "import an AES-128 key, encrypt and decrypt in ECB", &AesEcb, "C_Encrypt"},
      {"session_key_export", "make a triple DES key, encrypt with it, export it", &ExportSessionKey, "C_GenerateKey"},
      {"new_pair", "make a container with a new RSA-2048 pair, sign with it", &MakePair, nullptr},
      {"write_certificate", "write the certificate of the new pair", &WriteCertificate, nullptr},
      {"delete_container", "delete the new container", &DeleteThePair, nullptr},
      {"two_processes", "two processes sign at the same time", &TwoProcesses, nullptr},
      {"eight_threads", "eight threads sign at the same time", &EightThreads, nullptr},
      {"wrong_pin", "a wrong PIN is refused, then the right one accepted", &WrongPinOnce, nullptr},
      {"tries", "the tries left are reported after a wrong PIN", &TriesAreTold, nullptr},
      {"change_pin", "change the PIN and change it back", &ChangePin, nullptr},
      {"pull_and_insert", "pull the card, put it back, sign again", &PullAndInsert, nullptr},
      {"lock", "wrong PINs lock the card", &LockPin, nullptr},
  };
  return flows;
}

void Require(bool condition, const std::string& reason) {
  if (!condition) throw std::runtime_error(reason);
}

std::string Pin() { return Environment("PIN"); }
std::string WrongPin() { return "999999"; }
std::string Container() { return Environment("CONTAINER"); }
std::string InReader(const std::string& container) {
  return "\\\\.\\" + Environment("TOKEN_READER") + "\\" + container;
}

Bytes ReadExchange(const std::string& name) {
  std::ifstream file(Environment("EXCHANGE") + "/" + name, std::ios::binary);
  Require(file.is_open(), "there is no file " + name);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

void WriteExchange(const std::string& name, const Bytes& bytes) {
  std::ofstream file(Environment("EXCHANGE") + "/" + name, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  Require(file.good(), "the file " + name + " cannot be written");
}

Bytes Reversed(const Bytes& bytes) { return {bytes.rbegin(), bytes.rend()}; }

OpenContainer::OpenContainer(const std::string& container) : Context(InReader(container), CRYPT_SILENT) {
  SetPin(Pin());
}

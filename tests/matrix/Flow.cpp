#include "Flow.h"

#include <algorithm>
#include <fstream>
#include <iterator>

const std::vector<Flow>& AllFlows() {
  static const std::vector<Flow> flows = {
      {"acquire_by_name", &AcquireByName, nullptr},
      {"acquire_by_default", &AcquireByDefault, nullptr},
      {"acquire_by_reader", &AcquireByReader, nullptr},
      {"list_containers", &ListContainers, nullptr},
      {"certificates_into_my", &CopyCertificates, nullptr},
      {"sign_sha1", &SignSha1, nullptr},
      {"sign_sha256", &SignSha256, nullptr},
      {"sign_sha512", &SignSha512, nullptr},
      {"sign_ssl3", &SignSsl3, nullptr},
      {"verify", &VerifyOwn, "C_Verify"},
      {"verify_imported_key", &VerifyOfOthers, "C_Verify"},
      {"decrypt", &DecryptOfOthers, nullptr},
      {"encrypt", &EncryptOwn, "C_Encrypt"},
      {"random", &MakeRandom, "C_GenerateRandom"},
      {"session_key_des_cbc", &DesCbc, "C_Encrypt"},
      {"session_key_des_ecb", &DesEcb, "C_Encrypt"},
      {"session_key_3des_cbc", &TripleDesCbc, "C_Encrypt"},
      {"session_key_3des_ecb", &TripleDesEcb, "C_Encrypt"},
      {"session_key_aes_cbc", &AesCbc, "C_Encrypt"},
      {"session_key_aes_ecb", &AesEcb, "C_Encrypt"},
      {"session_key_export", &ExportSessionKey, "C_GenerateKey"},
      {"new_pair", &MakePair, nullptr},
      {"write_certificate", &WriteCertificate, nullptr},
      {"delete_container", &DeleteThePair, nullptr},
      {"two_processes", &TwoProcesses, nullptr},
      {"eight_threads", &EightThreads, nullptr},
      {"wrong_pin", &WrongPinOnce, nullptr},
      {"tries", &TriesAreTold, nullptr},
      {"change_pin", &ChangePin, nullptr},
      {"pull_and_insert", &PullAndInsert, nullptr},
      {"lock", &LockPin, nullptr},
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

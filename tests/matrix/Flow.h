// The flows and their common functions. A flow does something that applications do through CryptoAPI. It returns when
// it succeeded, throws Cannot when the token does not support it, and throws anything else when it failed.
//
// They read the environment: PIN; CONTAINER, the container of the set-up's pair; TOKEN_READER, the name of its reader;
// EXCHANGE, the folder in which run.sh leaves files for a flow and checks the files that the flow leaves; CARD_MOVES,
// set when the card can be pulled.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "CryptoApi.h"

struct Flow {
  const char* name;
  const char* description;
  void (*run)();
  // The module's function for this work, when the token may do it itself; null when the token always does it.
  const char* byModule;
};

struct Cannot : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The table of all flows, in the order in which they are run: pull_and_insert and lock come last.
const std::vector<Flow>& AllFlows();

// Throws std::runtime_error with that reason unless the condition holds.
void Require(bool condition, const std::string& reason);

std::string Environment(const char* name);
std::string Pin();
std::string WrongPin();
std::string Container();                             // of the set-up's pair, without its reader
std::string InReader(const std::string& container);  // the same with its reader

Bytes ReadExchange(const std::string& name);  // throws when there is no such file
void WriteExchange(const std::string& name, const Bytes& bytes);
Bytes Reversed(const Bytes& bytes);

// A context on the container, silent, with the right PIN.
class OpenContainer : public Context {
 public:
  explicit OpenContainer(const std::string& container = Container());
};

// --- ContainerFlows.cpp
void AcquireByName();
void AcquireByDefault();
void AcquireByReader();
void ListContainers();
void CopyCertificates();
void MakePair();
void WriteCertificate();
void DeleteThePair();

// --- KeyFlows.cpp
void TimeSignature();  // not a flow: prints the median of ten signatures in one context
void SignSha1();
void SignSha256();
void SignSha512();
void SignSsl3();
void VerifyOwn();
void VerifyOfOthers();
void DecryptOfOthers();
void EncryptOwn();
void MakeRandom();

// --- SessionKeyFlows.cpp
void DesCbc();
void DesEcb();
void TripleDesCbc();
void TripleDesEcb();
void AesCbc();
void AesEcb();
void ExportSessionKey();

// --- PinFlows.cpp
void WrongPinOnce();
void TriesAreTold();
void ChangePin();
void LockPin();

// --- CrowdFlows.cpp
void EightThreads();
void TwoProcesses();
void SignOften();  // what each of the two processes does; not a flow itself
void PullAndInsert();

// ScriptedCertStore: stands before the certificate stores of the platform. The user's own stores are out of reach of a
// program that has this: in their place memory stores open while an instance lives, and none without one. Calls may be
// refused. Everything else is the platform's.
#pragma once

#include "common/Platform.h"

#include <atomic>
#include <map>
#include <string>
#include <vector>

class ScriptedCertStore {
 public:
  ScriptedCertStore();
  // Closes the stores.
  ~ScriptedCertStore();
  ScriptedCertStore(const ScriptedCertStore&) = delete;
  ScriptedCertStore& operator=(const ScriptedCertStore&) = delete;

  // From now on the function fails with that last error. Known are CertOpenSystemStoreA, CertOpenStore,
  // CertSetCertificateContextProperty, CertAddCertificateContextToStore and CertGetNameStringA.
  void Refuse(const std::string& function, DWORD code) { refused[function] = code; }

  std::map<std::string, DWORD> refused;
  std::vector<std::string> names;  // of the system's stores that were opened
  std::vector<HCERTSTORE> stores;
  std::atomic<int> memoryStores{0};  // opened by CertOpenStore
  std::atomic<int> created{0};       // certificates by CertCreateCertificateContext
  std::atomic<int> freed{0};         // certificates by CertFreeCertificateContext, null ones apart
};

// A certificate in a store, as a text: "One" and, when it points to a key, " -> container, provider, type, spec".
std::vector<std::string> DescribeStore(HCERTSTORE store);

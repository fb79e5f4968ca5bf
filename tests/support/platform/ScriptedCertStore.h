// ScriptedCertStore: stands before the certificate stores of the platform. The user's own stores are out of reach of a
// program that has this: in their place memory stores open while an instance lives, and none without one. Calls may be
// refused. Everything else is the platform's.
#pragma once

#include "common/Platform.h"

#include <atomic>
#include <functional>
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

  // From its n-th call on, counted from 1, the function fails with that last error. Known are CertOpenSystemStoreA,
  // CertOpenStore, CertCreateCertificateContext, CertSetCertificateContextProperty, CertAddCertificateContextToStore,
  // CertGetNameStringA and CryptDecodeObject.
  void RefuseFromCall(const std::string& function, int n, DWORD code) { refused[function] = {n, code}; }
  void Refuse(const std::string& function, DWORD code) { RefuseFromCall(function, 1, code); }

  struct Refusal {
    int callsToGo;
    DWORD code;
  };
  std::map<std::string, Refusal> refused;
  std::function<void()> beforeProperty;  // runs before CertSetCertificateContextProperty does anything
  std::vector<std::string> names;        // of the system's stores that were opened
  std::vector<HCRYPTPROV> providers;     // that were named with them
  std::vector<HCERTSTORE> stores;        // of those, the ones that are open
  std::atomic<int> memoryStores{0};      // opened by CertOpenStore
  std::atomic<int> created{0};           // certificates by CertCreateCertificateContext
  std::atomic<int> freed{0};             // certificates by CertFreeCertificateContext, null ones apart
  std::atomic<DWORD> encoding{0};        // that the last CertCreateCertificateContext was told
};

// A certificate in a store, as a text: "One" and, when it points to a key, " -> container, provider, type, spec".
std::vector<std::string> DescribeStore(HCERTSTORE store);

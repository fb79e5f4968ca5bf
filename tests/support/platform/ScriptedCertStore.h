// ScriptedCertStore: wraps the platform's certificate store functions. A program that has this cannot reach the user's
// own stores: memory stores open instead while an instance lives, and without one no store opens. Calls may be
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

  // From its n-th call on, counted from 1, the function fails with that last error. Supported are
  // CertOpenSystemStoreA, CertOpenStore, CertCreateCertificateContext, CertSetCertificateContextProperty,
  // CertAddCertificateContextToStore, CertGetNameStringA and CryptDecodeObject.
  void RefuseFromCall(const std::string& function, int n, DWORD code) { refused[function] = {n, code}; }
  void Refuse(const std::string& function, DWORD code) { RefuseFromCall(function, 1, code); }

  struct Refusal {
    int callsToGo;
    DWORD code;
  };
  std::map<std::string, Refusal> refused;
  std::function<void()> beforeProperty;  // runs before CertSetCertificateContextProperty does anything
  std::vector<std::string> names;        // of the system stores that were opened
  std::vector<HCRYPTPROV> providers;     // passed with them
  std::vector<HCERTSTORE> stores;        // the system stores that are still open
  std::atomic<int> memoryStores{0};      // opened by CertOpenStore
  std::atomic<int> created{0};           // certificates by CertCreateCertificateContext
  std::atomic<int> freed{0};             // certificates by CertFreeCertificateContext, except null ones
  std::atomic<DWORD> encoding{0};        // passed to the last CertCreateCertificateContext
};

// The certificates in a store, one string each: "One", and if it points to a key, " -> container, provider, type ...".
std::vector<std::string> DescribeStore(HCERTSTORE store);

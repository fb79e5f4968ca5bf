#include "platform/ScriptedCertStore.h"

#include <algorithm>

#include "platform/StandIn.h"

namespace {

ScriptedCertStore* g_scriptedStore = nullptr;

bool IsRefused(const char* function) {
  if (g_scriptedStore == nullptr) return false;
  const auto found = g_scriptedStore->refused.find(function);
  if (found == g_scriptedStore->refused.end()) return false;
  ScriptedCertStore::Refusal& refusal = found->second;
  if (refusal.callsToGo > 1) {
    --refusal.callsToGo;
    return false;
  }
  SetLastError(refusal.code);
  return true;
}

}  // namespace

#ifndef _WIN32
extern "C" {
HCERTSTORE __real_CertOpenStore(LPCSTR provider, DWORD encoding, HCRYPTPROV unused, DWORD flags, const void* parameter);
BOOL __real_CertCloseStore(HCERTSTORE store, DWORD flags);
BOOL __real_CertSetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, DWORD flags,
                                              const void* data);
BOOL __real_CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT certificate, DWORD disposition,
                                             PCCERT_CONTEXT* added);
PCCERT_CONTEXT __real_CertCreateCertificateContext(DWORD encoding, const BYTE* der, DWORD length);
BOOL __real_CertFreeCertificateContext(PCCERT_CONTEXT certificate);
DWORD __real_CertGetNameStringA(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* parameter, LPSTR text,
                                DWORD size);
BOOL __real_CryptDecodeObject(DWORD encoding, LPCSTR type, const BYTE* der, DWORD derLength, DWORD flags, void* out,
                              DWORD* length);
}

#endif

extern "C" {

HCERTSTORE WINAPI SCRIPTED(CertOpenStore)(LPCSTR provider, DWORD encoding, HCRYPTPROV unused, DWORD flags,
                                          const void* parameter) {
  if (IsRefused("CertOpenStore")) return nullptr;
  if (g_scriptedStore != nullptr) ++g_scriptedStore->memoryStores;
  return REAL("crypt32.dll", CertOpenStore)(provider, encoding, unused, flags, parameter);
}

HCERTSTORE WINAPI SCRIPTED(CertOpenSystemStoreA)(HCRYPTPROV provider, LPCSTR name) {
  if (g_scriptedStore == nullptr) {
    SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return nullptr;
  }
  g_scriptedStore->names.emplace_back(name);
  g_scriptedStore->providers.push_back(provider);
  if (IsRefused("CertOpenSystemStoreA")) return nullptr;
  g_scriptedStore->stores.push_back(REAL("crypt32.dll", CertOpenStore)(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
  return g_scriptedStore->stores.back();
}

BOOL WINAPI SCRIPTED(CertCloseStore)(HCERTSTORE store, DWORD flags) {
  if (g_scriptedStore != nullptr) {
    auto& open = g_scriptedStore->stores;
    open.erase(std::remove(open.begin(), open.end(), store), open.end());
  }
  return REAL("crypt32.dll", CertCloseStore)(store, flags);
}

BOOL WINAPI SCRIPTED(CertSetCertificateContextProperty)(PCCERT_CONTEXT certificate, DWORD property, DWORD flags,
                                                        const void* data) {
  if (g_scriptedStore != nullptr && g_scriptedStore->beforeProperty) g_scriptedStore->beforeProperty();
  if (IsRefused("CertSetCertificateContextProperty")) return FALSE;
  return REAL("crypt32.dll", CertSetCertificateContextProperty)(certificate, property, flags, data);
}

BOOL WINAPI SCRIPTED(CertAddCertificateContextToStore)(HCERTSTORE store, PCCERT_CONTEXT certificate, DWORD disposition,
                                                       PCCERT_CONTEXT* added) {
  if (IsRefused("CertAddCertificateContextToStore")) return FALSE;
  return REAL("crypt32.dll", CertAddCertificateContextToStore)(store, certificate, disposition, added);
}

PCCERT_CONTEXT WINAPI SCRIPTED(CertCreateCertificateContext)(DWORD encoding, const BYTE* der, DWORD length) {
  if (g_scriptedStore != nullptr) g_scriptedStore->encoding = encoding;
  if (IsRefused("CertCreateCertificateContext")) return nullptr;
  const PCCERT_CONTEXT certificate = REAL("crypt32.dll", CertCreateCertificateContext)(encoding, der, length);
  if (g_scriptedStore != nullptr && certificate != nullptr) ++g_scriptedStore->created;
  return certificate;
}

BOOL WINAPI SCRIPTED(CertFreeCertificateContext)(PCCERT_CONTEXT certificate) {
  if (g_scriptedStore != nullptr && certificate != nullptr) ++g_scriptedStore->freed;
  return REAL("crypt32.dll", CertFreeCertificateContext)(certificate);
}

DWORD WINAPI SCRIPTED(CertGetNameStringA)(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* parameter,
                                          LPSTR text, DWORD size) {
  if (IsRefused("CertGetNameStringA")) return 0;
  return REAL("crypt32.dll", CertGetNameStringA)(certificate, type, flags, parameter, text, size);
}

BOOL WINAPI SCRIPTED(CryptDecodeObject)(DWORD encoding, LPCSTR type, const BYTE* der, DWORD derLength, DWORD flags,
                                        void* out, DWORD* length) {
  if (IsRefused("CryptDecodeObject")) return FALSE;
  return REAL("crypt32.dll", CryptDecodeObject)(encoding, type, der, derLength, flags, out, length);
}

#ifdef _WIN32
void* __imp_CertOpenStore = reinterpret_cast<void*>(&ScriptedCertOpenStore);
void* __imp_CertOpenSystemStoreA = reinterpret_cast<void*>(&ScriptedCertOpenSystemStoreA);
void* __imp_CertCloseStore = reinterpret_cast<void*>(&ScriptedCertCloseStore);
void* __imp_CertSetCertificateContextProperty = reinterpret_cast<void*>(&ScriptedCertSetCertificateContextProperty);
void* __imp_CertAddCertificateContextToStore = reinterpret_cast<void*>(&ScriptedCertAddCertificateContextToStore);
void* __imp_CertCreateCertificateContext = reinterpret_cast<void*>(&ScriptedCertCreateCertificateContext);
void* __imp_CertFreeCertificateContext = reinterpret_cast<void*>(&ScriptedCertFreeCertificateContext);
void* __imp_CertGetNameStringA = reinterpret_cast<void*>(&ScriptedCertGetNameStringA);
void* __imp_CryptDecodeObject = reinterpret_cast<void*>(&ScriptedCryptDecodeObject);
#endif

}  // extern "C"

ScriptedCertStore::ScriptedCertStore() { g_scriptedStore = this; }

ScriptedCertStore::~ScriptedCertStore() {
  while (!stores.empty()) CertCloseStore(stores.back(), 0);
  g_scriptedStore = nullptr;
}

namespace {

std::string Narrow(const wchar_t* text) {
  std::string narrow;
  for (; *text != L'\0'; ++text) narrow += static_cast<char>(*text);
  return narrow;
}

// The last string of the subject, which is its common name.
std::string CommonName(PCCERT_CONTEXT certificate) {
  const auto& subject = certificate->pCertInfo->Subject;
  const std::string der(reinterpret_cast<const char*>(subject.pbData), subject.cbData);
  return der.substr(der.find_last_of('\x55') + 5);
}

}  // namespace

std::vector<std::string> DescribeStore(HCERTSTORE store) {
  std::vector<std::string> lines;
  PCCERT_CONTEXT certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr) {
    std::string line = CommonName(certificate);
    DWORD length = 0;
    if (CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length) != FALSE) {
      std::vector<std::uint64_t> buffer(length / 8 + 1);
      CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, buffer.data(), &length);
      const auto& info = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer.data());
      line += " -> " + Narrow(info.pwszContainerName) + ", " + Narrow(info.pwszProvName) + ", type " +
              std::to_string(info.dwProvType) + ", flags " + std::to_string(info.dwFlags) + ", parameters " +
              std::to_string(info.cProvParam) + ", spec " + std::to_string(info.dwKeySpec);
    }
    lines.push_back(line);
  }
  return lines;
}

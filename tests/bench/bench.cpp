// bench: compares the provider's times with the module's. One process does the same work alternately through telvocsp's
// exported functions and by calling the module directly, and prints the medians and their ratio.
//
//   bench READER CONTAINER PIN    the container has a key pair on the card in that reader; logging must be off
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cryptoki/CryptokiFunctions.h"
#include "entry/ProviderInterface.h"
#include "platform/ExportOf.h"

namespace {

using Bytes = std::vector<BYTE>;
using Seconds = std::chrono::duration<double>;

void Require(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string(what) + " failed, last error " + std::to_string(GetLastError()));
}

// --- Through the provider

class Provider {
 public:
  Provider(const std::string& container, const std::string& pin) : m_library(LoadLibraryA("telvocsp.dll")) {
    Require(m_library != nullptr, "loading telvocsp.dll");
    Require(
        Export(&CPAcquireContext, "CPAcquireContext")(&m_context, container.c_str(), CRYPT_SILENT, nullptr) != FALSE,
        "CPAcquireContext");
    Require(Export(&CPSetProvParam, "CPSetProvParam")(m_context, PP_KEYEXCHANGE_PIN,
                                                      reinterpret_cast<const BYTE*>(pin.c_str()), 0) != FALSE,
            "CPSetProvParam");
  }

  void Sign(const Bytes& message, Bytes& signature) const {
    const HCRYPTHASH hash = Feed(CALG_SHA_256, message, message.size());
    DWORD length = static_cast<DWORD>(signature.size());
    Require(m_signHash(m_context, hash, AT_KEYEXCHANGE, nullptr, 0, signature.data(), &length) != FALSE, "CPSignHash");
    m_destroyHash(m_context, hash);
  }

  void Digest(ALG_ID algorithm, const Bytes& message, Bytes& digest) const {
    const HCRYPTHASH hash = Feed(algorithm, message, std::size_t{64} * 1024);
    DWORD length = static_cast<DWORD>(digest.size());
    Require(m_getHashParam(m_context, hash, HP_HASHVAL, digest.data(), &length, 0) != FALSE, "CPGetHashParam");
    m_destroyHash(m_context, hash);
  }

  // A context that is not bound to a token.
  HCRYPTPROV Acquire() const {
    HCRYPTPROV handle = 0;
    Require(m_acquireContext(&handle, nullptr, CRYPT_VERIFYCONTEXT, nullptr) != FALSE, "CPAcquireContext");
    return handle;
  }

  void Release(HCRYPTPROV handle) const { m_releaseContext(handle, 0); }

 private:
  template <typename Function>
  Function Export(Function /*declared*/, const char* name) const {
    return ExportOf<Function>(m_library, name);
  }

  HCRYPTHASH Feed(ALG_ID algorithm, const Bytes& message, std::size_t piece) const {
    HCRYPTHASH hash = 0;
    Require(m_createHash(m_context, algorithm, 0, 0, &hash) != FALSE, "CPCreateHash");
    for (std::size_t done = 0; done < message.size(); done += piece) {
      const std::size_t length = std::min(piece, message.size() - done);
      Require(m_hashData(m_context, hash, message.data() + done, static_cast<DWORD>(length), 0) != FALSE, "CPHashData");
    }
    return hash;
  }

  HMODULE m_library;
  HCRYPTPROV m_context = 0;
  decltype(&CPAcquireContext) m_acquireContext = Export(&CPAcquireContext, "CPAcquireContext");
  decltype(&CPReleaseContext) m_releaseContext = Export(&CPReleaseContext, "CPReleaseContext");
  decltype(&CPCreateHash) m_createHash = Export(&CPCreateHash, "CPCreateHash");
  decltype(&CPHashData) m_hashData = Export(&CPHashData, "CPHashData");
  decltype(&CPSignHash) m_signHash = Export(&CPSignHash, "CPSignHash");
  decltype(&CPGetHashParam) m_getHashParam = Export(&CPGetHashParam, "CPGetHashParam");
  decltype(&CPDestroyHash) m_destroyHash = Export(&CPDestroyHash, "CPDestroyHash");
};

// --- Without the provider

class Module {
 public:
  Module(const std::string& reader, const std::string& container, std::string pin) : m_pin(std::move(pin)) {
    m_functions.Load();
    m_functions.C_Initialize(nullptr);
    Check(
        m_functions.C_OpenSession(FindSlot(reader), CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &m_session),
        "C_OpenSession");
    CK_OBJECT_CLASS keyClass = CKO_PRIVATE_KEY;
    std::string id = container;
    CK_ATTRIBUTE wanted[] = {{CKA_CLASS, &keyClass, sizeof(keyClass)},
                             {CKA_ID, id.data(), static_cast<CK_ULONG>(id.size())}};
    CK_ULONG count = 0;
    Check(m_functions.C_FindObjectsInit(m_session, wanted, 2), "C_FindObjectsInit");
    Check(m_functions.C_FindObjects(m_session, &m_key, 1, &count), "C_FindObjects");
    Check(m_functions.C_FindObjectsFinal(m_session), "C_FindObjectsFinal");
    Require(count == 1, "finding the private key");
  }

  void Sign(const Bytes& message, Bytes& signature) {
    static const BYTE kPrefix[] = {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                   0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
    m_functions.C_Logout(m_session);
    Check(m_functions.C_LoginExtended(m_session, CKU_USER, reinterpret_cast<CK_UTF8CHAR_PTR>(m_pin.data()),
                                      static_cast<CK_ULONG>(m_pin.size())),
          "C_LoginExtended");
    Bytes info(sizeof(kPrefix) + 32);
    std::memcpy(info.data(), kPrefix, sizeof(kPrefix));
    Digest(CKM_SHA256, message, info.data() + sizeof(kPrefix), 32);
    CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
    Check(m_functions.C_SignInit(m_session, &mechanism, m_key), "C_SignInit");
    CK_ULONG length = static_cast<CK_ULONG>(signature.size());
    Check(m_functions.C_Sign(m_session, info.data(), static_cast<CK_ULONG>(info.size()), signature.data(), &length),
          "C_Sign");
    std::reverse(signature.begin(), signature.end());
  }

  // The calls of the provider when it acquires a context that is not bound to a token.
  void ListSlots() {
    CK_SLOT_ID slots[16] = {};
    CK_ULONG count = 16;
    m_functions.C_GetSlotList(CK_TRUE, nullptr, &count);
    Check(m_functions.C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList");
    CK_SLOT_INFO info = {};
    for (CK_ULONG i = 0; i < count; ++i) Check(m_functions.C_GetSlotInfo(slots[i], &info), "C_GetSlotInfo");
  }

  void Digest(CK_MECHANISM_TYPE type, const Bytes& message, BYTE* digest, CK_ULONG length) {
    CK_MECHANISM mechanism = {type, nullptr, 0};
    Check(m_functions.C_DigestInit(m_session, &mechanism), "C_DigestInit");
    Check(m_functions.C_Digest(m_session, const_cast<BYTE*>(message.data()), static_cast<CK_ULONG>(message.size()),
                               digest, &length),
          "C_Digest");
  }

 private:
  static void Check(CK_RV result, const char* what) {
    if (result != CKR_OK) throw std::runtime_error(std::string(what) + " answers " + std::to_string(result));
  }

  CK_SLOT_ID FindSlot(const std::string& reader) {
    CK_SLOT_ID slots[16] = {};
    CK_ULONG count = 16;
    Check(m_functions.C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList");
    for (CK_ULONG i = 0; i < count; ++i) {
      CK_SLOT_INFO info = {};
      Check(m_functions.C_GetSlotInfo(slots[i], &info), "C_GetSlotInfo");
      if (std::memcmp(info.slotDescription, reader.data(), reader.size()) == 0) return slots[i];
    }
    throw std::runtime_error("no card in " + reader);
  }

  CryptokiFunctions m_functions{"telvopkcs11.dll"};
  std::string m_pin;
  CK_SESSION_HANDLE m_session = 0;
  CK_OBJECT_HANDLE m_key = 0;
};

// --- The comparison

double Time(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return Seconds(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> times) {
  std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
  return times[times.size() / 2];
}

void Compare(const char* what, int rounds, const std::function<void()>& provider, const std::function<void()>& module) {
  provider();
  module();
  std::vector<double> providerTimes;
  std::vector<double> moduleTimes;
  for (int i = 0; i < rounds; ++i) {
    providerTimes.push_back(Time(provider));
    moduleTimes.push_back(Time(module));
  }
  const double providerTime = Median(providerTimes);
  const double moduleTime = Median(moduleTimes);
  std::printf("%-34s provider %9.3f ms   module %9.3f ms   ratio %.2f   (medians of %d)\n", what, providerTime * 1000,
              moduleTime * 1000, providerTime / moduleTime, rounds);
  std::fflush(stdout);
}

// All contexts stay alive. Compares the first thousand acquisitions with the last, without the module's share.
void CompareAcquisitions(const Provider& provider, Module& module) {
  constexpr int kContexts = 20000;
  constexpr int kCompared = 1000;
  std::vector<HCRYPTPROV> handles;
  std::vector<double> providerTimes;
  for (int i = 0; i < kContexts; ++i) providerTimes.push_back(Time([&] { handles.push_back(provider.Acquire()); }));
  std::vector<double> moduleTimes;
  for (int i = 0; i < kCompared; ++i) moduleTimes.push_back(Time([&] { module.ListSlots(); }));
  for (const HCRYPTPROV handle : handles) provider.Release(handle);
  const double share = Median(moduleTimes);
  const double first = Median({providerTimes.begin(), providerTimes.begin() + kCompared}) - share;
  const double last = Median({providerTimes.end() - kCompared, providerTimes.end()}) - share;
  std::printf("%-34s first    %9.3f ms   last   %9.3f ms   ratio %.2f   (medians of %d; module %.3f ms)\n",
              "acquisition, 20,000 contexts alive", first * 1000, last * 1000, last / first, kCompared, share * 1000);
  std::fflush(stdout);
}

void Run(const std::string& reader, const std::string& container, const std::string& pin) {
  const Provider provider("\\\\.\\" + reader + "\\" + container, pin);
  Module module(reader, container, pin);

  CompareAcquisitions(provider, module);
  const Bytes shortMessage(1024, 'm');
  Bytes providerResult(256);
  Bytes moduleResult(256);
  Compare(
      "signature, RSA 2048, SHA-256", 300, [&] { provider.Sign(shortMessage, providerResult); },
      [&] { module.Sign(shortMessage, moduleResult); });
  Require(providerResult == moduleResult, "comparing the signatures");

  const Bytes longMessage(std::size_t{64} << 20U, 'm');
  const struct {
    const char* what;
    ALG_ID algorithm;
    CK_MECHANISM_TYPE mechanism;
    DWORD length;
  } hashes[] = {{"hash of 64 MiB, SHA-1", CALG_SHA1, CKM_SHA_1, 20},
                {"hash of 64 MiB, SHA-256", CALG_SHA_256, CKM_SHA256, 32},
                {"hash of 64 MiB, SHA-512", CALG_SHA_512, CKM_SHA512, 64}};
  for (const auto& hash : hashes) {
    providerResult.resize(hash.length);
    moduleResult.resize(hash.length);
    Compare(
        hash.what, 9, [&] { provider.Digest(hash.algorithm, longMessage, providerResult); },
        [&] { module.Digest(hash.mechanism, longMessage, moduleResult.data(), hash.length); });
    Require(providerResult == moduleResult, "comparing the digests");
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    std::fprintf(stderr, "bench READER CONTAINER PIN\n");
    return 2;
  }
  try {
    Run(arguments[1], arguments[2], arguments[3]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench: %s\n", error.what());
    return 1;
  }
  return 0;
}

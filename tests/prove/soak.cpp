// soak: uses telvocsp's exported functions on a software token for a long time. Memory and handles must not grow, and
// objects that are never released must not slow down the rest.
//
//   soak READER CONTAINER PIN    the container has a key pair on the card in that reader; logging must be off
//
// With TELVO_SOAK_PART=n in the environment it does an n-th of the work. It prints a line for each subject, which
// begins with "ok" or "FOUND".
#include <windows.h>

#ifdef _WIN32
#include <psapi.h>
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "entry/ProviderInterface.h"
#include "platform/ExportOf.h"
#include "platform/OpenHandles.h"

namespace {

using Bytes = std::vector<BYTE>;

void Require(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string(what) + " failed, last error " + std::to_string(GetLastError()));
}

// --- Memory and handles of the process

struct Usage {
  long kilobytes;
  long handles;
};

#ifdef _WIN32
Usage Used() {
  PROCESS_MEMORY_COUNTERS memory = {};
  GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory));
  return {static_cast<long>(memory.PagefileUsage / 1024), OpenHandles()};
}
#else
Usage Used() {
  long kilobytes = 0;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("RssAnon:", 0) == 0) kilobytes = std::stol(line.substr(8));
  }
  return {kilobytes, OpenHandles()};
}
#endif

// --- The provider

class Provider {
 public:
  Provider(std::string container, const std::string& pin)
      : m_library(LoadLibraryA("telvocsp.dll")), m_container(std::move(container)) {
    Require(m_library != nullptr, "loading telvocsp.dll");
    m_context = Acquire(CRYPT_SILENT);
    Require(Export<decltype(&CPSetProvParam)>("CPSetProvParam")(m_context, PP_KEYEXCHANGE_PIN,
                                                                reinterpret_cast<const BYTE*>(pin.c_str()), 0) != FALSE,
            "CPSetProvParam");
  }

  HCRYPTPROV Acquire(DWORD flags) const {
    HCRYPTPROV handle = 0;
    const char* name = (flags & CRYPT_VERIFYCONTEXT) != 0 ? nullptr : m_container.c_str();
    Require(m_acquireContext(&handle, name, flags, nullptr) != FALSE, "CPAcquireContext");
    return handle;
  }

  void Release(HCRYPTPROV handle) const { Require(m_releaseContext(handle, 0) != FALSE, "CPReleaseContext"); }

  HCRYPTHASH Hash() const {
    HCRYPTHASH hash = 0;
    Require(m_createHash(m_context, CALG_SHA_256, 0, 0, &hash) != FALSE, "CPCreateHash");
    Require(m_hashData(m_context, hash, m_message.data(), static_cast<DWORD>(m_message.size()), 0) != FALSE,
            "CPHashData");
    return hash;
  }

  void Destroy(HCRYPTHASH hash) const { Require(m_destroyHash(m_context, hash) != FALSE, "CPDestroyHash"); }

  Bytes Sign() const {
    const HCRYPTHASH hash = Hash();
    Bytes signature(256);
    DWORD length = static_cast<DWORD>(signature.size());
    Require(m_signHash(m_context, hash, AT_KEYEXCHANGE, nullptr, 0, signature.data(), &length) != FALSE, "CPSignHash");
    Destroy(hash);
    return signature;
  }

 private:
  template <typename Function>
  Function Export(const char* name) const {
    return ExportOf<Function>(m_library, name);
  }

  HMODULE m_library;
  std::string m_container;
  HCRYPTPROV m_context = 0;
  Bytes m_message = Bytes(1024, 'm');
  decltype(&CPAcquireContext) m_acquireContext = Export<decltype(&CPAcquireContext)>("CPAcquireContext");
  decltype(&CPReleaseContext) m_releaseContext = Export<decltype(&CPReleaseContext)>("CPReleaseContext");
  decltype(&CPCreateHash) m_createHash = Export<decltype(&CPCreateHash)>("CPCreateHash");
  decltype(&CPHashData) m_hashData = Export<decltype(&CPHashData)>("CPHashData");
  decltype(&CPSignHash) m_signHash = Export<decltype(&CPSignHash)>("CPSignHash");
  decltype(&CPDestroyHash) m_destroyHash = Export<decltype(&CPDestroyHash)>("CPDestroyHash");
};

// --- The work

// Prints the result of a subject and how much was done.
void Report(bool good, const char* what, int count, const std::string& result) {
  std::printf("%s %d %s: %s\n", good ? "ok   " : "FOUND", count, what, result.c_str());
  std::fflush(stdout);
}

// Checks that neither memory nor handles grow after the first tenth.
void StaysFlat(const char* what, int count, const std::function<void()>& work) {
  constexpr long kKilobytes = 256;
  for (int i = 0; i < count / 10; ++i) work();
  const Usage before = Used();
  for (int i = count / 10; i < count; ++i) work();
  const Usage after = Used();
  const long kilobytes = after.kilobytes - before.kilobytes;
  const long handles = after.handles - before.handles;
  Report(kilobytes <= kKilobytes && handles <= 0, what, count,
         std::to_string(kilobytes) + " KB and " + std::to_string(handles) + " handles more than after the first tenth");
}

double Median(std::vector<double> times) {
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

// Checks that the last twentieth takes at most twice as long as the first, although nothing is released.
void StaysFast(const char* what, int count, const std::function<void()>& work) {
  std::vector<double> times;
  const Usage before = Used();
  for (int i = 0; i < count; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  const std::ptrdiff_t part = count / 20;
  const double ratio = Median({times.end() - part, times.end()}) / Median({times.begin(), times.begin() + part});
  char result[160];
  std::snprintf(result, sizeof(result), "the last twentieth took %.1f times as long as the first, %ld bytes each",
                ratio, (Used().kilobytes - before.kilobytes) * 1024 / count);
  Report(ratio <= 2, what, count, result);
}

// The same for work that gets slower within each second: the random numbers for context handles start again each
// second, so each new context tries the handles of the same second first. Compares the first whole second and the last.
void StaysFastBySeconds(const char* what, int count, const std::function<void()>& work) {
  std::vector<int> perSecond;
  const Usage before = Used();
  std::time_t second = 0;
  for (int i = 0; i < count; ++i) {
    if (const std::time_t now = std::time(nullptr); now != second) {
      second = now;
      perSecond.push_back(0);
    }
    work();
    ++perSecond.back();
  }
  const std::string each = std::to_string((Used().kilobytes - before.kilobytes) * 1024 / count) + " bytes each";
  if (perSecond.size() < 4) {  // the first and the last are not whole
    Report(true, what, count, "too few seconds to compare, " + each);
    return;
  }
  const int first = perSecond[1];
  const int last = perSecond[perSecond.size() - 2];
  Report(first <= 2 * last, what, count,
         std::to_string(first) + " in the first whole second, " + std::to_string(last) + " in the last, " + each);
}

void Run(const std::string& reader, const std::string& container, const std::string& pin, int part) {
  const Provider provider("\\\\.\\" + reader + "\\" + container, pin);
  const Bytes signature = provider.Sign();
  StaysFlat("signatures", 100000 / part, [&] {
    if (provider.Sign() != signature) throw std::runtime_error("a signature differs from the first");
  });
  StaysFlat("acquires", 100000 / part, [&] { provider.Release(provider.Acquire(CRYPT_SILENT)); });
  StaysFast("hashes that are never destroyed", 40000 / part, [&] { provider.Hash(); });
  StaysFastBySeconds("contexts that are never released", 20000 / part, [&] { provider.Acquire(CRYPT_VERIFYCONTEXT); });
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    std::fprintf(stderr, "soak READER CONTAINER PIN\n");
    return 2;
  }
  const char* part = std::getenv("TELVO_SOAK_PART");
  try {
    Run(arguments[1], arguments[2], arguments[3], part == nullptr ? 1 : std::max(1, std::atoi(part)));
  } catch (const std::exception& error) {
    std::printf("FOUND 0 %s\n", error.what());
  }
  return 0;
}

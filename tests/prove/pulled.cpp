// pulled: has a card pulled before, during and after each step of a signature and of a key pair generation.
//
//   pulled WAY READER LOG CERTIFICATE [OTHER_READER]
//
// WAY is "card", or "service": then the PC/SC service ends, and all readers with it. The cards in READER and
// OTHER_READER have the container "one" and the PIN 123456. LOG is the provider's log, which is on. CERTIFICATE is a
// DER file. With TELVO_PULLED_PART=n in the environment only each n-th case runs.
//
// The lines "do pull" and "do return" ask the caller to do that; a line must answer each. The other lines are results,
// which begin with "ok" or "FOUND".
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "WatchedReader.h"
#include "entry/ProviderInterface.h"
#include "platform/ExportOf.h"

namespace {

using Clock = WatchedReader::Clock;
using Bytes = std::vector<BYTE>;
constexpr char kPin[] = "123456";
constexpr long kLongestError = 2000;  // milliseconds, as all times here
constexpr long kLongestPin = 500;

long Since(Clock::time_point start) {
  return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

std::string Hex(DWORD code) {
  char text[9];
  std::snprintf(text, sizeof(text), "%08X", static_cast<unsigned>(code));
  return text;
}

template <typename Function>
Function Export(const char* name) {
  static const HMODULE library = LoadLibraryA("telvocsp.dll");
  if (library == nullptr) throw std::runtime_error("telvocsp.dll cannot be loaded");
  return ExportOf<Function>(library, name);
}
#define PROVIDER(name) Export<decltype(&name)>(#name)

// --- What an application does

// Application: one context and what belongs to it. Each function is a step: it returns whether the provider succeeded,
// and can be repeated.
class Application {
 public:
  explicit Application(std::string reader, Bytes certificate = {})
      : m_reader(std::move(reader)), m_certificate(std::move(certificate)) {}
  ~Application() { Release(); }
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  bool Acquire() { return Open("one", CRYPT_SILENT); }
  bool AcquireNew() {
    static int number = 0;
    return Open("new" + std::to_string(++number), CRYPT_NEWKEYSET);
  }
  bool GivePin() {
    return PROVIDER(CPSetProvParam)(m_context, PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>(kPin), 0) != FALSE;
  }
  bool CreateHash() {
    if (m_hash != 0) PROVIDER(CPDestroyHash)(m_context, m_hash);
    m_hash = 0;
    return PROVIDER(CPCreateHash)(m_context, CALG_SHA_256, 0, 0, &m_hash) != FALSE;
  }
  bool HashData() {
    const Bytes message(64, 'm');
    return PROVIDER(CPHashData)(m_context, m_hash, message.data(), static_cast<DWORD>(message.size()), 0) != FALSE;
  }
  bool Sign() {
    m_signature.assign(256, 0);
    DWORD length = static_cast<DWORD>(m_signature.size());
    return PROVIDER(CPSignHash)(m_context, m_hash, AT_KEYEXCHANGE, nullptr, 0, m_signature.data(), &length) != FALSE;
  }
  bool Verify() {
    HCRYPTKEY key = 0;
    return PROVIDER(CPGetUserKey)(m_context, AT_KEYEXCHANGE, &key) != FALSE &&
           PROVIDER(CPVerifySignature)(m_context, m_hash, m_signature.data(), static_cast<DWORD>(m_signature.size()),
                                       key, nullptr, 0) != FALSE;
  }
  bool GenerateKey() {
    return PROVIDER(CPGenKey)(m_context, AT_KEYEXCHANGE, (1024U << 16) | CRYPT_EXPORTABLE, &m_key) != FALSE;
  }
  bool WriteCertificate() {
    return PROVIDER(CPSetKeyParam)(m_context, m_key, KP_CERTIFICATE, m_certificate.data(), 0) != FALSE;
  }
  bool Release() {
    const HCRYPTPROV context = std::exchange(m_context, 0);
    m_hash = 0;
    return context == 0 || PROVIDER(CPReleaseContext)(context, 0) != FALSE;
  }
  bool ReleaseAndAcquire() { return Release() && Acquire(); }

  // Signs a new hash. False with the last error of the call that failed.
  bool SignNewHash() { return CreateHash() && HashData() && Sign(); }
  const Bytes& Signature() const { return m_signature; }

 private:
  bool Open(const std::string& container, DWORD flags) {
    Release();
    const std::string name = "\\\\.\\" + m_reader + "\\" + container;
    return PROVIDER(CPAcquireContext)(&m_context, name.c_str(), flags, nullptr) != FALSE;
  }

  const std::string m_reader;
  Bytes m_certificate;
  HCRYPTPROV m_context = 0;
  HCRYPTHASH m_hash = 0;
  HCRYPTKEY m_key = 0;
  Bytes m_signature;
};

struct Step {
  const char* name;
  bool (Application::*once)();
  bool (Application::*again)();  // repeated while the card is pulled
};

struct Flow {
  const char* name;
  std::vector<Step> steps;
};

using A = Application;
const std::vector<Flow> kFlows = {{"a signature",
                                   {{"acquire", &A::Acquire, &A::Acquire},
                                    {"give the PIN", &A::GivePin, &A::GivePin},
                                    {"create a hash", &A::CreateHash, &A::CreateHash},
                                    {"hash data", &A::HashData, &A::HashData},
                                    {"sign", &A::Sign, &A::Sign},
                                    {"verify", &A::Verify, &A::Verify},
                                    {"release", &A::Release, &A::ReleaseAndAcquire}}},
                                  {"a key pair generation",
                                   {{"acquire a new container", &A::AcquireNew, &A::AcquireNew},
                                    {"give the PIN", &A::GivePin, &A::GivePin},
                                    {"generate", &A::GenerateKey, &A::GenerateKey},
                                    {"write the certificate", &A::WriteCertificate, &A::WriteCertificate},
                                    {"release", &A::Release, &A::ReleaseAndAcquire}}}};

enum class Moment { kBefore, kDuring, kAfter };
const char* const kMoments[] = {"before", "during", "after"};

// --- One case

struct Outcome {
  int cases = 0;
  int found = 0;
  long slowestError = 0;
  long slowestPin = 0;
  std::map<std::string, int> codes;
};

// Whether an error means that the card is gone or no longer logged in. See docs/errors.md.
bool IsExpectedError(const std::string& step, DWORD code) {
  if (code == static_cast<DWORD>(NTE_FAIL)) return true;
  if (step == "acquire")
    return code == static_cast<DWORD>(NTE_BAD_KEYSET);  // another card is in, without the container
  // A verification reports each failure of the module as a bad signature; the log has the failure.
  if (step == "verify" && code == static_cast<DWORD>(NTE_BAD_SIGNATURE)) return true;
  return code == static_cast<DWORD>(NTE_SILENT_CONTEXT) || code == static_cast<DWORD>(SCARD_W_CARD_NOT_AUTHENTICATED);
}

class Bench {
 public:
  Bench(bool service, std::string reader, std::string log, Bytes certificate, const std::string& other)
      : m_service(service),
        m_reader(std::move(reader)),
        m_log(std::move(log)),
        m_certificate(std::move(certificate)),
        m_watched(*new WatchedReader(m_reader)),
        m_hasOther(!other.empty()),
        m_other(other) {
    m_watched.Await(true);
    if (m_hasOther) (*new WatchedReader(other)).Await(true);
    Application first(m_reader);
    m_signature = SignatureOf(first, "at the start");
    if (m_hasOther) SignatureOf(m_other, "of the other reader");
  }

  Outcome Run(const Flow& flow, int part) {
    m_outcome = {};
    for (std::size_t i = 0; i < flow.steps.size(); ++i) {
      for (const Moment moment : {Moment::kBefore, Moment::kDuring, Moment::kAfter}) {
        if (m_number++ % part != 0) continue;
        m_case = std::string(flow.name) + ", " + kMoments[static_cast<int>(moment)] + " \"" + flow.steps[i].name + "\"";
        RunCase(flow, i, moment);
      }
    }
    return m_outcome;
  }

 private:
  void RunCase(const Flow& flow, std::size_t place, Moment moment) {
    ++m_outcome.cases;
    std::future<long> forgotten;
    try {
      const std::streamoff logged = std::ifstream(m_log, std::ios::binary | std::ios::ate).tellg();
      if (!m_service) forgotten = std::async(std::launch::async, [this, logged] { return AwaitForgottenPin(logged); });
      Application application(m_reader, m_certificate);
      for (std::size_t i = 0; i < place; ++i) Must((application.*flow.steps[i].once)(), flow.steps[i].name);
      bool failed = PullAt(application, flow.steps[place], moment);
      for (std::size_t i = place + 1; i < flow.steps.size() && !failed; ++i) {
        failed = !Try(flow.steps[i].name, [&] { return (application.*flow.steps[i].once)(); });
      }
      m_watched.Await(false);
      if (!failed && Try("acquire", [&] { return application.Acquire(); })) Found("no error without the card");
      if (!m_service) CheckForgotten(forgotten.get());
      if (m_hasOther && !m_service) SignatureOf(m_other, "of the other reader's card");
      application.Release();
      AskFor("return");
      m_watched.Await(true);
      CheckReturn();
    } catch (const std::exception& error) {
      Found(error.what());
      AskFor("return");
      m_watched.Await(true);
    }
  }

  // Returns whether the step failed.
  bool PullAt(Application& application, const Step& step, Moment moment) {
    if (moment == Moment::kBefore) {
      AskFor("pull");
      m_watched.Await(false);
      return !Try(step.name, [&] { return (application.*step.once)(); });
    }
    Must((application.*step.once)(), step.name);
    if (moment == Moment::kAfter) {
      AskFor("pull");  // the service does not yet know that the card is gone
      return false;
    }
    if (step.again == &A::ReleaseAndAcquire) Must(application.Acquire(), "acquire");
    auto worker = std::async(std::launch::async, [&] { return Repeat(application, step); });
    AskFor("pull");
    return !worker.get();
  }

  // Repeats a step until it fails. Returns true if the step does not need the card: it still succeeds a second after
  // the removal.
  bool Repeat(Application& application, const Step& step) {
    const char* name = step.again == &A::ReleaseAndAcquire ? "acquire" : step.name;
    while (m_watched.IsIn() || Since(m_watched.Await(false)) < 1000) {
      if (!Try(name, [&] { return (application.*step.again)(); })) return false;
    }
    return true;
  }

  // Makes a call that may fail, and checks its time and its error.
  bool Try(const std::string& step, const std::function<bool()>& call) {
    const Clock::time_point start = Clock::now();
    bool done = false;
    try {
      done = call();
    } catch (...) {  // on Windows it is from another C++ library
      Found(step + ": the provider throws an exception");
    }
    const DWORD code = GetLastError();
    const long took = Since(start);
    if (took > kLongestError) Found(step + " takes " + std::to_string(took) + " ms");
    if (done) return true;
    m_outcome.slowestError = std::max(m_outcome.slowestError, took);
    ++m_outcome.codes[step + " " + Hex(code)];
    if (!IsExpectedError(step, code)) Found(step + ": the error is " + Hex(code));
    return false;
  }

  // Returns how long after the removal the watcher clears the PIN. The log shows when; CheckReturn confirms that it
  // did.
  long AwaitForgottenPin(std::streamoff position) {
    static const std::string line = "Clearing PIN Cache";
    const Clock::time_point removed = m_watched.Await(false);
    std::string text;  // the end of the previous block, and the current block
    while (Since(removed) < 10 * kLongestPin) {
      std::string block(1 << 20, '\0');
      std::ifstream log(m_log, std::ios::binary);
      log.seekg(position);
      log.read(&block[0], static_cast<std::streamsize>(block.size()));
      block.resize(static_cast<std::size_t>(log.gcount()));
      position += log.gcount();
      text += block;
      if (text.find(line) != std::string::npos) return Since(removed);
      text.erase(0, text.size() - std::min(text.size(), line.size()));
      if (block.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return Since(removed);
  }

  void CheckForgotten(long after) {
    m_outcome.slowestPin = std::max(m_outcome.slowestPin, after);
    if (after > kLongestPin) Found("the PIN is not forgotten within " + std::to_string(after) + " ms");
  }

  // The card is back: it is not logged in, and with the PIN it signs as before.
  void CheckReturn() {
    Application application(m_reader);
    Must(application.Acquire(), "acquire with the card back");
    if (!m_service && application.SignNewHash()) Found("the card signs without a PIN when it is back");
    const Bytes signature = SignatureOf(application, "with the card back");
    if (signature != m_signature) Found("the signature has changed when the card is back");
  }

  static Bytes SignatureOf(Application& application, const std::string& when) {
    Must(application.Acquire(), "acquire " + when);
    Must(application.GivePin(), "the PIN " + when);
    Must(application.SignNewHash(), "a signature " + when);
    Must(application.Verify(), "verification " + when);
    return application.Signature();
  }

  static void Must(bool done, const std::string& what) {
    if (!done) throw std::runtime_error(what + " failed, last error " + Hex(GetLastError()));
  }

  void Found(const std::string& what) {
    ++m_outcome.found;
    std::cout << "FOUND 0 " << m_case << ": " << what << std::endl;
  }

  static void AskFor(const char* what) {
    std::cout << "do " << what << std::endl;  // at once: the caller waits for it
    std::string answer;
    if (!std::getline(std::cin, answer)) throw std::runtime_error("the card is not moved");
  }

  const bool m_service;
  const std::string m_reader;
  const std::string m_log;
  const Bytes m_certificate;
  WatchedReader& m_watched;
  const bool m_hasOther;
  Application m_other;
  Bytes m_signature;
  Outcome m_outcome;
  std::string m_case;
  int m_number = 0;
};

void Report(bool service, const Flow& flow, const Outcome& outcome) {
  std::cout << "ok    " << outcome.cases << " removals in " << flow.name << ": an error within " << outcome.slowestError
            << " ms";
  if (!service) std::cout << ", the PIN forgotten within " << outcome.slowestPin << " ms";
  std::cout << std::endl;
  for (const auto& [code, count] : outcome.codes) std::cout << "      " << count << " times " << code << std::endl;
}

Bytes ReadFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5 && count != 6) return 2;
  const char* part = std::getenv("TELVO_PULLED_PART");
  try {
    const bool service = arguments[1] == std::string("service");
    Bench bench(service, arguments[2], arguments[3], ReadFile(arguments[4]), count == 6 ? arguments[5] : "");
    for (const Flow& flow : kFlows) {
      Report(service, flow, bench.Run(flow, part == nullptr ? 1 : std::max(1, std::atoi(part))));
    }
  } catch (const std::exception& error) {
    std::cout << "FOUND 0 " << error.what() << std::endl;
  }
  std::cout << "end" << std::endl;
  std::_Exit(0);  // the watching thread does not end
}

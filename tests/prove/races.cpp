// races OPERATIONS CLEARS [SEED]: eight threads, each with its own context and that many operations, four threads on
// each of two cards. Meanwhile one more thread pulls the cards and puts them back, and another clears the PINs that
// many times, as the readers' watchers do.
//
// Each signature must be correct. The cards must see only their own PINs. Each failure must have a reason: the PIN was
// cleared; the card moved; a card was inserted between the two calls that list the cards; or the provider restarted the
// module because a card was out, which ends the sessions of all contexts. No progress for two minutes is a deadlock.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "RaceModule.h"
#include "Tally.h"
#include "context/UnplugThreadManager.h"
#include "cryptoki/CCryptoWrapper.h"
#include "cryptoki/CryptokiError.h"
#include "entry/CCSPContextList.h"
#include "entry/ProviderInterface.h"
#include "fixtures/LogFile.h"
#include "fixtures/Renew.h"
#include "log/Logs.h"
#include "module/KeyBlobBytes.h"
#include "module/LoadedModule.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "pin/PINCacheManager.h"
#include "platform/ScriptedClock.h"

namespace {

constexpr int kThreads = 8;
constexpr std::chrono::minutes kPatience(2);

// What the threads share.
struct Stage {
  Stage() : loaded(module) {
    registry.SetText(kProductKey, "CSPLOG", "0");
    RestartLogs();
    for (std::size_t number : {0U, 1U}) pcsc.InsertCard(module.CardOf(number).reader);
    Renew(g_unplugThreadManager);
    Renew(g_secretKeyFactory, g_secretKeyLog, clock.Clock());
  }
  ~Stage() {
    Renew(g_unplugThreadManager);
    Renew(g_contextList);
    Renew(g_hashFactory);
    Renew(g_pinCacheManager);
    Renew(g_secretKeyFactory, g_secretKeyLog, CCSPSecretKeyFactory::SystemClock());
    g_cryptoWrapper = CCryptoWrapper();
  }
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  TestRegistry registry;
  RaceModule module;
  ScriptedWinSCard pcsc;
  ScriptedClock clock;
  LoadedModule loaded;
  // Relaxed access, so that it does not order the threads, which would hide their races.
  std::atomic<long> progress{0};
  long Progress() const { return progress.load(std::memory_order_relaxed); }
  bool IsWorking() const { return working.load(std::memory_order_relaxed) > 0; }
  std::atomic<int> working{kThreads};
  std::atomic<long> signatures{0};
  std::atomic<long> pulls{0};
  std::atomic<DWORD> failedAcquires{0};
  Tally tally;
};

// --- The signature that the scripted card makes

Bytes SignatureOf(const Bytes& message, std::size_t modulusBytes) {
  Bytes data = {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2B, 0x0E, 0x03, 0x02, 0x1A, 0x05, 0x00, 0x04, 0x14};
  Bytes digest = {0, 0, 0, static_cast<unsigned char>(message.size())};
  digest.insert(digest.end(), message.begin(), message.end());
  digest.resize(20);
  data.insert(data.end(), digest.begin(), digest.end());
  Bytes block(modulusBytes - data.size() - 1, 'S');
  block.push_back(0);
  return Reversed(Joined(block, data));
}

// --- One thread

class Worker {
 public:
  Worker(Stage& stage, int number, unsigned seed)
      : m_stage(stage),
        m_number(number),
        m_card(stage.module.CardOf(static_cast<std::size_t>(number))),
        m_random(seed) {}
  ~Worker() { Release(); }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  void Run(int operations) {
    for (int operation = 0; operation < operations; ++operation) {
      Step();
      m_stage.progress.fetch_add(1, std::memory_order_relaxed);
    }
    --m_stage.working;
  }

 private:
  using Operation = bool (Worker::*)();
  struct Named {
    const char* name;
    Operation operation;
  };

  void Step();
  // Counts what ends sessions: moves of the card and restarts of the module, which are odd meanwhile. Also counts what
  // makes an acquire fail: cards that were inserted while the cards were listed.
  struct Moment {
    unsigned moves;
    unsigned beginnings;
    unsigned grownLists;
    bool operator==(const Moment& other) const {
      return moves == other.moves && beginnings == other.beginnings && grownLists == other.grownLists;
    }
  };
  Moment Now() const { return {m_card.moves, m_stage.module.Beginnings(), RaceModule::GrownLists()}; }
  // Waits until the card is in and the module is not being restarted.
  Moment AwaitCard() const;
  bool Acquire() { return m_isOpen = AcquireInto(m_context); }
  bool AcquireInto(HCRYPTPROV& context);
  void Release();
  bool GivePin() {
    return CPSetProvParam(m_context, PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>(m_card.pin.c_str()), 0) != FALSE;
  }
  bool Sign();
  bool Verify(HCRYPTHASH hash, const Bytes& signature);
  bool UseSessionKey();
  bool CarryKey();
  bool UsePublicKey();
  bool Random();
  bool Containers();
  bool Parameters();
  bool OpenAnother();
  bool Derive();

  Stage& m_stage;
  const int m_number;
  RaceModule::Card& m_card;
  std::mt19937 m_random;
  HCRYPTPROV m_context = 0;
  bool m_isOpen = false;
  Moment m_since = {1, 1, 0};  // when the context was acquired
  unsigned m_message = 0;
};

Worker::Moment Worker::AwaitCard() const {
  while (true) {
    const Moment now = Now();
    if (now.moves % 2 == 0 && now.beginnings % 2 == 0) return now;
    std::this_thread::yield();
  }
}

void Worker::Step() {
  static const Named kOperations[] = {
      {"sign", &Worker::Sign},
      {"sign", &Worker::Sign},
      {"session key", &Worker::UseSessionKey},
      {"carry key", &Worker::CarryKey},
      {"public key", &Worker::UsePublicKey},
      {"random", &Worker::Random},
      {"containers", &Worker::Containers},
      {"parameters", &Worker::Parameters},
      {"another context", &Worker::OpenAnother},
      {"derive", &Worker::Derive},
      {"PIN", &Worker::GivePin},
  };
  const Named& named = kOperations[m_random() % std::size(kOperations)];
  // A PIN is given again as often as it is cleared.
  for (int attempt = 0; attempt < 10000; ++attempt) {
    const Moment now = AwaitCard();
    if (!m_isOpen || !(m_since == now)) {
      Release();
      m_since = now;
      if (!Acquire() && Now() == now) m_stage.tally.Find("no context although the card is in");
      if (!m_isOpen) continue;
    }
    std::string failure;
    try {
      if ((this->*named.operation)()) {
        m_stage.tally.Run();
        return;
      }
      const DWORD error = GetLastError();
      if (error == static_cast<DWORD>(NTE_SILENT_CONTEXT)) {
        GivePin();
        continue;
      }
      failure = std::to_string(error);
    } catch (const CryptokiError& error) {
      failure = "an exception, " + error.GetText();
    }
    if (Now() == now) {
      m_stage.tally.Find(std::string(named.name) + " fails although the card is in: " + failure);
      return;
    }
  }
  m_stage.tally.Find(std::string(named.name) + " does not finish");
}

bool Worker::AcquireInto(HCRYPTPROV& context) {
  const std::string name = "\\\\.\\" + m_card.reader + "\\one";
  const bool done = CPAcquireContext(&context, name.c_str(), CRYPT_SILENT, nullptr) != FALSE;
  if (!done) ++m_stage.failedAcquires;
  return done;
}

void Worker::Release() {
  if (m_isOpen) CPReleaseContext(m_context, 0);
  m_isOpen = false;
}

bool Worker::Sign() {
  const unsigned number = ++m_message;
  const Bytes message = Text(std::to_string(m_number) + ":" + std::to_string(number));
  HCRYPTHASH hash = 0;
  Bytes signature(m_card.modulusBytes);
  auto length = static_cast<DWORD>(signature.size());
  bool done = CPCreateHash(m_context, CALG_SHA1, 0, 0, &hash) != FALSE;
  if (!done) return false;
  done = CPHashData(m_context, hash, message.data(), static_cast<DWORD>(message.size()), 0) != FALSE &&
         CPSignHash(m_context, hash, AT_KEYEXCHANGE, nullptr, 0, signature.data(), &length) != FALSE;
  if (done) {
    ++m_stage.signatures;
    if (signature != SignatureOf(message, m_card.modulusBytes)) m_stage.tally.Find("a wrong signature");
    done = Verify(hash, signature);
  }
  const DWORD error = GetLastError();
  CPDestroyHash(m_context, hash);
  SetLastError(error);
  return done;
}

bool Worker::Verify(HCRYPTHASH hash, const Bytes& signature) {
  HCRYPTKEY pair = 0;
  if (CPGetUserKey(m_context, AT_KEYEXCHANGE, &pair) == FALSE) return false;
  return CPVerifySignature(m_context, hash, signature.data(), static_cast<DWORD>(signature.size()), pair, nullptr, 0) !=
         FALSE;
}

bool Worker::UseSessionKey() {
  HCRYPTKEY key = 0;
  if (CPGenKey(m_context, CALG_3DES, CRYPT_MODE_CBC, &key) == FALSE) return false;
  BYTE data[16] = {'d', 'a', 't', 'a'};
  data[8] = static_cast<BYTE>(m_number);
  DWORD length = sizeof(data);
  bool done = CPEncrypt(m_context, key, 0, FALSE, 0, data, &length, sizeof(data)) != FALSE &&
              CPDecrypt(m_context, key, 0, FALSE, 0, data, &length) != FALSE;
  const DWORD error = GetLastError();
  if (done && (std::memcmp(data, "data", 5) != 0 || data[8] != m_number)) m_stage.tally.Find("wrong decrypted data");
  done = CPDestroyKey(m_context, key) != FALSE && done;
  if (error != 0) SetLastError(error);
  return done;
}

// Exports a key, and imports it in the byte order of the platform.
bool Worker::CarryKey() {
  HCRYPTKEY pair = 0;
  HCRYPTKEY key = 0;
  HCRYPTKEY imported = 0;
  Bytes blob(12 + m_card.modulusBytes);
  auto length = static_cast<DWORD>(blob.size());
  if (CPGetUserKey(m_context, AT_KEYEXCHANGE, &pair) == FALSE) return false;
  if (CPGenKey(m_context, CALG_3DES, CRYPT_MODE_CBC, &key) == FALSE) return false;
  bool done = CPExportKey(m_context, key, pair, SIMPLEBLOB, 0, blob.data(), &length) != FALSE;
  if (done) {
    std::reverse(blob.begin() + 12, blob.end());
    done = CPImportKey(m_context, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &imported) != FALSE;
  }
  const DWORD error = GetLastError();
  CPDestroyKey(m_context, key);
  if (done) CPDestroyKey(m_context, imported);
  SetLastError(error);
  return done;
}

bool Worker::UsePublicKey() {
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, Counting(64, 0x91));
  HCRYPTKEY key = 0;
  if (CPImportKey(m_context, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key) == FALSE) return false;
  return CPDestroyKey(m_context, key) != FALSE;
}

bool Worker::Random() {
  BYTE bytes[32] = {};
  return CPGenRandom(m_context, sizeof(bytes), bytes) != FALSE;
}

bool Worker::Containers() {
  BYTE name[128] = {};
  DWORD length = sizeof(name);
  if (CPGetProvParam(m_context, PP_ENUMCONTAINERS, name, &length, CRYPT_FIRST) == FALSE) return false;
  if (std::strcmp(reinterpret_cast<const char*>(name), "one") != 0) m_stage.tally.Find("a wrong container");
  return true;
}

bool Worker::Parameters() {
  BYTE reader[128] = {};
  DWORD length = sizeof(reader);
  if (CPGetProvParam(m_context, PP_SMARTCARD_READER, reader, &length, 0) == FALSE) return false;
  if (m_card.reader != reinterpret_cast<const char*>(reader)) m_stage.tally.Find("a wrong reader");
  length = sizeof(reader);
  return CPGetProvParam(m_context, PP_SMARTCARD_GUID, reader, &length, 0) != FALSE;
}

bool Worker::OpenAnother() {
  HCRYPTPROV other = 0;
  if (!AcquireInto(other)) return false;
  HCRYPTKEY key = 0;
  const bool done = CPGenKey(other, CALG_DES, 0, &key) != FALSE;
  const DWORD error = GetLastError();
  const bool released = CPReleaseContext(other, 0) != FALSE;  // with its key
  SetLastError(error);
  return released && done;
}

bool Worker::Derive() {
  HCRYPTHASH hash = 0;
  HCRYPTKEY key = 0;
  const BYTE message[] = {'p', 'h', 'r', 'a', 's', 'e'};
  if (CPCreateHash(m_context, CALG_SHA1, 0, 0, &hash) == FALSE) return false;
  const bool done = CPHashData(m_context, hash, message, sizeof(message), 0) != FALSE &&
                    CPDeriveKey(m_context, CALG_DES, hash, 56U << 16U, &key) != FALSE;
  const DWORD error = GetLastError();
  CPDestroyHash(m_context, hash);
  if (done) CPDestroyKey(m_context, key);
  SetLastError(error);
  return done;
}

// --- The other threads

void MoveCards(Stage& stage) {
  std::size_t number = 0;
  while (stage.IsWorking()) {
    const long before = stage.Progress();
    // Waits for some progress; otherwise the threads would only wait for their cards.
    while (stage.IsWorking() && stage.Progress() < before + 5) std::this_thread::yield();
    RaceModule::Card& card = stage.module.CardOf(++number);
    stage.module.Pull(card, stage.pcsc);
    ++stage.pulls;
    for (int wait = 0; wait < 50; ++wait) std::this_thread::yield();
    stage.module.PutBack(card, stage.pcsc);
  }
}

// Clears PINs as the watchers do, `clears` times, spread over the work of the other threads.
void ClearPins(Stage& stage, long clears, long operations) {
  for (long clear = 0; clear < clears; ++clear) {
    const long due = operations * clear / clears;
    while (stage.IsWorking() && stage.Progress() < due) std::this_thread::yield();
    const auto cache = g_pinCacheManager.GetPINCache(stage.module.CardOf(static_cast<std::size_t>(clear)).reader);
    if (cache) cache->ClearPINCache();
  }
}

// Ends the program when there is no more progress.
void WatchForDeadlock(Stage& stage) {
  long last = -1;
  auto since = std::chrono::steady_clock::now();
  while (stage.IsWorking()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const long now = stage.Progress();
    if (now != last) since = std::chrono::steady_clock::now();
    last = now;
    if (std::chrono::steady_clock::now() - since < kPatience) continue;
    stage.tally.Find("a deadlock after " + std::to_string(now) + " operations");
    stage.tally.End("0 0");
    std::_Exit(1);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int operations = argc > 1 ? std::atoi(argv[1]) : 50;
  const long clears = argc > 2 ? std::atol(argv[2]) : 500;
  const unsigned seed = argc > 3 ? static_cast<unsigned>(std::atoi(argv[3])) : 1;
  Stage stage;
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&stage, number, operations, seed] {
      Worker worker(stage, number, seed * 100 + static_cast<unsigned>(number));
      worker.Run(operations);
    });
  }
  threads.emplace_back([&stage] { MoveCards(stage); });
  threads.emplace_back([&stage, clears, operations] { ClearPins(stage, clears, long{kThreads} * operations); });
  threads.emplace_back([&stage] { WatchForDeadlock(stage); });
  for (std::thread& thread : threads) thread.join();
  stage.tally.Expect(stage.module.WrongPins() == 0, "a card saw a wrong PIN");
  // Each failed acquire leaves the use count one higher.
  stage.tally.Expect(CCryptoWrapper::GetUseCount() == stage.failedAcquires, "contexts are left over");
  stage.tally.Expect(stage.module.OpenSessions() == 0, "sessions are left over");
  return stage.tally.End(std::to_string(operations) + " " + std::to_string(stage.signatures) + " " +
                         std::to_string(stage.pulls) + " " + std::to_string(stage.module.RightPins()));
}

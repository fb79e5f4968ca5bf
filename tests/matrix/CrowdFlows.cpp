// Several threads or processes at once, and a card that is pulled.
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <thread>

#include "Flow.h"

namespace {

constexpr int kThreads = 8;
constexpr int kSignatures = 4;

void SignAndVerify(int times) {
  const Bytes message = ReadExchange("message");
  for (int i = 0; i < times; ++i) {
    const OpenContainer context;
    const Bytes signature = context.Sign(CALG_SHA_256, message);
    Require(context.Verify(CALG_SHA_256, message, signature, context.UserKey()), "a good signature is refused");
  }
}

// Runs `work` in several threads. Throws the reason of the first failure.
template <typename Work>
void InThreads(int count, Work work) {
  std::mutex mutex;
  std::string reason;
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&] {
      try {
        work();
      } catch (const std::exception& error) {
        const std::lock_guard<std::mutex> lock(mutex);
        if (reason.empty()) reason = error.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  Require(reason.empty(), reason);
}

// Asks the script to pull the card or to put it back, and waits until that is done: the script then deletes the file.
void MoveCard(const std::string& command) {
  WriteExchange("card_move.new", Bytes(command.begin(), command.end()));
  const std::string folder = Environment("EXCHANGE") + "/";
  std::rename((folder + "card_move.new").c_str(), (folder + "card_move").c_str());
  while (std::ifstream(folder + "card_move").is_open()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

bool CanSign(const Context& context) {
  try {
    context.Sign(CALG_SHA_256, ReadExchange("message"));
    return true;
  } catch (const ApiError&) {
    return false;
  }
}

}  // namespace

void EightThreads() {
  const OpenContainer loaded;  // keeps the provider loaded while threads start and end
  InThreads(kThreads, [] { SignAndVerify(kSignatures); });
}

void SignOften() {
  const OpenContainer loaded;
  SignAndVerify(kSignatures);
}

void TwoProcesses() {
  const std::string command = Environment("SIGN_OFTEN");
  InThreads(2, [&] { Require(std::system(command.c_str()) == 0, "one of the processes failed"); });
}

void PullAndInsert() {
  if (Environment("CARD_MOVES").empty()) throw Cannot("the token is not in a reader");
  const OpenContainer before;
  before.Sign(CALG_SHA_256, ReadExchange("message"));
  MoveCard("pull");
  Require(!CanSign(before), "a pulled card still signs");
  MoveCard("insert");
  const OpenContainer after;
  after.Sign(CALG_SHA_256, ReadExchange("message"));
}

// log_neighbour: one of several processes that write to the provider's log, controlled by commands on standard
// input, with one answer line each:
//
//   write TEXT   an item      -> "with the lock", or "without the lock" and the milliseconds that the item took
//   hold TEXT    an item, and the process keeps the log's lock until it reads another line
//                             -> "holding", and then as above
//   die TEXT     an item, and the process is killed while it has the lock: no answer
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <string>

#include "log/Logs.h"
#include "platform/LogLockWatch.h"

namespace {

std::string ReadLine() {
  std::string line;
  std::getline(std::cin, line);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

void Say(const std::string& answer) { std::cout << answer << std::endl; }

void Die() {
#ifdef _WIN32
  TerminateProcess(GetCurrentProcess(), 9);
#else
  std::raise(SIGKILL);
#endif
}

void Write(const std::string& command, const std::string& text) {
  bool hadLock = false;
  const LogLockWatch watch([&] {
    hadLock = true;
    if (command == "die") Die();
    if (command == "hold") {
      Say("holding");
      ReadLine();
    }
  });
  const auto begin = std::chrono::steady_clock::now();
  g_entryLog.WriteLine(text.c_str());
  const auto took = std::chrono::steady_clock::now() - begin;
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
  Say(hadLock ? "with the lock" : "without the lock " + std::to_string(milliseconds));
}

}  // namespace

int main() {
  for (std::string line = ReadLine(); !line.empty(); line = ReadLine()) {
    const std::size_t space = line.find(' ');
    if (space == std::string::npos) return 2;
    Write(line.substr(0, space), line.substr(space + 1));
  }
  return 0;
}

#include "Report.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <thread>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/common_interface_defs.h>
#define HAS_SANITIZER
#endif
#endif

Report* g_report = nullptr;

namespace {

constexpr long kMostPrinted = 100;
constexpr int kPatience = 60;  // seconds for one run

char g_run[300] = "the start";
std::atomic<long> g_runNumber{0};
int g_every = 1;
int g_left = 0;

void PrintRun() { std::fprintf(stderr, "in the run: %s\n", g_run); }

[[noreturn]] void EndUnhandled() {
  std::fputs("an uncaught exception, ", stderr);
  PrintRun();
  std::_Exit(3);
}

// Ends the process when a run hangs.
void Watch() {
  long last = -1;
  for (int seconds = 0; seconds < kPatience; ++seconds) {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const long now = g_runNumber;
    if (now != last) seconds = 0;
    last = now;
  }
  std::fputs("a hang, ", stderr);
  PrintRun();
  std::_Exit(4);
}

}  // namespace

Report::Report(const char* proof) : m_proof(proof) {
  g_report = this;
  std::set_terminate(&EndUnhandled);
#if defined(HAS_SANITIZER)
  __sanitizer_set_death_callback(&PrintRun);
#endif
  std::thread(&Watch).detach();
}

Report::~Report() { g_report = nullptr; }

void Report::Begin(const std::string& run) {
  std::strncpy(g_run, run.c_str(), sizeof(g_run) - 1);
  ++g_runNumber;
  ++m_runs;
}

void Report::Find(const std::string& what) {
  if (++m_findings <= kMostPrinted) std::fprintf(stderr, "FINDING %s: %s\n", g_run, what.c_str());
}

void Report::TakeEvery(int every) { g_every = every; }

bool Report::Takes() {
  if (--g_left > 0) return false;
  g_left = g_every;
  return true;
}

int Report::End(const std::string& more) const {
  std::printf("%s: %ld runs, %ld findings%s\n", m_proof, m_runs, m_findings, more.c_str());
  std::fflush(stdout);
  return m_findings == 0 ? 0 : 1;
}

// Tally: the runs and findings of a program of scripts/prove. A finding is printed at once. Equal findings are printed
// once and counted each time.
#pragma once

#include <cstdio>
#include <map>
#include <mutex>
#include <string>

class Tally {
 public:
  void Run(long count = 1) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_runs += count;
  }
  void Find(const std::string& what) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_findings;
    if (m_seen[what]++ == 0) std::printf("finding: %s\n", what.c_str());
    std::fflush(stdout);
  }
  // Counts a run, which is a finding unless `holds`.
  void Expect(bool holds, const std::string& what) {
    Run();
    if (!holds) Find(what);
  }
  // Prints the last line of the program, which the group's script reads. Returns the program's exit code.
  int End(const std::string& more = {}) const {
    std::printf("tally: %ld %ld %s\n", m_runs, m_findings, more.c_str());
    std::fflush(stdout);
    return m_findings == 0 ? 0 : 1;
  }

 private:
  std::mutex m_mutex;
  long m_runs = 0;
  long m_findings = 0;
  std::map<std::string, long> m_seen;
};

// Report: the current run, and the findings. A run that hangs, crashes or ends the process is named on the error
// stream.
#pragma once

#include <string>

class Report {
 public:
  // The program's result line names this proof.
  explicit Report(const char* proof);
  ~Report();
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  // Starts the next run. Runs may be skipped: see Takes.
  void Begin(const std::string& run);
  // Reports that something is wrong with the current run.
  void Find(const std::string& what);
  // Takes returns true for one of each `every` runs; the others are skipped.
  static void TakeEvery(int every);
  static bool Takes();
  long Runs() const { return m_runs; }
  long Findings() const { return m_findings; }
  // Prints the result line, which the scripts read. Returns the exit code of the program.
  int End(const std::string& more) const;

 private:
  const char* m_proof;
  long m_runs = 0;
  long m_findings = 0;
};

// The report of this process.
extern Report* g_report;

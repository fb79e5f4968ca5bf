// Report: what runs now, and what was found. A run that hangs, crashes or ends the process is named on the error
// stream.
#pragma once

#include <string>

class Report {
 public:
  // Everything that the program prints names this proof.
  explicit Report(const char* proof);
  ~Report();
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  // The next run begins. Runs may be left out: see Takes.
  void Begin(const std::string& run);
  // Something is wrong with the present run.
  void Find(const std::string& what);
  // Of each `every` runs one is taken; the others are left out.
  static void TakeEvery(int every);
  static bool Takes();
  long Runs() const { return m_runs; }
  long Findings() const { return m_findings; }
  // The figures, as the scripts read them. Returns the exit code of the program.
  int End(const std::string& more) const;

 private:
  const char* m_proof;
  long m_runs = 0;
  long m_findings = 0;
};

// The one of the process.
extern Report* g_report;

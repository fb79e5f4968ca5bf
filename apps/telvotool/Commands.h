// The commands, and the program around them.
#pragma once

#include <string>
#include <vector>

#include "telvotool/Options.h"

namespace tool {

struct Command {
  const char* name;
  const char* operands;  // for the help
  const char* summary;
  std::size_t least;  // operands
  std::size_t most;
  std::vector<std::string> options;
  const char* examples;  // lines of the help
  int (*run)(const Options& options);
};

// All commands, in the order in which the help lists them.
const std::vector<Command>& Commands();

// Runs one command line, without the program's name. Output goes to stdout, one line each, failures to stderr. The
// result is the exit code.
int RunCommandLine(const std::vector<std::string>& arguments);

// Each returns an exit code, or raises Failure or UsageError.
int Register(const Options& options);
int Unregister(const Options& options);
int Doctor(const Options& options);
int ListContainers(const Options& options);
int ListCertificates(const Options& options);
int Enrol(const Options& options);
int ImportCertificate(const Options& options);
int SignFile(const Options& options);
int VerifyFile(const Options& options);
int DeleteContainer(const Options& options);
int ChangePin(const Options& options);
int SwitchLog(const Options& options);
int ManageAdapter(const Options& options);
int Explain(const Options& options);
int SelfTest(const Options& options);

}  // namespace tool

// Each call of the platform fails, once and from then on. With the log on, that includes its mutex.
#include <cstdio>
#include <map>

#include "Heap.h"
#include "Platform.h"
#include "Proofs.h"
#include "Report.h"
#include "Runs.h"
#include "context/UnplugThreadManager.h"
#include "fixtures/LogFile.h"
#include "fixtures/Renew.h"
#include "platform/TempFolder.h"

namespace {

// The results of PC/SC functions and the last errors of the others.
constexpr DWORD kPlatformCodes[] = {ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY,
                                    static_cast<DWORD>(SCARD_E_NO_SERVICE)};

// Only some of a function's calls fail: the first kAllOf, and then every kThenEach-th.
constexpr int kAllOf = 12;
constexpr int kThenEach = 97;

// Stops the watchers. The new manager gets no PC/SC context.
void EndProvider(Stage& stage) {
  const auto refuse = stage.Service().refuse;
  stage.Service().refuse = [refuse](const std::string& function) {
    return function == "SCardEstablishContext" ? static_cast<DWORD>(SCARD_E_NO_SERVICE) : refuse(function);
  };
  const ProviderAtWork inside;
  Renew(g_unplugThreadManager);
}

// Does what happens when a process loads the provider: the log's objects read their settings, and the watchers' manager
// asks PC/SC for a context. Under Wine there are no watchers: a thread that is terminated milliseconds after its start
// never releases its locks in Wine, and the process hangs.
void BeginProvider([[maybe_unused]] Stage& stage) {
  const ProviderAtWork inside;
  RestartLogs();
#ifdef _WIN32
  const auto refuse = stage.Service().refuse;
  EndProvider(stage);
  stage.Service().refuse = refuse;
#else
  Renew(g_unplugThreadManager);
#endif
}

void RunWhole(const Flow& flow, Application& app) {
  BeginProvider(app.TheStage());
  flow.run(app);
  EndProvider(app.TheStage());
}

void Unspoil(Stage& stage) {
  Platform::Fail(0, 0, false);
  stage.Service().refuse = nullptr;
  RestartLogs();  // with a registry that works
}

// The functions that end a watcher always succeed: on the host only they can end it. Everything else of PC/SC may fail.
DWORD RefuseService(const std::string& function) {
  const DWORD code = Platform::Refusal(function.c_str(), function == "SCardGetStatusChangeA");
  return function == "SCardCancel" || function == "SCardReleaseContext" ? 0 : code;
}

void FailFunction(const Flow& flow, const std::string& function, int call, DWORD code, bool fromThenOn) {
  if (!Report::Takes()) return;
  char text[100];
  std::snprintf(text, sizeof(text), "call %d, %s, fails with %lX%s", call, function.c_str(),
                static_cast<unsigned long>(code), fromThenOn ? " from then on" : "");
  Expectations expectations;
  expectations.run = &RunWhole;
  // The log's objects and the module's record keep their memory until the next start.
  expectations.blocksAreReleased = false;
  // A library without C_GetFunctionList stays loaded, and is not asked again (CryptokiFunctions::Load).
  expectations.nextFlowWorks = function != "GetProcAddress";
  RunSpoilt(
      flow, text,
      [&](Stage& stage) {
        stage.Service().refuse = &RefuseService;
        Platform::Fail(call, code, fromThenOn);
      },
      &Unspoil, expectations);
}

std::vector<std::string> CallsOf(const Flow& flow) {
  g_report->Begin(std::string(flow.name) + ", nothing wrong with the platform");
  Stage stage(flow);
  stage.Service().refuse = &RefuseService;
  Platform::Fail(0, 0, false);
  Application app(stage);
  RunWhole(flow, app);
  if (!app.Complaint().empty()) g_report->Find(app.Complaint());
  const std::vector<std::string> calls = Platform::TakeCalls();
  Unspoil(stage);
  return calls;
}

// Returns the number of calls.
long FailEach(const Flow& flow, std::map<std::string, int>& functions) {
  const std::vector<std::string> calls = CallsOf(flow);
  std::map<std::string, int> met;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    ++functions[calls[i]];
    const int times = ++met[calls[i]];
    if (times > kAllOf && times % kThenEach != 0) continue;
    for (const bool fromThenOn : {false, true}) {
      for (const DWORD code : kPlatformCodes) FailFunction(flow, calls[i], static_cast<int>(i) + 1, code, fromThenOn);
    }
  }
  return static_cast<long>(calls.size());
}

}  // namespace

int ProvePlatformFaults(const std::vector<Flow>& flows, TestRegistry& registry) {
  Report report("platform faults");
  const TempFolder folder;
  const std::string log = folder.File("csp.log");
  std::map<std::string, int> functions;
  long calls = 0;
  for (const char* logs : {"0", "1"}) {
    registry.SetText(kProductKey, "CSPLOG", logs);
    registry.SetText(kProductKey, "CSPDIR", log);
    for (const Flow& flow : flows) {
      calls += FailEach(flow, functions);
      WriteFile(log, "");
    }
  }
  registry.SetText(kProductKey, "CSPLOG", "0");
  RestartLogs();
  std::string names;
  for (const auto& function : functions) names += " " + function.first;
  std::printf("functions:%s\n", names.c_str());
  return report.End(", " + std::to_string(functions.size()) + " functions of the platform in " + std::to_string(calls) +
                    " calls");
}

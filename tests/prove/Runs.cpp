#include "Runs.h"

#include <algorithm>

#include "Heap.h"
#include "Report.h"

namespace {

bool IsBeginning(const std::string& pin, const std::map<std::string, int>& given) {
  return std::any_of(given.begin(), given.end(), [&](const auto& whole) { return whole.first.rfind(pin, 0) == 0; });
}

// Only PINs that were given may use up a try of the card, each at most as often as it was given.
void JudgePins(Stage& stage, bool mayBeCut) {
  for (const auto& offer : stage.Module().pins) {
    const auto given = stage.TheUser().given.find(offer.first);
    if (mayBeCut && IsBeginning(offer.first, stage.TheUser().given)) continue;
    if (given == stage.TheUser().given.end()) {
      g_report->Find("a PIN was offered that was not given: \"" + offer.first + "\"");
    } else if (offer.second.refused > given->second) {
      g_report->Find("a PIN that was given " + std::to_string(given->second) + " times was refused " +
                     std::to_string(offer.second.refused) + " times");
    }
  }
}

void JudgeSessions(const Flow& flow, Stage& stage) {
  const std::size_t open = stage.Module().OpenSessions();
  if (open > flow.sessionsLeft) g_report->Find(std::to_string(open) + " session(s) left open");
}

void RunNext(const Flow& flow, Stage& stage) {
  stage.Renew();
  Application app(stage);
  flow.run(app);
  if (!app.Complaint().empty()) g_report->Find("the next flow: " + app.Complaint());
  JudgeSessions(flow, stage);
}

}  // namespace

void RunSpoilt(const Flow& flow, const std::string& what, const std::function<void(Stage&)>& spoil,
               const std::function<void(Stage&)>& unspoil, const Expectations& expectations) {
  g_report->Begin(std::string(flow.name) + ", " + what);
  const long before = TheHeap().Blocks();
  {
    Stage stage(flow);
    spoil(stage);
    {
      Application app(stage);
      if (expectations.run != nullptr) {
        expectations.run(flow, app);
      } else {
        flow.run(app);
      }
    }
    unspoil(stage);
    JudgePins(stage, expectations.pinsMayBeCut);
    if (expectations.sessionsAreClosed) JudgeSessions(flow, stage);
    if (expectations.nextFlowWorks) RunNext(flow, stage);
  }
  if (const long secrets = TheHeap().TakeLeaks())
    g_report->Find(std::to_string(secrets) + " secret(s) in freed memory");
  const long left = TheHeap().Blocks() - before;
  if (left != 0 && expectations.blocksAreReleased) g_report->Find(std::to_string(left) + " block(s) left");
}

Calls RunClean(const Flow& flow) {
  g_report->Begin(std::string(flow.name) + ", nothing wrong");
  Stage stage(flow);
  Application app(stage);
  flow.run(app);
  if (!app.Complaint().empty()) g_report->Find(app.Complaint());
  JudgePins(stage, false);
  JudgeSessions(flow, stage);
  return stage.Module().TakeCallNames();
}

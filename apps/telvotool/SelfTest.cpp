// selftest: the provider on the user's own card.
#include <chrono>
#include <cstdio>
#include <iostream>
#include <random>
#include <winscard.h>

#include "cryptoki/CryptokiError.h"
#include "telvotool/BugReport.h"
#include "telvotool/Cards.h"
#include "telvotool/Commands.h"
#include "telvotool/Errors.h"
#include "telvotool/SelfTestSteps.h"

namespace tool {

namespace {

struct StepResult {
  std::string name;
  const char* level;  // "ok", "FAIL" or "n/a"
  long long milliseconds;
  std::string text;  // empty when it went well
};

std::string LineOf(const StepResult& result) {
  char head[16];
  static_cast<void>(std::snprintf(head, sizeof(head), "%-4s  ", result.level));
  return head + result.name + " (" + std::to_string(result.milliseconds) + " ms)" +
         (result.text.empty() ? "" : ": " + result.text);
}

std::string TextOf(const Failure& failure) {
  return failure.what() + (failure.Code() == 0 ? "" : ": " + CodeText(failure.Code()));
}

std::string TextOf(const CryptokiError& error) { return "the PKCS #11 module refused: " + error.GetText(); }

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c >= 0 && c < ' ' ? ' ' : c;
  }
  return quoted + "\"";
}

// A card that was pulled and put back has lost its login, and may still take the PIN.
bool IsRefusedPin(const Failure& failure) {
  return failure.Exit() == kPinProblem && failure.Code() != static_cast<DWORD>(SCARD_W_CARD_NOT_AUTHENTICATED);
}

// A run of the self-test. What it has done is reported once, at the end, even when it was not finished.
class SelfTestRun {
 public:
  explicit SelfTestRun(const Options& options) : m_options(options) {}

  // Returns an exit code. Raises Failure when there is no card to work on, the PIN is wrong, or the card was pulled.
  int Work();
  void Tell(const std::string& error) const;

 private:
  void LookAtCard();
  void Announce() const;
  void Confirm() const;
  void RunSteps(SelfTestWork& work, const CardsIn& cards);
  void CleanUp(SelfTestWork& work, const CardsIn& cards);
  void Run(const std::string& name, const std::function<void()>& work);
  void Add(const StepResult& result);
  unsigned Count(const std::string& level) const;
  std::string Summary() const;
  std::string Json(const std::string& error) const;

  const Options& m_options;
  Target m_target;
  Card m_card;
  std::vector<StepResult> m_results;
  std::exception_ptr m_end;  // what ended the run at once
  bool m_pulled = false;
};

std::string NewName() {
  std::random_device random;
  char name[32];
  static_cast<void>(std::snprintf(name, sizeof(name), "selftest-%08X", static_cast<unsigned>(random())));
  return name;
}

// No PIN is offered to a card whose PIN is locked.
void SelfTestRun::LookAtCard() {
  m_target = {OnlyReaderWithCard(m_options.Value("--reader")), NewName()};
  for (const Reader& reader : ListReaders()) {
    if (reader.card && reader.name == m_target.reader) m_card = *reader.card;
  }
  if (!m_card.initialised) {
    throw Failure("the card is not initialised", kFailed, "have the card personalised by its issuer");
  }
  if (m_card.locked) {
    throw Failure("the PIN of the card is locked, so no PIN was offered", kPinProblem,
                  "the card's issuer can unlock it");
  }
}

void SelfTestRun::Announce() const {
  const std::string tries = m_card.tries ? " Tries left: " + std::to_string(*m_card.tries) + "." : "";
  static_cast<void>(std::fprintf(
      stderr,
      "The self-test works on the card \"%s\" in %s.\n"
      "It makes the container \"%s\" with a new key and a certificate, uses them, and %s.\n"
      "Nothing else on the card is changed. It needs the PIN once; a wrong one uses up one try, and ends the test.%s\n",
      m_card.label.c_str(), m_target.reader.c_str(), m_target.name.c_str(),
      m_options.Has("--keep") ? "leaves them there (--keep)" : "deletes them again", tries.c_str()));
}

void SelfTestRun::Confirm() const {
  if (m_options.Has("--yes")) return;
  static_cast<void>(std::fprintf(stderr, "Go on? Type yes: "));
  static_cast<void>(std::fflush(stderr));
  std::string answer;
  std::getline(std::cin, answer);
  if (!answer.empty() && answer.back() == '\r') answer.pop_back();
  if (answer != "yes") throw Failure("nothing was done", kFailed, "type yes, or give --yes");
}

void SelfTestRun::Add(const StepResult& result) {
  m_results.push_back(result);
  if (m_options.Has("--json")) return;
  std::printf("%s\n", LineOf(result).c_str());
  static_cast<void>(std::fflush(stdout));
}

void SelfTestRun::Run(const std::string& name, const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  StepResult result = {name, "ok", 0, ""};
  try {
    work();
  } catch (const NotApplicable& reason) {
    result.level = "n/a";
    result.text = reason.what();
  } catch (const Failure& failure) {
    result.level = "FAIL";
    result.text = TextOf(failure);
    if (IsRefusedPin(failure)) m_end = std::current_exception();
  } catch (const CryptokiError& error) {
    result.level = "FAIL";
    result.text = TextOf(error);
  } catch (const std::exception& error) {
    result.level = "FAIL";
    result.text = error.what();
  }
  result.milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
  Add(result);
}

// Ends early when the PIN is refused.
void SelfTestRun::RunSteps(SelfTestWork& work, const CardsIn& cards) {
  for (const SelfTestStep& step : work.Steps()) {
    if (m_pulled) {
      Add({step.name, "n/a", 0, "the card was pulled"});
      continue;
    }
    Run(step.name, step.work);
    if (m_end) return;
    m_pulled = std::string(m_results.back().level) == "FAIL" && !cards.AreStillIn();
  }
}

// Also removes what a failed step left. The card may be in its reader again. No PIN is offered to another card.
void SelfTestRun::CleanUp(SelfTestWork& work, const CardsIn& cards) {
  const std::string byHand = "telvotool delete " + m_target.name;
  Run("deletion", [&] {
    if (!work.HasBegun()) throw NotApplicable("nothing was made");
    if (m_options.Has("--keep")) throw NotApplicable("--keep; later: " + byHand);
    const std::string remains = "\"" + m_target.name + "\" may still be on the card; put it in, then: " + byHand;
    if (!cards.AreStillIn()) throw Failure(remains, kFailed, "");
    try {
      work.Remove();
    } catch (const Failure& failure) {
      throw Failure(TextOf(failure) + "; " + remains, kFailed, "");
    }
  });
}

int SelfTestRun::Work() {
  LookAtCard();
  const CardsIn cards(m_target.reader);
  Announce();
  Confirm();
  const Pin pin = ReadPin(m_options);
  if (!cards.AreStillIn()) throw Failure("the self-test was not begun", kNotThere, "put the card in that was there");
  SelfTestWork work(m_target, pin);
  RunSteps(work, cards);
  CleanUp(work, cards);
  if (m_end) std::rethrow_exception(m_end);
  if (Count("FAIL") == 0) return kDone;
  if (!cards.AreStillIn()) throw Failure("the self-test was not finished", kNotThere, "");
  return kFailed;
}

unsigned SelfTestRun::Count(const std::string& level) const {
  unsigned count = 0;
  for (const StepResult& result : m_results) count += result.level == level ? 1U : 0U;
  return count;
}

std::string SelfTestRun::Summary() const {
  return std::to_string(Count("ok")) + " ok, " + std::to_string(Count("FAIL")) + " failed, " +
         std::to_string(Count("n/a")) + " not applicable";
}

std::string SelfTestRun::Json(const std::string& error) const {
  std::string json = "{\n  \"steps\": [";
  for (const StepResult& result : m_results) {
    json += std::string(&result == &m_results.front() ? "" : ",") + "\n    {\"step\": " + Quoted(result.name) +
            ", \"result\": " + Quoted(result.level) + ", \"ms\": " + std::to_string(result.milliseconds) +
            ", \"text\": " + Quoted(result.text) + "}";
  }
  return json + "\n  ],\n  \"ok\": " + std::to_string(Count("ok")) +
         ",\n  \"failed\": " + std::to_string(Count("FAIL")) +
         ",\n  \"notApplicable\": " + std::to_string(Count("n/a")) + ",\n  \"error\": " + Quoted(error) + "\n}\n";
}

void SelfTestRun::Tell(const std::string& error) const {
  if (m_options.Has("--json")) {
    std::printf("%s", Json(error).c_str());
  } else if (!m_results.empty()) {
    std::printf("%s\n", Summary().c_str());
  }
  if (!m_options.Has("--report")) return;
  std::vector<std::string> lines;
  for (const StepResult& result : m_results) lines.push_back(LineOf(result));
  lines.push_back(Summary());
  if (!error.empty()) lines.push_back("it ended with: " + error);
  const std::string report = BugReport(lines);
  WriteWholeFile(m_options.Value("--report"), {report.begin(), report.end()});
  static_cast<void>(std::fprintf(stderr, "report: %s\n", m_options.Value("--report").c_str()));
}

}  // namespace

int SelfTest(const Options& options) {
  if (options.Has("--pin-stdin") && !options.Has("--yes")) {
    throw UsageError("--pin-stdin leaves no line for the question: give --yes as well");
  }
  // A report that cannot be written is noticed before the card is used.
  if (options.Has("--report")) WriteWholeFile(options.Value("--report"), {});
  SelfTestRun run(options);
  int code = kDone;
  try {
    code = WithCard(options.Value("--reader"), [&run] { return run.Work(); });
  } catch (const Failure& failure) {
    run.Tell(TextOf(failure));
    throw;
  } catch (const CryptokiError& error) {
    run.Tell(TextOf(error));
    throw;
  }
  run.Tell("");
  return code;
}

}  // namespace tool

#include "batch.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vips/vips8>

#include "admission.h"
#include "failure.h"
#include "interrupt.h"
#include "log.h"
#include "output.h"
#include "plan.h"
#include "scan_job.h"
#include "sidecar.h"
#include "workers.h"

namespace {

constexpr const char* kStatusNames[] = {"corrected", "skipped", "failed", "planned", "interrupted"};

void StartImageLibrary(int threads, const Options& options) {
  RouteLibraryMessages(options.verbose);
  if (VIPS_INIT("zep3") != 0) throw UsageError("libvips cannot be started");
  BlockOtherLoaders(options.admission);
  // Every scan is read once or twice from the top; nothing is worth keeping.
  vips_cache_set_max(0);
  vips_concurrency_set(threads);
}

// ---- jobs and outcomes as messages ----

Message ToMessage(const Job& job) { return {job.scan, job.result, job.refusal, job.named ? "1" : ""}; }

Job ToJob(const Message& message) { return {message.at(0), message.at(1), message.at(2), !message.at(3).empty()}; }

Message ToMessage(const Outcome& outcome) {
  Message message = {std::to_string(static_cast<int>(outcome.status)), outcome.message, outcome.text,
                     std::to_string(outcome.seconds), outcome.pages};
  message.insert(message.end(), outcome.found.begin(), outcome.found.end());
  return message;
}

// Throws for what is no outcome: the answer is that of a process which may have met anything.
Outcome ToOutcome(const Message& message) {
  const int status = std::stoi(message.at(0));
  if (status < 0 || status >= static_cast<int>(std::size(kStatusNames))) throw std::out_of_range("no status");
  Outcome outcome = {static_cast<Status>(status), message.at(1), message.at(2), std::stod(message.at(3))};
  outcome.pages = message.at(4);
  if (!nlohmann::ordered_json::accept(outcome.pages)) throw std::invalid_argument("no JSON");
  outcome.found.assign(message.begin() + 5, message.end());
  return outcome;
}

// What became of a job: its answer, or that there is none.
Outcome OutcomeOf(const std::optional<Message>& answer, const std::string& death) {
  if (!answer && IsInterrupted()) return {Status::kInterrupted, "interrupted", "", 0};
  if (!answer) return {Status::kFailed, death, "", 0};
  try {
    return ToOutcome(*answer);
  } catch (const std::exception&) {
    return {Status::kFailed, "its worker process gave an answer that is none", "", 0};
  }
}

// ---- what the user is told ----

// At most 60 bytes, of whole characters.
std::string_view Beginning(std::string_view name) {
  size_t end = std::min<size_t>(name.size(), 60);
  while (end < name.size() && end > 0 && (static_cast<unsigned char>(name[end]) & 0xc0) == 0x80) end--;
  return name.substr(0, end);
}

class Reporter {
 public:
  explicit Reporter(const Options& options) : m_options(options), m_terminal(::isatty(STDERR_FILENO) != 0) {}

  void Tell(const Job& job, const Outcome& outcome) {
    m_counts[static_cast<size_t>(outcome.status)]++;
    ClearProgress();
    if (!outcome.text.empty()) WriteToStandardOutput(outcome.text);
    if (m_options.json && m_options.command == Command::kCorrect) {
      const nlohmann::ordered_json line = {{"scan", job.scan},
                                           {"result", job.result},
                                           {"status", kStatusNames[static_cast<size_t>(outcome.status)]},
                                           {"message", outcome.message},
                                           {"seconds", outcome.seconds},
                                           {"pages", nlohmann::ordered_json::parse(outcome.pages)}};
      WriteToStandardOutput(ToText(line, -1) + '\n');
    } else if (outcome.status == Status::kPlanned) {
      WriteToStandardOutput(Printable(job.scan + " -> " + job.result) + '\n');
    }
    const bool failed = outcome.status == Status::kFailed;
    const bool expected = outcome.status == Status::kPlanned || (outcome.status == Status::kSkipped && m_many);
    const bool notable = !outcome.message.empty() && !expected;
    if (failed || (notable && !m_options.quiet)) {
      Say(job.scan + ": " + outcome.message);
    } else if (m_options.verbose) {
      Say(job.scan + (job.result.empty() ? "" : " -> " + job.result));
    }
    const bool shown = m_options.command == Command::kAnalyse && !m_options.json && !m_options.quiet;
    if (m_options.verbose || shown) {
      for (const std::string& found : outcome.found) Say(job.scan + ": " + found);
    }
    if (m_many) ShowProgress(job.scan);
  }

  // From here on there is more than one scan.
  void Expect() { m_many = true; }

  void Summarise() {
    ClearProgress();
    if (!m_many || m_options.quiet) return;
    std::string summary = std::to_string(Count(Status::kCorrected)) +
                          (m_options.command == Command::kCorrect ? " corrected" : " analysed");
    if (m_options.dryRun) summary = std::to_string(Count(Status::kPlanned)) + " to be corrected";
    if (Count(Status::kSkipped) > 0) summary += ", " + std::to_string(Count(Status::kSkipped)) + " skipped";
    summary += ", " + std::to_string(Count(Status::kFailed)) + " failed";
    Say(summary + (IsInterrupted() ? ", interrupted" : ""));
  }

  int ExitStatus() const {
    if (IsInterrupted()) return 130;
    return Count(Status::kFailed) > 0 ? 1 : 0;
  }

 private:
  int Count(Status status) const { return m_counts[static_cast<size_t>(status)]; }

  void ShowProgress(const std::string& scan) {
    if (!m_terminal || m_options.quiet) return;
    int done = 0;
    for (const int count : m_counts) done += count;
    std::fprintf(stderr, "\rzep3: %d done, last %s\033[K", done, Printable(Beginning(scan)).c_str());
    m_shown = true;
  }

  void ClearProgress() {
    if (m_shown) std::fputs("\r\033[K", stderr);
    m_shown = false;
  }

  const Options& m_options;
  bool m_terminal;
  bool m_many = false;
  bool m_shown = false;
  int m_counts[5] = {};
};

} // namespace

int RunBatch(const Options& options) {
  CatchSignals();
  Plan plan(options);
  Reporter reporter(options);
  const int processors = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));

  std::optional<Job> first, second;
  const bool list = !options.filesFrom.empty();
  if (!list) {
    first = plan.Next();
    if (first) second = plan.Next();
  }
  // One alone goes to a worker, too: what a decoder dies of is said, and leaves nothing half-written.
  const bool alone = first && !second;
  if (!alone) reporter.Expect();
  const int jobs = alone ? 1 : options.jobs > 0 ? options.jobs : processors;
  const auto work = [&](const Message& message) {
    [[maybe_unused]] static const bool started = (StartImageLibrary(std::max(1, processors / jobs), options), true);
    return ToMessage(RunJob(ToJob(message), options));
  };
  WorkerEvents events;
  events.next = [&]() -> std::optional<Message> {
    std::optional<Job>& waiting = first ? first : second;
    std::optional<Job> job = waiting ? std::exchange(waiting, std::nullopt) : plan.Next();
    return job ? std::optional(ToMessage(*job)) : std::nullopt;
  };
  events.done = [&](const Message& job, const std::optional<Message>& answer, const std::string& death) {
    reporter.Tell(ToJob(job), OutcomeOf(answer, death));
  };
  events.stop = IsInterrupted;
  events.cleanUp = [](const Message& job) { RemoveAbandoned(ToJob(job).result); };
  RunInWorkers(jobs, work, events);
  reporter.Summarise();
  return reporter.ExitStatus();
}

// The way of a run: jobs from the plan go to worker processes, outcomes to the reporter.
#include "command/batch.h"

#include <filesystem>
#include <limits>
#include <map>
#include <utility>
#include <vector>

#include "command/overview.h"
#include "command/plan.h"
#include "command/reporter.h"
#include "command/rolls.h"
#include "command/run_jobs.h"
#include "failure.h"
#include "files/output.h"
#include "files/pending_file.h"
#include "interrupt.h"
#include "job/result.h"
#include "log.h"
#include "told/compare_page.h"
#include "told/report_place.h"

namespace {

// Throws UsageError where the page of zep3 compare would replace a file.
void CheckPageFree(const Options& options) {
  std::error_code ignored;
  if (options.page == "-" || options.overwrite || !std::filesystem::exists(options.page, ignored)) return;
  throw UsageError(options.page + " exists; --overwrite replaces it, -o gives the page another name");
}

// The parts of the page of zep3 compare, in the order of the scans. Of other commands nothing.
class ComparedScans {
 public:
  explicit ComparedScans(const Options& options) : m_options(options) {}

  void Expect(const std::string& scan) { m_order.push_back(scan); }

  // Takes the outcome's text.
  void Take(const std::string& scan, Outcome& outcome) {
    if (m_options.command != Command::kCompare) return;
    const bool shown = outcome.status == Status::kCorrected;
    m_parts[scan] = shown ? std::exchange(outcome.text, "") : ComparedFault(scan, outcome.message);
  }

  void Write() const {
    if (m_options.command != Command::kCompare || IsInterrupted()) return;
    std::vector<std::string> parts;
    for (const std::string& scan : m_order) parts.push_back(m_parts.contains(scan) ? m_parts.at(scan) : "");
    const std::string page = ComparePage(parts);
    if (m_options.page == "-") return WriteToStandardOutput(page);
    CreateFolders(std::filesystem::path(m_options.page).parent_path(), SyncOf(m_options));
    PendingFile file = WritePending(m_options.page, page, SyncOf(m_options));
    if (!file.Commit(m_options.overwrite)) throw Failure(m_options.page + " exists");
    if (const std::string fault = file.SyncName(); !fault.empty()) throw Failure(fault);
    if (!m_options.quiet) Say("see " + m_options.page);
  }

 private:
  const Options& m_options;
  std::vector<std::string> m_order;
  std::map<std::string, std::string> m_parts;
};

} // namespace

int RunBatch(const Options& given) {
  CatchSignals();
  if (given.command == Command::kOverview) return RunOverview(given);
  Options options = given;
  if (options.roll && !options.dryRun) return RunRolls(options);
  if (options.command == Command::kCompare) CheckPageFree(options);
  Plan plan(options);
  options.runFolder = plan.StateFolder();
  Reporter reporter(options, plan);
  FormerRun former(plan.StateFolder());

  std::optional<Job> first, second;
  const bool list = !options.filesFrom.empty();
  if (!list) {
    first = plan.Next();
    if (first) second = plan.Next();
  }
  // One alone goes to a worker, too: what a decoder dies of is said, and leaves nothing half-written.
  const bool alone = first && !second;
  if (!alone) reporter.Expect();
  options.overview = WantsOverview(options, !alone);
  // Of many, scans are counted: nobody follows a single one.
  Options forWorkers = options;
  forWorkers.quiet |= !alone;
  ComparedScans compared(options);
  const auto next = [&] {
    std::optional<Job>& waiting = first ? first : second;
    std::optional<Job> job = waiting ? std::exchange(waiting, std::nullopt) : plan.Next();
    reporter.ExpectInAll(plan.Total());
    if (job) compared.Expect(job->scan);
    if (job) job->made = former.Made(job->result);
    return job;
  };
  const auto done = [&](const Job& job, Outcome outcome) {
    compared.Take(job.scan, outcome);
    reporter.Tell(job, outcome);
  };
  RunJobs(forWorkers, WorkersFor(options, alone ? 1 : std::numeric_limits<size_t>::max()), next, done, reporter);
  compared.Write();
  reporter.Summarise();
  if (options.overview) WriteOverview(options);
  return reporter.ExitStatus();
}

// The way of a run: jobs from the plan go to worker processes, outcomes to the reporter.
#include "command/batch.h"

#include <algorithm>
#include <thread>
#include <utility>
#include <vips/vips8>

#include "command/messages.h"
#include "command/plan.h"
#include "command/reporter.h"
#include "command/workers.h"
#include "failure.h"
#include "files/output.h"
#include "interrupt.h"
#include "job/scan_job.h"
#include "log.h"
#include "opening/admission.h"

namespace {

void StartImageLibrary(int threads, const Options& options) {
  RouteLibraryMessages(options.verbose);
  if (VIPS_INIT("zep3") != 0) throw UsageError("libvips cannot be started");
  BlockOtherLoaders(options.admission);
  // Every scan is read once or twice from the top; nothing is worth keeping.
  vips_cache_set_max(0);
  vips_concurrency_set(threads);
}

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
  // Of many, the reporter alone draws a line: that of each result would be written over it.
  Options forWorkers = options;
  forWorkers.quiet |= !alone;
  const auto work = [&](const Message& message) {
    [[maybe_unused]] static const bool started = (StartImageLibrary(std::max(1, processors / jobs), options), true);
    return ToMessage(RunJob(ToJob(message), forWorkers));
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

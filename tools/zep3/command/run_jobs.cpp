#include "command/run_jobs.h"

#include <malloc.h>

#include <algorithm>
#include <limits>
#include <thread>
#include <vips/vips8>

#include "command/messages.h"
#include "command/workers.h"
#include "files/output.h"
#include "interrupt.h"
#include "job/scan_job.h"
#include "log.h"
#include "opening/image_library.h"
#include "told/report_place.h"

namespace {

int Processors() { return static_cast<int>(std::max(1u, std::thread::hardware_concurrency())); }

// Scans of a run ask for the same memory one after the other. What is given back to the system in between has to be
// cleared by it when it is taken again.
void KeepFreedMemory() {
#ifdef M_MMAP_THRESHOLD
  constexpr int kLarge = 32 << 20; // bytes; images in memory lie beyond it
  ::mallopt(M_MMAP_THRESHOLD, kLarge);
  ::mallopt(M_TRIM_THRESHOLD, 2 * kLarge);
#endif
}

void StartWorker(int threads, const Options& options) {
  KeepFreedMemory();
  SendMessagesTo([](Told what, const std::string& text) { TellParent(NoteOf(what, text)); });
  RouteLibraryMessages(options.verbose);
  StartImageLibrary(options.admission);
  // Every scan is read once or twice from the top; nothing is worth keeping.
  vips_cache_set_max(0);
  vips_concurrency_set(threads);
}

} // namespace

int WorkersFor(const Options& options, size_t jobs) {
  const int workers = options.jobs > 0 ? options.jobs : Processors();
  return static_cast<int>(std::clamp<size_t>(jobs, 1, static_cast<size_t>(workers)));
}

void RunJobs(const Options& options, int workers, const std::function<std::optional<Job>()>& next,
             const std::function<void(const Job& job, Outcome outcome)>& done, Reporter& reporter) {
  const auto work = [&](const Message& message) {
    [[maybe_unused]] static const bool started = // once a process
        (StartWorker(std::max(1, Processors() / workers), options), true);
    const Job job = ToJob(message);
    // Scans with the same words mostly come one after the other.
    static std::vector<std::string> words;
    static Options own = options;
    if (job.settled->words != words) own = WithWords(options, words = job.settled->words);
    if (job.sidecar.empty()) return ToMessage(RunJob(job, own));
    Options repeating = own;
    repeating.useSidecar = job.sidecar;
    return ToMessage(RunJob(job, repeating));
  };
  WorkerEvents events;
  events.next = [&]() -> std::optional<Message> {
    const std::optional<Job> job = next();
    return job ? std::optional(ToMessage(*job)) : std::nullopt;
  };
  // Only what is told waits for its turn: a run that is killed during a long scan knows all that was made meanwhile.
  if (options.command == Command::kCorrect) {
    events.answered = [&](const Message& job, const std::optional<Message>& answer, const std::string& death) {
      reporter.Keep(ToJob(job), OutcomeOf(answer, death));
    };
  }
  events.done = [&](const Message& job, const std::optional<Message>& answer, const std::string& death) {
    done(ToJob(job), OutcomeOf(answer, death));
  };
  events.note = [&](const Message& note) {
    TakeNote(note, [&](Told what, const std::string& text) { reporter.TellNote(what, text); });
  };
  events.look = [&] { reporter.Refresh(); };
  events.stop = IsInterrupted;
  events.cleanUp = [&](const Message& message) {
    const Job job = ToJob(message);
    RemoveAbandoned(job.result);
    if (options.runFolder.empty() || job.result.empty() || job.result == "-") return;
    if (options.report) RemoveAbandoned(ReportOf(job, options));
    if (options.overview) RemoveAbandoned(ThumbnailOf(job, options));
  };
  RunInWorkers(workers, work, events);
}

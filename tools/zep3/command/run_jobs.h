// Jobs in worker processes: the image library is started there alone.
#pragma once

#include <functional>
#include <optional>

#include "command/plan.h"
#include "command/reporter.h"
#include "job/outcome.h"
#include "options.h"

// Processes for so many jobs, as the user or the machine has it.
int WorkersFor(const Options& options, size_t jobs);

// Runs the jobs that `next` gives, in up to `workers` processes; `done` gets their outcomes in the order of the jobs.
// `reporter` keeps what is done, and says what workers tell by the way. After a signal no more are begun. Throws
// UsageError.
void RunJobs(const Options& options, int workers, const std::function<std::optional<Job>()>& next,
             const std::function<void(const Job& job, Outcome outcome)>& done, Reporter& reporter);

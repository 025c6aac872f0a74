// The work on one scan, from the file to its result.
#pragma once

#include "command/plan.h"
#include "job/outcome.h"
#include "options.h"

// Never throws: a fault ends the scan, not the run. Nothing is left half-written.
Outcome RunJob(const Job& job, const Options& options);

// A scan corrected: the way from the file to its result.
#pragma once

#include "command/plan.h"
#include "job/outcome.h"
#include "options.h"

// Throws Failure or what the libraries throw; the result is then not there, or what it was before.
Outcome Correct(const Job& job, const Options& options);

// The commands that print what a scan's analysis gives, and write no picture.
#pragma once

#include "command/plan.h"
#include "job/outcome.h"
#include "options.h"

// Throw Failure or what the libraries throw.
Outcome PrintAnalysis(const Job& job, const Options& options);
Outcome PrintTables(const Job& job, const Options& options);

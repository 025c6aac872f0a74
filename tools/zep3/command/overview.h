// The page and the table of all results of a run, and `zep3 overview`, which makes them anew.
#pragma once

#include "options.h"

// Whether a run makes them. `many`: it has more than one scan. Throws UsageError where there is no folder for them.
bool WantsOverview(const Options& options, bool many);

// Of all that the run's folder keeps, at the end of a run. Throws Failure.
void WriteOverview(const Options& options);

// The program's exit status. Throws UsageError or Failure.
int RunOverview(const Options& options);

// Scans that are finished together: rolls of film, boxes of prints and slides.
#pragma once

#include "options.h"

// What scans share is found by one analysis alone. `option`: that asks for it. Throws UsageError.
void CheckSharingAnalysis(const Options& options, const std::string& option);

// Throws UsageError for originals that share nothing, or an analysis that does not look for it.
void CheckShares(const Options& options);

// The program's exit status, as of RunBatch. Throws UsageError, or Failure where a roll's file cannot be written.
int RunRolls(const Options& options);

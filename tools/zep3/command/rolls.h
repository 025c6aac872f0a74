// Scans that are finished together: rolls of film, boxes of prints and slides.
#pragma once

#include "options.h"

// The program's exit status, as of RunBatch. Throws UsageError, or Failure where a roll's file cannot be written.
int RunRolls(const Options& options);

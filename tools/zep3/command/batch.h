// All scans of a run, in worker processes.
#pragma once

#include "options.h"

// The program's exit status: 0; 1 when a scan failed; 130 when interrupted. Throws UsageError.
int RunBatch(const Options& options);

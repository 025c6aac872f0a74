// zep3 view: scans, or the results of a run, on a page in the browser.
#pragma once

#include "options.h"

// The program's exit status, when the user has ended it. Throws UsageError, or Failure.
int RunView(const Options& options);

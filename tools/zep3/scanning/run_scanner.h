// zep3 scan: pages from a scanner, finished.
#pragma once

#include "options.h"

// Returns the exit status of the program. Throws what the program says.
int RunScanner(const Options& options);

// What zep3 scan asks of a scanner.
#pragma once

#include "options.h"

namespace CLI {
class App;
}

void AddScanner(CLI::App& app, Options& options);

// Throws UsageError for options of scanners with other commands, and for options that mean nothing to a scanner.
void CheckScanner(const CLI::App& app, const Options& options);

// The command line: its words, its help, and what they come to.
#pragma once

#include <optional>

#include "options.h"

// The options, or, when there is nothing to run (help, version, a fault), the exit status. Faults are said.
struct Parsed {
  std::optional<Options> options;
  int status = 0;
};
Parsed ParseCommandLine(int argc, char** argv);

// zep3: scans in, finished files out.
#include <exception>
#include <iostream>
#include <stdexcept>

#include "command/batch.h"
#include "command/command_line.h"
#include "command/view.h"
#include "failure.h"
#include "interrupt.h"
#include "log.h"
#include "scanning/run_scanner.h"

namespace {

// Says why the program ends, and returns its exit status.
int Refuse(const std::exception& error, int status) {
  Say(IsInterrupted() ? "interrupted" : error.what());
  return IsInterrupted() ? 130 : status;
}

// The program's exit status.
int Run(const Options& options) {
  switch (options.command) {
    case Command::kView:
      return RunView(options);
    case Command::kScan:
      return RunScanner(options);
    default:
      return RunBatch(options);
  }
}

} // namespace

int main(int argc, char** argv) try {
  const Parsed parsed = ParseCommandLine(argc, argv);
  if (parsed.options) return Run(*parsed.options);
  if (!std::cout.flush()) throw std::runtime_error("cannot write to standard output");
  return parsed.status;
} catch (const UsageError& error) {
  return Refuse(error, 2);
} catch (const std::exception& error) {
  return Refuse(error, 1);
}

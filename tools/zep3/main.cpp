// zep3: scans in, finished files out.
#include <exception>
#include <iostream>
#include <stdexcept>

#include "batch.h"
#include "command_line.h"
#include "failure.h"
#include "log.h"

int main(int argc, char** argv) try {
  const Parsed parsed = ParseCommandLine(argc, argv);
  if (parsed.options) return RunBatch(*parsed.options);
  if (!std::cout.flush()) throw std::runtime_error("cannot write to standard output");
  return parsed.status;
} catch (const UsageError& error) {
  Say(error.what());
  return 2;
} catch (const std::exception& error) {
  Say(error.what());
  return 1;
}

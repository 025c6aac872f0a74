// zep3: scans in, finished files out.
#include <exception>

#include "batch.h"
#include "command_line.h"
#include "failure.h"
#include "log.h"

int main(int argc, char** argv) try {
  const Parsed parsed = ParseCommandLine(argc, argv);
  return parsed.options ? RunBatch(*parsed.options) : parsed.status;
} catch (const UsageError& error) {
  Say(error.what());
  return 2;
} catch (const std::exception& error) {
  Say(error.what());
  return 1;
}

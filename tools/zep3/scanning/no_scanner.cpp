// In place of run_scanner.cpp where the header of libsane was missing.
#include "failure.h"
#include "scanning/run_scanner.h"

int RunScanner(const Options&) {
  throw Failure(
      "this zep3 was built without scanners; install the headers of libsane (Debian: libsane-dev) and build it "
      "again");
}

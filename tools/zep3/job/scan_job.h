// The work on one scan, from the file to its result.
#pragma once

#include <string>
#include <vector>

#include "command/plan.h"
#include "options.h"

// Behind the name of a result.
inline constexpr const char* kSidecarSuffix = ".zep3.json";
inline constexpr const char* kReportSuffix = ".zep3.html";

enum class Status { kCorrected, kSkipped, kFailed, kPlanned, kInterrupted };

struct Outcome {
  Status status = Status::kFailed;
  std::string message; // why it failed or was skipped, what would be done
  std::string text;    // analysis or tables, for standard output
  double seconds = 0;
  std::vector<std::string> found{}; // a line a page: which analysis decided, and why
  std::string pages = "[]";         // the same as JSON
};

// Never throws: a fault ends the scan, not the run. Nothing is left half-written.
Outcome RunJob(const Job& job, const Options& options);

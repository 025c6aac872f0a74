// The outcome of the work on one scan.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "failure.h"

enum class Status { kCorrected, kSkipped, kFailed, kPlanned, kInterrupted };
inline constexpr const char* kStatusNames[] = {"corrected", "skipped", "failed", "planned", "interrupted"};

struct Outcome {
  Status status = Status::kFailed;
  std::string message{}; // why it failed or was skipped, what would be done
  std::string text{};    // analysis or tables, for standard output
  double seconds = 0;
  int64_t verdict = 0;               // the gravest of its pages, ZEP3_VERDICT_...
  std::vector<std::string> found{};  // lines on each page: its verdict, the analysis and why, where the picture lies
  std::string pages = "[]";          // the same as JSON
  std::vector<std::string> frames{}; // of a roll's contact sheet
  Cause cause = Cause::kNone;        // of a failure
  int64_t size = -1, time = 0;       // of the file that holds the scan: bytes, ns of its last change; -1: not known
  int64_t resultSize = -1;           // bytes
  std::string kind{};                // of original, as its first page was corrected
};

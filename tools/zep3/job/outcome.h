// The outcome of the work on one scan.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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
};

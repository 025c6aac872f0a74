// Measurements in pairs: a reference and a candidate run in turn, so that what else the machine does reaches both, and
// the ratio is taken within the pair. Times are CPU time of the whole process, threads of libraries included.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

using Work = std::function<void()>;

// What a row of the table promises.
struct Goal {
  enum Kind {
    kNone,
    kRatio,     // candidate / reference at most
    kTime,      // candidate at most, ms
    kDifference // candidate - reference at most, ms
  };
  Kind kind = kNone;
  double most = 0;
};

// A row of the table. The two works are made by `prepare` when the row is measured, so that images of one row need not
// live beside those of the next; a reason instead of two works (not equal, not there) shows in the row.
struct Sides {
  Work reference;
  Work candidate;
  std::string refusal;
};
void AddRow(const std::string& work, const std::string& candidate, const std::string& reference, Goal goal,
            std::function<Sides()> prepare);

// Runs all rows that the command line asks for (Google Benchmark's options) and prints them as a Markdown table.
// Exit status: 0, goals reached or not; 1 when a row failed; 2 for a bad command line.
int RunRows(int argc, char** argv);

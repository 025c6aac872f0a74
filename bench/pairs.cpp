#include "pairs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <map>
#include <utility>
#include <vector>

namespace {

constexpr int kPairs = 11;
// A side is repeated until it takes this long, far above the clock's steps.
constexpr double kShortestSide = 0.005; // s

struct Row {
  std::string work, candidate, reference;
  Goal goal;
};
std::map<std::string, Row>& Rows() {
  static std::map<std::string, Row> rows;
  return rows;
}

double CpuSeconds() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// CPU time of one run, s.
double Time(const Work& work, int repeats) {
  const double start = CpuSeconds();
  for (int i = 0; i < repeats; i++) work();
  return (CpuSeconds() - start) / repeats;
}

// The first runs fill caches and fault pages in; they say how often a side is to be repeated.
int Repeats(const Work& work) {
  work();
  int repeats = 1;
  while (Time(work, repeats) * repeats < kShortestSide) repeats *= 2;
  return repeats;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void Measure(benchmark::State& state, const std::function<Sides()>& prepare) {
  const Sides sides = prepare();
  if (!sides.refusal.empty()) {
    state.SkipWithError(sides.refusal.c_str());
    return;
  }
  const int ofReference = Repeats(sides.reference);
  const int ofCandidate = Repeats(sides.candidate);
  std::vector<double> references, candidates, ratios, differences;
  for ([[maybe_unused]] auto _ : state) {
    references.push_back(Time(sides.reference, ofReference));
    candidates.push_back(Time(sides.candidate, ofCandidate));
    ratios.push_back(candidates.back() / references.back());
    differences.push_back(candidates.back() - references.back());
    state.SetIterationTime(candidates.back());
  }
  state.counters["reference_ms"] = 1e3 * Median(references);
  state.counters["candidate_ms"] = 1e3 * Median(candidates);
  state.counters["difference_ms"] = 1e3 * Median(differences);
  state.counters["ratio"] = Median(ratios);
  state.counters["lowest_ratio"] = *std::min_element(ratios.begin(), ratios.end());
  state.counters["highest_ratio"] = *std::max_element(ratios.begin(), ratios.end());
}

std::string Text(const char* format, double value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string Milliseconds(double value) { return Text(value < 0.1 ? "%.4f" : value < 10 ? "%.3f" : "%.1f", value); }

class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override {
    std::printf("| Work | Candidate, ms | Reference, ms | Ratio (range, n = %d) | Goal | Reached |\n", kPairs);
    std::printf("|---|---|---|---|---|---|\n");
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) Print(Rows().at(run.run_name.function_name), run);
    std::fflush(stdout);
  }

  bool AllMeasured() const { return m_allMeasured; }

 private:
  void Print(const Row& row, const Run& run) {
    if (run.error_occurred) {
      std::printf("| %s | %s | %s | %s | | |\n", row.work.c_str(), row.candidate.c_str(), row.reference.c_str(),
                  run.error_message.c_str());
      m_allMeasured = false;
      return;
    }
    const auto counter = [&](const char* name) { return run.counters.at(name).value; };
    std::string goal = "-";
    double value = 0;
    switch (row.goal.kind) {
      case Goal::kNone:
        break;
      case Goal::kRatio:
        goal = Text("ratio %.2f", row.goal.most);
        value = counter("ratio");
        break;
      case Goal::kTime:
        goal = Text("%.2f ms", row.goal.most);
        value = counter("candidate_ms");
        break;
      case Goal::kDifference:
        goal = Text("difference %.2f ms", row.goal.most);
        value = counter("difference_ms");
        break;
    }
    const bool reached = value <= row.goal.most;
    const std::string difference =
        row.goal.kind == Goal::kDifference ? "difference " + Milliseconds(value) + " ms; " : "";
    std::printf("| %s | %s %s | %s %s | %s%.3f (%.3f to %.3f) | %s | %s |\n", row.work.c_str(), row.candidate.c_str(),
                Milliseconds(counter("candidate_ms")).c_str(), row.reference.c_str(),
                Milliseconds(counter("reference_ms")).c_str(), difference.c_str(), counter("ratio"),
                counter("lowest_ratio"), counter("highest_ratio"), goal.c_str(),
                row.goal.kind == Goal::kNone ? "-"
                : reached                    ? "yes"
                                             : "**NO**");
  }

  bool m_allMeasured = true;
};

} // namespace

void AddRow(const std::string& work, const std::string& candidate, const std::string& reference, Goal goal,
            std::function<Sides()> prepare) {
  const std::string name = work + ": " + candidate + " / " + reference;
  Rows()[name] = {work, candidate, reference, goal};
  benchmark::RegisterBenchmark(name.c_str(),
                               [prepare = std::move(prepare)](benchmark::State& state) { Measure(state, prepare); })
      ->Iterations(kPairs)
      ->UseManualTime();
}

int RunRows(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  benchmark::Shutdown();
  return table.AllMeasured() ? 0 : 1;
}

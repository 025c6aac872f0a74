// What the user is told of a run: messages, lines of JSON, progress, the summary.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "command/plan.h"
#include "command/progress_line.h"
#include "job/outcome.h"
#include "log.h"
#include "options.h"
#include "told/run_state.h"

class Reporter {
 public:
  // Keeps the state of the plan's run. Throws UsageError.
  Reporter(const Options& options, const Plan& plan);

  // From here on there is more than one scan.
  void Expect() { m_many = true; }

  // Writes what was done to a scan into the state of the run.
  void Keep(const Job& job, const Outcome& outcome);
  void Tell(const Job& job, const Outcome& outcome);
  // The scans that the run has in all, as far as that is known.
  void ExpectInAll(std::optional<size_t> total) { m_total = total; }
  // The progress of a first pass, over so many scans.
  void ShowLook(size_t count, const std::string& scan);
  // What a worker tells by the way.
  void TellNote(Told what, const std::string& text);
  // Brings the line of progress up to date.
  void Refresh() { m_progress.Refresh(); }
  // What is said of many scans in one line.
  void Note(const std::string& text);
  void Summarise();

  // The program's.
  int ExitStatus() const;

 private:
  int Count(Status status) const { return m_counts[static_cast<size_t>(status)]; }
  void TakeKnown(const Job& job, const Outcome& outcome);
  std::string PlanText() const;

  const Options& m_options;
  std::optional<RunLog> m_log; // none: what is done is not kept
  ProgressLine m_progress;
  std::optional<size_t> m_total;
  bool m_many = false;
  const Plan& m_plan;
  int m_counts[6] = {};               // by Status
  int m_causes[5] = {};               // of failures, by Cause
  int m_made[7] = {};                 // of those skipped, by Made
  int m_toLookAt = 0, m_notFound = 0; // of those corrected, by verdict
  int m_repeated = 0;                 // by their own sidecars
  int m_knownFailed = 0;
  int64_t m_pages = 0, m_bytes = 0; // of those planned
  std::set<std::string> m_knownBad; // canonical
};

// What the user is told of a run: messages, lines of JSON, progress, the summary.
#pragma once

#include <optional>
#include <string>

#include "command/plan.h"
#include "job/outcome.h"
#include "options.h"
#include "told/run_state.h"

class Reporter {
 public:
  // `out`: the folder of results, whose state is kept; empty: none is.
  Reporter(const Options& options, const std::string& out);

  // From here on there is more than one scan.
  void Expect() { m_many = true; }

  void Tell(const Job& job, const Outcome& outcome);
  // The progress of a first pass.
  void ShowLook(size_t looked, size_t count, const std::string& scan);
  // What is said of many scans in one line.
  void Note(const std::string& text);
  void Summarise();

  // The program's.
  int ExitStatus() const;

 private:
  int Count(Status status) const { return m_counts[static_cast<size_t>(status)]; }
  void Keep(const Job& job, const Outcome& outcome);
  void ShowProgress(const std::string& scan);
  void ClearProgress();

  const Options& m_options;
  std::optional<RunLog> m_log; // none: what is done is not kept
  bool m_terminal;
  bool m_many = false;
  bool m_shown = false;
  int m_counts[5] = {};               // by Status
  int m_toLookAt = 0, m_notFound = 0; // of those corrected, by verdict
};

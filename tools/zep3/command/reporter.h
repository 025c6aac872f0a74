// What the user is told of a run: messages, lines of JSON, progress, the summary.
#pragma once

#include <string>

#include "command/plan.h"
#include "job/outcome.h"
#include "options.h"

class Reporter {
 public:
  explicit Reporter(const Options& options);

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
  void ShowProgress(const std::string& scan);
  void ClearProgress();

  const Options& m_options;
  bool m_terminal;
  bool m_many = false;
  bool m_shown = false;
  int m_counts[5] = {};               // by Status
  int m_toLookAt = 0, m_notFound = 0; // of those corrected, by verdict
};

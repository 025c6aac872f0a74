// Messages go to standard error, what was asked for to standard output.
#include "command/reporter.h"

#include <nlohmann/json.hpp>

#include "files/output.h"
#include "interrupt.h"
#include "log.h"
#include "told/sidecar.h"

Reporter::Reporter(const Options& options) : m_options(options), m_progress(!options.quiet) {}

void Reporter::Tell(const Job& job, const Outcome& outcome) {
  m_counts[static_cast<size_t>(outcome.status)]++;
  m_toLookAt += outcome.verdict == ZEP3_VERDICT_LOOK ? 1 : 0;
  m_notFound += outcome.verdict == ZEP3_VERDICT_FAILED ? 1 : 0;
  m_progress.Clear();
  if (!outcome.text.empty()) WriteToStandardOutput(outcome.text);
  if (m_options.json && m_options.command == Command::kCorrect) {
    const nlohmann::ordered_json line = {{"scan", job.scan},
                                         {"result", job.result},
                                         {"status", kStatusNames[static_cast<size_t>(outcome.status)]},
                                         {"message", outcome.message},
                                         {"seconds", outcome.seconds},
                                         {"pages", nlohmann::ordered_json::parse(outcome.pages)}};
    WriteToStandardOutput(ToText(line, -1) + '\n');
  } else if (outcome.status == Status::kPlanned) {
    WriteToStandardOutput(Printable(job.scan + " -> " + job.result) + '\n');
  }
  const bool failed = outcome.status == Status::kFailed;
  const bool expected = outcome.status == Status::kPlanned || (outcome.status == Status::kSkipped && m_many);
  const bool notable = !outcome.message.empty() && !expected;
  if (failed || (notable && !m_options.quiet)) {
    Say(job.scan + ": " + outcome.message);
  } else if (m_options.verbose) {
    Say(job.scan + (job.result.empty() ? "" : " -> " + job.result));
  }
  const bool shown = m_options.command == Command::kAnalyse && !m_options.json && !m_options.quiet;
  if (m_options.verbose || shown) {
    for (const std::string& found : outcome.found) Say(job.scan + ": " + found);
  }
  if (m_many) m_progress.Count("", outcome.status != Status::kSkipped, m_total, job.scan);
}

void Reporter::ShowLook(size_t count, const std::string& scan) {
  if (m_many) m_progress.Count("looked at ", true, count, scan);
}

void Reporter::TellNote(Told what, const std::string& text) {
  if (what == Told::kPercent) {
    if (!m_many) m_progress.ShowPercent(text);
    return;
  }
  m_progress.Clear();
  Say(text);
}

void Reporter::Note(const std::string& text) {
  m_progress.Clear();
  if (!m_options.quiet) Say(text);
}

void Reporter::Summarise() {
  m_progress.Clear();
  if (!m_many || m_options.quiet) return;
  std::string summary = std::to_string(Count(Status::kCorrected) - m_toLookAt - m_notFound) +
                        (m_options.command == Command::kCorrect   ? " corrected"
                         : m_options.command == Command::kCompare ? " compared"
                                                                  : " analysed");
  if (m_toLookAt > 0) summary += ", " + std::to_string(m_toLookAt) + " to look at";
  if (m_notFound > 0) summary += ", " + std::to_string(m_notFound) + " without a correction";
  if (m_options.dryRun) summary = std::to_string(Count(Status::kPlanned)) + " to be corrected";
  if (Count(Status::kSkipped) > 0) summary += ", " + std::to_string(Count(Status::kSkipped)) + " skipped";
  summary += ", " + std::to_string(Count(Status::kFailed)) + " failed";
  Say(summary + (IsInterrupted() ? ", interrupted" : ""));
}

int Reporter::ExitStatus() const {
  if (IsInterrupted()) return 130;
  return Count(Status::kFailed) > 0 ? 1 : 0;
}

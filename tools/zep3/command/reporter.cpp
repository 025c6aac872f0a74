// Messages go to standard error, what was asked for to standard output.
#include "command/reporter.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

#include "files/output.h"
#include "interrupt.h"
#include "log.h"
#include "told/sidecar.h"
#include "version.h"

namespace {

// The first 60 bytes at most, cut between characters.
std::string_view Beginning(std::string_view name) {
  size_t end = std::min<size_t>(name.size(), 60);
  while (end < name.size() && end > 0 && (static_cast<unsigned char>(name[end]) & 0xc0) == 0x80) end--;
  return name.substr(0, end);
}

// What is told of a scan, on standard output and in the state of the run.
nlohmann::ordered_json RecordOf(const Job& job, const Outcome& outcome) {
  nlohmann::ordered_json record = {{"scan", job.scan},
                                   {"result", job.result},
                                   {"status", kStatusNames[static_cast<size_t>(outcome.status)]},
                                   {"message", outcome.message},
                                   {"seconds", outcome.seconds},
                                   {"pages", nlohmann::ordered_json::parse(outcome.pages)},
                                   {"folder", Canonical(".")}}; // from which scan and result are named
  if (outcome.cause != Cause::kNone) record["cause"] = kCauseNames[static_cast<size_t>(outcome.cause)];
  if (outcome.size >= 0) record.update({{"size", outcome.size}, {"time", outcome.time}});
  if (outcome.resultSize >= 0) record["resultSize"] = outcome.resultSize;
  if (!outcome.kind.empty()) record["kind"] = outcome.kind;
  record["versions"] = {{"zep3", kVersion}, {"engine", EngineVersion()}};
  return record;
}

} // namespace

Reporter::Reporter(const Options& options, const std::string& out)
    : m_options(options), m_terminal(::isatty(STDERR_FILENO) != 0) {
  if (!out.empty() && !options.dryRun) m_log.emplace(out);
}

void Reporter::Tell(const Job& job, const Outcome& outcome) {
  m_counts[static_cast<size_t>(outcome.status)]++;
  m_toLookAt += outcome.verdict == ZEP3_VERDICT_LOOK ? 1 : 0;
  m_notFound += outcome.verdict == ZEP3_VERDICT_FAILED ? 1 : 0;
  ClearProgress();
  if (!outcome.text.empty()) WriteToStandardOutput(outcome.text);
  if (m_options.json && m_options.command == Command::kCorrect) {
    WriteToStandardOutput(ToText(RecordOf(job, outcome), -1) + '\n');
  } else if (outcome.status == Status::kPlanned) {
    WriteToStandardOutput(Printable(job.scan + " -> " + job.result) + '\n');
  }
  Keep(job, outcome);
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
  if (m_many) ShowProgress(job.scan);
}

// A run goes on without its state: the results are what counts.
void Reporter::Keep(const Job& job, const Outcome& outcome) {
  const bool news = outcome.status == Status::kCorrected || outcome.status == Status::kFailed;
  if (!m_log || !news || job.result.empty()) return;
  try {
    m_log->Add(job.result, RecordOf(job, outcome));
  } catch (const std::exception& error) {
    m_log.reset();
    Say(std::string("what this run does is not kept: ") + error.what());
  }
}

void Reporter::ShowLook(size_t looked, size_t count, const std::string& scan) {
  if (!m_many || !m_terminal || m_options.quiet) return;
  std::fprintf(stderr, "\rzep3: looked at %zu of %zu, last %s\033[K", looked, count,
               Printable(Beginning(scan)).c_str());
  m_shown = true;
}

void Reporter::Note(const std::string& text) {
  ClearProgress();
  if (!m_options.quiet) Say(text);
}

void Reporter::Summarise() {
  ClearProgress();
  try {
    if (m_log && !m_options.noSync) m_log->Sync();
  } catch (const std::exception& error) {
    Say(error.what());
  }
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

void Reporter::ShowProgress(const std::string& scan) {
  if (!m_terminal || m_options.quiet) return;
  int done = 0;
  for (const int count : m_counts) done += count;
  std::fprintf(stderr, "\rzep3: %d done, last %s\033[K", done, Printable(Beginning(scan)).c_str());
  m_shown = true;
}

void Reporter::ClearProgress() {
  if (m_shown) std::fputs("\r\033[K", stderr);
  m_shown = false;
}

// Messages go to standard error, what was asked for to standard output.
#include "command/reporter.h"

#include <glib.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "files/formats.h"
#include "files/output.h"
#include "interrupt.h"
#include "job/finished.h"
#include "log.h"
#include "told/sidecar.h"

namespace {

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
  if (outcome.made != Made::kNone) record["made"] = kMadeNames[static_cast<size_t>(outcome.made)];
  if (outcome.resultSize >= 0) record["resultSize"] = outcome.resultSize;
  const nlohmann::ordered_json origin = OriginOf(job, {outcome.size, outcome.time});
  const nlohmann::ordered_json& settings = origin.at("settings");
  if (!outcome.kind.empty() || settings.contains("kind"))
    record["kind"] = outcome.kind.empty() ? settings.at("kind").at("value") : nlohmann::ordered_json(outcome.kind);
  record.update(origin);
  return record;
}

// What the state of the run does not hold yet.
bool IsNews(const Job& job, const Outcome& outcome) {
  // Once, a result without any record: a run that was killed may have named it without having written it down.
  const bool found = outcome.made == Made::kElsewhere && job.made.empty();
  const bool done =
      outcome.status == Status::kCorrected || outcome.status == Status::kFailed || outcome.status == Status::kRestored;
  return !job.result.empty() && (done || found);
}

// "48.2 MB"
std::string SizeText(int64_t bytes) {
  gchar* const text = g_format_size(static_cast<guint64>(bytes));
  std::string size = text;
  g_free(text);
  return size;
}

} // namespace

Reporter::Reporter(const Options& options, const Plan& plan)
    : m_options(options), m_progress(!options.quiet), m_plan(plan) {
  if (!plan.StateFolder().empty() && !options.dryRun) m_log.emplace(plan.StateFolder(), plan.Root());
  if (options.knownBad.empty()) return;
  NameList names(options.knownBad, '\n');
  while (const std::optional<std::string> name = names.Next()) {
    if (!name->empty()) m_knownBad.insert(Canonical(*name));
  }
}

void Reporter::Tell(const Job& job, const Outcome& outcome) {
  m_counts[static_cast<size_t>(outcome.status)]++;
  m_causes[static_cast<size_t>(outcome.cause)] += outcome.status == Status::kFailed ? 1 : 0;
  m_made[static_cast<size_t>(outcome.made)]++;
  const bool finished = outcome.status == Status::kCorrected || outcome.status == Status::kPlanned;
  m_repeated += finished && !job.sidecar.empty() ? 1 : 0;
  if (outcome.status == Status::kPlanned) {
    m_pages += outcome.pageCount;
    m_bytes += std::max<int64_t>(outcome.size, 0);
  }
  m_toLookAt += outcome.verdict == ZEP3_VERDICT_LOOK ? 1 : 0;
  m_notFound += outcome.verdict == ZEP3_VERDICT_FAILED ? 1 : 0;
  m_progress.Clear();
  if (!outcome.text.empty()) WriteToStandardOutput(outcome.text);
  if (m_options.json && m_options.command == Command::kCorrect) {
    WriteToStandardOutput(ToText(RecordOf(job, outcome), -1) + '\n');
  } else if (outcome.status == Status::kPlanned) {
    const std::string settings = job.settled && !job.settled->elsewhere.empty() ? "  " + job.settled->elsewhere : "";
    const std::string to = m_options.restore ? ", " + outcome.message : " -> " + job.result;
    WriteToStandardOutput(Printable(job.scan + to + settings) + '\n');
  }
  const bool failed = outcome.status == Status::kFailed;
  // A result that is not what was asked for is named.
  const bool isOther = outcome.made == Made::kOtherSettings || outcome.made == Made::kOtherVersion ||
                       outcome.made == Made::kOfChangedScan || outcome.made == Made::kOtherScan;
  const bool skipped = outcome.status == Status::kSkipped && m_many && !isOther;
  const bool expected = outcome.status == Status::kPlanned || skipped;
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
  TakeKnown(job, outcome);
  if (m_many) m_progress.Count("", outcome.status != Status::kSkipped, m_total, job.scan);
}

// A scan that may fail, by the user's list.
void Reporter::TakeKnown(const Job& job, const Outcome& outcome) {
  if (m_knownBad.empty() || !m_knownBad.contains(Canonical(SplitOptions(job.scan).name))) return;
  m_knownFailed += outcome.status == Status::kFailed ? 1 : 0;
  if (outcome.status == Status::kCorrected || outcome.status == Status::kSkipped)
    Say(job.scan + ": is finished; take it out of " + m_options.knownBad);
}

// A run goes on without its state: the results are what counts.
void Reporter::Keep(const Job& job, const Outcome& outcome) {
  if (!m_log || !IsNews(job, outcome)) return;
  try {
    m_log->Add(job.result, RecordOf(job, outcome));
  } catch (const std::exception& error) {
    m_log.reset();
    m_progress.Clear();
    Say(std::string("what this run does is not kept: ") + error.what());
  }
}

void Reporter::ShowLook(size_t count, const std::string& scan) {
  if (m_many) m_progress.Count("looked at ", true, count, scan);
}

void Reporter::TellNote(Told what, const std::string& text) {
  if (what == Told::kPercent) {
    if (!m_many) m_progress.ShowPercent("writing", text);
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
  if (m_options.dryRun) summary = PlanText();
  if (m_options.ownSidecars) {
    const int analysed = Count(m_options.dryRun ? Status::kPlanned : Status::kCorrected) - m_repeated;
    summary += " (" + std::to_string(m_repeated) + " by their own sidecars, " + std::to_string(analysed) + " analysed)";
  }
  if (m_options.restore && !m_options.dryRun) summary = std::to_string(Count(Status::kRestored)) + " restored";
  if (Count(Status::kSkipped) > 0) {
    summary += ", " + std::to_string(Count(Status::kSkipped)) + " skipped";
    const auto made = [&](Made how) { return m_made[static_cast<size_t>(how)]; };
    const int older = made(Made::kOtherSettings) + made(Made::kOtherVersion) + made(Made::kOfChangedScan);
    std::string how;
    if (older > 0) how = std::to_string(older) + " not as this command makes them; --update makes them again";
    if (made(Made::kElsewhere) > 0)
      how += (how.empty() ? "" : ", ") + std::to_string(made(Made::kElsewhere)) + " made nobody knows how";
    if (!how.empty()) summary += " (" + how + ")";
  }
  summary += ", " + std::to_string(Count(Status::kFailed)) + " failed";
  std::string causes;
  for (size_t cause = 1; cause < std::size(kCauseNames); cause++) {
    if (m_causes[cause] == 0) continue;
    causes += (causes.empty() ? "" : ", ") + std::to_string(m_causes[cause]) + " " + kCauseNames[cause];
  }
  if (m_knownFailed > 0) causes += ", " + std::to_string(m_knownFailed) + " known as bad";
  if (!causes.empty()) summary += " (" + causes + ")";
  Say(summary + (IsInterrupted() ? ", interrupted" : ""));
}

// What a run would take and leave.
std::string Reporter::PlanText() const {
  const int count = Count(Status::kPlanned);
  if (m_options.restore) return std::to_string(count) + " to be restored";
  std::string text = std::to_string(count) + " to be corrected";
  if (count > 0) {
    text += " (" + std::to_string(m_pages) + (m_pages == 1 ? " page, " : " pages, ") + SizeText(m_bytes) + ")";
  }
  const LeftOut& left = m_plan.Left();
  size_t files = 0, opened = 0;
  std::string names, formats;
  for (const auto& [extension, number] : left.extensions) {
    files += number;
    if (const Format* format = AnyFormatOfName("a" + extension); format != nullptr) {
      opened += number;
      if (formats.find(format->name) == std::string::npos)
        formats.append(formats.empty() ? "" : ",").append(format->name);
    }
    if (names.size() < 100) {
      names += (names.empty() ? "" : ", ") + std::to_string(number) + " " +
               (extension.empty() ? "without an extension" : extension);
    }
  }
  if (files > 0) text += ", " + std::to_string(files) + " files are no scans by their names (" + names + ")";
  if (opened > 0) text += "; --also-read " + formats + " opens " + std::to_string(opened) + " of them";
  if (left.originals > 0) text += ", " + std::to_string(left.originals) + " are kept originals";
  return text;
}

int Reporter::ExitStatus() const {
  if (IsInterrupted()) return 130;
  return Count(Status::kFailed) > m_knownFailed ? 1 : 0;
}

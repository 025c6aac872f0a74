// The analysis as JSON, and the tables in the form that was asked for.
#include "job/print.h"

#include <filesystem>

#include "failure.h"
#include "files/pending_file.h"
#include "job/decide.h"
#include "job/result.h"
#include "opening/scan.h"
#include "page/tables.h"
#include "told/evidence.h"
#include "told/sidecar.h"

namespace {

std::string InForm(const Tables& tables, const std::string& form) {
  if (form == "csv") return TablesAsCsv(tables);
  if (form == "json") return TablesAsJson(tables);
  if (form == "png") return TablesAsPng(tables);
  if (form == "scanimage") return TablesForScanimage(tables);
  return TablesAsText(tables);
}

} // namespace

Outcome PrintAnalysis(const Job& job, const Options& options) {
  const Scan scan(job.scan, options.admission);
  const auto pages = DecideAll(scan, options);
  Outcome outcome = {Status::kCorrected};
  outcome.text = CorrectionText(job.scan, pages, false, options.json ? -1 : 1);
  outcome.verdict = WorstVerdict(pages);
  outcome.found = SummariesOf(pages);
  outcome.pages = AnalysesText(pages);
  return outcome;
}

Outcome PrintTables(const Job& job, const Options& options) {
  const Scan scan(job.scan, options.admission);
  const auto pages = DecideAll(scan, options);
  const std::string text = InForm(MakeTables(pages.front().correction, 256), options.tableForm);
  if (job.result.empty() || job.result == "-") return {Status::kCorrected, "", text};
  CreateFolders(std::filesystem::path(job.result).parent_path(), SyncOf(options));
  PendingFile pending = WritePending(job.result, text, SyncOf(options));
  if (!pending.Commit(options.overwrite)) return Exists(job);
  if (const std::string fault = pending.SyncName(); !fault.empty()) throw Failure(fault, Cause::kDisk);
  return {Status::kCorrected};
}

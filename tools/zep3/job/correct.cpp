// The steps in their order; each may end the job.
#include "job/correct.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "failure.h"
#include "files/output.h"
#include "files/pending_file.h"
#include "interrupt.h"
#include "job/correct_pages.h"
#include "job/finished.h"
#include "job/observe.h"
#include "job/own_sidecar.h"
#include "job/result.h"
#include "opening/scan.h"
#include "saving/check_whole.h"
#include "saving/in_place.h"
#include "told/evidence.h"
#include "told/side_files.h"
#include "told/sidecar.h"

namespace fs = std::filesystem;

namespace {

Outcome IsCorrectedAlready(const InPlace& place) {
  return {Status::kSkipped, place.Backup() + " exists: it is corrected already"};
}

// Writes what is asked for beside a finished result and is not there, by the decision that made it: the same scan by
// the same settings gives the same. Returns what was done, in words.
std::string AddSideFiles(const Job& job, const Options& options) {
  if (!LacksSideFiles(job, options)) return "";
  if (options.dryRun) return "; what tells about it would be written";
  const Scan scan(OriginalOf(job, options), options.admission);
  const CorrectedScan decided = DecidePages(job, scan, options);
  if (IsInterrupted()) throw Failure("interrupted");
  scan.CheckUnchanged();
  std::vector<PendingFile> files = WriteSideFiles(job, options, SyncOf(options), decided.pages, decided.shown);
  for (PendingFile& file : files) file.Commit(true);
  for (const PendingFile& file : files) {
    if (const std::string fault = file.SyncName(); !fault.empty()) throw Failure(fault, Cause::kDisk);
  }
  return "; what tells about it was written";
}

// The outcome of a job whose result is there and stays.
Outcome Stays(const Job& job, const Options& options, const std::optional<InPlace>& place, const Finished& finished) {
  Outcome outcome = place ? IsCorrectedAlready(*place) : Outcome{Status::kSkipped, job.result + " exists"};
  outcome.made = finished.made;
  if (!finished.pages.empty()) outcome.pages = finished.pages;
  outcome.kind = finished.kind;
  if (finished.made == Made::kAsAsked) {
    outcome.message += AddSideFiles(job, options);
    return outcome;
  }
  if (finished.made == Made::kElsewhere) {
    if (job.named) throw Failure(job.result + " exists; --overwrite replaces it");
    outcome.message += "; how it was made is not known";
    return outcome;
  }
  if (finished.made == Made::kOtherScan && !place)
    throw Failure(job.result + " exists, made " + finished.how + "; --overwrite replaces it");
  outcome.message += ", made " + finished.how;
  if (job.named) throw Failure(outcome.message + "; --update makes it again");
  return outcome;
}

Outcome Restore(const Job& job, const Options& options) {
  const InPlace place(job.result, true);
  if (!place.HasOriginal()) return {Status::kSkipped, "no original of it is kept"};
  Outcome outcome = {Status::kPlanned, "would be restored from " + place.Backup()};
  if (options.dryRun) return outcome;
  place.Restore(SyncOf(options));
  return {Status::kRestored};
}

Outcome Done(const CorrectedScan& done) {
  Outcome outcome = {Status::kCorrected, NoticesOf(done.pages)};
  if (done.pages.empty()) outcome.message = "is black and white only; kept as it is";
  if (!done.pages.empty()) outcome.kind = KindName(done.pages.front().correction.record);
  outcome.verdict = WorstVerdict(done.pages);
  outcome.found = SummariesOf(done.pages);
  outcome.pages = AnalysesText(done.pages);
  outcome.frames = done.frames;
  return outcome;
}

// Gives result and side files their names, all or none. False where another run was faster with the result.
bool GiveNames(PendingFile& result, std::vector<PendingFile>& sideFiles, const Options& options,
               const std::optional<InPlace>& place) {
  bool named = false;
  try {
    // Before the result, for a result that exists is not made again.
    for (PendingFile& file : sideFiles) file.CommitForNow();
    named = place ? place->Replace(result, SyncOf(options)) : result.Commit(options.overwrite);
  } catch (...) {
    for (PendingFile& file : sideFiles) file.Withdraw();
    throw;
  }
  if (!named) {
    for (PendingFile& file : sideFiles) file.Withdraw();
  }
  return named;
}

// The way of a job. `place`: in place of the scan, or nothing.
Outcome MakeResult(const Job& job, const Options& options, const std::optional<InPlace>& place) {
  const Scan scan(place && place->HasOriginal() ? place->Backup() : job.scan, options.admission);
  const Format& format = ResultFormat(job, options, scan);
  CheckPages(scan, job, options, format);
  const bool toOutput = job.result == "-";
  if (options.dryRun) {
    Outcome planned = {Status::kPlanned, "would become " + (toOutput ? std::string("standard output") : job.result)};
    planned.pageCount = scan.Pages();
    return planned;
  }

  std::optional<TemporaryFolder> temporary;
  if (toOutput) temporary.emplace();
  const fs::path target = toOutput ? temporary->Path() / "result" : fs::path(job.result);
  const PendingFile::Sync sync = toOutput ? PendingFile::Sync::kNo : SyncOf(options);
  CreateFolders(target.parent_path(), sync);
  PendingFile result(target, sync);
  CorrectedScan done;
  result.Fill([&] {
    done = CorrectPages(job, scan, options, SaveOptionsOf(job, options, format), result, target);
    CheckWhole(result, format);
  });
  if (IsInterrupted()) throw Failure("interrupted");
  if (place && !place->IsUntouched()) return IsCorrectedAlready(*place);
  scan.CheckUnchanged();

  std::vector<PendingFile> sideFiles = WriteSideFiles(job, options, sync, done.pages, done.shown);
  if (toOutput) {
    CopyToStandardOutput(result);
    return Done(done);
  }
  if (place) place->GiveRights(result);
  result.Finish();
  if (IsTaken(job, options)) return Exists(job); // another run was faster: the side files are its own
  if (!GiveNames(result, sideFiles, options, place)) return place ? IsCorrectedAlready(*place) : Exists(job);
  // One folder holds all the files but the report of a run. Not thrown, as an in-place result has replaced the scan by
  // now.
  std::string fault = result.SyncName();
  for (const PendingFile& file : sideFiles) {
    if (fault.empty() && FolderOf(file.Name()) != FolderOf(result.Name())) fault = file.SyncName();
  }
  Outcome outcome = fault.empty() ? Done(done) : Outcome{Status::kFailed, fault};
  if (!fault.empty()) outcome.cause = Cause::kDisk;
  outcome.resultSize = static_cast<int64_t>(result.Size());
  return outcome;
}

} // namespace

Outcome Correct(const Job& job, const Options& options) {
  if (options.restore) return Restore(job, options);
  std::optional<InPlace> place;
  if (options.inPlace) place.emplace(job.result, !options.noBackup);
  if (!place && job.result != "-" && fs::is_directory(job.result)) throw Failure(job.result + " is a folder");
  Options making = options;
  if (place ? place->IsCorrected() && !options.overwrite : IsTaken(job, options)) {
    const Finished finished = LookAtFinished(job, IdentityOfScan(job, options));
    const bool isOlder = finished.made == Made::kOtherSettings || finished.made == Made::kOtherVersion ||
                         finished.made == Made::kOfChangedScan;
    if (!options.update || !isOlder) return Stays(job, options, place, finished);
    making.overwrite = true;
  }
  if (!job.sidecar.empty() && !(place && place->HasOriginal())) CheckIsNoResult(job);
  if (!place) return MakeResult(job, making, std::nullopt);
  try {
    return MakeResult(job, making, place);
  } catch (...) {
    // If another run replaced the scan, we may have read a mix of both files.
    if (!place->IsUntouched()) return IsCorrectedAlready(*place);
    throw;
  }
}

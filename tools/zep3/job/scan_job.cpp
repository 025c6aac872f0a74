// Hands a job to its command; faults become words.
#include "job/scan_job.h"

#include <chrono>
#include <filesystem>
#include <new>
#include <vips/vips8>

#include "failure.h"
#include "interrupt.h"
#include "job/compare.h"
#include "job/correct.h"
#include "job/observe.h"
#include "job/print.h"
#include "log.h"
#include "opening/scan.h"
#include "told/roll_page.h"

namespace {

Outcome Dispatch(const Job& job, const Options& options) {
  if (!job.refusal.empty()) throw Failure(job.refusal);
  switch (options.command) {
    case Command::kAnalyse:
      return PrintAnalysis(job, options);
    case Command::kTables:
      return PrintTables(job, options);
    case Command::kCompare:
      return CompareKinds(job, options);
    case Command::kObserve:
      return ObserveScan(job, options);
    case Command::kOverview: // these read no scan
    case Command::kView:
    case Command::kScan: // makes scans
    case Command::kCorrect:
      break;
  }
  Outcome outcome = Correct(job, options);
  if (options.rollPictures > 0 && outcome.status == Status::kSkipped)
    outcome.frames.push_back(FinishedRollFrame(job, OriginalOf(job, options), options));
  return outcome;
}

} // namespace

Outcome RunJob(const Job& job, const Options& options) {
  const auto begin = std::chrono::steady_clock::now();
  const FileTime scan = IdentityOfScan(job, options);
  Outcome outcome;
  TakeLibraryWarnings(); // those about the scan before
  try {
    outcome = Dispatch(job, options);
  } catch (const Failure& failure) {
    outcome.message = failure.what();
    outcome.cause = failure.Why();
  } catch (const vips::VError& error) {
    outcome.message = LibraryReason(error);
    outcome.cause = Cause::kUnreadable;
  } catch (const std::filesystem::filesystem_error& error) {
    outcome.message = error.path1().string() + ": " + error.code().message();
    outcome.cause = Cause::kDisk;
  } catch (const std::bad_alloc&) {
    outcome.message = "takes more memory than there is, or than --max-memory allows";
  } catch (const std::exception& error) {
    outcome.message = error.what();
  }
  // The scan is named anyway.
  if (outcome.message.starts_with(job.scan + ": ")) outcome.message.erase(0, job.scan.size() + 2);
  if (outcome.status == Status::kFailed && outcome.cause == Cause::kNone) outcome.cause = Cause::kRefused;
  if (IsInterrupted() && outcome.status == Status::kFailed) outcome = {Status::kInterrupted, "interrupted"};
  outcome.size = scan.size;
  outcome.time = scan.time;
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  return outcome;
}

// Every page but black and white ones and thumbnails is a frame.
#include "job/observe.h"

#include <sys/stat.h>

#include "failure.h"
#include "job/decide.h"
#include "job/result.h"
#include "opening/admission.h"
#include "opening/scan.h"
#include "page/analysis.h"
#include "page/encoding.h"
#include "saving/in_place.h"

std::string OriginalOf(const Job& job, const Options& options) {
  if (!options.inPlace) return job.scan;
  const InPlace place(job.result, !options.noBackup);
  return place.HasOriginal() ? place.Backup() : job.scan;
}

bool IsFinishedBefore(const Job& job, const Options& options) {
  if (!options.inPlace) return IsTaken(job, options);
  return !options.overwrite && InPlace(job.result, !options.noBackup).IsCorrected();
}

ObservedScan IdentityOf(const Job& job, const Options& options) {
  struct stat file = {};
  ObservedScan scan;
  scan.name = job.scan;
  if (::stat(SplitOptions(OriginalOf(job, options)).name.c_str(), &file) == 0) {
    scan.bytes = file.st_size;
    scan.seconds = file.st_mtim.tv_sec;
    scan.nanoseconds = file.st_mtim.tv_nsec;
  }
  return scan;
}

FileTime IdentityOfScan(const Job& job, const Options& options) {
  try {
    return job.scan == "-" ? FileTime() : TimeOf(SplitOptions(OriginalOf(job, options)).name);
  } catch (const Failure&) {
    return {}; // what stands in its way is met again, and said
  }
}

Outcome ObserveScan(const Job& job, const Options& options) {
  ObservedScan observed = IdentityOf(job, options);
  const Scan scan(OriginalOf(job, options), options.admission);
  for (int page = 0; page < scan.Pages(); page++) {
    if (scan.IsBilevel(page) || scan.IsReduced(page)) continue;
    const MemoryBound bound(options.admission);
    const vips::VImage image = scan.Open(page);
    const Encoding encoding = EncodingFor(image, options);
    const SmallScan small = MakeSmall(scan, page, image, std::nullopt, nullptr);
    observed.pages.push_back({scan.FilePage(page), Observe(small, options.analysis, encoding)});
  }
  scan.CheckUnchanged();
  Outcome outcome = {Status::kCorrected};
  outcome.text = ObservedScanText(observed);
  return outcome;
}

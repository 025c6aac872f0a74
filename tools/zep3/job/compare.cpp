#include "job/compare.h"

#include <utility>
#include <vector>

#include "failure.h"
#include "job/decide.h"
#include "opening/admission.h"
#include "opening/scan.h"
#include "page/analysis.h"
#include "page/encoding.h"
#include "told/command_words.h"
#include "told/compare_page.h"
#include "told/evidence.h"
#include "told/html.h"
#include "told/report_page.h"

namespace {

constexpr double kSide = 400; // pixels of a picture's longer side

// The first page that has colours or grays.
int PageToCompare(const Scan& scan) {
  for (int page = 0; page < scan.Pages(); page++) {
    if (!scan.IsBilevel(page) && !scan.IsReduced(page)) return page;
  }
  throw Failure("is black and white only; there is nothing to correct");
}

} // namespace

Outcome CompareKinds(const Job& job, const Options& options) {
  const Scan scan(job.scan, options.admission);
  const MemoryBound bound(options.admission);
  const int page = PageToCompare(scan);
  const vips::VImage image = scan.Open(page);
  Options asPage = options;
  asPage.analysis.kind = FindZEP3Kind("document");
  const SmallScan small = MakeSmall(scan, page, image, EncodingFor(image, asPage).input, nullptr);
  std::vector<ComparedResult> results;
  for (int64_t i = 0; const ZEP3_KIND* kind = GetZEP3Kind(i); i++) {
    for (const bool adaptive : {true, false}) {
      Options as = options;
      as.analysis.kind = kind;
      as.analysis.adaptive = adaptive;
      CorrectedPage corrected = FindCorrection(small, as, EncodingFor(image, as));
      corrected.chroma = options.saturation.Of(corrected.chroma);
      const Correction& correction = corrected.correction;
      const int64_t reasons = correction.finding->evidence.lReasons;
      const bool denied = (reasons & (ZEP3_REASON_LOOKS_NEGATIVE | ZEP3_REASON_LOOKS_POSITIVE)) != 0;
      results.push_back({kind->pName, kind->pText, std::string(MethodName(adaptive)),
                         adaptive == (kind->wAdaptive != 0), !denied,
                         correction.verdict == ZEP3_VERDICT_GOOD ? "" : VerdictText(correction),
                         CommandFor(job.scan, options, *kind, adaptive) + (job.scan == "-" ? " -o -" : " -o finished/"),
                         ShownPicture(FinishedSmall(corrected, small), kSide)});
    }
  }
  Outcome outcome = {Status::kCorrected};
  outcome.text = ComparedScan(job.scan, ShownPicture(small.image, kSide), results);
  return outcome;
}

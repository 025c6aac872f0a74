// One page goes straight into the result; of several, each by way of a file of its own.
#include "job/correct_pages.h"

#include <utility>

#include "job/decide.h"
#include "opening/admission.h"
#include "saving/write_page.h"
#include "tiff/tiff_pages.h"
#include "told/roll_page.h"

namespace {

// What the report shows of the page that was decided on last. A part of one that is not held is read by itself.
ShownPage Shown(const Scan& scan, int page, const Options& options, const DecidedPage& decided,
                const CorrectedScan& done) {
  ShownPage shown = {decided.small, std::nullopt};
  if (options.report && WantsPart(decided.small)) {
    const MemoryBound bound(options.admission);
    shown.part = PartOf(decided.held ? decided.source : scan.Open(page), done.pages.back());
  }
  return shown;
}

// Decides on a page, which is then to be read from what is returned. A thumbnail is corrected as the page before it.
vips::VImage TakePage(const Job& job, const Scan& scan, int page, const Options& options,
                      const std::vector<CorrectedPage>& repeated, CorrectedScan& done) {
  if (scan.IsReduced(page) && !done.pages.empty()) return scan.Open(page);
  DecidedPage decided = Decide(scan, page, options, repeated, true);
  done.pages.push_back(std::move(decided.corrected));
  if (options.rollPictures > 0) {
    done.frames.push_back(RollFrame(job, options, done.pages.back(), decided.small, static_cast<size_t>(scan.Pages())));
  }
  if (options.report || (options.overview && done.shown.empty()))
    done.shown.push_back(Shown(scan, page, options, decided, done));
  return decided.source;
}

// Whether the pages of a scan that is no TIFF may take more than a classic one holds. Of those on demand, pages are as
// large as the first, more or less.
bool IsForBigTiff(const Scan& scan) {
  const bool several = scan.Pages() > 1;
  return several && static_cast<double>(VIPS_IMAGE_SIZEOF_IMAGE(scan.Head(0).get_image())) * scan.Pages() >
                        static_cast<double>(kLargestClassic) / 2;
}

} // namespace

CorrectedScan DecidePages(const Job& job, const Scan& scan, const Options& options) {
  const std::vector<CorrectedPage> repeated = RepeatedCorrections(options);
  CorrectedScan done;
  for (int page = 0; page < scan.Pages(); page++) {
    if (!scan.IsBilevel(page)) TakePage(job, scan, page, options, repeated, done);
  }
  return done;
}

CorrectedScan CorrectPages(const Job& job, const Scan& scan, const Options& options, const SaveOptions& save,
                           PendingFile& to, const std::filesystem::path& target) {
  const std::vector<CorrectedPage> repeated = RepeatedCorrections(options);
  const bool tiff = save.format->name == "tiff" && scan.IsTiff();
  TiffPageWriter writer(to, tiff ? scan.Layout(0).big : IsForBigTiff(scan));
  CorrectedScan done;
  for (int page = 0; page < scan.Pages(); page++) {
    if (tiff && scan.IsBilevel(page)) { // nothing to correct: kept as it is stored
      writer.Append(scan.Path(), scan.Place(page), save.strip);
      continue;
    }
    const vips::VImage image = TakePage(job, scan, page, options, repeated, done);
    const CorrectedPage& corrected = done.pages.back();
    if (scan.Pages() == 1) {
      WritePage(scan, page, image, corrected, save, options.quiet, to);
      continue;
    }
    PendingFile single(target, PendingFile::Sync::kNo);
    single.Fill([&] {
      WritePage(scan, page, image, corrected, save, options.quiet, single);
      writer.Append(single, save.strip);
      single.Finish();
    });
  }
  return done;
}

// From file to file where nothing but pixels changes, otherwise through libvips.
#include "saving/write_page.h"

#include "interrupt.h"
#include "page/box_mean.h"
#include "page/encoding.h"
#include "page/finish.h"
#include "saving/progress.h"
#include "tiff/plain_tiff.h"

namespace {

// A plain page to a plain page: pixels go from file to file, all else is carried. False where libvips is needed.
bool RewritePage(const Scan& scan, int page, const vips::VImage& image, const CorrectedPage& corrected,
                 const Scale& scale, const SaveOptions& save, bool quiet, PendingFile& to) {
  const Correction& correction = corrected.correction;
  const bool tiff = save.format->name == "tiff" && scan.IsTiff() && scan.IsPlainFile();
  const bool asIs =
      save.saver.empty() && !save.strip && !corrected.cut && correction.encoding.input == correction.encoding.output;
  if (!tiff || !asIs || !IsValuesAlone(image, corrected)) return false;
  // The shape of this page: a thumbnail, corrected like the page before it, may have another depth.
  const PlainShape shape = ShapeOf(image);
  Progress progress(quiet);
  const auto go = [&](double share) {
    progress.Show(static_cast<int>(100 * share));
    return !IsInterrupted();
  };
  return RewritePlainTiff(scan.Path(), scan.Place(page), to, shape, LinesThroughCorrection(corrected, shape, scale),
                          go);
}

} // namespace

void WritePage(const Scan& scan, int page, const vips::VImage& image, const CorrectedPage& corrected,
               const SaveOptions& save, bool quiet, PendingFile& to) {
  const Prescan& prescan = corrected.correction.prescan;
  const auto ratio = [](int64_t side, int64_t whole) { return static_cast<double>(side) / static_cast<double>(whole); };
  const Scale scale = {ratio(image.width(), prescan.scanWidth), ratio(image.height(), prescan.scanHeight)};
  if (RewritePage(scan, page, image, corrected, scale, save, quiet, to)) return;
  Progress progress(quiet);
  const auto watch = [&](const vips::VImage& watched) { return progress.Watch(watched); };
  const auto correct = [&](const vips::VImage& all) { return ApplyCorrection(all, corrected, scale); };
  const vips::VImage result =
      corrected.cut ? CutOut(image, corrected.cut->Scaled(scale.across, scale.down), correct, watch) : correct(image);
  const Encoding& encoding = corrected.correction.encoding;
  SaveOptions as = save;
  as.recoded = encoding.input != encoding.output;
  Save(watch(FitProfile(result, encoding, corrected.gray && image.bands() >= 3)), scan, page, as, to);
}

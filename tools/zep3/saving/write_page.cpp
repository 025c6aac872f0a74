// From file to file where nothing but pixels changes, otherwise through libvips.
#include "saving/write_page.h"

#include "failure.h"
#include "interrupt.h"
#include "opening/to_rgb.h"
#include "page/box_mean.h"
#include "page/encoding.h"
#include "page/finish.h"
#include "saving/progress.h"
#include "saving/tiff_blocks.h"
#include "tiff/plain_tiff.h"

namespace {

// True when nothing but the values of pixels differs between a TIFF page and its result.
bool IsTiffAsItIs(const Scan& scan, const CorrectedPage& corrected, const SaveOptions& save) {
  const Encoding& encoding = corrected.correction.encoding;
  return save.format->name == "tiff" && scan.IsTiff() && save.saver.empty() && !save.strip && !corrected.cut &&
         encoding.IsKept();
}

// A plain page to a plain page: pixels go from file to file, all else is carried. False where libvips is needed.
bool RewritePage(const Scan& scan, int page, const vips::VImage& image, const CorrectedPage& corrected,
                 const Scale& scale, bool quiet, PendingFile& to) {
  if (!scan.IsPlainFile() || !IsValuesAlone(image, corrected)) return false;
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
  const bool tiffAsItIs = IsTiffAsItIs(scan, corrected, save);
  if (tiffAsItIs && RewritePage(scan, page, image, corrected, scale, quiet, to)) return;
  Progress progress(quiet);
  const auto watch = [&](const vips::VImage& watched) { return progress.Watch(watched); };
  const auto correct = [&](const vips::VImage& all) { return ApplyCorrection(all, corrected, scale); };
  const vips::VImage result =
      corrected.cut ? CutOut(image, corrected.cut->Scaled(scale.across, scale.down), correct, watch) : correct(image);
  if (tiffAsItIs && WriteTiffBlocks(scan, page, watch(result), to)) return;
  const Encoding& encoding = corrected.correction.encoding;
  SaveOptions as = save;
  as.quiet = quiet;
  as.recoded = !encoding.IsKept();
  const bool madeGray = corrected.gray && image.bands() >= 3;
  if (madeGray && save.format->name == "pnm") as.suffix = ".pgm"; // under .ppm libvips would make three channels of it
  const vips::VImage fitted = FitProfile(result, encoding, madeGray);
  const bool ownSpace = corrected.keepSpace && !madeGray;
  if (ownSpace && !HoldsOwnSpace(image, save.format->name))
    throw Failure("its own colours have no place in " + std::string(save.format->name) +
                  ": leave --keep-space out, or take --format tif");
  Save(watch(ownSpace ? FromRgb(fitted) : fitted), scan, page, as, to);
}

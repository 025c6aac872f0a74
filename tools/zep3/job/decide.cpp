// A page is read at most twice: once to be measured, and again where it is too large to be held.
#include "job/decide.h"

#include <tiff.h>

#include <optional>
#include <utility>

#include "failure.h"
#include "opening/to_rgb.h"
#include "page/analysis.h"
#include "page/box_mean.h"
#include "page/encoding.h"
#include "told/sidecar.h"

namespace {

// A sidecar of one page serves all pages; one of several, each its own.
const CorrectedPage& PageOf(const std::vector<CorrectedPage>& sidecar, int page) {
  if (sidecar.size() == 1) return sidecar.front();
  for (const CorrectedPage& corrected : sidecar) {
    if (corrected.page == page) return corrected;
  }
  throw Failure("the sidecar holds nothing for page " + std::to_string(page + 1));
}

// The correction for a page of this size. Where the picture lies is repeated on scans that are as large as the first.
CorrectedPage Repeated(const CorrectedPage& sidecar, const SmallScan& small, const Options& options) {
  CorrectedPage corrected = sidecar;
  Correction& correction = corrected.correction;
  const Prescan& first = correction.prescan;
  if (first.scanWidth != small.scanWidth || first.scanHeight != small.scanHeight) correction.frame.reset();
  if (options.analysis.tablesAlone) correction.paper.reset();
  corrected.ownPaper = Repeat(small, options.user, correction);
  return corrected;
}

// Makes the page small, and keeps it for being read again: in memory, or by opening it a second time.
void Measure(const Scan& scan, int page, const vips::VImage& image, bool again, std::optional<int> detailGamma,
             DecidedPage& decided) {
  vips::VImage held(nullptr);
  decided.small = MakeSmall(scan, page, image, detailGamma, again ? &held : nullptr);
  decided.held = !held.is_null();
  if (again) decided.source = decided.held ? held : scan.Open(page);
}

// Below this confidence a window is more likely none than one, and cutting loses a picture.
constexpr double kCutConfidence = 0.5;

// What is cut out of a page of this size, or why nothing is.
void DecideCut(const CropOptions& options, int64_t width, int64_t height, CorrectedPage& corrected) {
  const Correction& correction = corrected.correction;
  if (correction.frame && correction.frame->confidence >= kCutConfidence) {
    corrected.cut = CutOf(*correction.frame, options, width, height);
  } else if (correction.frame) {
    corrected.uncut = "not cut: it is not sure enough where the picture lies";
  } else {
    corrected.uncut = "not cut: nothing was found around the picture";
  }
}

} // namespace

std::vector<CorrectedPage> RepeatedCorrections(const Options& options) {
  return options.useSidecar.empty() ? std::vector<CorrectedPage>() : ReadSidecar(options.useSidecar);
}

SmallScan MakeSmall(const Scan& scan, int page, const vips::VImage& image, std::optional<int> detailGamma,
                    vips::VImage* held) {
  const auto plain = [&](int64_t side, Detail* detail) {
    if (!scan.IsTiff() || !scan.IsPlainFile()) return vips::VImage(nullptr);
    return BoxMeanOfPlainTiff(scan.Path(), scan.Place(page), ShapeOf(image), ColourBands(image), side, detail);
  };
  const bool decoded = scan.IsTiff() ? scan.Layout(page).compression != COMPRESSION_NONE : scan.Content().name != "pnm";
  return TakePrescan(image, decoded, plain, held, detailGamma);
}

Encoding EncodingFor(const vips::VImage& image, const Options& options) {
  Encoding encoding = FindEncoding(image, options.inputGamma, options.outputGamma);
  encoding.input = ScanGammaFor(options.analysis, encoding.input);
  return encoding;
}

CorrectedPage FindCorrection(const SmallScan& small, const Options& options, const Encoding& encoding) {
  CorrectedPage corrected;
  corrected.correction = Analyse(small, options.analysis, options.user, encoding);
  const Correction& correction = corrected.correction;
  corrected.chroma = correction.paper ? 1 : GetZEP3Chroma(&correction.record.para);
  return corrected;
}

DecidedPage Decide(const Scan& scan, int page, const Options& options, const std::vector<CorrectedPage>& repeated,
                   bool again) {
  const MemoryBound bound(options.admission);
  const vips::VImage image = scan.Open(page);
  DecidedPage decided;
  decided.source = image;
  const CorrectedPage* const sidecar = repeated.empty() ? nullptr : &PageOf(repeated, scan.FilePage(page));
  const Encoding encoding = sidecar != nullptr ? sidecar->correction.encoding : EncodingFor(image, options);
  const bool detailed = sidecar != nullptr ? sidecar->correction.paper.has_value() : IsPageAnalysis(options.analysis);
  Measure(scan, page, image, again, detailed ? std::optional(encoding.input) : std::nullopt, decided);
  CorrectedPage& corrected = decided.corrected;
  if (sidecar == nullptr) {
    corrected = FindCorrection(decided.small, options, encoding);
  } else {
    corrected = Repeated(*sidecar, decided.small, options);
  }
  if (options.gray) SeekPictures(decided.small, corrected.correction);
  decided.small.detail.reset();
  if (options.crop.wanted) DecideCut(options.crop, image.width(), image.height(), corrected);
  corrected.chroma = options.saturation.Of(corrected.chroma);
  corrected.gray = options.gray;
  corrected.converted = ConversionOf(image);
  corrected.keepSpace = options.keepSpace && !corrected.converted.empty();
  if (corrected.keepSpace) corrected.converted += ", and what they were again";
  corrected.page = scan.FilePage(page);
  corrected.bands = image.bands();
  corrected.bits = image.format() == VIPS_FORMAT_USHORT ? 16 : 8;
  return decided;
}

std::vector<CorrectedPage> DecideAll(const Scan& scan, const Options& options) {
  const std::vector<CorrectedPage> repeated = RepeatedCorrections(options);
  std::vector<CorrectedPage> pages;
  for (int page = 0; page < scan.Pages(); page++) {
    if (scan.IsBilevel(page) || scan.IsReduced(page)) continue;
    pages.push_back(Decide(scan, page, options, repeated, false).corrected);
  }
  if (pages.empty()) throw Failure("is black and white only; there is nothing to correct");
  scan.CheckUnchanged();
  return pages;
}

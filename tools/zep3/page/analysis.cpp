// The area and the pipettes on the pre-scan, around the call of the engine.
#include "page/analysis.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>

#include "failure.h"

namespace {

LPOINT ToPrescan(const Position& position, const SmallScan& scan) {
  const auto shrunk = [&](const Length& length, int64_t side) {
    return std::llround(length.Pixels(side) / static_cast<double>(scan.shrink));
  };
  return {shrunk(position.x, scan.scanWidth), shrunk(position.y, scan.scanHeight)};
}

bool Same(const LPOINT& a, const LPOINT& b) { return a.x == b.x && a.y == b.y; }

AREA ToEngineArea(const AreaArgument& argument, const SmallScan& scan) {
  AREA area = {};
  if (argument.corners.empty()) {
    area.ptRight = area.ptBottom = {scan.image.width(), scan.image.height()};
  } else if (argument.corners.size() == 2) {
    area.ptLeft = area.ptTop = ToPrescan(argument.corners[0], scan);
    const LPOINT size = ToPrescan(argument.corners[1], scan);
    area.ptRight = area.ptBottom = {area.ptLeft.x + size.x, area.ptLeft.y + size.y};
  } else {
    std::array<LPOINT, 4> corners;
    std::transform(argument.corners.begin(), argument.corners.end(), corners.begin(),
                   [&](const Position& corner) { return ToPrescan(corner, scan); });
    const auto byX = [](const LPOINT& a, const LPOINT& b) { return a.x < b.x; };
    const auto byY = [](const LPOINT& a, const LPOINT& b) { return a.y < b.y; };
    area.ptLeft = *std::min_element(corners.begin(), corners.end(), byX);
    area.ptRight = *std::max_element(corners.begin(), corners.end(), byX);
    area.ptTop = *std::min_element(corners.begin(), corners.end(), byY);
    area.ptBottom = *std::max_element(corners.begin(), corners.end(), byY);
    // The corners of an upright rectangle share their sides in pairs.
    const bool upright = std::all_of(corners.begin(), corners.end(), [&](const LPOINT& corner) {
      return (corner.x == area.ptLeft.x || corner.x == area.ptRight.x) &&
             (corner.y == area.ptTop.y || corner.y == area.ptBottom.y);
    });
    if (upright) {
      area.ptLeft = area.ptTop = {area.ptLeft.x, area.ptTop.y};
      area.ptRight = area.ptBottom = {area.ptRight.x, area.ptBottom.y};
    } else if (Same(area.ptLeft, area.ptTop) || Same(area.ptLeft, area.ptBottom) || Same(area.ptRight, area.ptTop) ||
               Same(area.ptRight, area.ptBottom)) {
      // One corner in two places would be taken for an upright rectangle.
      throw Failure("the corners of the analysis area make no rectangle");
    }
  }
  return area;
}

// The colour around a position as display levels, before the correction: of a negative, what the inverted scan shows.
// The mean of 3 x 3 pixels of the pre-scan.
std::array<int64_t, 3> Pick(const LinearPixels& pixels, const Position& position, const SmallScan& scan,
                            ZEP3_PARA& para) {
  const LPOINT at = {static_cast<int64_t>(std::floor(position.x.Pixels(scan.scanWidth))),
                     static_cast<int64_t>(std::floor(position.y.Pixels(scan.scanHeight)))};
  if (at.x < 0 || at.y < 0 || at.x >= scan.scanWidth || at.y >= scan.scanHeight) {
    throw Failure("the pipette at " + std::to_string(at.x) + "," + std::to_string(at.y) + " lies outside of " +
                  std::to_string(scan.scanWidth) + " x " + std::to_string(scan.scanHeight) + " pixels");
  }
  const int64_t column = std::min(at.x / scan.shrink, pixels.width - 1);
  const int64_t line = std::min(at.y / scan.shrink, pixels.height - 1);
  std::array<double, 3> sum = {};
  int count = 0;
  for (int64_t y = std::max<int64_t>(line - 1, 0); y <= std::min(line + 1, pixels.height - 1); y++) {
    for (int64_t x = std::max<int64_t>(column - 1, 0); x <= std::min(column + 1, pixels.width - 1); x++) {
      for (size_t c = 0; c < 3; c++) sum[c] += pixels.At(x, y)[c];
      count++;
    }
  }
  std::array<int64_t, 3> colour;
  for (size_t c = 0; c < 3; c++) {
    const int64_t level16 = std::llround(257 * sum[c] / count);
    colour[c] = std::llround(static_cast<double>(ValueOfScreenGammaConv(level16, &para)) / 257);
  }
  return colour;
}

std::string Text(const std::array<int64_t, 3>& colour) {
  return std::to_string(colour[0]) + "," + std::to_string(colour[1]) + "," + std::to_string(colour[2]);
}

void ApplyGrayPipette(std::array<int64_t, 3> colour, int64_t strength, ZEP3_PARA& para) {
  GetGrayBalance(&para, {colour[0], colour[1], colour[2], strength});
  for (const ZEP3_POINTS& points : para.ic.ch) {
    if (points.lHlIn == INT32_MIN || points.lSdIn == INT32_MIN) {
      throw Failure("the gray pipette's colour " + Text(colour) + " is too dark to be made gray");
    }
  }
}

void ApplyGammaPipette(std::array<int64_t, 3> colour, ZEP3_PARA& para) {
  const ZEP3_IC before = para.ic;
  GetGamma(colour.data(), &para);
  const bool moved = !std::equal(std::begin(before.ch), std::end(before.ch), std::begin(para.ic.ch),
                                 [](const ZEP3_POINTS& a, const ZEP3_POINTS& b) { return a.lGamma == b.lGamma; });
  const bool neutral = colour[0] == colour[1] && colour[1] == colour[2];
  if (!moved && !neutral) {
    throw Failure("the gamma pipette's colour " + Text(colour) + " lies outside of what all three channels reach");
  }
}

// What only the adaptive analysis looks for. It may also find nothing.
ZEP3_EVIDENCE WindowAlone(const ZEP3_BmpInfo& bmp, Record record, std::array<double, 9> matrix) {
  ZEP3_BmpInfo same = bmp;
  ZEP3_EVIDENCE evidence = {};
  ZEP3Adaptive(&same, &record.para, matrix.data(), &evidence);
  return evidence;
}

void ApplyUserOptions(const UserOptions& user, Record& record) {
  ZEP3_IC& ic = record.para.ic;
  ic.lBrightness = user.brightness.value_or(ic.lBrightness);
  ic.lContrast = user.contrast.value_or(ic.lContrast);
  if (user.balance) {
    ic.lColorBalanceR = (*user.balance)[0];
    ic.lColorBalanceG = (*user.balance)[1];
    ic.lColorBalanceB = (*user.balance)[2];
  }
  if (user.masterCurve) record.master = *user.masterCurve;
  for (size_t c = 0; c < 3; c++) {
    if (user.channelCurves[c]) record.rgb[c] = *user.channelCurves[c];
  }
}

bool ChangesAnything(const UserOptions& user) {
  const bool curves = user.masterCurve || user.channelCurves[0] || user.channelCurves[1] || user.channelCurves[2];
  return user.brightness || user.contrast || user.balance || curves;
}

// The verdict of the library on the whole correction, with its reasons.
void Judge(const ZEP3_BmpInfo& bmp, Correction& correction) {
  ZEP3_EVIDENCE evidence = correction.finding ? correction.finding->evidence : ZEP3_EVIDENCE();
  const double* matrix = correction.matrix ? correction.matrix->data() : nullptr;
  if (!JudgeZEP3(&bmp, &correction.record.para, matrix, &evidence)) throw Failure("not enough memory for the verdict");
  correction.verdict = evidence.lVerdict;
  if (correction.finding) correction.finding->evidence = evidence;
}

ZEP3_BmpInfo ImageOf(LinearPixels& pixels, const AREA& area) {
  ZEP3_BmpInfo bmp;
  SetZEP3Image(&bmp, pixels.bytes.data(), pixels.width, pixels.height, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
  bmp.area = area;
  return bmp;
}

} // namespace

Correction Analyse(const SmallScan& scan, const AnalysisOptions& analysis, const UserOptions& user,
                   const Encoding& encoding) {
  Correction correction;
  correction.encoding = encoding;
  correction.matrix = analysis.matrix;
  LinearPixels pixels = ToLinear(scan, encoding.input);

  ZEP3_PARA& para = correction.record.para;
  SetZEP3Kind(&para, analysis.kind->pName);
  para.wDocOption = analysis.plain ? ZEP3_OPTION_PLAIN : ZEP3_OPTION_NORMAL;
  para.lScreenGamma = encoding.output;
  para.lCorrectLevel = analysis.level;
  para.lAgainstLight = analysis.backlight;

  ZEP3_BmpInfo bmp = ImageOf(pixels, ToEngineArea(analysis.area, scan));
  // Colour negatives need a matrix; where the user has none, the film's own contrasts stand.
  std::array<double, 9> matrix = analysis.matrix.value_or(std::array<double, 9>{1, 0, 0, 0, 1, 0, 0, 0, 1});
  Finding& finding = correction.finding.emplace();
  finding.adaptive = analysis.adaptive.value_or(analysis.kind->wAdaptive != 0);
  const bool windowAlone = analysis.window && !finding.adaptive && analysis.kind->wAdaptive != 0;
  const ZEP3_EVIDENCE window = windowAlone ? WindowAlone(bmp, correction.record, matrix) : ZEP3_EVIDENCE();
  const int found =
      finding.adaptive ? ZEP3Adaptive(&bmp, &para, matrix.data(), &finding.evidence) : ZEP3(&bmp, &para, matrix.data());
  if (!found) {
    const char* why = CheckZEP3(ZEP3_CALL_ANALYSE, &bmp, &para, matrix.data());
    throw Failure(why != nullptr ? why : "not enough memory for the analysis");
  }
  correction.frame = analysis.area.corners.empty() ? FrameOf(windowAlone ? window : finding.evidence, scan.shrink)
                                                   : FrameOf(analysis.area, scan.scanWidth, scan.scanHeight);
  ApplyUserOptions(user, correction.record);
  if (analysis.grayPipette) {
    ApplyGrayPipette(Pick(pixels, analysis.grayPipette->at, scan, para), analysis.grayPipette->strength, para);
  }
  if (analysis.gammaPipette) ApplyGammaPipette(Pick(pixels, analysis.gammaPipette->at, scan, para), para);
  correction.verdict = finding.evidence.lVerdict;
  const bool changed = ChangesAnything(user) || analysis.grayPipette || analysis.gammaPipette;
  if (changed || correction.verdict == ZEP3_VERDICT_NONE) Judge(bmp, correction);
  correction.prescan = Describe(scan, pixels, bmp.area);
  return correction;
}

void Repeat(const SmallScan& scan, const UserOptions& user, Correction& correction) {
  LinearPixels pixels = ToLinear(scan, correction.encoding.input);
  const AREA whole = ToEngineArea({}, scan);
  ApplyUserOptions(user, correction.record);
  Judge(ImageOf(pixels, whole), correction);
  correction.prescan = Describe(scan, pixels, whole);
}

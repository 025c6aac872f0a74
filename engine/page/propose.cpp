#include "engine/page/propose.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine/adaptive/confidence.h"
#include "engine/common/convert.h"
#include "engine/common/power_curve.h"
#include "engine/common/record.h"
#include "engine/image/pixels.h"
#include "engine/page/figures.h"
#include "engine/page/ground.h"
#include "engine/page/histogram.h"
#include "engine/page/light.h"
#include "engine/page/paper.h"
#include "engine/page/sheet.h"
#include "engine/page/surface.h"

namespace page {
namespace {

// A piece of a pre-scan with what its means hide.
struct Piece {
  int left = 0, top = 0;
  Planes planes;
  std::vector<uint8_t> mean; // R G B line by line, where the image has another order
};

// What the analysis area's upright outline holds, from a corner of a cell of the image on. Null without a cell.
Piece Cut(const ZEP3_BmpInfo& image, const ZEP3_DETAIL* detail) {
  const auto within = [](int64_t v, int64_t most) { return static_cast<int>(std::clamp<int64_t>(v, 0, most)); };
  const auto toCell = [](int v) { return (v + kCell - 1) / kCell * kCell; };
  Piece piece;
  Planes& planes = piece.planes;
  piece.left = toCell(within(image.area.ptLeft.x, image.lWidth));
  piece.top = toCell(within(image.area.ptTop.y, image.lHeight));
  planes.width = within(image.area.ptRight.x, image.lWidth) - piece.left;
  planes.height = within(image.area.ptBottom.y, image.lHeight) - piece.top;
  if (planes.width < kCell || planes.height < kCell) return {};
  const PixelLayout layout = LayoutOf(image);
  const auto line = [&](int y) {
    return image.pBits + (piece.top + y) * image.lBytesPerLine + int64_t{piece.left} * layout.samples;
  };
  if (layout == kRgb) {
    planes.mean = line(0);
    planes.meanLine = image.lBytesPerLine;
  } else {
    planes.meanLine = int64_t{3} * planes.width;
    piece.mean.resize(static_cast<size_t>(planes.meanLine) * static_cast<size_t>(planes.height));
    planes.mean = piece.mean.data();
    uint8_t* to = piece.mean.data();
    for (int y = 0; y < planes.height; y++) {
      const uint8_t* pixel = line(y);
      for (int x = 0; x < planes.width; x++, pixel += layout.samples, to += 3) {
        to[0] = pixel[layout.red];
        to[1] = pixel[layout.green];
        to[2] = pixel[layout.blue];
      }
    }
  }
  if (detail != nullptr) {
    const int64_t first = piece.top * image.lWidth + piece.left;
    planes.darkest = detail->pDarkest == nullptr ? nullptr : detail->pDarkest + 3 * first;
    planes.deviation = detail->pDeviation == nullptr ? nullptr : detail->pDeviation + first;
    planes.detailLine = image.lWidth;
  }
  return piece;
}

// A shadow point, as a share of the highlight's level, and a gamma, with which the curve of a channel takes a veil off
// and darkens by a power: light v becomes ((v - veil) / (1 - veil))^power. The curve meets that at the shadow output
// and half way up.
struct Shadow {
  double in; // display level of gamma 2.2, paper 1
  double gamma;
};

constexpr double kShadowOut = 10.0; // linear level

Shadow ShadowOf(double veil, double power) {
  const auto linearOf = [](double level) { return 255.0 * std::pow(level, kGamma / 1.8); };
  const auto inputOf = [&](double out) { return WithVeil(std::pow(Light(out), 1.0 / power), veil); };
  const double in = inputOf(kShadowOut);
  constexpr double kHalfWay = 110.0; // linear level
  const double half = linearOf(inputOf(kHalfWay));
  double least = 0.3, most = 4.0;
  for (int i = 0; i < 40; i++) {
    const double gamma = 0.5 * (least + most);
    const PowerCurve curve = MatchCurve(linearOf(in), 255.0, 255.0 / kShadowOut, 255.0, gamma, NearOffset::kFloor);
    (curve.At(half) < kHalfWay ? least : most) = gamma;
  }
  return {in, 0.5 * (least + most)};
}

// ZEP3_PARA's scale before it is converted to the display gamma, of a level of gamma 2.2.
int64_t PointOf(double level) { return ClampToLevel16(255.0 * std::pow(level, kGamma / 1.8)); }

// The paper's colour: medians over the cells where it is seen.
Colour PaperOf(const Surface& surface, const Mask& known) {
  std::array<Histogram, 3> levels = {Histogram(0.0F, 1.0F), Histogram(0.0F, 1.0F), Histogram(0.0F, 1.0F)};
  for (size_t i = 0; i < known.Size(); i++) {
    if (known.cells[i] == 0) continue;
    for (size_t c = 0; c < 3; c++) levels[c].Add(surface.level.cells[i][c]);
  }
  Colour paper = {};
  for (size_t c = 0; c < 3; c++) paper[c] = static_cast<float>(levels[c].Percentile(50.0));
  return paper;
}

// Whether the sheet is dyed, not yellowed, stained or lit by a coloured lamp.
bool IsDyed(const Lie& lie, const Colour& sheet) {
  if (lie.tint > kDyedSpread) return false;
  const auto ln = [&](size_t c) { return std::log(static_cast<double>(std::max(sheet[c], kDarkest))); };
  const double red = ln(0) - ln(1), green = ln(1) - ln(2);
  const double tint = std::max({ln(0), ln(1), ln(2)}) - std::min({ln(0), ln(1), ln(2)});
  if (red > 0.0 && green > 0.0) return tint > kDyedWarm && red < kDyedYellow * green;
  return tint > kDyed || std::fabs(red - green) > kDyedOffLamps;
}

// Whether pictures and boxes have colours of their own, beside the sheet's that lies in all of them: what is gray on a
// dyed sheet was printed in black.
bool AreObjectsColoured(const Ground& ground, const Paper& paper, const Surface& surface) {
  Histogram tints(0.0F, 1.0F);
  for (size_t i = 0; i < paper.object.Size(); i++) {
    if (paper.object.cells[i] == 0) continue;
    Colour d = ground.ln.cells[i];
    for (size_t c = 0; c < 3; c++) d[c] -= std::log(std::max(surface.level.cells[i][c], kDarkest));
    tints.Add(std::max({d[0], d[1], d[2]}) - std::min({d[0], d[1], d[2]}));
  }
  return tints.ShareAbove(kObjectsTint) > kObjectsTinted;
}

// How sure it is that the paper is what was taken for it: by the share of the page, less where that is noisy.
double ConfidenceOf(const Figures& figures) {
  const double share = Ramp(figures.known, kPaperLeast, kPaperSure);
  return kConfidenceLeast + (kConfidenceMost - kConfidenceLeast) * share;
}

// To 2^-13 of a gain, a thirtieth of a level of 8 bits at white. So few bits that a surface is written down in little
// room, and every processor has the same. A gain is above 0: rounding its bits rounds it, also across a power of 2.
float Rounded(double gain) {
  constexpr uint64_t kDropped = uint64_t{1} << (52 - 12); // of the 52 bits behind the highest, 12 stay
  uint64_t bits = 0; // by memcpy: not every library that this is built with has std::bit_cast
  std::memcpy(&bits, &gain, sizeof bits);
  bits = (bits + kDropped / 2) & ~(kDropped - 1);
  std::memcpy(&gain, &bits, sizeof gain);
  return static_cast<float>(gain);
}

// To what a level of gamma 2.2 is raised for a value of another gamma, tenths.
double PowerFor(int64_t gamma) { return kGamma / (static_cast<double>(gamma) / 10.0); }

void WriteSurface(const Piece& piece, const Surface& surface, const Figures& figures, bool reverse, double reference,
                  ZEP3_SURFACE& out) {
  const auto cells = static_cast<int64_t>(surface.level.Size());
  out.lFound = reverse ? ZEP3_SURFACE_REVERSE : ZEP3_SURFACE_PAPER;
  out.lLeft = piece.left * out.lSide;
  out.lTop = piece.top * out.lSide;
  out.lSide *= kCell;
  out.lColumns = surface.level.columns;
  out.lRows = surface.level.rows;
  const double toScan = PowerFor(out.lScanGamma);
  const auto gain = [&](double v) { return Rounded(toScan == 1.0 ? v : std::pow(v, toScan)); };
  for (int64_t i = 0; i < cells; i++) {
    const auto at = static_cast<size_t>(i);
    const Colour& level = surface.level.cells[at];
    ZEP3_CELL& cell = out.pCells[i];
    for (size_t c = 0; c < 3; c++) {
      cell.fGain[c] =
          reverse ? gain(std::clamp(reference / static_cast<double>(Mean(level)), kReverseGainLeast, kReverseGainMost))
                  : gain(1.0 / (static_cast<double>(std::max(level[c], kSurfaceLeast)) * figures.centre));
    }
    cell.lLies = reverse ? 0U
                         : (surface.strokes.cells[at] != 0 ? uint32_t{ZEP3_CELL_STROKES} : 0U) |
                               (surface.whiten.cells[at] != 0 ? uint32_t{ZEP3_CELL_WHITEN} : 0U);
  }
}

} // namespace

std::optional<Checks> Propose(const ZEP3_BmpInfo& image, const Request& request, ZEP3_PARA& para,
                              ZEP3_EVIDENCE& evidence, Measured& measured) {
  const Piece piece = Cut(image, request.detail);
  const Planes& planes = piece.planes;
  if (planes.mean == nullptr) return std::nullopt;
  const Levels levels;
  const Ground ground = FindGround(planes, levels);
  const Paper paper = FindPaper(ground);
  const Surface surface = MeasureSurface(planes, levels, ground, paper);
  const Figures figures = MeasureFigures(planes, levels, ground, paper, surface);
  const Lie lie = HowItLies(ground, paper, surface);
  const Colour sheet = PaperOf(surface, paper.known);

  PageEvidence& seen = measured.page;
  const auto share = [](double v) { return std::clamp(v, 0.0, 1.0); };
  seen.paper = figures.known;
  seen.objects = figures.objects;
  for (size_t c = 0; c < 3; c++) seen.sheet[c] = 255.0 * static_cast<double>(sheet[c]);
  seen.uneven = lie.uneven;
  seen.noise = share(figures.noise);
  seen.deep = share(figures.deep);
  seen.strokes = share(figures.strokes);
  seen.darkest = share(figures.darkest);
  const auto reason = [&](bool so, int64_t bit) { evidence.lReasons |= so ? bit : 0; };
  if (!HasPaper(figures) || paper.leak > kLeakMost || !LiesAsSheetsDo(lie, ground.reverse)) {
    evidence.lReasons |= ZEP3_REASON_NO_PAPER;
    return std::nullopt;
  }
  const float lightest = std::max({sheet[0], sheet[1], sheet[2]});
  const bool coloured = IsDyed(lie, sheet);
  reason(seen.uneven > kUnevenTold, ZEP3_REASON_UNEVEN_LIGHT);
  reason(coloured && !ground.reverse, ZEP3_REASON_COLOURED_SHEET);
  reason(ground.reverse, ZEP3_REASON_REVERSE);
  reason(!ground.reverse && figures.deep > kShowThroughTold, ZEP3_REASON_SHOW_THROUGH);
  reason(!ground.reverse && figures.strokes > kWeakInkTold, ZEP3_REASON_WEAK_INK);
  reason(figures.objects > kObjectsTold, ZEP3_REASON_PICTURES_KEPT);

  evidence.lAnalysis = ZEP3_ANALYSIS_PAGE;
  const Checks checks = CheckResult(figures);
  evidence.dConfidence = ConfidenceOf(figures);
  if ((checks.failed | checks.mended) != 0) evidence.dConfidence = AfterFailedCheck(evidence.dConfidence);
  para.ic.wHlCurveType = ZEP3_HL_HARD_CLIP;
  para.ic.wSdCurveType = ZEP3_SD_HARD_CLIP;
  para.lSaturation = 0;
  const Shadow strokes = ground.reverse ? ShadowOf(0.0, 1.0) : ShadowOf(figures.strokesVeil, figures.strokesPower);
  const Shadow objects = ShadowOf(ground.reverse ? 0.0 : figures.veil, 1.0);
  const bool keepsColour = para.wSubMode == ZEP3_SUB_DOCUMENT && coloured;
  const double grain = std::min(1.0 - figures.whiteTo, kGrainByTables);
  for (size_t c = 0; c < 3; c++) {
    const double own = static_cast<double>(keepsColour ? lightest : sheet[c]);
    const double white = ground.reverse ? 1.0 : std::clamp(own * figures.centre * (1.0 - grain), 0.05, 1.0);
    para.ic.ch[c] = {PointOf(white), PointOf(white * strokes.in), ToLevel16(255.0), ToLevel16(kShadowOut),
                     std::llround(100.0 * strokes.gamma)};
  }
  if (request.surface != nullptr && figures.washed <= kWashedMost) {
    ZEP3_SURFACE& out = *request.surface;
    const double reference = ground.reverse ? static_cast<double>(Mean(sheet)) : 1.0;
    WriteSurface(piece, surface, figures, ground.reverse, reference, out);
    const double toDisplay = PowerFor(para.lScreenGamma);
    for (size_t c = 0; c < 3; c++) {
      const double level = static_cast<double>(sheet[c]) * figures.centre * (1.0 - grain);
      out.dPaper[c] = ground.reverse ? 1.0 : std::pow(std::clamp(level, 0.05, 1.0), toDisplay);
    }
    out.dObjectShadow = std::pow(objects.in / strokes.in, toDisplay);
    out.dObjectGamma = objects.gamma / strokes.gamma;
    const bool tinted = para.wSubMode == ZEP3_SUB_BACKGROUND_REMOVAL && coloured && !ground.reverse &&
                        AreObjectsColoured(ground, paper, surface);
    const double toScan = PowerFor(out.lScanGamma);
    for (size_t c = 0; c < 3; c++) {
      out.dObjectTint[c] = tinted ? std::pow(static_cast<double>(sheet[c] / lightest), toScan) : 1.0;
    }
    // On paper of 1 before the veil is taken off.
    out.dWhiteFrom = std::pow(WithVeil(LightOf(figures.whiteFrom), figures.strokesVeil), toScan);
    out.dWhiteTo = std::pow(WithVeil(LightOf(figures.whiteTo), figures.strokesVeil), toScan);
  }
  return checks;
}

} // namespace page

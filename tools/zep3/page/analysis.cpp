// The area and the pipettes on the pre-scan, around the call of the engine.
#include "page/analysis.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include "engine/common/record.h"
#include "failure.h"
#include "page/marker.h"
#include "page/scan_values.h"

namespace {

constexpr double kLinearGamma = ZEP3_GAMMA_LINEAR_LEVELS;

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
// The mean of 3 x 3 pixels of the pre-scan. On a page, what its tables get.
std::array<int64_t, 3> Pick(const LinearPixels& pixels, const Position& position, const SmallScan& scan,
                            Correction& correction) {
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
  ZEP3_PARA& para = correction.record.para;
  std::array<double, 3> evened = {1, 1, 1};
  if (correction.paper) {
    // Values times gain times the paper's display level, all as linear levels.
    const ZEP3_SURFACE& figures = correction.paper->figures;
    const auto gain = correction.paper->GainAt(static_cast<double>(at.x) + 0.5, static_cast<double>(at.y) + 0.5);
    for (size_t c = 0; c < 3; c++) {
      evened[c] = std::pow(gain[c], static_cast<double>(figures.lScanGamma) / kLinearGamma) *
                  std::pow(figures.dPaper[c], static_cast<double>(para.lScreenGamma) / kLinearGamma);
    }
  }
  std::array<int64_t, 3> colour;
  for (size_t c = 0; c < 3; c++) {
    const int64_t level16 = std::llround(257 * std::min(evened[c] * sum[c] / count, 255.0));
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

// The library sees one scan, which does not show that its roll is mixed.
void SetVerdict(int64_t found, Correction& correction) {
  const bool mixed = correction.finding && correction.finding->mixedRoll;
  correction.verdict = mixed ? std::max(found, int64_t{ZEP3_VERDICT_LOOK}) : found;
}

// The verdict of the library on the whole correction, with its reasons.
void Judge(const ZEP3_BmpInfo& bmp, Correction& correction) {
  ZEP3_EVIDENCE evidence = correction.finding ? correction.finding->evidence : ZEP3_EVIDENCE();
  const double* matrix = correction.matrix ? correction.matrix->data() : nullptr;
  if (!JudgeZEP3(&bmp, &correction.record.para, matrix, &evidence)) throw Failure("not enough memory for the verdict");
  SetVerdict(evidence.lVerdict, correction);
  if (correction.finding) correction.finding->evidence = evidence;
}

ZEP3_BmpInfo ImageOf(LinearPixels& pixels, const AREA& area) {
  ZEP3_BmpInfo bmp;
  SetZEP3Image(&bmp, pixels.bytes.data(), pixels.width, pixels.height, 0, ZEP3_PIXEL_RGB, ZEP3_BITS_8);
  bmp.area = area;
  return bmp;
}

// The analysis of a page; the paper, where there is one.
bool AnalysePage(ZEP3_BmpInfo bmp, const SmallScan& scan, ZEP3_PARA& para, ZEP3_EVIDENCE& evidence,
                 std::optional<PaperSurface>& paper) {
  PaperSurface surface;
  surface.cells.resize(static_cast<size_t>(GetZEP3SurfaceRoom(bmp.lWidth, bmp.lHeight)));
  surface.figures.lScanGamma = scan.detail->gamma;
  surface.figures.lWidth = scan.scanWidth;
  surface.figures.lHeight = scan.scanHeight;
  surface.figures.lSide = scan.shrink;
  const ZEP3_DETAIL detail = scan.detail->Record();
  ZEP3_SURFACE record = surface.Record();
  paper.reset();
  if (!ZEP3Page(&bmp, &para, &detail, &record, &evidence)) return false;
  if (record.lFound == ZEP3_SURFACE_NONE) return true;
  surface.figures = record;
  surface.cells.resize(static_cast<size_t>(record.lColumns * record.lRows));
  paper = std::move(surface);
  return true;
}

// Whether this page has paper where the surface has it: its lightest pixels there, or beside, come out as paper, but
// for some below large letters. Where a picture lies, they do not.
bool LiesOnPaper(const PaperSurface& surface, const SmallScan& scan, const LinearPixels& pixels) {
  constexpr double kNear = 0.15;    // of the paper's value
  constexpr double kCovered = 0.01; // of the cells
  const double shrink = 1 / static_cast<double>(scan.shrink);
  const PaperSurface small = surface.Scaled(pixels.width, pixels.height, shrink, shrink);
  const ZEP3_SURFACE& figures = small.figures;
  const std::array<double, 256> values = ScanValues(figures);
  // Of each cell the lightest pixel, over paper.
  struct Lightest {
    double sum = 0;
    std::array<double, 3> overPaper = {};
  };
  std::vector<Lightest> cells(small.cells.size());
  const auto columns = static_cast<size_t>(figures.lColumns), rows = static_cast<size_t>(figures.lRows);
  for (size_t i = 0; i < cells.size(); i++) {
    const int64_t left = figures.lLeft + static_cast<int64_t>(i % columns) * figures.lSide;
    const int64_t top = figures.lTop + static_cast<int64_t>(i / columns) * figures.lSide;
    for (int64_t y = top; y < std::min(top + figures.lSide, pixels.height); y++) {
      for (int64_t x = left; x < std::min(left + figures.lSide, pixels.width); x++) {
        const uint8_t* pixel = pixels.At(x, y);
        const double sum = pixel[0] + pixel[1] + pixel[2];
        if (sum <= cells[i].sum) continue;
        cells[i].sum = sum;
        for (size_t c = 0; c < 3; c++) {
          cells[i].overPaper[c] = values[pixel[c]] * static_cast<double>(small.cells[i].fGain[c]);
        }
      }
    }
  }
  const auto isPaper = [&](const Lightest& cell) {
    return std::all_of(cell.overPaper.begin(), cell.overPaper.end(),
                       [](double value) { return std::abs(value - 1) < kNear; });
  };
  double looked = 0, missed = 0;
  for (size_t i = 0; i < cells.size(); i++) {
    if ((small.cells[i].lLies & ZEP3_CELL_STROKES) == 0) continue;
    bool paper = false; // here or beside, as below text
    const size_t row = i / columns, column = i % columns;
    for (size_t r = row - std::min<size_t>(row, 1); r <= std::min(row + 1, rows - 1); r++) {
      for (size_t c = column - std::min<size_t>(column, 1); c <= std::min(column + 1, columns - 1); c++) {
        paper = paper || isPaper(cells[r * columns + c]);
      }
    }
    looked++;
    if (!paper) missed++;
  }
  return missed <= kCovered * looked;
}

// The paper of this scan, for a correction that was found on another.
std::string RepeatPaper(const ZEP3_BmpInfo& bmp, const SmallScan& scan, const LinearPixels& pixels,
                        Correction& correction) {
  const PaperSurface first = *correction.paper;
  const auto size = [](int64_t width, int64_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
  };
  std::string why;
  if (first.figures.lWidth != scan.scanWidth || first.figures.lHeight != scan.scanHeight) {
    why = "the sidecar's surface is for " + size(first.figures.lWidth, first.figures.lHeight) +
          " pixels, this scan has " + size(scan.scanWidth, scan.scanHeight);
  } else if (!first.cells.empty()) {
    if (LiesOnPaper(first, scan, pixels)) return "";
    why = "the sidecar's surface lies on other things than paper here";
  }
  Record own;
  own.para.wDocType = correction.record.para.wDocType;
  own.para.wSubMode = correction.record.para.wSubMode;
  own.para.lScreenGamma = correction.record.para.lScreenGamma;
  ZEP3_EVIDENCE evidence;
  if (!AnalysePage(bmp, scan, own.para, evidence, correction.paper))
    throw Failure("not enough memory for the analysis");
  if (correction.paper && correction.paper->figures.lFound != first.figures.lFound) correction.paper.reset();
  if (!correction.paper) return (why.empty() ? "" : why + "; ") + "no paper was found: not evened";
  ZEP3_SURFACE& figures = correction.paper->figures;
  std::copy(std::begin(first.figures.dPaper), std::end(first.figures.dPaper), figures.dPaper);
  std::copy(std::begin(first.figures.dObjectTint), std::end(first.figures.dObjectTint), figures.dObjectTint);
  figures.dObjectShadow = first.figures.dObjectShadow;
  figures.dObjectGamma = first.figures.dObjectGamma;
  figures.dWhiteFrom = first.figures.dWhiteFrom;
  figures.dWhiteTo = first.figures.dWhiteTo;
  return why.empty() ? "" : why + "; evened by its own";
}

// Colour negatives need a matrix; where the user has none, the film's own contrasts stand.
std::array<double, 9> MatrixOf(const AnalysisOptions& analysis) {
  return analysis.matrix.value_or(std::array<double, 9>{1, 0, 0, 0, 1, 0, 0, 0, 1});
}

void SetKind(const AnalysisOptions& analysis, ZEP3_PARA& para) {
  SetZEP3Kind(&para, analysis.kind->pName);
  para.wDocOption = analysis.plain ? ZEP3_OPTION_PLAIN : ZEP3_OPTION_NORMAL;
}

// Throws what the engine says of its arguments.
[[noreturn]] void RefuseAnalysis(const ZEP3_BmpInfo& bmp, const ZEP3_PARA& para, const std::array<double, 9>& matrix) {
  const char* why = CheckZEP3(ZEP3_CALL_ANALYSE, &bmp, &para, matrix.data());
  throw Failure(why != nullptr ? why : "not enough memory for the analysis");
}

// The smallest picture that the engine takes, for questions that have nothing to do with a picture.
struct AnyPicture {
  static constexpr int64_t kSide = 16;
  LinearPixels pixels = {std::vector<uint8_t>(3 * kSide * kSide, 128), kSide, kSide};
  ZEP3_BmpInfo bmp = ImageOf(pixels, {{0, 0}, {0, 0}, {kSide, kSide}, {kSide, kSide}}); // all of it
};

// What the engine's reasons say of a page of a roll.
Member MemberOf(const AnalysisOptions& analysis, const ZEP3_EVIDENCE& evidence) {
  if (!analysis.roll) return Member::kNone;
  if (!analysis.shared) return Member::kSingle;
  if ((evidence.lReasons & ZEP3_REASON_SHARED) != 0) return Member::kShared;
  return (evidence.lReasons & ZEP3_REASON_ODD) != 0 ? Member::kOdd : Member::kBlank;
}

} // namespace

bool IsPageAnalysis(const AnalysisOptions& analysis) {
  Record record;
  SetZEP3Kind(&record.para, analysis.kind->pName);
  return analysis.adaptive.value_or(analysis.kind->wAdaptive != 0) && !analysis.plain && IsPage(record.para);
}

bool CanShare(const AnalysisOptions& analysis) {
  AnyPicture any;
  Record record;
  SetKind(analysis, record.para);
  ZEP3_OBSERVATION seen;
  return ObserveZEP3(&any.bmp, &record.para, MatrixOf(analysis).data(), &seen) == 1;
}

bool IsUsable(const AnalysisOptions& analysis, const ZEP3_SHARED& shared) {
  AnyPicture any;
  Record record;
  SetKind(analysis, record.para);
  return ZEP3Shared(&any.bmp, &record.para, MatrixOf(analysis).data(), &shared, nullptr) == 1;
}

int ScanGammaFor(const AnalysisOptions& analysis, int gamma) {
  Record record;
  SetKind(analysis, record.para);
  const bool adaptive = analysis.adaptive.value_or(analysis.kind->wAdaptive != 0);
  return static_cast<int>(GetZEP3ScanGamma(gamma, adaptive, &record.para));
}

ZEP3_OBSERVATION Observe(const SmallScan& scan, const AnalysisOptions& analysis, const Encoding& encoding) {
  LinearPixels pixels = ToLinear(scan, encoding.input);
  const ZEP3_BmpInfo bmp = ImageOf(pixels, ToEngineArea(analysis.area, scan));
  Record record;
  SetKind(analysis, record.para);
  std::array<double, 9> matrix = MatrixOf(analysis);
  ZEP3_OBSERVATION seen;
  if (!ObserveZEP3(&bmp, &record.para, matrix.data(), &seen)) RefuseAnalysis(bmp, record.para, matrix);
  return seen;
}

Correction Analyse(const SmallScan& scan, const AnalysisOptions& analysis, const UserOptions& user,
                   const Encoding& encoding) {
  Correction correction;
  correction.encoding = encoding;
  correction.matrix = analysis.matrix;
  LinearPixels pixels = ToLinear(scan, encoding.input);

  ZEP3_PARA& para = correction.record.para;
  SetKind(analysis, para);
  para.lScreenGamma = encoding.output;
  para.lCorrectLevel = analysis.level;
  para.lAgainstLight = analysis.backlight;

  ZEP3_BmpInfo bmp = ImageOf(pixels, ToEngineArea(analysis.area, scan));
  std::array<double, 9> matrix = MatrixOf(analysis);
  Finding& finding = correction.finding.emplace();
  finding.adaptive = analysis.adaptive.value_or(analysis.kind->wAdaptive != 0);
  const bool windowAlone = analysis.window && !finding.adaptive && analysis.kind->wAdaptive != 0;
  const ZEP3_EVIDENCE window = windowAlone ? WindowAlone(bmp, correction.record, matrix) : ZEP3_EVIDENCE();
  const auto find = [&] {
    if (IsPageAnalysis(analysis)) return AnalysePage(bmp, scan, para, finding.evidence, correction.paper);
    if (analysis.shared) return ZEP3Shared(&bmp, &para, matrix.data(), &*analysis.shared, &finding.evidence) == 1;
    if (finding.adaptive) return ZEP3Adaptive(&bmp, &para, matrix.data(), &finding.evidence) == 1;
    return ZEP3(&bmp, &para, matrix.data()) == 1;
  };
  const bool found = find();
  if (found && encoding.IsSrgb() && finding.evidence.lAnalysis == ZEP3_ANALYSIS_STANDARD) {
    // The scan says too little: the standard analysis decided, and has its own way of taking values.
    Encoding standard = encoding;
    standard.input = ZEP3_GAMMA_SRGB;
    return Analyse(scan, analysis, user, standard);
  }
  if (analysis.tablesAlone) correction.paper.reset();
  if (!found) RefuseAnalysis(bmp, para, matrix);
  finding.member = MemberOf(analysis, finding.evidence);
  finding.mixedRoll = analysis.mixedRoll;
  correction.frame = analysis.area.corners.empty() ? FrameOf(windowAlone ? window : finding.evidence, scan.shrink)
                                                   : FrameOf(analysis.area, scan.scanWidth, scan.scanHeight);
  ApplyUserOptions(user, correction.record);
  if (analysis.grayPipette) {
    ApplyGrayPipette(Pick(pixels, analysis.grayPipette->at, scan, correction), analysis.grayPipette->strength, para);
  }
  if (analysis.gammaPipette) ApplyGammaPipette(Pick(pixels, analysis.gammaPipette->at, scan, correction), para);
  SetVerdict(finding.evidence.lVerdict, correction);
  const bool changed = ChangesAnything(user) || analysis.grayPipette || analysis.gammaPipette;
  if (changed || finding.evidence.lVerdict == ZEP3_VERDICT_NONE) Judge(bmp, correction);
  correction.prescan = Describe(scan, pixels, bmp.area);
  return correction;
}

std::string Repeat(const SmallScan& scan, const UserOptions& user, Correction& correction) {
  LinearPixels pixels = ToLinear(scan, correction.encoding.input);
  const ZEP3_BmpInfo bmp = ImageOf(pixels, ToEngineArea({}, scan));
  const std::string why = correction.paper ? RepeatPaper(bmp, scan, pixels, correction) : "";
  ApplyUserOptions(user, correction.record);
  Judge(bmp, correction);
  correction.prescan = Describe(scan, pixels, bmp.area);
  return why;
}

void SeekPictures(const SmallScan& scan, Correction& correction) {
  if (!correction.paper) return;
  const LinearPixels pixels = ToLinear(scan, correction.encoding.input);
  PaperSurface& paper = *correction.paper;
  paper.pictures = FindPictures(paper.Record(), pixels.bytes.data(), pixels.width, pixels.height, scan.shrink);
}

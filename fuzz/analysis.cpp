// ZEP3, ZEP3Adaptive and ZEP3Page on any record and image.
#include <cmath>
#include <cstddef>
#include <vector>

#include "records.h"
#include "target.h"

namespace {

bool IsIdentity(const ZEP3_TONE& tone) {
  return tone.wPointNum == 2 && tone.ptCtrl[0].x + tone.ptCtrl[0].y == 0 && tone.ptCtrl[1].x == 255 &&
         tone.ptCtrl[1].y == 255;
}

// The record with the fields that an analysis may write as they were.
HostileRecord WithResultsOf(const HostileRecord& record, const HostileRecord& results) {
  HostileRecord same = record;
  std::copy_n(results.para.ic.ch, 3, same.para.ic.ch);
  same.para.ic.wHlCurveType = results.para.ic.wHlCurveType;
  same.para.ic.wSdCurveType = results.para.ic.wSdCurveType;
  same.para.lSaturation = results.para.lSaturation;
  same.para.lLevelFlag = results.para.lLevelFlag;
  if (!record.IsServed()) return same;
  *same.para.pOutMasterTone = *results.para.pOutMasterTone;
  std::copy_n(results.para.pOutRGBTone, 3, same.para.pOutRGBTone);
  return same;
}

// Shares are shares, numbers are numbers, and an analysis that was not followed says why.
bool IsBelievable(const ZEP3_EVIDENCE& e) {
  if (!(0.0 <= e.dConfidence && e.dConfidence <= 1.0)) return false;
  for (int64_t i = 0; const ZEP3_EVIDENCE_ITEM* item = GetZEP3EvidenceItem(i); i++) {
    double values[ZEP3_EVIDENCE_COUNT_MAX];
    const int64_t count = GetZEP3Evidence(&e, item->pName, values);
    if (!std::all_of(values, values + count, [](double v) { return std::isfinite(v); })) return false;
    const std::string_view unit = item->pUnit;
    const bool isShare = count == 1 && (unit == "share" || unit == "0..1" || unit == "0 or 1");
    if (isShare && !(0.0 <= values[0] && values[0] <= 1.0)) return false;
  }
  for (int i = 0; i < 4; i++) {
    for (const double place : {e.dWindow[i][0], e.dWindow[i][1], e.dPaper[i][0], e.dPaper[i][1]}) {
      if (!std::isfinite(place) || (place != 0.0 && e.lFrames == 0)) return false;
    }
  }
  if (!(0.0 <= e.dWindowConfidence && e.dWindowConfidence <= 1.0)) return false;
  return e.lAnalysis != ZEP3_ANALYSIS_STANDARD || (e.lReasons != 0 && e.dConfidence == 0.0);
}

// A page's surface: finite, on the scale, within its room.
void FindSurface(HostileRecord record, HostileImage image, bool detailed) {
  const auto pixels = image.HasPixels() ? static_cast<size_t>(image.bmp.lWidth * image.bmp.lHeight) : size_t{0};
  const std::vector<uint8_t> seen(3 * pixels, 40), spread(pixels, 3);
  const ZEP3_DETAIL detail = {const_cast<uint8_t*>(seen.data()), const_cast<uint8_t*>(spread.data())};
  std::vector<ZEP3_CELL> cells(static_cast<size_t>(GetZEP3SurfaceRoom(image.bmp.lWidth, image.bmp.lHeight) % 65536));
  ZEP3_SURFACE surface = {};
  surface.lScanGamma = 22;
  surface.lWidth = surface.lHeight = surface.lSide = 1;
  surface.pCells = cells.data();
  surface.lRoom = static_cast<int64_t>(cells.size());
  ZEP3_EVIDENCE evidence;
  if (ZEP3Page(&image.bmp, &record.para, detailed ? &detail : nullptr, &surface, &evidence) == 0) return;
  ZEP3_HOLDS(IsBelievable(evidence));
  if (surface.lFound == ZEP3_SURFACE_NONE) return;
  ZEP3_HOLDS(surface.lColumns * surface.lRows <= surface.lRoom);
  for (int64_t i = 0; i < surface.lColumns * surface.lRows; i++) {
    for (const float gain : cells[static_cast<size_t>(i)].fGain) ZEP3_HOLDS(0.0F < gain && gain < 1000.0F);
  }
  for (const double level : surface.dPaper) ZEP3_HOLDS(0.0 < level && level <= 1.0);
}

} // namespace

void RunTarget(Input input) {
  const HostileRecord given(input);
  const HostileImage image(input, false);
  std::array<double, 9> matrix = input.Matrix();
  const std::array<double, 9> givenMatrix = matrix;
  double* coefficients = input.OneIn(4) ? nullptr : matrix.data();
  const int missing = input.Below(32);
  const bool adaptive = input.OneIn(2);
  ZEP3_EVIDENCE evidence = {};
  const auto analyse = [&](ZEP3_BmpInfo* bmp, ZEP3_PARA* para) {
    if (!adaptive) return ZEP3(bmp, para, coefficients);
    std::memset(&evidence, 0x7F, sizeof evidence);
    return ZEP3Adaptive(bmp, para, coefficients, missing == 29 ? nullptr : &evidence);
  };

  HostileRecord record = given;
  HostileImage seen = image;
  const int result = analyse(missing == 31 ? nullptr : &seen.bmp, missing == 30 ? nullptr : &record.para);

  ZEP3_HOLDS(result == 0 || result == 1);
  constexpr size_t kFields = offsetof(ZEP3_BmpInfo, lWidth), kEnd = offsetof(ZEP3_BmpInfo, wPixelFormat) + 2;
  ZEP3_HOLDS(seen == image && std::memcmp(&seen.bmp.lWidth, &image.bmp.lWidth, kEnd - kFields) == 0);
  ZEP3_HOLDS(std::memcmp(matrix.data(), givenMatrix.data(), sizeof matrix) == 0);
  ZEP3_HOLDS(WithResultsOf(given, record) == record);
  if (missing == 30 || !given.IsServed()) {
    ZEP3_HOLDS(result == 0 && record == given);
    return;
  }
  if (missing == 31 || image.MustBeRefused() || image.bmp.lBitCount != 24 || !image.HasPixels())
    ZEP3_HOLDS(result == 0);
  const ZEP3_PARA& para = record.para;
  if (result == 0) {
    // Why, the library knows.
    if (missing != 31) ZEP3_HOLDS(CheckZEP3(ZEP3_CALL_ANALYSE, &image.bmp, &given.para, coefficients) != nullptr);
    ZEP3_HOLDS(para.lLevelFlag == 0 && IsIdentity(*para.pOutMasterTone));
    for (int c = 0; c < 3; c++) ZEP3_HOLDS(IsIdentity(para.pOutRGBTone[c]));
    return;
  }
  const bool told = adaptive && missing != 29;
  if (told) ZEP3_HOLDS(IsBelievable(evidence));
  ZEP3_EVIDENCE verdict = told ? evidence : ZEP3_EVIDENCE();
  const HostileRecord judged = record;
  ZEP3_HOLDS(JudgeZEP3(&image.bmp, &record.para, coefficients, &verdict) == 1 && record == judged);
  ZEP3_HOLDS(ZEP3_VERDICT_GOOD <= verdict.lVerdict && verdict.lVerdict <= ZEP3_VERDICT_FAILED);
  record.Keep();
  Keep(evidence.dMeasured, std::size(evidence.dMeasured));

  if (adaptive && missing == 0) FindSurface(given, image, coefficients != nullptr);

  // No call knows of another.
  HostileRecord again = given;
  const ZEP3_EVIDENCE before = evidence;
  ZEP3_HOLDS(analyse(&seen.bmp, &again.para) == 1 && again == record);
  if (adaptive) ZEP3_HOLDS(std::memcmp(&before, &evidence, sizeof evidence) == 0);
}

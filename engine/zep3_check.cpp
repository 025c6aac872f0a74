// What is wrong with the arguments of a call, in words.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "engine/common/float_environment.h"
#include "engine/common/record.h"
#include "engine/finish/box_means.h"
#include "engine/finish/shrunk_area.h"
#include "engine/hist/chist.h"
#include "engine/image/pixels.h"
#include "engine/image/sampling.h"
#include "engine/zep3.h"

namespace {

// Each check says what is wrong, or null.

constexpr int64_t kStrengthMost = 9;

const char* CheckKind(const ZEP3_PARA& para) {
  if (FindZEP3KindOf(&para) != nullptr) return nullptr;
  return DocType(para) == ZEP3_DOC_REFLECTIVE ? "wSubMode is none of ZEP3_SUB_..., so that no points are computed"
                                              : "wDocType is none of ZEP3_DOC_...";
}

const char* CheckMatrix(const ZEP3_PARA& para, const double* matrix, bool needed) {
  if (DocType(para) != ZEP3_DOC_NEGATIVE) return nullptr;
  if (matrix == nullptr) {
    return needed && para.wSubMode != ZEP3_SUB_RESTORATION
               ? "a colour negative needs a colour matrix; an identity matrix stands for the film's own contrasts"
               : nullptr;
  }
  for (int i = 0; i < 9; i += 4) {
    if (!(matrix[i] > 0.0) || !std::isfinite(matrix[i])) {
      return "the diagonal of the colour matrix holds a number that is not above 0";
    }
  }
  return nullptr;
}

const char* CheckAnalysis(const ZEP3_PARA* para, const double* matrix, bool matrixNeeded) {
  if (para == nullptr) return "the record is null";
  if (para->pOutMasterTone == nullptr || para->pOutRGBTone == nullptr) {
    return "pOutMasterTone or pOutRGBTone is null: the analysis has nowhere to write its tone curves; ResetZEP3 sets "
           "both";
  }
  if (const char* wrong = CheckKind(*para)) return wrong;
  if (para->lScreenGamma <= 0) return "lScreenGamma is not above 0; 22 stands for a display gamma of 2.2";
  if (para->lCorrectLevel < 0 || para->lCorrectLevel > kStrengthMost) {
    return "lCorrectLevel, the strength, is outside of 0..9; 4 is usual";
  }
  return CheckMatrix(*para, matrix, matrixNeeded);
}

const char* CheckTone(const ZEP3_TONE& tone) {
  const int points = std::min<int>(tone.wPointNum, ZEP3_TONE_POINTS);
  if (points == 1) return "a tone curve has a single point, so that every level becomes the same";
  for (int i = 0; i < points; i++) {
    const LPOINT& p = tone.ptCtrl[i];
    if (p.x < 0 || p.x > 255 || p.y < 0 || p.y > 255) return "a point of a tone curve lies outside of 0..255";
    if (i > 0 && p.x <= tone.ptCtrl[i - 1].x) return "the inputs of a tone curve's points do not rise";
  }
  return nullptr;
}

const char* CheckPoints(const ZEP3_POINTS& p) {
  if (IsUnset(p)) return nullptr; // the table builder has defaults
  for (const int64_t level : {p.lHlIn, p.lSdIn}) {
    if (level == INT32_MIN) {
      return "an input point is no number: it was not set when it was converted, or a gray balance has no answer";
    }
  }
  if (!HasLevelsOnScale(p)) return "a point lies outside of 0..65535";
  if (p.lGamma <= 0) return "a gamma is not above 0";
  if (p.lHlOut == p.lSdOut) return "a channel's output points are equal, so that there is no curve through them";
  if (p.lHlIn == p.lSdIn) return "a channel's input points are equal, so that there is no curve through them";
  return nullptr;
}

const char* CheckTables(const ZEP3_PARA* para, const double* matrix) {
  if (para == nullptr) return "the record is null";
  if (const char* wrong = CheckKind(*para)) return wrong;
  if (para->lScreenGamma <= 0) return "lScreenGamma is not above 0; 22 stands for a display gamma of 2.2";
  for (const ZEP3_POINTS& p : para->ic.ch) {
    if (const char* wrong = CheckPoints(p)) return wrong;
  }
  if (para->ic.pMasterTone != nullptr) {
    if (const char* wrong = CheckTone(*para->ic.pMasterTone)) return wrong;
  }
  for (int c = 0; para->ic.pRGBTone != nullptr && c < 3; c++) {
    if (const char* wrong = CheckTone(para->ic.pRGBTone[c])) return wrong;
  }
  return CheckMatrix(*para, matrix, false);
}

const char* CheckImage(const ZEP3_BmpInfo* bmp, bool deepToo, bool scanFormats) {
  if (bmp == nullptr) return "the image is null";
  if (bmp->lBitCount != ZEP3_BITS_8 && !(deepToo && bmp->lBitCount == ZEP3_BITS_16)) {
    return deepToo ? "lBitCount is neither 24 (samples of 8 bits) nor 48 (16 bits)"
                   : "lBitCount is not 24, which stands for samples of 8 bits, whatever the pixel format";
  }
  if (bmp->wPixelFormat > (scanFormats ? ZEP3_PIXEL_GRAYA : ZEP3_PIXEL_XRGB)) {
    return scanFormats ? "wPixelFormat is none of ZEP3_PIXEL_..."
                       : "the analysis reads this wPixelFormat as B G R; it knows RGB, BGR and XRGB";
  }
  if (bmp->lWidth < 1 || bmp->lHeight < 1) return "lWidth or lHeight is below 1";
  if (bmp->lWidth > INT32_MAX || bmp->lHeight > INT32_MAX) return "lWidth or lHeight is above 2147483647";
  if (bmp->pBits == nullptr) return "the pixels are null";
  if (!IsScanAddressable(*bmp)) {
    return "lBytesPerLine is shorter than a line, reaches beyond the address space, or is odd for samples of 16 bits";
  }
  return nullptr;
}

// Of an image that is otherwise in order.
const char* CheckArea(const ZEP3_BmpInfo& bmp, const ZEP3_PARA& para) {
  AreaShape area = Unshrunk(bmp.area);
  if (!area.Lay(bmp.area, CHIST::kAreaMargin)) {
    return "the analysis area is no rectangle: its corners are out of order, or a rotated one has a vertical edge";
  }
  const ScanRectangle scan = ScanRectangleOf(bmp);
  if (area.InnerCount(scan.columns, scan.lines) == 0) return "no pixel of the image lies inside the analysis area";
  const AreaSampler sampler(area, bmp, IsNegative(para) ? CHIST::kSampleTargetNega : CHIST::kSampleTargetPosi);
  if (sampler.CountSamples() == 0) return "the analysis area is too narrow to be sampled";
  return nullptr;
}

const char* CheckFinish(const ZEP3_BmpInfo* bmp, const ZEP3_PARA* para, const double* matrix) {
  if (const char* wrong = CheckImage(bmp, true, true)) return wrong;
  if (const char* wrong = CheckAnalysis(para, matrix, false)) return wrong;
  const int64_t shrink = GetZEP3PrescanShrink(bmp->lWidth, bmp->lHeight);
  ZEP3_BmpInfo prescan;
  SetZEP3Image(&prescan, bmp->pBits, Blocks(bmp->lWidth, shrink), Blocks(bmp->lHeight, shrink), 0, ZEP3_PIXEL_RGB,
               ZEP3_BITS_8);
  prescan.area = ShrunkArea(*bmp, shrink);
  return CheckArea(prescan, *para);
}

} // namespace

const char* CheckZEP3(int64_t lCall, const ZEP3_BmpInfo* bmp, const ZEP3_PARA* para, const double* pdColorMatrix) {
  const FloatEnvironment environment;
  switch (lCall) {
    case ZEP3_CALL_ANALYSE:
      if (const char* wrong = CheckImage(bmp, false, false)) return wrong;
      if (const char* wrong = CheckAnalysis(para, pdColorMatrix, true)) return wrong;
      return CheckArea(*bmp, *para);
    case ZEP3_CALL_TABLES:
      return CheckTables(para, pdColorMatrix);
    case ZEP3_CALL_APPLY:
      return CheckImage(bmp, true, true);
    case ZEP3_CALL_FINISH:
      return CheckFinish(bmp, para, pdColorMatrix);
    default:
      return "lCall is none of ZEP3_CALL_...";
  }
}

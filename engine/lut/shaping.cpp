// Highlight and shadow ends of the base curve: their shapes from the points, and the curves run through them.
#include "engine/common/power_curve.h"
#include "engine/common/record.h"
#include "engine/lut/clut.h"
#include "engine/lut/shapes.h"

namespace {

// Below this distance of the pivot from the curve's offset the slope there means nothing.
constexpr double kSlopeDistance = 0.1;

} // namespace

HighlightShape CLUT::HlShapeOf(const ZEP3_PARA& para, int c) const {
  const bool negative = IsNegative(para);
  const PowerCurve curve = BaseCurveOf(c);
  HighlightShape shape = {para.ic.wHlCurveType, negative ? m_dSdIn[c] : m_dHlIn[c], 0.0, m_dHlOut[c],
                          negative ? 8.0 : 2.0};
  shape.end = shape.pivot;
  if (shape.pivot - curve.a >= kSlopeDistance) {
    shape.end = (255.0 - shape.hlOut) * shape.exponent / curve.SlopeAt(shape.pivot) + shape.pivot;
  }
  return shape;
}

ShadowShape CLUT::SdShapeOf(const ZEP3_PARA& para, int c) const {
  const PowerCurve curve = BaseCurveOf(c);
  ShadowShape shape = {para.ic.wSdCurveType, IsNegative(para) ? m_dHlIn[c] : m_dSdIn[c], 0.0, m_dSdOut[c]};
  if (shape.type == ZEP3_SD_TOE) {
    if (shape.pivot - curve.a < kSlopeDistance) {
      shape.type = ZEP3_SD_NONE;
    } else {
      shape.foot = shape.pivot - 2.0 * shape.sdOut / curve.SlopeAt(shape.pivot);
    }
  }
  return shape;
}

template <class Shape>
void CLUT::RunShape(const Shape& shape, int c, bool negative, bool fromTop) {
  // The input rises with the level, of a negative it falls: what is shaped are the levels from one end on.
  const bool down = fromTop != negative;
  for (int n = 0; n < 256; n++) {
    const int i = down ? 255 - n : n;
    const double x = InputOf(i, c, negative);
    if (!shape.IsBeyondPivot(x)) return;
    m_dCurve[c][i] = shape.At(x, m_dCurve[c][i]);
  }
}

bool CLUT::CalcHlCurve(ZEP3_PARA* para) {
  const bool negative = IsNegative(*para);
  uint16_t& type = para->ic.wHlCurveType;
  if (type == ZEP3_HL_AUTO) type = negative ? ZEP3_HL_ROLL_OFF : ZEP3_HL_NONE;
  if (type != ZEP3_HL_HARD_CLIP && type != ZEP3_HL_ROLL_OFF) return true;

  for (int c = 0; c < 3; c++) RunShape(HlShapeOf(*para, c), c, negative, true);
  return true;
}

bool CLUT::CalcSdCurve(ZEP3_PARA* para) {
  const bool negative = IsNegative(*para);
  uint16_t& type = para->ic.wSdCurveType;
  if (type == ZEP3_SD_AUTO) type = negative ? ZEP3_SD_TOE : ZEP3_SD_NONE;
  if (type != ZEP3_SD_HARD_CLIP && type != ZEP3_SD_TOE) return true;

  for (int c = 0; c < 3; c++) RunShape(SdShapeOf(*para, c), c, negative, false);
  return true;
}

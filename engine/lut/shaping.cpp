// Highlight and shadow ends of the base curve: hard clips, a shoulder that reaches 255, a toe that reaches 0. Linear
// levels.
#include <cmath>

#include "engine/common/power_curve.h"
#include "engine/common/record.h"
#include "engine/lut/clut.h"

namespace {

// Below this distance of the pivot from the curve's offset the slope there means nothing.
constexpr double kSlopeDistance = 0.1;

struct HighlightShape {
  uint16_t type;
  double pivot;    // highlight input: shaping starts above
  double end;      // roll-off: input at which 255 is reached
  double hlOut;    // output at the pivot
  double exponent; // roll-off: slope at the pivot times distance to the end, over the rise

  double At(double x, double y) const {
    if (!(x > pivot)) return y;
    if (type == ZEP3_HL_HARD_CLIP) return AtMost(255.0, y + std::pow(x - pivot, 3.0));
    if (x < end) return 255.0 - (255.0 - hlOut) * std::pow((end - x) / (end - pivot), exponent);
    if (x > end) return 255.0;
    return y; // exactly at the end the base curve stays
  }
};

struct ShadowShape {
  uint16_t type;
  double pivot; // shadow input: shaping starts below
  double foot;  // toe: input at which 0 is reached
  double sdOut; // output at the pivot

  double At(double x, double y) const {
    if (!(x < pivot)) return y;
    if (type == ZEP3_SD_HARD_CLIP) {
      y -= std::pow(pivot - x, 3.0);
      if (x == 0.0) y -= std::pow(pivot - kLevelFloor, 3.0);
      return AtLeast(0.0, y);
    }
    if (!(x > foot)) return 0.0; // likewise where a curve without numbers has no foot
    // A table's curve stands at 0.1 for level 0, and so does the toe.
    const double t = ((x == 0.0 ? kLevelFloor : x) - foot) / (pivot - foot);
    return sdOut * (t * t);
  }
};

} // namespace

bool CLUT::CalcHlCurve(ZEP3_PARA* para) {
  const bool negative = IsNegative(*para);
  uint16_t& type = para->ic.wHlCurveType;
  if (type == ZEP3_HL_AUTO) type = negative ? ZEP3_HL_ROLL_OFF : ZEP3_HL_NONE;
  if (type != ZEP3_HL_HARD_CLIP && type != ZEP3_HL_ROLL_OFF) return true;

  for (int c = 0; c < 3; c++) {
    const PowerCurve curve = {m_dCoefA[c], m_dCoefB[c], m_dGamma[c]};
    HighlightShape shape = {type, negative ? m_dSdIn[c] : m_dHlIn[c], 0.0, m_dHlOut[c], negative ? 8.0 : 2.0};
    shape.end = shape.pivot;
    if (shape.pivot - curve.a >= kSlopeDistance) {
      shape.end = (255.0 - shape.hlOut) * shape.exponent / curve.SlopeAt(shape.pivot) + shape.pivot;
    }
    for (int i = 0; i < 256; i++) m_dCurve[c][i] = shape.At(InputOf(i, c, negative), m_dCurve[c][i]);
  }
  return true;
}

bool CLUT::CalcSdCurve(ZEP3_PARA* para) {
  const bool negative = IsNegative(*para);
  uint16_t& type = para->ic.wSdCurveType;
  if (type == ZEP3_SD_AUTO) type = negative ? ZEP3_SD_TOE : ZEP3_SD_NONE;
  if (type != ZEP3_SD_HARD_CLIP && type != ZEP3_SD_TOE) return true;

  for (int c = 0; c < 3; c++) {
    const PowerCurve curve = {m_dCoefA[c], m_dCoefB[c], m_dGamma[c]};
    ShadowShape shape = {type, negative ? m_dHlIn[c] : m_dSdIn[c], 0.0, m_dSdOut[c]};
    if (type == ZEP3_SD_TOE) {
      if (shape.pivot - curve.a < kSlopeDistance) continue;
      shape.foot = shape.pivot - 2.0 * shape.sdOut / curve.SlopeAt(shape.pivot);
    }
    for (int i = 0; i < 256; i++) m_dCurve[c][i] = shape.At(InputOf(i, c, negative), m_dCurve[c][i]);
  }
  return true;
}

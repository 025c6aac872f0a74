// The ends of the curves, from the points: the shoulder above the highlight, the toe below the shadow, and the stages
// of the table build that lay them on.
#include "engine/common/record.h"
#include "engine/lut/channel_curve.h"
#include "engine/lut/clut.h"

namespace {

// Below this distance of the pivot from the curve's offset the slope there means nothing.
constexpr double kSlopeDistance = 0.1;

// How fast a shoulder flattens: 2 is a parabola; the long highlights of a negative bend late and hard.
constexpr double kShoulder = 2.0;
constexpr double kNegativeShoulder = 8.0;
// A toe is a parabola.
constexpr double kToe = 2.0;

} // namespace

HighlightShape ShoulderOf(const PowerCurve& base, uint16_t type, double pivot, double hlOut, bool negative) {
  HighlightShape shape = {type, pivot, pivot, hlOut, negative ? kNegativeShoulder : kShoulder};
  if (pivot - base.a >= kSlopeDistance) {
    shape.end = (255.0 - hlOut) * shape.exponent / base.SlopeAt(pivot) + pivot;
  }
  return shape;
}

ShadowShape ToeOf(const PowerCurve& base, uint16_t type, double pivot, double sdOut) {
  ShadowShape shape = {type, pivot, 0.0, sdOut};
  if (type == ZEP3_SD_TOE) {
    if (pivot - base.a < kSlopeDistance) {
      shape.type = ZEP3_SD_NONE;
    } else {
      shape.foot = pivot - kToe * sdOut / base.SlopeAt(pivot);
    }
  }
  return shape;
}

bool CLUT::CalcHlCurve(ZEP3_PARA* para) {
  uint16_t& type = para->ic.wHlCurveType;
  if (type == ZEP3_HL_AUTO) type = IsNegative(*para) ? ZEP3_HL_ROLL_OFF : ZEP3_HL_NONE;
  if (type != ZEP3_HL_HARD_CLIP && type != ZEP3_HL_ROLL_OFF) return true;

  for (int c = 0; c < 3; c++) {
    const ChannelCurve curve = CurveOf(*para, c, kLevelFloor);
    for (int i = 0; i < 256; i++) m_dCurve[c][i] = curve.WithHighlights(i, m_dCurve[c][i]);
  }
  return true;
}

bool CLUT::CalcSdCurve(ZEP3_PARA* para) {
  uint16_t& type = para->ic.wSdCurveType;
  if (type == ZEP3_SD_AUTO) type = IsNegative(*para) ? ZEP3_SD_TOE : ZEP3_SD_NONE;
  if (type != ZEP3_SD_HARD_CLIP && type != ZEP3_SD_TOE) return true;

  for (int c = 0; c < 3; c++) {
    const ChannelCurve curve = CurveOf(*para, c, kLevelFloor);
    for (int i = 0; i < 256; i++) m_dCurve[c][i] = curve.WithShadows(i, m_dCurve[c][i]);
  }
  return true;
}

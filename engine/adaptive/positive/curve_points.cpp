// Two points from the wanted levels, the gamma by bisection on a third.
#include "engine/adaptive/positive/curve_points.h"

#include "engine/common/convert.h"
#include "engine/common/power_curve.h"

CurvePoints CurveThrough(const std::function<double(double)>& levelFor) {
  CurvePoints points;
  while (points.hlOut > kLeastHighlightOut && levelFor(points.hlOut) > 255.0) points.hlOut -= 1.0;
  points.hlIn = levelFor(points.hlOut);
  points.sdIn = levelFor(points.sdOut);
  const double middleOut = AtMost(kMiddleOut, points.hlOut / 2.0);
  const double middleIn = levelFor(middleOut);
  double low = 0.1;
  double high = 3.0;
  for (int i = 0; i < 30; i++) {
    points.gamma = 0.5 * (low + high);
    const PowerCurve curve = MatchCurve(points.sdIn, points.hlIn, points.hlOut / points.sdOut, points.hlOut,
                                        points.gamma, NearOffset::kFloor);
    (curve.At(middleIn) > middleOut ? high : low) = points.gamma;
  }
  return points;
}

ZEP3_POINTS ToRecord(const CurvePoints& points) {
  return {ClampToLevel16(points.hlIn), ClampToLevel16(points.sdIn), ToLevel16(points.hlOut), ToLevel16(points.sdOut),
          ToInt32(100.0 * points.gamma + 0.5)};
}

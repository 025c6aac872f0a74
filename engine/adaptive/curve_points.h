// The table builder's curve through wanted levels.
#pragma once

#include "engine/common/power_curve.h"
#include "engine/zep3.h"

// Outputs that the curve is laid through. Between shadow and highlight it meets the wanted level in the middle; what
// lies beyond is left to the toe and the shoulder.
inline constexpr double kHighlightOut = 250.0;
inline constexpr double kLeastHighlightOut = 60.0;
inline constexpr double kMiddleOut = 100.0;
inline constexpr double kShadowOut = 10.0;

// Points of one channel: linear levels with their fractions, and a gamma.
struct CurvePoints {
  double hlIn = 0.0, sdIn = 0.0, hlOut = kHighlightOut, sdOut = kShadowOut, gamma = 1.0;
};

// The curve of an original that is not a negative. `levelFor` gives the level of the scan, above 0, that shall come out
// as a level and rises with it. Where the highlight would lie beyond the scale, the curve ends at the first output
// below it, in steps of 1, that does not.
template <class LevelFor>
CurvePoints CurveThrough(LevelFor levelFor) {
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

// As a record holds them before the conversion to the display gamma.
inline ZEP3_POINTS ToRecord(const CurvePoints& points) {
  return {ClampToLevel16(points.hlIn), ClampToLevel16(points.sdIn), ToLevel16(points.hlOut), ToLevel16(points.sdOut),
          ToInt32(100.0 * points.gamma + 0.5)};
}

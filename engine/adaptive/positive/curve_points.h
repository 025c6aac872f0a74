// The table builder's curve through wanted levels.
#pragma once

#include <functional>

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

// The curve of an original that is not a negative. levelFor(out) is the scan's level, above 0, that shall come out as
// `out`; it rises with it. Where the highlight would lie beyond the scale, the curve ends at the first lower output, in
// steps of 1, that does not.
CurvePoints CurveThrough(const std::function<double(double)>& levelFor);

// As a record holds them before the conversion to the display gamma.
ZEP3_POINTS ToRecord(const CurvePoints& points);

// The power curve of every channel: out = b * (in - a)^(1 / gamma).
#pragma once

#include <cmath>

#include "engine/common/scale.h"

struct PowerCurve {
  double a = 0.0;
  double b = 0.0;
  double gamma = 1.0;

  // The formula as it stands, for inputs above the offset.
  double Unlimited(double in) const { return b * std::pow(in - a, 1.0 / gamma); }

  // 0 at or below the offset, at most 255.
  double At(double in) const { return in <= a ? 0.0 : AtMost(255.0, Unlimited(in)); }

  // The input that the curve maps to `out`, without limits.
  double InputFor(double out) const { return std::pow(out / b, gamma) + a; }

  // Slope at an input above the offset.
  double SlopeAt(double in) const { return b / gamma * std::pow(in - a, 1.0 / gamma - 1.0); }
};

// What the scale b is laid on when the upper input lies hardly above the offset.
enum class NearOffset {
  kAsItIs,   // no guard: not a number when they are the wrong way round
  kFloor,    // the distance counts as kLevelFloor when it is below
  kZeroScale // b = 0 when the offset lies above the upper input: the curve is 0 everywhere
};

// Lays the curve through (lo, outHi / outRatio) and (hi, outHi). outRatio is the ratio of the two outputs, given by the
// caller because it may come from integers on another scale.
//   P = outRatio^gamma;  a = (lo * P - hi) / (P - 1);  b = outHi / (hi - a)^(1 / gamma)
// Equal outputs or a gamma of 0 (P = 1) give no curve: its values are 0 or not a number.
inline PowerCurve MatchCurve(double lo, double hi, double outRatio, double outHi, double gamma, NearOffset guard) {
  const double p = std::pow(outRatio, gamma);
  PowerCurve curve;
  curve.gamma = gamma;
  curve.a = (lo * p - hi) / (p - 1.0);
  double span = hi - curve.a;
  if (guard == NearOffset::kZeroScale && curve.a > hi) return curve;
  if (guard == NearOffset::kFloor) span = AtLeast(kLevelFloor, span);
  curve.b = outHi / std::pow(span, 1.0 / gamma);
  return curve;
}

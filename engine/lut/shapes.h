// The ends of the base curve at one input: hard clips, a shoulder that reaches 255, a toe that reaches 0. Linear
// levels; x is the input, y what the curve gives there.
#pragma once

#include <cmath>
#include <cstdint>

#include "engine/common/scale.h"
#include "engine/zep3.h"

struct HighlightShape {
  uint16_t type;
  double pivot;    // highlight input: shaping starts above
  double end;      // roll-off: input at which 255 is reached
  double hlOut;    // output at the pivot
  double exponent; // roll-off: slope at the pivot times distance to the end, over the rise

  bool IsBeyondPivot(double x) const { return x > pivot; }

  double At(double x, double y) const {
    if (!IsBeyondPivot(x)) return y;
    if (type == ZEP3_HL_HARD_CLIP) return AtMost(255.0, y + std::pow(x - pivot, 3.0));
    if (type != ZEP3_HL_ROLL_OFF) return y;
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

  bool IsBeyondPivot(double x) const { return x < pivot; }

  double At(double x, double y) const {
    if (!IsBeyondPivot(x)) return y;
    if (type == ZEP3_SD_HARD_CLIP) {
      y -= std::pow(pivot - x, 3.0);
      if (x == 0.0) y -= std::pow(pivot - kLevelFloor, 3.0);
      return AtLeast(0.0, y);
    }
    if (type != ZEP3_SD_TOE) return y;
    if (!(x > foot)) return 0.0; // likewise where a curve without numbers has no foot
    // A table's curve stands at 0.1 for level 0, and so does the toe.
    const double t = ((x == 0.0 ? kLevelFloor : x) - foot) / (pivot - foot);
    return sdOut * (t * t);
  }
};

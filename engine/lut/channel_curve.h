// The curve of one channel at one level: the power curve through the points, and its ends: hard clips, a shoulder that
// reaches 255, a toe that reaches 0. Linear levels; x is the input of a shape, y what the curve gives there.
#pragma once

#include <cmath>
#include <cstdint>

#include "engine/common/power_curve.h"
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

// shaping.cpp: the ends for the record's types; `pivot` is the input at which one begins, the outputs are the
// channel's.
HighlightShape ShoulderOf(const PowerCurve& base, uint16_t type, double pivot, double hlOut, bool negative);
ShadowShape ToeOf(const PowerCurve& base, uint16_t type, double pivot, double sdOut);

// Tables are this at whole levels, one stage after the other (CLUT::MakeLUT); scans of more than 8 bits take it between
// them.
struct ChannelCurve {
  PowerCurve base;
  HighlightShape highlights;
  ShadowShape shadows;
  bool negative;     // levels enter mirrored between the two points
  double hlIn, sdIn; // of the channel
  double least;      // what the base curve sees of darker levels, of originals that are not negatives

  double Base(double level) const { return base.At(negative ? Mirror(level) : AtLeast(least, level)); }
  double WithHighlights(double level, double y) const { return highlights.At(ShapeInput(level), y); }
  double WithShadows(double level, double y) const { return shadows.At(ShapeInput(level), y); }

  double At(double level) const { return WithShadows(level, WithHighlights(level, Base(level))); }

 private:
  double Mirror(double level) const { return MirroredLevel(level, sdIn, hlIn); }
  // Levels up to 0.1 are shaped as level 0.
  double ShapeInput(double level) const {
    if (negative) return Mirror(level);
    return level < kLevelFloor ? 0.0 : level;
  }
};

// Ramps: a measure between two limits to a weight 0..1, linear in between.
#pragma once

// 1 at or below lo, 0 at or above hi.
inline double RampDown(double x, double lo, double hi) {
  if (x <= lo) return 1.0;
  if (x >= hi) return 0.0;
  return (hi - x) / (hi - lo);
}

// 0 at or below lo, 1 at or above hi.
inline double RampUp(double x, double lo, double hi) {
  if (x <= lo) return 0.0;
  if (x >= hi) return 1.0;
  return (x - lo) / (hi - lo);
}

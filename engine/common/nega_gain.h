// Density gains of colour negative film: how strongly each channel answers to a density shift.
#pragma once

#include <cmath>

#include "engine/common/convert.h"

// Built in, for film as it is: red answers least.
inline constexpr double kFilmGain[3] = {0.807, 0.97, 1.009};

// Gains over their mean. Those that are not finite or have no sum above 0 count as equal.
inline void RelativeGains(const double (&gain)[3], double (&relative)[3]) {
  const double mean = (gain[0] + gain[1] + gain[2]) / 3.0;
  const bool usable = std::isfinite(mean) && mean > 0.0;
  for (int c = 0; c < 3; c++) relative[c] = usable ? gain[c] / mean : 1.0;
}

// The gains that a 3x3 colour matrix (nine doubles, row-major; null: none) stands for: without one 1, 1, 1; with a
// diagonal that is 1, 1, 1 after rounding to four decimals the built-in ones; else the diagonal.
inline void NegaGains(const double* matrix, const double (&builtIn)[3], double* gain) {
  const auto isOne = [](double d) { return ToInt32(d * 10000.0 + 0.5) == 10000; };
  const bool identity = matrix != nullptr && isOne(matrix[0]) && isOne(matrix[4]) && isOne(matrix[8]);
  for (int c = 0; c < 3; c++) {
    if (matrix == nullptr) {
      gain[c] = 1.0;
    } else {
      gain[c] = identity ? builtIn[c] : matrix[4 * c];
    }
  }
}

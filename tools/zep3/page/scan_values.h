// Linear levels as the values of a page's scan, to which the gains of its surface belong.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

#include "engine/zep3.h"

// The value, 0..1, of every linear level.
inline std::array<double, 256> ScanValues(const ZEP3_SURFACE& surface) {
  constexpr double kLinear = ZEP3_GAMMA_LINEAR_LEVELS;
  std::array<double, 256> values;
  for (size_t i = 0; i < values.size(); i++) {
    values[i] = std::pow(static_cast<double>(i) / 255, kLinear / static_cast<double>(surface.lScanGamma));
  }
  return values;
}

// From a scan's own values to linear levels.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/common/convert.h"
#include "engine/common/scale.h"
#include "engine/zep3.h"

// In tenths, or ZEP3_GAMMA_SRGB_CURVE.
inline bool IsScanGamma(int64_t gamma) { return gamma > 0 || gamma == ZEP3_GAMMA_SRGB_CURVE; }

// The linear level of value i of 0..entries-1, with its fraction.
inline double LevelOfValue(int64_t i, int64_t entries, int64_t gamma) {
  const auto last = static_cast<double>(entries - 1);
  if (gamma == ZEP3_GAMMA_SRGB_CURVE) {
    return 255.0 * std::pow(SrgbLight(static_cast<double>(i) / last), kInverseGamma);
  }
  // On the engine's own scale exactly, so that its tables come out to the last bit.
  if (gamma == 18) return static_cast<double>(i) / (last / 255.0);
  return 255.0 * std::pow(static_cast<double>(i) / last, static_cast<double>(gamma) / 18.0);
}

// The linear level, rounded, of every value.
inline std::vector<uint8_t> LinearLevels(int64_t entries, int64_t gamma) {
  std::vector<uint8_t> levels(static_cast<size_t>(entries));
  for (int64_t i = 0; i < entries; i++) {
    levels[static_cast<size_t>(i)] = static_cast<uint8_t>(ToInt32(LevelOfValue(i, entries, gamma) + 0.5));
  }
  return levels;
}

// A page made small.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/page/grid.h"
#include "engine/page/tuning.h"

namespace page {

// A pre-scan, R G B, linear levels (gamma 1.8) line by line, and of every pixel's block of the scan what its mean hides:
// the darkest pixel, and the standard deviation of the mean of the channels, display levels. Null: not known.
struct Planes {
  int width = 0, height = 0;
  const uint8_t* mean = nullptr;
  const uint8_t* darkest = nullptr;
  const uint8_t* deviation = nullptr;

  size_t At(int x, int y) const { return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x); }
};

// By linear level: display level 0..1 as it is and, at least kDarkest, in whole units.
struct Levels {
  static constexpr uint32_t kUnit = 4096;
  std::array<float, 256> level;
  std::array<uint16_t, 256> units;
  std::vector<float> ln; // by the sum of four pixels' three channels in units: of their mean

  Levels() : ln(12 * kUnit + 1) {
    for (size_t i = 0; i < 256; i++) {
      level[i] = static_cast<float>(std::pow(static_cast<double>(i) / 255.0, 1.8 / kGamma));
      units[i] = static_cast<uint16_t>(static_cast<float>(kUnit) * std::max(level[i], kDarkest) + 0.5F);
    }
    for (size_t i = 1; i < ln.size(); i++) ln[i] = std::log(static_cast<float>(i) / (12.0F * kUnit));
    ln[0] = ln[1];
  }

  uint32_t SumOf(const uint8_t* pixel) const {
    return static_cast<uint32_t>(units[pixel[0]]) + units[pixel[1]] + units[pixel[2]];
  }
  float LogOfPixel(const uint8_t* pixel) const { return ln[4 * SumOf(pixel)]; }
  float LogOfFour(uint32_t sumOfFour) const { return ln[3 * sumOfFour]; } // of one channel
};

} // namespace page

// A page made small.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

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

// By linear level: display level 0..1, at least kDarkest, and its logarithm; the level as it is.
struct Levels {
  std::array<float, 256> level, ln, plain;

  Levels() {
    for (size_t i = 0; i < 256; i++) {
      plain[i] = static_cast<float>(std::pow(static_cast<double>(i) / 255.0, 1.8 / kGamma));
      level[i] = std::max(plain[i], kDarkest);
      ln[i] = std::log(level[i]);
    }
  }
};

} // namespace page

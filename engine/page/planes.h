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

// A pre-scan, R G B, linear levels (gamma 1.8) line by line, and of every pixel's block of the scan what its mean
// hides: the darkest pixel, and the standard deviation of the mean of the channels, display levels. Null: not known. Of
// the latter two only what IsLookedAt (finish/block_detail.h) is read.
struct Planes {
  int width = 0, height = 0;
  const uint8_t* mean = nullptr;
  const uint8_t* darkest = nullptr;
  const uint8_t* deviation = nullptr;
  int64_t meanLine = 0;   // bytes from a line to the next
  int64_t detailLine = 0; // blocks from a line to the next

  const uint8_t* Mean(int x, int y) const { return mean + y * meanLine + 3 * x; }
  const uint8_t* Darkest(int x, int y) const { return darkest + 3 * (y * detailLine + x); }
  uint8_t Deviation(int x, int y) const { return deviation[y * detailLine + x]; }
};

// By linear level: display level 0..1. By sums of linear levels: ln of the display level of their mean, at least of
// kDarkest. Means are of linear levels (gamma 1.8), so near to display levels that it does not matter which.
struct Levels {
  std::array<float, 256> level;
  std::array<float, 255 * 4 + 1> lnOfFour;    // pixels of one channel
  std::array<float, 255 * 12 + 1> lnOfTwelve; // four pixels' three channels

  Levels() {
    for (size_t i = 0; i < level.size(); i++) level[i] = static_cast<float>(LevelOf(static_cast<double>(i) / 255.0));
    Fill(lnOfFour);
    Fill(lnOfTwelve);
  }

  static double LevelOf(double linear) { return std::pow(linear, 1.8 / kGamma); }
  static uint32_t SumOf(const uint8_t* pixel) { return uint32_t{pixel[0]} + pixel[1] + pixel[2]; }
  float LogOf(uint32_t sumOfPixel) const { return lnOfTwelve[4 * sumOfPixel]; }

 private:
  template <size_t kSize>
  static void Fill(std::array<float, kSize>& ln) {
    const double darkest = std::log(static_cast<double>(kDarkest));
    ln[0] = static_cast<float>(darkest);
    for (size_t i = 1; i < kSize; i++) {
      const double v = 1.8 / kGamma * std::log(static_cast<double>(i) / static_cast<double>(kSize - 1));
      ln[i] = static_cast<float>(std::max(v, darkest));
    }
  }
};

} // namespace page

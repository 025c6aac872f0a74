// A page made small, on which its correction is decided, and the statistics of it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include <vips/vips8>

#include "page/box_mean.h"
#include "page/correction.h"

// A scan made small: box means of its values, one or three colour bands, in memory.
struct SmallScan {
  vips::VImage image;
  int64_t shrink = 1;
  int64_t scanWidth = 0, scanHeight = 0;
  std::optional<Detail> detail{}; // for the analysis of pages
};

// Colour bands of an image: 1 or 3; bands behind them (alpha) are neither analysed nor corrected.
int ColourBands(const vips::VImage& image);

// `plain`, where it says so, reads the page from its file without a decoder: side of a block to its means, or null.
using PlainReader = std::function<vips::VImage(int64_t side, Detail* detail)>;

// The same scan, smaller by another whole number.
SmallScan Smaller(const SmallScan& scan, int64_t side);

// Reads the image. `decoded`: by work on each of its bytes. `held`, where given, becomes the same image in memory,
// unless that takes too much or `plain` reads it. `detailGamma`: of the image's values, tenths, where the details are
// wanted.
SmallScan TakePrescan(const vips::VImage& image, bool decoded, const PlainReader& plain, vips::VImage* held,
                      std::optional<int> detailGamma);

// R G B, linear levels, line by line.
struct LinearPixels {
  std::vector<uint8_t> bytes;
  int64_t width, height;

  const uint8_t* At(int64_t x, int64_t y) const { return &bytes[static_cast<size_t>(3 * (y * width + x))]; }
};

// The pre-scan on the engine's scale; `gamma`: of its values, tenths. A gray one becomes three equal channels.
LinearPixels ToLinear(const SmallScan& scan, int gamma);

// The pre-scan in numbers, for a correction that is found on it.
Prescan Describe(const SmallScan& scan, const LinearPixels& pixels, const AREA& area);

// Images to measure with, and the limits of any work on them.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "engine/zep3.h"

struct Size {
  int64_t width, height;
};
inline constexpr Size kHundredMegapixels = {10000, 10000};
inline constexpr Size kTwelveMegapixels = {4000, 3000};
inline constexpr Size kPrescan = {1500, 1000};
inline constexpr Size kMegapixel = {1040, 1040};
inline constexpr Size kInCache = {512, 512};
inline constexpr Size kEveryPixel = {245, 244}; // 59,780 pixels: the most that are taken one by one are 60,000

// Smooth tones with grain, in ordinary memory of malloc. The analysis area is all of it.
class Scan {
 public:
  explicit Scan(const Size& size, int format = ZEP3_PIXEL_RGB);

  ZEP3_BmpInfo bmp = {};
  int64_t Bytes() const { return bmp.lBytesPerLine * bmp.lHeight; }
  // A square that stands on a corner.
  void RotateArea();

 private:
  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };
  std::unique_ptr<void, Free> m_memory;
};

// Every byte read once, and every byte read and written in place.
void ReadOnce(const Scan& scan);
void ModifyInPlace(const Scan& scan);

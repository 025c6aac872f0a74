// An image made smaller, each pixel the mean of a square of pixels, and what such means hide.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <vips/vips8>

#include "engine/zep3.h"
#include "tiff/plain_tiff.h"

// ZEP3_DETAIL of every square of an image's pixels.
struct Detail {
  int gamma = 22; // in: of the image's values, tenths
  std::vector<uint8_t> darkest, deviation;

  // For the calls of the library; of use as long as this object.
  ZEP3_DETAIL Record() const { // which they only read
    return {const_cast<uint8_t*>(darkest.data()), const_cast<uint8_t*>(deviation.data())};
  }
};

// Means of `side` x `side` pixels of the first `bands` bands, rounded; at the right and lower edge of what there is. 8
// or 16 bits. Reads the image once from top to bottom, at the speed of its decoder: the sums keep pace with memory.
// `held`, where given, becomes the same image in memory; `detail`, where given, is filled in passing.
vips::VImage BoxMean(const vips::VImage& image, int bands, int64_t side, vips::VImage* held = nullptr,
                     Detail* detail = nullptr);

// The same of a TIFF page that is stored plainly, by several threads and without libvips' copies in between: twice as
// fast. A null image when it is stored otherwise or of another shape.
vips::VImage BoxMeanOfPlainTiff(const std::string& path, TiffPlace page, const PlainShape& shape, int bands,
                                int64_t side, Detail* detail = nullptr);

// The shape of a plainly stored page that holds this image.
PlainShape ShapeOf(const vips::VImage& image);

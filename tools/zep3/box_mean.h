// An image made smaller, each pixel the mean of a square of pixels.
#pragma once

#include <cstdint>
#include <string>

#include <vips/vips8>

#include "tiff_pages.h"

// Means of `side` x `side` pixels of the first `bands` bands, rounded; at the right and lower edge of what there is. 8
// or 16 bits. Reads the image once from top to bottom, at the speed of its decoder: the sums keep pace with memory.
// `held`, where given, becomes the same image in memory.
vips::VImage BoxMean(const vips::VImage& image, int bands, int64_t side, vips::VImage* held = nullptr);

// The same of a TIFF page that is stored plainly, by several threads and without libvips' copies in between: twice as
// fast. A null image when it is stored otherwise.
vips::VImage BoxMeanOfPlainTiff(const std::string& path, TiffPlace page, int bands, int64_t side);

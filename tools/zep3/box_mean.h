// An image made smaller, each pixel the mean of a square of pixels.
#pragma once

#include <cstdint>
#include <string>

#include <vips/vips8>

// Means of `side` x `side` pixels, rounded; at the right and lower edge of what there is. 8 or 16 bits, any bands.
// Reads the image once from top to bottom, at the speed of its decoder: the sums keep pace with memory.
vips::VImage BoxMean(const vips::VImage& image, int64_t side);

// The same of the first `bands` bands of a TIFF page that is stored plainly, by several threads and without libvips'
// copies in between: twice as fast. A null image when it is stored otherwise.
vips::VImage BoxMeanOfPlainTiff(const std::string& path, unsigned page, int bands, int64_t side);

// Pixels of a page, evened by its surface and sent through its tables.
#pragma once

#include <cstdint>

#include "engine/image/pixels.h"
#include "engine/zep3.h"

namespace page {

// A piece of a scan in place, of which pixel (0, 0) is (x, y) of the scan; lines `stride` bytes apart. Which pieces a
// scan is cut into does not matter.
template <class Sample>
void Apply(uint8_t* pixels, int64_t stride, int64_t width, int64_t height, const PixelLayout& layout, int64_t x,
           int64_t y, const ZEP3_SURFACE& surface, const uint16_t* table);

} // namespace page

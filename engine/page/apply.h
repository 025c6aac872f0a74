// Pixels of a page, evened by its surface and sent through its tables.
#pragma once

#include <cstdint>

#include "engine/image/pixels.h"
#include "engine/zep3.h"

namespace page {

// A run of pixels of line y of the scan, from column x on, in place.
template <class Sample>
void Apply(Sample* first, int64_t pixels, const PixelLayout& layout, int64_t x, int64_t y, const ZEP3_SURFACE& surface,
           const uint16_t* table);

} // namespace page

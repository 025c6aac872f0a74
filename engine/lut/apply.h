// Pixels through three byte tables, in place.
#pragma once

#include <cstdint>

#include "engine/image/pixels.h"

// `pixels` pixels that lie one behind the other. table: red at 0, green at 256, blue at 512.
using ApplyTables = void (*)(uint8_t* first, int64_t pixels, const PixelLayout& layout, const uint8_t* table);

void ApplyPlain(uint8_t* first, int64_t pixels, const PixelLayout& layout, const uint8_t* table);

// The same bytes, 64 at a time, by the 256-entry byte permutes of some processors; null where this one has none.
ApplyTables ApplyPermuted();

// Pixels through three tables, in place. Of a gray image the green table is taken.
#pragma once

#include <cstdint>

#include "engine/image/pixels.h"

// Entries of a table for samples of a type: 256 or 65536.
template <class Sample>
inline constexpr int64_t kTableEntries = int64_t{1} << (8 * sizeof(Sample));

// `pixels` pixels that lie one behind the other. table: red, green and blue, kTableEntries each.
template <class Sample>
using ApplyTables = void (*)(Sample* first, int64_t pixels, const PixelLayout& layout, const Sample* table);

template <class Sample>
void ApplyPlain(Sample* first, int64_t pixels, const PixelLayout& layout, const Sample* table);

// The same bytes, 64 at a time, by the 256-entry byte permutes of some processors; null where this one has none.
ApplyTables<uint8_t> ApplyPermuted();

// Tables of 16-bit values, then chroma (0..1000) about their gray, as ApplyZEP3ScanLUT says. Not for gray images.
template <class Sample>
void ApplyWithChroma(Sample* first, int64_t pixels, const PixelLayout& layout, const uint16_t* table, double chroma);

// A 16-bit level as one of 8 bits.
inline uint8_t Level8Of16(uint16_t level) { return static_cast<uint8_t>((level + 128) / 257); }

#include "engine/page/apply.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "engine/lut/apply.h"
#include "engine/page/tables.h"

namespace page {
namespace {

// What a place has, between the centres of four cells.
struct Place {
  float gain[3];
  float strokes, whiten;
};

float Of(const ZEP3_CELL& cell, uint32_t flag) { return (cell.lLies & flag) != 0 ? 1.0F : 0.0F; }

// Drawn back a cell's third from where the neighbour is something else.
float Drawn(float share) { return std::clamp(2.0F * share - 0.8F, 0.0F, 1.0F); }

// Cell and share of the next one for a coordinate of a pixel.
struct Between {
  int64_t cell, next;
  float part;
};
Between CellsOf(int64_t at, int64_t first, int64_t side, int64_t cells) {
  const double place = (static_cast<double>(at - first) + 0.5) / static_cast<double>(side) - 0.5;
  const double within = std::clamp(place, 0.0, static_cast<double>(cells - 1));
  const auto cell = static_cast<int64_t>(within);
  return {cell, std::min(cell + 1, cells - 1), static_cast<float>(within - static_cast<double>(cell))};
}

uint16_t Mix(uint16_t a, uint16_t b, float share) {
  return static_cast<uint16_t>(static_cast<float>(a) + share * (static_cast<float>(b) - static_cast<float>(a)) + 0.5F);
}

} // namespace

template <class Sample>
void Apply(Sample* first, int64_t pixels, const PixelLayout& layout, int64_t x, int64_t y, const ZEP3_SURFACE& surface,
           const uint16_t* table) {
  constexpr int64_t kEntries = sizeof(Sample) == 1 ? int64_t{ZEP3_PAGE_ENTRIES_8} : int64_t{ZEP3_PAGE_ENTRIES_16};
  constexpr float kLast = static_cast<float>(kEntries - 1);
  constexpr float kScale = kLast / static_cast<float>(kTableMost) / static_cast<float>(kTableEntries<Sample> - 1);
  const uint16_t* const white = table + 6 * kEntries;
  const auto one = static_cast<int64_t>(kLast / static_cast<float>(kTableMost) + 0.5F);
  const Between rows = CellsOf(y, surface.lTop, surface.lSide, surface.lRows);
  const ZEP3_CELL* const upper = surface.pCells + rows.cell * surface.lColumns;
  const ZEP3_CELL* const lower = surface.pCells + rows.next * surface.lColumns;
  const int offset[3] = {layout.red, layout.green, layout.blue};
  const int from = layout.IsGray() ? 1 : 0, to = layout.IsGray() ? 2 : 3;
  for (int64_t i = 0; i < pixels; i++, first += layout.samples) {
    const Between columns = CellsOf(x + i, surface.lLeft, surface.lSide, surface.lColumns);
    const auto at = [&](auto value) {
      const float a = value(upper[columns.cell]), b = value(upper[columns.next]);
      const float c = value(lower[columns.cell]), d = value(lower[columns.next]);
      const float top = a + columns.part * (b - a), bottom = c + columns.part * (d - c);
      return top + rows.part * (bottom - top);
    };
    const float strokes = Drawn(at([](const ZEP3_CELL& cell) { return Of(cell, ZEP3_CELL_STROKES); }));
    const float whiten = Drawn(at([](const ZEP3_CELL& cell) { return Of(cell, ZEP3_CELL_WHITEN); }));
    int64_t entry[3], least = kEntries - 1;
    for (int c = from; c < to; c++) {
      const float gain = at([c](const ZEP3_CELL& cell) { return cell.fGain[c]; });
      const float n = static_cast<float>(first[offset[c]]) * gain * kScale + 0.5F;
      entry[c] = n > 0.0F ? (n < kLast ? static_cast<int64_t>(n) : kEntries - 1) : 0; // not a number: 0
      least = std::min(least, entry[c]);
    }
    const float t = whiten * static_cast<float>(white[least]) / 65535.0F;
    for (int c = from; c < to; c++) {
      const uint16_t* const stroke = table + c * kEntries;
      const uint16_t* const object = stroke + 3 * kEntries;
      uint16_t v = Mix(object[entry[c]], stroke[entry[c]], strokes);
      v = Mix(v, stroke[one], t);
      if constexpr (sizeof(Sample) == 1) {
        first[offset[c]] = Level8Of16(v);
      } else {
        first[offset[c]] = v;
      }
    }
  }
}

template void Apply(uint8_t*, int64_t, const PixelLayout&, int64_t, int64_t, const ZEP3_SURFACE&, const uint16_t*);
template void Apply(uint16_t*, int64_t, const PixelLayout&, int64_t, int64_t, const ZEP3_SURFACE&, const uint16_t*);

} // namespace page

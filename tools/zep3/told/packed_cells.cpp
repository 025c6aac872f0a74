// Neighbours and channels are nearly alike: differences of their bits, sorted by significance, which zlib makes small.
#include "told/packed_cells.h"

#include <glib.h>
#include <zlib.h>

#include <array>
#include <bit>
#include <cstdint>
#include <memory>

#include "failure.h"

namespace {

// Red, green over red, blue over red, and what lies there: of each number four bytes, the highest first.
constexpr size_t kPlanes = 16;
constexpr float kGainMost = 1e6F;

using Numbers = std::array<uint32_t, 4>;

Numbers NumbersOf(const ZEP3_CELL& cell) {
  const auto bits = [&](int c) { return std::bit_cast<uint32_t>(cell.fGain[c]); };
  return {bits(0), bits(1) - bits(0), bits(2) - bits(0), cell.lLies};
}

ZEP3_CELL CellOf(const Numbers& numbers) {
  const auto gain = [&](uint32_t more) { return std::bit_cast<float>(numbers[0] + more); };
  return {{gain(0), gain(numbers[1]), gain(numbers[2])}, numbers[3]};
}

// Small differences of either sign have high bytes of 0.
uint32_t Folded(uint32_t difference) { return difference << 1 ^ (0 - (difference >> 31)); }
uint32_t Unfolded(uint32_t folded) { return folded >> 1 ^ (0 - (folded & 1)); }

// What cell i would hold on a plane through those on its left and above.
Numbers Expected(const std::vector<ZEP3_CELL>& cells, size_t i, size_t columns) {
  const bool first = i % columns == 0;
  if (i < columns) return first ? Numbers() : NumbersOf(cells[i - 1]);
  const Numbers above = NumbersOf(cells[i - columns]);
  if (first) return above;
  const Numbers left = NumbersOf(cells[i - 1]), corner = NumbersOf(cells[i - columns - 1]);
  Numbers expected;
  for (size_t n = 0; n < expected.size(); n++) expected[n] = left[n] + above[n] - corner[n];
  return expected;
}

} // namespace

std::string PackCells(const std::vector<ZEP3_CELL>& cells, size_t columns) {
  const size_t count = cells.size();
  std::vector<uint8_t> planes(kPlanes * count);
  for (size_t i = 0; i < count; i++) {
    const Numbers now = NumbersOf(cells[i]);
    const Numbers before = Expected(cells, i, columns);
    for (size_t n = 0; n < now.size(); n++) {
      const uint32_t folded = Folded(now[n] - before[n]);
      for (size_t byte = 0; byte < 4; byte++) {
        planes[(4 * n + byte) * count + i] = static_cast<uint8_t>(folded >> (24 - 8 * byte));
      }
    }
  }
  uLongf size = compressBound(planes.size());
  std::vector<uint8_t> packed(size);
  if (compress2(packed.data(), &size, planes.data(), planes.size(), Z_BEST_COMPRESSION) != Z_OK) {
    throw Failure("not enough memory for the sidecar");
  }
  return std::unique_ptr<gchar, decltype(&g_free)>(g_base64_encode(packed.data(), size), g_free).get();
}

std::vector<ZEP3_CELL> UnpackCells(const std::string& text, size_t columns, size_t count) {
  gsize size = 0;
  const std::unique_ptr<guchar, decltype(&g_free)> packed(g_base64_decode(text.c_str(), &size), g_free);
  std::vector<uint8_t> planes(kPlanes * count);
  uLongf unpacked = planes.size();
  if (uncompress(planes.data(), &unpacked, packed.get(), size) != Z_OK || unpacked != planes.size()) {
    throw Failure("'cells' are damaged");
  }
  std::vector<ZEP3_CELL> cells(count);
  for (size_t i = 0; i < count; i++) {
    Numbers numbers = Expected(cells, i, columns);
    for (size_t n = 0; n < numbers.size(); n++) {
      uint32_t folded = 0;
      for (size_t byte = 0; byte < 4; byte++) folded = folded << 8 | planes[(4 * n + byte) * count + i];
      numbers[n] += Unfolded(folded);
    }
    cells[i] = CellOf(numbers);
    for (const float gain : cells[i].fGain) {
      if (!(gain > 0 && gain <= kGainMost)) throw Failure("'cells' hold something that is no gain");
    }
  }
  return cells;
}

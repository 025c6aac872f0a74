// Pixels of a page eight at a time, where the processor can: the usual ones, of 8 bits, R G B.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "engine/zep3.h"

namespace page {

// Shares, of 2^15: with differences of 16-bit levels they stay within 32 bits.
inline constexpr int32_t kWhole = 1 << 15;

// A gain of 8-bit pixels is a whole number, of 2^20 per entry; below 2^30. So many bits of it are left out when a
// sample is multiplied by it, then product and half fit 32 bits.
inline constexpr int kByteShift = 20, kByteSpared = 6;

// What runs along a line between two columns of cells: gains, and shares of the flags. Four are as fast as three.
struct Slope {
  std::array<int32_t, 4> gain, gainStep;
  int32_t strokes = 0, strokesStep = 0, whiten = 0, whitenStep = 0;

  void Go(int32_t pixels) {
    for (size_t c = 0; c < gain.size(); c++) gain[c] += pixels * gainStep[c];
    strokes += pixels * strokesStep;
    whiten += pixels * whitenStep;
  }
};

// By what pixels of a square are changed.
struct EightTables {
  const uint16_t* table; // red, green, blue; those of pictures lie 3 * ZEP3_PAGE_ENTRIES_8 behind those of strokes
  const uint16_t* white;
  std::array<int32_t, 3> paper;  // levels of 16 bits
  std::array<uint8_t, 3> darker; // pixels with all channels above these become paper
  // 16 pixels of those bounds, and of paper.
  const uint8_t *darkerBlock, *paperBlock;
};

struct EightCalls {
  using Change = void (*)(uint8_t* pixel, int64_t pixels, const Slope& slope, const EightTables& tables);
  Change alike;    // through one set of tables
  Change whitened; // and to white
  Change mixed;    // between strokes and pictures, as the slope's shares say, and to white
  // Makes the first pixels paper, up to one that is darker or the last few: how many.
  int64_t (*whitenFirst)(uint8_t* pixel, int64_t pixels, const EightTables& tables);
};

// Null where the processor has no such instructions.
const EightCalls* Eights();

} // namespace page

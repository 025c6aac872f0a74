// Sums over blocks of pixels that lie side by side, at the speed at which memory is read: whole lines are added up,
// many at a time, into one sum per byte column, and the columns of a block only then.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "engine/common/image.h"

class BlockSums {
 public:
  // Blocks of lines x columns pixels, at most `blocks` of them side by side. Takes 2 bytes per byte of a line.
  BlockSums(const PixelLayout& pixel, int64_t lines, int64_t columns, int64_t blocks);

  // The blocks from `first` on, the top left pixel of the first; stride in bytes.
  void Read(const uint8_t* first, int64_t stride, int64_t blocks);

  // Sums of red, green and blue over a block of the last reading.
  std::array<uint64_t, 3> Of(int64_t block) const {
    std::array<uint64_t, 3> sums = OfLines(block);
    if (!m_carried.empty()) {
      for (size_t c = 0; c < 3; c++) sums[c] += m_carried[static_cast<size_t>(3 * block) + c];
    }
    return sums;
  }

 private:
  // A sum of bytes that 16 bits hold whatever the bytes: 257 * 255 = 65535.
  static constexpr int64_t kMostBytes = 257;
  // Columns are added four neighbouring sums at a time, as the quarters of 64 bits, of which a pixel of three bytes
  // leaves one unused.
  static constexpr int64_t kQuarters = 4;

  std::array<uint64_t, 3> OfLines(int64_t block) const {
    std::array<uint64_t, 3> sums = {};
    const uint16_t* column = &m_column[static_cast<size_t>(block * m_columns * m_pixel.bytes)];
    for (int64_t left = m_columns; left > 0; left -= m_columnsAtOnce) {
      uint64_t quarters = 0;
      for (int64_t x = 0; x < m_columnsAtOnce && x < left; x++, column += m_pixel.bytes) {
        uint64_t more = 0;
        std::memcpy(&more, column, sizeof more);
        quarters += more;
      }
      std::array<uint16_t, kQuarters> sum;
      std::memcpy(sum.data(), &quarters, sizeof quarters);
      sums[0] += sum[static_cast<size_t>(m_pixel.red)];
      sums[1] += sum[static_cast<size_t>(m_pixel.green)];
      sums[2] += sum[static_cast<size_t>(m_pixel.blue)];
    }
    return sums;
  }

  PixelLayout m_pixel;
  int64_t m_lines;
  int64_t m_columns;
  int64_t m_linesAtOnce;
  int64_t m_columnsAtOnce;
  std::vector<uint16_t> m_column;  // sums of the last lines read
  std::vector<uint64_t> m_carried; // blocks higher than kMostBytes: sums of their lines before those
};

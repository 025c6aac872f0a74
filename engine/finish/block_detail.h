// What the means of a page's blocks hide: strokes are thinner than a block, and grain is finer. Taken in passing, as
// the means are (finish/box_means.h), while the scan is read line by line.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/image/pixels.h"

// Of a cell of 4 x 4 blocks two are looked at, (1, 1) and (2, 2) counted from 0: the analysis of pages wants
// percentiles over the page, and an eighth of its pixels costs a tenth of what adding all of them up does.
inline constexpr int64_t kCellBlocks = 4;
inline constexpr bool IsLookedAt(int64_t blockX, int64_t blockY) {
  const int64_t x = blockX % kCellBlocks, y = blockY % kCellBlocks;
  return x == y && (x == 1 || x == 2);
}

// For every block that is looked at: its darkest pixel (the smallest sum of the three channels; the first of several)
// as linear levels R G B, and the standard deviation of the mean of the channels in display levels of gamma 2.2,
// 0..255, rounded. Blocks count as in BoxMeans: `side` pixels each way, from the upper left corner, cut off at the
// edges.
template <typename Sample>
class BlockDetail {
 public:
  // Gamma in tenths. `linear`: the linear level of every value of a sample, 2^8 or 2^16 of them; read until the end.
  // `darkest` (three bytes a block) and `deviation` (one) are planes of Blocks(width, side) blocks a line, from the
  // line of blocks `firstBlockLine` on; what is not looked at is left as it is. Lines are added from the first of that
  // line of blocks, so threads may share a page out by lines of blocks.
  BlockDetail(int64_t width, const PixelLayout& layout, int64_t side, int64_t gamma, const uint8_t* linear,
              uint8_t* darkest, uint8_t* deviation, int64_t firstBlockLine = 0)
      : m_width(width),
        m_layout(layout),
        m_side(side),
        m_perLine(width / side + (width % side != 0 ? 1 : 0)),
        m_linear(linear),
        m_darkest(darkest),
        m_deviation(deviation),
        m_blockLine(firstBlockLine),
        m_blocks(static_cast<size_t>(m_perLine / kCellBlocks + 1)) {
    // The display level is value^(gamma / 22): what lies one value apart, lies so many display levels apart.
    for (size_t i = 0; i < m_slope.size(); i++) {
      const double power = static_cast<double>(gamma) / 22.0;
      m_slope[i] = 255.0 / kMost * power * std::pow((static_cast<double>(i) + 0.5) / 256.0, power - 1.0);
    }
  }

  void Add(const Sample* line) {
    const int64_t place = m_blockLine % kCellBlocks;
    if (place == 1 || place == 2) {
      for (int64_t block = place; block < m_perLine; block += kCellBlocks) {
        const int64_t left = block * m_side;
        Look(line + left * m_layout.samples, std::min(m_side, m_width - left),
             m_blocks[static_cast<size_t>(block / kCellBlocks)]);
      }
    }
    if (++m_lines == m_side) Finish();
  }

  // At the lower edge: what the lines left have.
  void Finish() {
    if (m_lines == 0) return;
    const int64_t place = m_blockLine % kCellBlocks;
    if (place == 1 || place == 2) {
      for (int64_t block = place; block < m_perLine; block += kCellBlocks) {
        Write(block, std::min(m_side, m_width - block * m_side) * m_lines);
      }
      std::fill(m_blocks.begin(), m_blocks.end(), Block());
    }
    m_blockLine++;
    m_lines = 0;
  }

 private:
  static constexpr double kMost = sizeof(Sample) == 2 ? 65535.0 : 255.0;
  struct Block {
    uint32_t least = UINT32_MAX; // sum of channels, of the darkest pixel
    std::array<Sample, 3> darkest = {};
    uint64_t sum = 0;
    double squares = 0.0; // of sums of channels: whole numbers, exact up to 2^53
  };

  void Look(const Sample* pixel, int64_t pixels, Block& block) {
    if (m_layout == kRgb) {
      LookAs(pixel, pixels, block, std::integral_constant<int, kRgb.samples>());
    } else {
      LookAs(pixel, pixels, block, m_layout.samples);
    }
  }

  // Without a branch at each pixel: which one is darkest, nobody foretells. The sum and, below it, the pixel's number
  // are one number, whose least is the first of the darkest.
  template <class Samples>
  void LookAs(const Sample* first, int64_t pixels, Block& block, const Samples samples) {
    constexpr int kNumberBits = 32;
    const PixelLayout layout = m_layout;
    uint64_t least = UINT64_MAX;
    uint64_t sum = 0, squares = 0; // a line's: 2^31 pixels of at most 2^36 pass 64 bits, but no buffer is that long
    const Sample* pixel = first;
    for (int64_t i = 0; i < pixels; i++, pixel += samples) {
      const uint32_t v = uint32_t{pixel[layout.red]} + pixel[layout.green] + pixel[layout.blue];
      least = std::min(least, uint64_t{v} << kNumberBits | static_cast<uint64_t>(i));
      sum += v;
      squares += uint64_t{v} * v;
    }
    if (const auto darkest = static_cast<uint32_t>(least >> kNumberBits); darkest < block.least) {
      pixel = first + static_cast<int64_t>(static_cast<uint32_t>(least)) * samples;
      block.least = darkest;
      block.darkest = {pixel[layout.red], pixel[layout.green], pixel[layout.blue]};
    }
    block.sum += sum;
    block.squares += static_cast<double>(squares);
  }

  void Write(int64_t at, int64_t pixels) {
    const Block& block = m_blocks[static_cast<size_t>(at / kCellBlocks)];
    const int64_t out = m_blockLine * m_perLine + at;
    for (size_t c = 0; c < 3; c++) m_darkest[3 * out + static_cast<int64_t>(c)] = m_linear[block.darkest[c]];
    const auto n = static_cast<double>(pixels);
    const double mean = static_cast<double>(block.sum) / n;
    const double variance = std::max(0.0, block.squares / n - mean * mean);
    const double slope = m_slope[static_cast<size_t>(mean / (3.0 * kMost) * 255.0)];
    m_deviation[out] = static_cast<uint8_t>(std::min(255.0, std::sqrt(variance) / 3.0 * slope + 0.5));
  }

  int64_t m_width;
  PixelLayout m_layout;
  int64_t m_side, m_perLine;
  const uint8_t* m_linear;
  uint8_t* m_darkest;
  uint8_t* m_deviation;
  int64_t m_blockLine, m_lines = 0;
  std::vector<Block> m_blocks;
  std::array<double, 256> m_slope;
};

// Means over blocks of pixels that lie side by side, at the speed at which memory is read: whole lines are added up,
// many at a time, into one sum per byte column, and the columns of a block only then.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/image/pixels.h"

// Sums of `lines` lines by byte column, `bytes` of them. So many lines fit 16 bits.
inline constexpr int64_t kMostLines = 257;
void SumLines(const uint8_t* first, int64_t stride, int64_t lines, int64_t bytes, uint16_t* sums);

class BlockMeans {
 public:
  // Blocks of lines x columns pixels (below 2^41), at most `blocks` of them side by side. Takes 2 bytes of memory per
  // byte of a line of them; above 257 lines 32 per block on top.
  BlockMeans(const PixelLayout& pixel, int64_t lines, int64_t columns, int64_t blocks);

  // Adds up `blocks` blocks side by side; `topLeft` is the first pixel of the first, `stride` in bytes.
  void Read(const uint8_t* topLeft, int64_t stride, int64_t blocks);

  // The same from sums of lines, of which others make use, too: Start(), then Add() until the lines of a block are
  // there. `sums` begins at the first block.
  void Start();
  void Add(const uint16_t* sums, int64_t lines, int64_t blocks);

  // Means of `blocks` of the blocks read, kMostMeans at most, from block `first` on: trunc(sum / pixels + 0.5). They
  // lie as the bytes of a pixel do, four to a block; of three-byte pixels the last of the four means nothing.
  static constexpr int64_t kMostMeans = 256;
  void Means(int64_t first, int64_t blocks, uint8_t* means) const;

  // Sums of the bytes of a pixel over a block read, four; of three-byte pixels the last means nothing.
  void Sums(int64_t block, uint64_t* sums) const;

 private:
  void SumColumns(int64_t block, uint64_t* sums) const;
  void Carry(int64_t blocks);

  int64_t m_bytes; // of a pixel
  int64_t m_lines;
  int64_t m_linesAdded = 0; // to m_column
  int64_t m_columns;
  int64_t m_linesAtOnce;
  int64_t m_columnsAtOnce;
  double m_perPixel;               // 1 / pixels
  double m_halfAndMore;            // 0.5 and a quarter of m_perPixel
  std::vector<uint16_t> m_column;  // by byte column: sums of the lines read last
  std::vector<uint64_t> m_carried; // blocks of more than 257 lines: by block, sums of the lines before those
};

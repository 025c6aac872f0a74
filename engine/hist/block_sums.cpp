#include "engine/hist/block_sums.h"

#include <algorithm>
#include <utility>

namespace {

// As many lines are read in step: fewer passes over the sums, and no more streams than processors fetch ahead.
constexpr int kLinesInStep = 16;

// Adds kLines lines to the sums, or starts the sums with them. Compilers turn the loop into vectors.
template <int kLines, bool kStart>
void AddLines(const uint8_t* first, int64_t stride, int64_t bytes, uint16_t* sums) {
  for (int64_t i = 0; i < bytes; i++) {
    const uint8_t* p = first + i;
    uint16_t sum = kStart ? 0 : sums[i];
    for (int line = 0; line < kLines; line++) sum = static_cast<uint16_t>(sum + p[line * stride]);
    sums[i] = sum;
  }
}

using Adder = void (*)(const uint8_t* first, int64_t stride, int64_t bytes, uint16_t* sums);

// By the number of lines, less 1.
template <bool kStart, size_t... kIndex>
constexpr std::array<Adder, sizeof...(kIndex)> Adders(std::index_sequence<kIndex...>) {
  return {AddLines<static_cast<int>(kIndex) + 1, kStart>...};
}
constexpr auto kStarters = Adders<true>(std::make_index_sequence<kLinesInStep>());
constexpr auto kContinuers = Adders<false>(std::make_index_sequence<kLinesInStep>());

void SumLines(const uint8_t* first, int64_t stride, int64_t lines, int64_t bytes, uint16_t* sums) {
  const int64_t passes = (lines + kLinesInStep - 1) / kLinesInStep;
  for (int64_t pass = 0, done = 0; pass < passes; pass++) {
    const int64_t now = (lines - done) / (passes - pass);
    (pass == 0 ? kStarters : kContinuers)[static_cast<size_t>(now - 1)](first + done * stride, stride, bytes, sums);
    done += now;
  }
}

} // namespace

BlockSums::BlockSums(const PixelLayout& pixel, int64_t lines, int64_t columns, int64_t blocks)
    : m_pixel(pixel),
      m_lines(lines),
      m_columns(columns),
      m_linesAtOnce(std::min(lines, kMostBytes)),
      m_columnsAtOnce(kMostBytes / m_linesAtOnce),
      m_column(static_cast<size_t>(blocks * columns * pixel.bytes + kQuarters - pixel.bytes)) {
  if (lines > kMostBytes) m_carried.resize(static_cast<size_t>(3 * blocks));
}

void BlockSums::Read(const uint8_t* first, int64_t stride, int64_t blocks) {
  std::fill(m_carried.begin(), m_carried.end(), 0);
  for (int64_t left = m_lines;;) {
    const int64_t lines = std::min(left, m_linesAtOnce);
    SumLines(first, stride, lines, blocks * m_columns * m_pixel.bytes, m_column.data());
    left -= lines;
    if (left == 0) return;
    first += lines * stride;
    for (int64_t block = 0; block < blocks; block++) {
      const std::array<uint64_t, 3> sums = OfLines(block);
      for (size_t c = 0; c < 3; c++) m_carried[static_cast<size_t>(3 * block) + c] += sums[c];
    }
  }
}

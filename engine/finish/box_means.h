// Means of squares of pixels while a scan is read line by line, at the speed of its decoder: the pre-scan of a scan of
// any size. The block means of the analysis (image/block_means.h) average what this leaves once more; here 16 bits and
// the squares at the edges count.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

inline int64_t Blocks(int64_t length, int64_t side) { return length / side + (length % side != 0 ? 1 : 0); }

// Adds lines of samples up by column, and makes a line of means of every `side` lines. Sum: room for `side` samples.
template <typename Sample, typename Sum>
class BoxMeans {
 public:
  // A line has `perLine` samples, a pixel `perPixel` of them. The means, rounded, of the first `keep` samples of a
  // pixel go to `means`, line by line: Blocks(width, side) * keep for every `side` lines.
  BoxMeans(int64_t perLine, int64_t perPixel, int64_t keep, int64_t side, Sample* means)
      : m_sums(static_cast<size_t>(perLine)), m_samples(perPixel), m_keep(keep), m_side(side), m_means(means) {}

  void Add(const Sample* line) {
    if (m_side == 1) { // a small scan as it is: a division a sample would take longer than all else here
      const int64_t width = static_cast<int64_t>(m_sums.size()) / m_samples;
      for (int64_t x = 0; x < width; x++) m_means = std::copy_n(line + x * m_samples, m_keep, m_means);
      return;
    }
    // Plain, so that the compiler makes vectors of it: the standard library's checks would be in the way.
    Sum* sums = m_sums.data();
    for (size_t i = 0, n = m_sums.size(); i < n; i++) sums[i] = static_cast<Sum>(sums[i] + line[i]);
    if (++m_lines == m_side) Finish();
  }

  // At the lower edge: the means of the lines left.
  void Finish() {
    if (m_lines == 0) return;
    const Sum* sums = m_sums.data(); // as above
    const int64_t width = static_cast<int64_t>(m_sums.size()) / m_samples;
    for (int64_t left = 0; left < width; left += m_side) {
      const int64_t right = m_side < width - left ? left + m_side : width;
      const auto count = static_cast<uint64_t>(right - left) * static_cast<uint64_t>(m_lines);
      for (int64_t sample = 0; sample < m_keep; sample++) {
        uint64_t sum = count / 2;
        for (int64_t x = left; x < right; x++) sum += sums[x * m_samples + sample];
        *m_means++ = static_cast<Sample>(sum / count);
      }
      if (right == width) break;
    }
    std::fill(m_sums.begin(), m_sums.end(), Sum{0});
    m_lines = 0;
  }

 private:
  std::vector<Sum> m_sums;
  int64_t m_samples, m_keep, m_side;
  Sample* m_means;
  int64_t m_lines = 0;
};

// Calls the function with a sample and a sum of the types that squares of `side` need: 257 bytes fit 16 bits, 65537
// samples of 16 bits fit 32.
template <typename Function>
auto WithBoxTypes(bool deep, int64_t side, Function function) {
  if (side > 65537) return deep ? function(uint16_t{}, uint64_t{}) : function(uint8_t{}, uint64_t{});
  if (deep) return function(uint16_t{}, uint32_t{});
  if (side > 257) return function(uint8_t{}, uint32_t{});
  return function(uint8_t{}, uint16_t{});
}

// The median of cells.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace page {

// The upper one of two in the middle; reorders the samples; 0 without any.
inline float MedianOf(std::vector<float>& samples) {
  if (samples.empty()) return 0.0F;
  const auto half = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
  std::nth_element(samples.begin(), half, samples.end());
  return *half;
}

} // namespace page

// Percentiles and medians of samples in any order. All of them reorder the samples; the results depend on their values
// alone.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

// `percent` of the samples lie below; between two of them linearly. Of at least one sample.
inline double Percentile(std::vector<double>& samples, double percent) {
  const double place = percent / 100.0 * static_cast<double>(samples.size() - 1);
  const auto below = static_cast<size_t>(place);
  const auto at = samples.begin() + static_cast<std::ptrdiff_t>(below);
  // The library asks whether there is anything to do; there is.
  std::nth_element(samples.begin(), at, samples.end()); // GCOVR_EXCL_BR_LINE
  const double lower = *at;
  if (below + 1 == samples.size()) return lower;
  const double upper = *std::min_element(at + 1, samples.end()); // GCOVR_EXCL_BR_LINE: likewise
  return lower + (upper - lower) * (place - static_cast<double>(below));
}

// The mean of the two in the middle of an even number.
inline double Median(std::vector<double>& samples) { return Percentile(samples, 50.0); }

// What the `count` largest samples reach at least, 1 <= count <= size.
inline double LargestFrom(std::vector<double>& samples, size_t count) {
  const auto at = samples.begin() + static_cast<std::ptrdiff_t>(count - 1);
  std::nth_element(samples.begin(), at, samples.end(), std::greater<>()); // GCOVR_EXCL_BR_LINE: likewise
  return *at;
}

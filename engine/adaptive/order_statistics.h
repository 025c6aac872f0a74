// Percentiles and medians of samples in any order. Each function reorders the samples; its result depends on their
// values alone.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

// The value below which `percent` of the samples lie, interpolated linearly between two of them. Needs a sample.
inline double Percentile(std::vector<double>& samples, double percent) {
  const double place = percent / 100.0 * static_cast<double>(samples.size() - 1);
  const auto below = static_cast<size_t>(place);
  const auto at = samples.begin() + static_cast<std::ptrdiff_t>(below);
  std::nth_element(samples.begin(), at, samples.end());
  const double lower = *at;
  if (below + 1 == samples.size()) return lower;
  const double upper = *std::min_element(at + 1, samples.end());
  return lower + (upper - lower) * (place - static_cast<double>(below));
}

// Of an even number of samples the mean of the two in the middle.
inline double Median(std::vector<double>& samples) { return Percentile(samples, 50.0); }

// The smallest of the `count` largest samples, 1 <= count <= size.
inline double LargestFrom(std::vector<double>& samples, size_t count) {
  const auto at = samples.begin() + static_cast<std::ptrdiff_t>(count - 1);
  std::nth_element(samples.begin(), at, samples.end(), std::greater<>());
  return *at;
}

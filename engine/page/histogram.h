// Percentiles of very many samples: counts in narrow bins, read between their centres.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace page {

class Histogram {
 public:
  Histogram(float from, float to) : m_from(from), m_perBin(kBins / (to - from)), m_count(kBins) {}

  // What lies outside of the range counts at its ends.
  void Add(float v, int64_t times = 1) {
    // Truncated, and whole numbers compared: no branch, so none that is foretold wrong.
    const auto bin = static_cast<int>((v - m_from) * m_perBin);
    m_count[static_cast<size_t>(std::clamp(bin, 0, kBins - 1))] += times;
    m_samples += times;
  }
  // The distances from a value.
  Histogram Around(double value) const {
    const double width = 1.0 / static_cast<double>(m_perBin);
    Histogram distances(0.0F, static_cast<float>(kBins * width));
    for (size_t bin = 0; bin < kBins; bin++) {
      if (m_count[bin] == 0) continue;
      distances.Add(static_cast<float>(std::fabs(CentreOf(bin) - value)), m_count[bin]);
    }
    return distances;
  }
  // 0 without samples.
  double ShareAbove(double value) const {
    int64_t above = 0;
    for (size_t bin = kBins; bin-- > 0 && CentreOf(bin) > value;) above += m_count[bin];
    return m_samples == 0 ? 0.0 : static_cast<double>(above) / static_cast<double>(m_samples);
  }
  int64_t Samples() const { return m_samples; }

  // The sample below which so many percent lie; 0 without samples.
  double Percentile(double percent) const {
    if (m_samples == 0) return 0.0;
    const double place = percent / 100.0 * static_cast<double>(m_samples);
    double below = 0.0;
    size_t bin = 0;
    while (bin + 1 < kBins && below + static_cast<double>(m_count[bin]) < place)
      below += static_cast<double>(m_count[bin++]);
    const double within = m_count[bin] == 0 ? 0.5 : (place - below) / static_cast<double>(m_count[bin]);
    return static_cast<double>(m_from) + (static_cast<double>(bin) + within) / static_cast<double>(m_perBin);
  }

 private:
  double CentreOf(size_t bin) const {
    return static_cast<double>(m_from) + (static_cast<double>(bin) + 0.5) * (1.0 / static_cast<double>(m_perBin));
  }

  static constexpr int kBins = 4096;
  float m_from, m_perBin;
  std::vector<int64_t> m_count;
  int64_t m_samples = 0;
};

} // namespace page

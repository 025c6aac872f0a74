// Film exposures of many densities, at the speed of a table.
#pragma once

#include "engine/common/scale.h"
#include "engine/film/film.h"

// A function at equal steps from 0, linear in between.
template <int kIntervals>
class Sampled {
 public:
  template <class Function>
  Sampled(double end, Function function) : m_perStep(kIntervals / end) {
    for (int i = 0; i <= kIntervals; i++) m_value[i] = function(i / m_perStep);
    m_value[kIntervals + 1] = m_value[kIntervals];
  }
  // 0 <= x <= end
  double operator()(double x) const {
    const double place = x * m_perStep;
    const int below = static_cast<int>(place);
    return m_value[below] + (m_value[below + 1] - m_value[below]) * (place - below);
  }

 private:
  double m_perStep;
  double m_value[kIntervals + 2];
};

// FilmExposure from a table: a logarithm and an exponential each would take half of the time of an analysis.
class ExposureCurve {
 public:
  explicit ExposureCurve(double toe)
      : m_sampled(kStraight, [toe](double density) { return FilmExposure(density, 1.0, toe); }) {}
  // `perSlope`: one over the slope.
  double operator()(double density, double perSlope) const {
    const double straight = AtLeast(kLeastDensity, density) * perSlope;
    return straight < kStraight ? m_sampled(straight) : straight;
  }

 private:
  static constexpr double kStraight = 5.0; // from here on the toe adds nothing
  Sampled<2000> m_sampled;
};

// The nearest minimum of a cost over a few numbers.
#pragma once

#include <array>
#include <cstddef>
#include <span>

// Moves a point along the directions, forth and back, as long as its cost falls, the first move that lowers it at once;
// then with half of the step, from `first` down to `last`. Ends where the cost rises without limit in all directions,
// or is not a number: there are so many places of a step's grid below where it began.
template <size_t N, class Cost>
std::array<double, N> PatternSearch(std::array<double, N> point, std::span<const std::array<double, N>> directions,
                                    double first, double last, const Cost& costOf) {
  double cost = costOf(point);
  const auto move = [&](double step) {
    for (const std::array<double, N>& direction : directions) {
      for (const double signedStep : {step, -step}) {
        std::array<double, N> moved = point;
        for (size_t i = 0; i < N; i++) moved[i] += signedStep * direction[i];
        const double movedCost = costOf(moved);
        if (!(movedCost < cost)) continue;
        point = moved;
        cost = movedCost;
        return true;
      }
    }
    return false;
  };
  for (double step = first; step >= last; step /= 2.0) {
    while (move(step)) continue;
  }
  return point;
}

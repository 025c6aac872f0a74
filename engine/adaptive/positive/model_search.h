// The likeliest model of what happened to an original.
#pragma once

#include <array>
#include <span>

#include "engine/adaptive/positive/model.h"
#include "engine/common/pattern_search.h"

namespace positive {

// Offsets and logarithms of dye, red, green, blue: places and directions.
using Six = std::array<double, 6>;

inline constexpr Six kDirections[] = {
    {1, 1, 1, 0, 0, 0},
    {1, 0, 0, 0, 0, 0},
    {0, 0, 1, 0, 0, 0},
    {0, 0, 0, 1, 1, 1},
    {0, 0, 0, 1, 0, 0},
    {0, 0, 0, 0, 0, 1},
    {1, 1, 1, kAlongDye, kAlongDye, kAlongDye},
    {1, 0, 0, kAlongDye, 0, 0},
    {0, 0, 1, 0, 0, kAlongDye},
    {0, 1, 0, 0, kAlongDye, 0},
};
// Those that keep a gray picture gray.
inline constexpr Six kGrayDirections[] = {
    {1, 1, 1, 0, 0, 0},
    {0, 0, 0, 1, 1, 1},
    {1, 1, 1, kAlongDye, kAlongDye, kAlongDye},
};

} // namespace positive

// The model of least cost from the given one on. `gray`: it stays as gray as it is.
template <class Cost>
DensityModel SearchModel(const DensityModel& from, bool gray, double first, double last, const Cost& costOf) {
  using positive::Six;
  const auto modelOf = [](const Six& six) { return DensityModel{{six[0], six[1], six[2]}, {six[3], six[4], six[5]}}; };
  const double(&o)[3] = from.offset;
  const double(&d)[3] = from.logDye;
  const auto directions = gray ? std::span<const Six>(positive::kGrayDirections) : positive::kDirections;
  return modelOf(PatternSearch<6>({o[0], o[1], o[2], d[0], d[1], d[2]}, directions, first, last,
                                  [&](const Six& six) { return costOf(modelOf(six)); }));
}

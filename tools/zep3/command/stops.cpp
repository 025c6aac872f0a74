#include "command/stops.h"

#include <cmath>
#include <cstddef>

namespace {

constexpr double kStep = 0.003; // of density

using Three = std::array<double, 3>;

// Of a gray whose channels are made lighter by so many density steps; 1: as it was.
double Luminance(const Three& steps) {
  constexpr Three kWeights = {0.2126, 0.7152, 0.0722}; // Rec. 709
  double sum = 0;
  for (size_t c = 0; c < 3; c++) sum += kWeights[c] * std::pow(10.0, kStep * steps[c]);
  return sum;
}

double StepsExactly(double stops) { return stops * std::log10(2.0) / kStep; }

} // namespace

int64_t StepsOfStops(double stops) { return std::llround(StepsExactly(stops)); }

std::array<int64_t, 3> BalanceOfStops(double warmth, double tint) {
  Three exact = {StepsExactly((warmth + tint) / 2), StepsExactly(-tint / 2), StepsExactly((tint - warmth) / 2)};
  const double lighter = std::log10(Luminance(exact)) / kStep;
  for (double& steps : exact) steps -= lighter;
  Three best = {};
  double leastError = HUGE_VAL;
  for (unsigned up = 0; up < 8; up++) { // one bit a channel
    Three whole;
    for (size_t c = 0; c < 3; c++) whole[c] = (up >> c & 1) != 0 ? std::ceil(exact[c]) : std::floor(exact[c]);
    const double error = std::fabs(Luminance(whole) - 1);
    if (error < leastError) best = whole, leastError = error;
  }
  return {std::llround(best[0]), std::llround(best[1]), std::llround(best[2])};
}

// A print or slide as the estimate sees it: a straight line per channel, and the ends that it is held against.
// Densities are -log10 of the light of a linear level.
#pragma once

#include <cmath>
#include <numbers>

#include "engine/adaptive/positive/tuning.h"
#include "engine/common/scale.h"

// Density of a scanned level. As a natural logarithm: half of log10's time.
inline double ScannedDensity(double level) {
  return 1.8 / std::numbers::ln10 * (std::log(255.0) - std::log(AtLeast(positive::kLeastLevel, level)));
}

// The straight lines of the three channels.
struct DensityModel {
  double offset[3];
  double logDye[3]; // natural logarithm of the share of dye

  double Dye(int c) const { return std::exp(logDye[c]); }
  // Density of the unfaded original.
  double Undo(int c, double density) const { return (density - offset[c]) / Dye(c); }
};

// What the blocks hold the model against; densities as scanned.
struct Anchors {
  double lightest[3]; // of the channel: 0.1 % of the blocks are lighter
  double darkest[3];  // likewise darker
  double white[3];    // of the blocks that are lightest in all channels at once
  double black[3];    // of those that are darkest
  double pile;        // share of all blocks that lie at the black
};

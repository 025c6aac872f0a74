// Negatives that a test exposes and scans itself.
#pragma once

#include <cmath>

// A film, a light and a scanner, none of them what the engine takes for usual.
struct ScannedFilm {
  double slope[3] = {0.57, 0.60, 0.66};
  double toe = 0.22;
  double base[3] = {215, 180, 150};     // levels of the clear film
  double light[3] = {-0.08, 0.0, 0.05}; // exposure of a neutral by channel
  double white = 1.6;                   // exposure of the scene's white in green
  double kept[3] = {1, 1, 1};           // share of the density that fading left
  double stain[3] = {0, 0, 0};

  // Film level of a scene's light, log10 relative to white.
  int Level(double logLight, int c) const {
    const double x = logLight + white + light[c];
    const double density = slope[c] * toe * std::log1p(std::exp(x / toe));
    return static_cast<int>(base[c] * std::pow(10.0, -(density * kept[c] + stain[c]) / 1.8) + 0.5);
  }
};

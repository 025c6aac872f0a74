// Negatives that a test exposes and scans itself, and their prints by either analysis.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "support.h"

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

// log10 of a scene's light in a channel, relative to white; x and y from 0 to 1.
using Scene = std::function<double(double x, double y, int c)>;

// All grays of a range, up and down, so that no side of the picture is black.
inline constexpr double kRange = 2.0;
inline double Wedge(double x, double y, int) { return -kRange * std::fabs(std::remainder(3.0 * x + 0.9 * y, 2.0)); }

// How the film lies on the scanner: the picture's side, and shares of it.
struct Mount {
  double border = 0.0; // clear film around the picture
  double holder = 0.0; // black around that
  double tilt = 0.0;   // by which the holder's upper edge comes down from left to right
  int width = 240;
  int height = 160;
};

inline std::unique_ptr<Image> Scan(const ScannedFilm& film, const Mount& mount, const Scene& scene) {
  const int border = static_cast<int>(mount.border * mount.width);
  const int margin = border + static_cast<int>(mount.holder * mount.width);
  auto scan = std::make_unique<Image>(mount.width + 2 * margin, mount.height + 2 * margin);
  scan->Fill([&](int x, int y, int c) {
    const int right = x - margin;
    const int down = y - margin;
    const int outside = std::max({-right, right - mount.width + 1, -down, down - mount.height + 1});
    if (outside > border || (outside <= 0 && down < mount.tilt * right)) return 2;
    if (outside > 0) return static_cast<int>(film.base[c] + 0.5);
    return film.Level(scene(right / (mount.width - 1.0), down / (mount.height - 1.0), c), c);
  });
  return scan;
}

inline double kNoMatrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

struct Print {
  Record r;
  ZEP3_EVIDENCE evidence = {};
  std::array<uint8_t, 768> table{};
  int64_t saturation;

  Print(const Image& image, bool adaptive, int type, int subMode = 0, int64_t level = 4, double* matrix = kNoMatrix)
      : r(type, subMode) {
    ZEP3_BmpInfo bmp = image.bmp;
    r.para.lCorrectLevel = level;
    r.para.lSaturation = 99; // of another scan
    EXPECT_EQ(adaptive ? ZEP3Adaptive(&bmp, &r.para, matrix, &evidence) : ZEP3(&bmp, &r.para, matrix), 1);
    saturation = r.para.lSaturation;
    EXPECT_EQ(MakeZEP3LUTEx(&r.para, matrix, table.data()), 1);
  }
  int At(int level, int c) const { return table[static_cast<size_t>(256 * c + level)]; }
  int At(const ScannedFilm& film, double logLight, int c) const { return At(film.Level(logLight, c), c); }
  NegativeEvidence Seen() const { return ::Seen(evidence).negative; }
  bool Says(int64_t reason) const { return (evidence.lReasons & reason) != 0; }
};

// Largest and mean difference between the channels of a printed gray wedge.
struct Cast {
  int largest = 0;
  double mean = 0.0;
  Cast(const Print& print, const ScannedFilm& film) {
    constexpr int kSteps = 100;
    for (int i = 0; i < kSteps; i++) {
      int rgb[3];
      for (int c = 0; c < 3; c++) rgb[c] = print.At(film, -kRange * i / kSteps, c);
      const auto [low, high] = std::minmax({rgb[0], rgb[1], rgb[2]});
      largest = std::max(largest, high - low);
      mean += (high - low) / double(kSteps);
    }
  }
};

inline void StainFilm(ScannedFilm& film) {
  film.base[2] = 90, film.slope[0] = film.slope[1] = 0.57, film.slope[2] = 0.68;
}

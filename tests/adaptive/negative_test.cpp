// Negatives that a test exposes and scans itself, and their prints by either analysis: bare, in a holder, and images
// that are no negatives.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "support.h"

namespace {

// A film, a light and a scanner, none of them what the engine takes for usual.
struct Film {
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

void StainMonochrome(Film& f) {
  std::fill_n(f.light, 3, 0.0);
  f.base[2] = 90, f.slope[0] = f.slope[1] = 0.57, f.slope[2] = 0.68;
}

// log10 of a scene's light in a channel, relative to white; x and y from 0 to 1.
using Scene = std::function<double(double x, double y, int c)>;

// All grays of a range, up and down, so that no side of the picture is black.
constexpr double kRange = 2.0;
double Wedge(double x, double y, int) { return -kRange * std::fabs(std::remainder(3.0 * x + 0.9 * y, 2.0)); }

// How the film lies on the scanner: shares of the picture's width.
struct Mount {
  double border = 0.0; // clear film around the picture
  double holder = 0.0; // black around that
  double tilt = 0.0;   // by which the holder's upper edge comes down from left to right
};
constexpr int kWidth = 240, kHeight = 160;

std::unique_ptr<Image> Scan(const Film& film, const Mount& mount = {}, const Scene& scene = Wedge) {
  const int border = static_cast<int>(mount.border * kWidth);
  const int margin = border + static_cast<int>(mount.holder * kWidth);
  auto scan = std::make_unique<Image>(kWidth + 2 * margin, kHeight + 2 * margin);
  scan->Fill([&](int x, int y, int c) {
    const int right = x - margin, down = y - margin;
    const int outside = std::max({-right, right - kWidth + 1, -down, down - kHeight + 1});
    if (outside > border || (outside <= 0 && down < mount.tilt * right)) return 2;
    if (outside > 0) return static_cast<int>(film.base[c] + 0.5);
    return film.Level(scene(right / (kWidth - 1.0), down / (kHeight - 1.0), c), c);
  });
  return scan;
}

struct Print : Analysed {
  using Analysed::Analysed;
  using Analysed::At;
  int At(const Film& film, double logLight, int c) const { return At(film.Level(logLight, c), c); }
  NegativeEvidence Seen() const { return Analysed::Seen().negative; }
  double Trimmed() const { return Analysed::Seen().trimmed; }
  bool Falls() const { // in every channel
    for (size_t i = 1; i < 768; i++) {
      if (i % 256 != 0 && table[i] > table[i - 1]) return false;
    }
    return true;
  }
};

TEST(Negatives, GrayPrintsGrayWithTheSceneTones) {
  struct Bounds {
    int largest; // display levels between the channels of the wedge
    double mean;
  };
  const struct {
    const char* name;
    int type, subMode;
    void (*change)(Film&);
    Bounds standard, adaptive;
    int64_t reasons;
  } cases[] = {
      {"daylight", 0, 0, [](Film&) {}, {16, 6}, {10, 4}, 0},
      {"thin", 0, 0, [](Film& f) { f.white -= 0.4; }, {}, {12, 4}, 0},
      {"dense", 0, 0, [](Film& f) { f.white += 0.7; }, {}, {12, 4}, 0},
      // As they are, the lamp would give a cast of 70 levels, the faded dyes more.
      {"lamp",
       0,
       0,
       [](Film& f) { f.light[0] += 0.22, f.light[2] -= 0.31; },
       {26, 18},
       {16, 7},
       ZEP3_REASON_INCANDESCENT},
      {"faded",
       0,
       2,
       [](Film& f) { f.kept[0] = 0.6, f.kept[1] = 0.9, f.kept[2] = 0.7, f.stain[2] = 0.1; },
       {},
       {12, 4},
       ZEP3_REASON_UNEVEN_FADING},
      {"monochrome", 3, 0, StainMonochrome, {}, {8, 3}, 0},
      {"monochrome, faded", 3, 2, [](Film& f) { StainMonochrome(f), std::fill_n(f.kept, 3, 0.7); }, {16, 6}, {8, 3}, 0},
  };
  for (const auto& test : cases) {
    Film film;
    test.change(film);
    const auto scan = Scan(film);
    for (const bool adaptive : {false, true}) {
      SCOPED_TRACE(testing::Message() << test.name << (adaptive ? ", adaptive" : ""));
      const Bounds& bounds = adaptive ? test.adaptive : test.standard;
      if (bounds.largest == 0) continue;
      const Print print(*scan, adaptive, test.type, test.subMode);
      EXPECT_EQ(print.evidence.lAnalysis, !adaptive        ? 0
                                          : test.type == 0 ? ZEP3_ANALYSIS_NEGATIVE
                                                           : ZEP3_ANALYSIS_NEGATIVE_BW);
      EXPECT_EQ(print.evidence.lReasons, adaptive ? test.reasons : 0);
      int largest = 0;
      double mean = 0.0;
      for (int i = 0; i < 100; i++) {
        int rgb[3];
        for (int c = 0; c < 3; c++) rgb[c] = print.At(film, -kRange * i / 100, c);
        const auto [low, high] = std::minmax({rgb[0], rgb[1], rgb[2]});
        largest = std::max(largest, high - low);
        mean += (high - low) / 100.0;
      }
      EXPECT_LE(largest, bounds.largest);
      EXPECT_LE(mean, bounds.mean);
      // White lies in the table's roll-off. In the display's gamma of 2.2 a light of 0.18 is 117 and one of 0.02 is
      // 43, but for the contrast that the film is thought to have added.
      EXPECT_NEAR(print.At(film, 0.0, 1), adaptive ? 240 : 230, adaptive ? 15 : 25);
      EXPECT_NEAR(print.At(film, -0.745, 1), 117, 25);
      EXPECT_NEAR(print.At(film, -1.7, 1), adaptive ? 43 : 30, adaptive && test.subMode == 0 ? 18 : 30);
      EXPECT_TRUE(print.Falls());
    }
  }
}

TEST(AdaptiveNegative, FindsTheFrame) {
  const Mount mounts[] = {{.border = 0.05},
                          {.holder = 0.04},
                          {.border = 0.05, .holder = 0.03},
                          {.border = 0.02, .holder = 0.12}}; // so much that the levels are no film's
  const Film film;
  const Scene scene = [](double x, double y, int c) { return Wedge(x, y, c) - (y > 0.6 ? 0.3 * c * y : 0.0); };
  for (const int type : {0, 3}) {
    const Print bare(*Scan(film, {}, scene), true, type);
    EXPECT_EQ(bare.Trimmed() + bare.Seen().holder + bare.Seen().border + bare.Seen().baseMeasured, 0.0);
    for (const Mount& mount : mounts) {
      SCOPED_TRACE(testing::Message() << type << ": " << mount.border << " " << mount.holder);
      const auto scan = Scan(film, mount, scene);
      const Print print(*scan, true, type);
      const bool border = mount.border > 0;
      EXPECT_EQ(print.Seen().holder, mount.holder > 0);
      EXPECT_EQ(print.Seen().border, border);
      EXPECT_EQ(print.Seen().baseMeasured, border);
      EXPECT_EQ(print.Says(ZEP3_REASON_MEASURED_BASE), border);
      EXPECT_TRUE(print.Says(ZEP3_REASON_BORDER_REMOVED));
      EXPECT_EQ(print.r.para.lSaturation, 0);
      // At every side a line of blocks (2 pixels) may be half border, and one further is taken off after each round.
      const double around = 1 - kWidth * kHeight / (1.0 * scan->width * scan->height);
      EXPECT_NEAR(print.Trimmed(), around + 0.045, 0.055);
      for (int c = 0; c < 3; c++) {
        if (border) {
          EXPECT_NEAR(print.Seen().base[c], film.base[c], 1.0);
        }
        for (int i = film.Level(0.0, c); i <= film.Level(-kRange, c); i++) {
          EXPECT_NEAR(print.At(i, c), bare.At(i, c), 14) << i;
        }
      }
    }
    // A holder's edge across the corner fills no line: a triangle of 24 lines at the far end, 7.5 %.
    const Print tilted(*Scan(film, {.tilt = 0.1}, scene), true, type);
    EXPECT_NEAR(tilted.Trimmed(), 0.075, 0.045);
  }
}

TEST(AdaptiveNegative, OneColourStaysWhatItIs) {
  const Film film;
  // Red cloth in folds, and the same with patches of white and black.
  const Scene red = [](double x, double y, int c) {
    return (c == 0 ? -0.25 : -1.1) + 0.2 * std::sin(40 * x) * std::cos(25 * y);
  };
  const Scene patches = [&](double x, double y, int c) {
    if (x > 0.2 && x < 0.4 && y > 0.2 && y < 0.4) return 0.0;
    if (x > 0.6 && x < 0.8 && y > 0.6 && y < 0.8) return -2.0;
    return red(x, y, c);
  };
  for (const int subMode : {0, 2}) {
    const Print alone(*Scan(film, {.border = 0.05}, red), true, 0, subMode);
    EXPECT_LT(alone.Seen().neutral, subMode == 0 ? 0.2 : 0.4);
    EXPECT_TRUE(alone.Says(ZEP3_REASON_ONE_COLOUR));
    EXPECT_GT(alone.At(film, -0.25, 0), 60 + alone.At(film, -1.1, 1));

    const Print with(*Scan(film, {.border = 0.05}, patches), true, 0, subMode);
    EXPECT_GT(with.Seen().neutral, 0.9);
    EXPECT_FALSE(with.Says(ZEP3_REASON_ONE_COLOUR));
    for (const double patch : {0.0, -2.0}) {
      for (const int c : {0, 2}) EXPECT_NEAR(with.At(film, patch, c), with.At(film, patch, 1), 12);
    }
    EXPECT_GT(with.evidence.dConfidence, alone.evidence.dConfidence);
  }
}

TEST(AdaptiveNegative, UnusualPictures) {
  // A few lights in the dark, and a post in the snow.
  const Scene lights = [](double x, double y, int) {
    return x * 7 - std::floor(x * 7) < 0.04 ? 0.0 : -1.7 + 0.3 * std::sin(60 * y);
  };
  const Scene snow = [](double x, double, int) { return std::fabs(x - 0.5) < 0.01 ? -1.7 : 0.0; };
  const Print night(*Scan({}, {}, lights), true, 0);
  EXPECT_GT(night.Seen().lift, 0.05);
  EXPECT_TRUE(night.Says(ZEP3_REASON_BRIGHTNESS));
  EXPECT_LT(Print(*Scan({}, {}, snow), true, 0).Seen().lift, -0.05);
}

TEST(AdaptiveNegative, FollowsMatrixAndLevel) {
  const auto scan = Scan({});
  const Print own(*scan, true, 0);
  // A hundredth of blue's contrast is held at half.
  double flatBlue[9] = {0.807, 0, 0, 0, 0.97, 0, 0, 0, 0.01};
  EXPECT_LT(Print(*scan, true, 0, 0, 4, flatBlue).Seen().slope[2], 0.7 * own.Seen().slope[2]);
  // Faded film has no use for it.
  EXPECT_EQ(Print(*scan, true, 0, 2, 4, flatBlue).r.Points(), Print(*scan, true, 0, 2).r.Points());
  for (const int type : {0, 3}) {
    for (const int subMode : {0, 2}) {
      const double power = Print(*scan, true, type, subMode).Seen().power;
      for (const int64_t level : {0, 3, 4, 6}) {
        const Print print(*scan, true, type, subMode, level);
        const double below = level > 4 ? 0.0 : 4.0 - double(level);
        EXPECT_NEAR(print.Seen().power, power * (1.0 - 0.03 * below), 1e-12);
        // A master curve above level 4, of monochrome film too: outputs below the middle fall, those above rise.
        const LPOINT(&points)[ZEP3_TONE_POINTS] = print.r.outMaster.ptCtrl;
        EXPECT_EQ(print.r.para.lLevelFlag, level > 4);
        ASSERT_EQ(print.r.outMaster.wPointNum, level > 4 ? 5 : 2);
        if (level != 6) continue;
        EXPECT_LT(points[1].y, points[1].x);
        EXPECT_NEAR(points[3].y - points[3].x, 16, 2);
      }
    }
  }
}

} // namespace

// Negatives that a test exposes and scans itself, and their prints by the adaptive analysis: bare, in a holder, and
// scenes that mislead.
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
const Film kFilm;
const Film kMonochrome = {.slope = {0.57, 0.57, 0.68}, .base = {215, 180, 90}, .light = {0, 0, 0}};

// log10 of a scene's light in a channel, relative to white; x and y from 0 to 1.
using Scene = std::function<double(double x, double y, int c)>;

// All grays of a range, up and down, so that no side of the picture is black.
constexpr double kRange = 2.0;
double Wedge(double x, double y, int) { return -kRange * std::fabs(std::remainder(3.0 * x + 0.9 * y, 2.0)); }

constexpr int kWidth = 240, kHeight = 160;

// Around the picture clear film, and black around that: shares of the picture's width.
std::unique_ptr<Image> Scan(const Film& film, const Scene& scene = Wedge, double clear = 0, double holder = 0) {
  const int border = static_cast<int>(clear * kWidth);
  const int margin = border + static_cast<int>(holder * kWidth);
  auto scan = std::make_unique<Image>(kWidth + 2 * margin, kHeight + 2 * margin);
  scan->Fill([&](int x, int y, int c) {
    const int right = x - margin, down = y - margin;
    const int outside = std::max({-right, right - kWidth + 1, -down, down - kHeight + 1});
    if (outside > border) return 2;
    if (outside > 0) return static_cast<int>(film.base[c] + 0.5);
    return film.Level(scene(right / (kWidth - 1.0), down / (kHeight - 1.0), c), c);
  });
  return scan;
}

struct Print : Analysed {
  explicit Print(const Image& image, int type = 0, int subMode = 0, int64_t level = 4, double* matrix = kIdentity)
      : Analysed(image, true, type, subMode, level, matrix) {}
  using Analysed::At;
  int At(const Film& film, double logLight, int c) const { return At(film.Level(logLight, c), c); }
  NegativeEvidence Seen() const { return Analysed::Seen().negative; }
  double Trimmed() const { return Analysed::Seen().trimmed; }
};

TEST(Negatives, GrayPrintsGrayWithTheSceneTones) {
  const Film lamp = {.light = {0.14, 0.0, -0.26}};
  const Film faded = {.kept = {0.6, 0.9, 0.7}, .stain = {0, 0, 0.1}};
  Film fadedSilver = kMonochrome;
  std::fill_n(fadedSilver.kept, 3, 0.7);
  const struct {
    const char* name;
    Film film;
    int type, subMode;
    int largest; // display levels between the channels of the wedge
    double mean;
    int64_t reasons;
  } cases[] = {
      {"daylight", kFilm, 0, 0, 10, 4, 0},
      {"thin", {.white = 1.2}, 0, 0, 12, 4, 0},
      {"dense", {.white = 2.3}, 0, 0, 12, 4, 0},
      // As they are, the lamp would give a cast of 70 levels, the faded dyes more.
      {"lamp", lamp, 0, 0, 16, 7, ZEP3_REASON_INCANDESCENT},
      {"faded", faded, 0, 2, 12, 4, ZEP3_REASON_UNEVEN_FADING},
      {"monochrome", kMonochrome, 3, 0, 8, 3, 0},
      {"monochrome, faded", fadedSilver, 3, 2, 8, 3, 0},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    const Print print(*Scan(test.film), test.type, test.subMode);
    EXPECT_EQ(print.evidence.lAnalysis, test.type == 0 ? ZEP3_ANALYSIS_NEGATIVE : ZEP3_ANALYSIS_NEGATIVE_BW);
    EXPECT_EQ(print.evidence.lReasons, test.reasons);
    int largest = 0;
    double mean = 0.0;
    for (int i = 0; i < 100; i++) {
      int rgb[3];
      for (int c = 0; c < 3; c++) rgb[c] = print.At(test.film, -kRange * i / 100, c);
      const auto [low, high] = std::minmax({rgb[0], rgb[1], rgb[2]});
      largest = std::max(largest, high - low);
      mean += (high - low) / 100.0;
    }
    EXPECT_LE(largest, test.largest);
    EXPECT_LE(mean, test.mean);
    // White lies in the table's roll-off. In the display's gamma of 2.2 a light of 0.18 is 117 and one of 0.02 is 43,
    // but for the contrast that the film is thought to have added.
    EXPECT_NEAR(print.At(test.film, 0.0, 1), 240, 15);
    EXPECT_NEAR(print.At(test.film, -0.745, 1), 117, 25);
    EXPECT_NEAR(print.At(test.film, -1.7, 1), 43, test.subMode == 0 ? 18 : 30);
  }
}

TEST(AdaptiveNegative, FindsTheFrame) {
  // Clear film and holder; the last so much of it that the levels are no film's.
  const double mounts[][2] = {{0.05, 0}, {0, 0.04}, {0.05, 0.03}, {0.02, 0.12}};
  const Scene scene = [](double x, double y, int c) { return Wedge(x, y, c) - (y > 0.6 ? 0.3 * c * y : 0.0); };
  for (const int type : {0, 3}) {
    const Print bare(*Scan(kFilm, scene), type);
    EXPECT_EQ(bare.Trimmed() + bare.Seen().holder + bare.Seen().border + bare.Seen().baseMeasured, 0.0);
    for (const auto& [clear, holder] : mounts) {
      SCOPED_TRACE(testing::Message() << type << ": " << clear << " " << holder);
      const auto scan = Scan(kFilm, scene, clear, holder);
      const Print print(*scan, type);
      EXPECT_EQ(print.Seen().holder, holder > 0 && clear == 0); // what lies right beside the picture
      EXPECT_EQ(print.Seen().border, clear > 0);
      EXPECT_EQ(print.Seen().baseMeasured, clear > 0);
      EXPECT_EQ(print.Says(ZEP3_REASON_MEASURED_BASE), clear > 0);
      EXPECT_TRUE(print.Says(ZEP3_REASON_BORDER_REMOVED));
      // Blocks count from one block (2 pixels) inside of the sides on, and beyond a twelfth of the height from corners.
      const double inside = (kWidth - 5) * (kHeight - 5) - 0.08 * 0.08 * 2 * kHeight * kHeight;
      EXPECT_NEAR(print.Trimmed(), 1 - inside / (1.0 * scan->width * scan->height), 0.015);
      for (int c = 0; c < 3; c++) {
        for (const double light : {-kRange, -0.5 * kRange, 0.0}) {
          EXPECT_NEAR(print.At(kFilm, light, c), bare.At(kFilm, light, c), 14) << light;
        }
      }
    }
  }
}

// A line of it at the scan's edge, half a block wide.
TEST(AdaptiveNegative, AHairOfHolderDecidesNothing) {
  for (const int type : {0, 3}) {
    for (const int subMode : {0, 2}) {
      SCOPED_TRACE(testing::Message() << type << ", " << subMode);
      const auto scan = Scan(kFilm), rimmed = Scan(kFilm);
      rimmed->Fill([&](int x, int y, int c) {
        return y == 0 || x == 0 || y == kHeight - 1 || x == kWidth - 1 ? 2 : scan->Level(x, y, c);
      });
      const Print bare(*scan, type, subMode), print(*rimmed, type, subMode);
      EXPECT_NEAR(print.Seen().range, bare.Seen().range, 0.05);
      for (int c = 0; c < 3; c++) {
        for (const double light : {-0.5 * kRange, 0.0}) {
          EXPECT_NEAR(print.At(kFilm, light, c), bare.At(kFilm, light, c), 6) << light;
        }
      }
    }
  }
}

TEST(AdaptiveNegative, OneColourStaysWhatItIs) {
  // Red cloth in folds, and the same with patches of white and black.
  const Scene red = [](double x, double y, int c) {
    return (c == 0 ? -0.25 : -1.1) + 0.2 * std::sin(40 * x) * std::cos(25 * y);
  };
  const Scene patches = [&](double x, double y, int c) {
    if (x > 0.2 && x < 0.4 && y > 0.2 && y < 0.4) return 0.0;
    return x > 0.6 && x < 0.8 && y > 0.6 && y < 0.8 ? -2.0 : red(x, y, c);
  };
  for (const int subMode : {0, 2}) {
    const Print alone(*Scan(kFilm, red, 0.05), 0, subMode), with(*Scan(kFilm, patches, 0.05), 0, subMode);
    EXPECT_TRUE(alone.Says(ZEP3_REASON_ONE_COLOUR) && !with.Says(ZEP3_REASON_ONE_COLOUR));
    EXPECT_GT(alone.At(kFilm, -0.25, 0), 60 + alone.At(kFilm, -1.1, 1));
    for (const double patch : {0.0, -2.0}) {
      for (const int c : {0, 2}) EXPECT_NEAR(with.At(kFilm, patch, c), with.At(kFilm, patch, 1), 12);
    }
    EXPECT_GT(with.evidence.dConfidence, alone.evidence.dConfidence);
    // Within clear film this analysis has a share of 0.6 times the belief squared.
    const auto scan = Scan(kFilm, red, 0.02);
    const Print narrow(*scan, 0, subMode);
    const double own = 0.6 * narrow.Seen().neutral * narrow.Seen().neutral;
    EXPECT_LT(own, 0.5);
    const Analysed standard(*scan, false, 0, subMode);
    for (int c = 0; c < 3; c++) {
      const int level = kFilm.Level(c == 0 ? -0.25 : -1.1, c);
      EXPECT_NEAR(narrow.Analysed::At(level, c), standard.At(level, c), 10 + 100 * own) << narrow.Trimmed();
    }
  }
}

TEST(AdaptiveNegative, ABlackLevelThatIsTooHighTakesNoPictureWithIt) {
  // So much light is taken off that the densest 1 to 2 % have a blue of 0, and less of red and green.
  const auto scan = Scan(kFilm), cut = Scan(kFilm);
  cut->Fill([&](int x, int y, int c) {
    const double light = std::pow(scan->Level(x, y, c) / 255.0, 1.8) - 0.0065 * (c + 1) / 3;
    return static_cast<int>(255.0 * std::pow(std::max(0.0, light), 1 / 1.8) + 0.5);
  });
  const Print whole(*scan), rest(*cut);
  for (int c = 0; c < 3; c++) {
    // Mid-gray stays within a third of a stop: 117 in display levels, 0.1 in log10 of light.
    const double light = std::pow(kFilm.Level(-0.745, c) / 255.0, 1.8) - 0.0065 * (c + 1) / 3;
    EXPECT_NEAR(rest.At(static_cast<int>(255.0 * std::pow(light, 1 / 1.8) + 0.5), c), whole.At(kFilm, -0.745, c), 14);
  }
}

TEST(AdaptiveNegative, FollowsMatrixAndLevel) {
  const auto scan = Scan(kFilm);
  // A hundredth of blue's contrast is held at half. Faded film has no use for it.
  double flatBlue[9] = {0.807, 0, 0, 0, 0.97, 0, 0, 0, 0.01};
  EXPECT_LT(Print(*scan, 0, 0, 4, flatBlue).Seen().slope[2], 0.7 * Print(*scan).Seen().slope[2]);
  EXPECT_EQ(Print(*scan, 0, 2, 4, flatBlue).r.Points(), Print(*scan, 0, 2).r.Points());
  for (const int type : {0, 3}) {
    const double power = Print(*scan, type).Seen().power;
    for (const int64_t level : {0, 3, 4, 6}) {
      const Print print(*scan, type, 0, level);
      EXPECT_NEAR(print.Seen().power, power * (1.0 - 0.03 * double(std::max<int64_t>(0, 4 - level))), 1e-12);
      // A master curve above level 4, of monochrome film too: outputs above the middle rise.
      const ZEP3_TONE& tone = print.r.outMaster;
      EXPECT_EQ(print.r.para.lLevelFlag, level > 4);
      ASSERT_EQ(tone.wPointNum, level > 4 ? 5 : 2);
      if (level > 4) {
        EXPECT_NEAR(tone.ptCtrl[3].y - tone.ptCtrl[3].x, 16, 2);
      }
    }
  }
}

} // namespace

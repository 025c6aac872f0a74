// The adaptive analysis of negatives: film that the test exposes and scans itself, bare and in a holder, and images
// that are no negatives.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "engine/adaptive/frame/negative_frame.h"
#include "engine/adaptive/frame/peel.h"
#include "scanned_film.h"
#include "support.h"

namespace {

double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// log10 of a scene's light in a channel, relative to white; x and y from 0 to 1.
using Scene = std::function<double(double, double, int)>;

// All grays of a range, up and down, so that no side of the picture is black.
constexpr double kRange = 2.0;
double Wedge(double x, double y, int) { return -kRange * std::fabs(std::remainder(3.0 * x + 0.9 * y, 2.0)); }

// How the film lies on the scanner: the picture's side, and shares of it.
struct Mount {
  double border = 0.0; // clear film around the picture
  double holder = 0.0; // black around that
  double tilt = 0.0;   // by which the holder's upper edge comes down from left to right
  int width = 240;
  int height = 160;
};

struct Scanned {
  std::unique_ptr<Image> image;
  double around; // share of it that is not the picture
};

Scanned Scan(const ScannedFilm& film, const Mount& mount, const Scene& scene) {
  const int border = static_cast<int>(mount.border * mount.width);
  const int margin = border + static_cast<int>(mount.holder * mount.width);
  Scanned scan{std::make_unique<Image>(mount.width + 2 * margin, mount.height + 2 * margin), 0.0};
  scan.image->Fill([&](int x, int y, int c) {
    const int right = x - margin;
    const int down = y - margin;
    const int outside = std::max(std::max(-right, right - mount.width + 1), std::max(-down, down - mount.height + 1));
    if (outside > border || (outside <= 0 && down < mount.tilt * right)) return 2;
    if (outside > 0) return static_cast<int>(film.base[c] + 0.5);
    return film.Level(scene(right / (mount.width - 1.0), down / (mount.height - 1.0), c), c);
  });
  scan.around = 1.0 - double(mount.width) * mount.height / (double(scan.image->width) * scan.image->height);
  return scan;
}

struct Print {
  Record r;
  ZEP3_EVIDENCE evidence;
  std::array<uint8_t, 768> table{};
  int64_t saturation;

  Print(const Image& image, int type, int subMode = 0, int64_t level = 4, double* matrix = kIdentity)
      : r(type, subMode) {
    ZEP3_BmpInfo bmp = image.bmp;
    r.para.lCorrectLevel = level;
    r.para.lSaturation = 99; // of another scan
    EXPECT_EQ(ZEP3Adaptive(&bmp, &r.para, matrix, &evidence), 1);
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
};
Cast CastOf(const Print& print, const ScannedFilm& film) {
  Cast cast;
  constexpr int kSteps = 100;
  for (int i = 0; i < kSteps; i++) {
    const double light = -kRange * i / kSteps;
    const int r = print.At(film, light, 0);
    const int g = print.At(film, light, 1);
    const int b = print.At(film, light, 2);
    const int difference = std::max(std::max(r, g), b) - std::min(std::min(r, g), b);
    cast.largest = std::max(cast.largest, difference);
    cast.mean += difference / double(kSteps);
  }
  return cast;
}

void Stain(ScannedFilm& film) { film.base[2] = 90, film.slope[0] = film.slope[1] = 0.57, film.slope[2] = 0.68; }

TEST(AdaptiveNegative, GrayPrintsGrayWithTheSceneTones) {
  const struct {
    const char* name;
    int type, subMode;
    std::function<void(ScannedFilm&)> change;
    int largest; // difference of the channels
    double mean;
    int dark; // tolerance of the darkest
    int64_t reasons;
  } cases[] = {
      {"daylight", 0, 0, [](ScannedFilm&) {}, 10, 4.0, 18, 0},
      {"thin", 0, 0, [](ScannedFilm& f) { f.white -= 0.4; }, 12, 4.0, 18, 0},
      {"dense", 0, 0, [](ScannedFilm& f) { f.white += 0.7; }, 12, 4.0, 18, 0},
      {"other scanner", 0, 0, [](ScannedFilm& f) { f.base[0] *= 0.9, f.base[2] *= 0.8; }, 10, 4.0, 18, 0},
      {"lamp", 0, 0, [](ScannedFilm& f) { f.light[0] += 0.22, f.light[2] -= 0.31; }, 16, 7.0, 18,
       ZEP3_REASON_INCANDESCENT},
      {"faded", 0, 2, [](ScannedFilm& f) { f.kept[0] = 0.6, f.kept[1] = 0.9, f.kept[2] = 0.7, f.stain[2] = 0.1; }, 12,
       4.0, 25, ZEP3_REASON_UNEVEN_FADING},
      {"monochrome", 3, 0, Stain, 8, 3.0, 18, 0},
      {"monochrome, faded", 3, 2, [](ScannedFilm& f) { Stain(f), f.kept[0] = f.kept[1] = f.kept[2] = 0.7; }, 8, 3.0, 18,
       0},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    ScannedFilm film;
    if (test.type == 3) std::fill_n(film.light, 3, 0.0);
    test.change(film);
    const Print print(*Scan(film, {}, Wedge).image, test.type, test.subMode);
    EXPECT_EQ(print.evidence.lAnalysis, test.type == 0 ? ZEP3_ANALYSIS_NEGATIVE : ZEP3_ANALYSIS_NEGATIVE_BW);
    EXPECT_EQ(print.evidence.lReasons, test.reasons);
    const Cast cast = CastOf(print, film);
    EXPECT_LE(cast.largest, test.largest);
    EXPECT_LE(cast.mean, test.mean);
    // White lies in the table's roll-off. In the display's gamma of 2.2 a light of 0.18 is 117 and one of 0.02 is 43,
    // but for the contrast that the film is thought to have added.
    EXPECT_NEAR(print.At(film, 0.0, 1), 240, 15);
    EXPECT_NEAR(print.At(film, -0.745, 1), 117, 22);
    EXPECT_NEAR(print.At(film, -1.7, 1), 43, test.dark);
    for (int c = 0; c < 3; c++) {
      EXPECT_TRUE(std::is_sorted(print.table.rbegin() + 256 * c, print.table.rbegin() + 256 * (c + 1)));
    }
  }
}

TEST(AdaptiveNegative, FindsTheFrame) {
  const struct {
    const char* name;
    Mount mount;
    double holder, border;
  } cases[] = {
      {"border", {.border = 0.05}, 0, 1},
      {"holder", {.holder = 0.04}, 1, 0},
      {"both", {.border = 0.05, .holder = 0.03}, 1, 1},
      {"so much holder that the levels are no film's", {.border = 0.02, .holder = 0.12}, 1, 1},
  };
  const ScannedFilm film;
  const Scene scene = [](double x, double y, int c) { return Wedge(x, y, c) - (y > 0.6 ? 0.3 * c * y : 0.0); };
  for (const int type : {0, 3}) {
    const Scanned plain = Scan(film, {}, scene);
    const Print bare(*plain.image, type);
    EXPECT_EQ(Seen(bare.evidence).trimmed, 0.0);
    EXPECT_EQ(bare.Seen().holder, 0.0);
    EXPECT_EQ(bare.Seen().border, 0.0);
    EXPECT_EQ(bare.Seen().baseMeasured, 0.0);
    EXPECT_FALSE(bare.Says(ZEP3_REASON_BORDER_REMOVED));
    for (const auto& test : cases) {
      SCOPED_TRACE(test.name);
      const Scanned scan = Scan(film, test.mount, scene);
      const Print print(*scan.image, type);
      EXPECT_EQ(print.Seen().holder, test.holder);
      EXPECT_EQ(print.Seen().border, test.border);
      EXPECT_EQ(print.Seen().baseMeasured, test.border);
      EXPECT_EQ(print.Says(ZEP3_REASON_MEASURED_BASE), test.border == 1);
      EXPECT_TRUE(print.Says(ZEP3_REASON_BORDER_REMOVED));
      EXPECT_EQ(print.saturation, 0);
      // At every side a line of blocks (2 pixels) may be half border, and one further is taken off after each round.
      EXPECT_GE(Seen(print.evidence).trimmed, scan.around - 0.01);
      EXPECT_LE(Seen(print.evidence).trimmed, scan.around + 0.10);
      for (int c = 0; c < 3; c++) {
        if (test.border == 1) {
          EXPECT_NEAR(print.Seen().base[c], film.base[c], 1.0);
        }
        for (int i = film.Level(0.0, c); i <= film.Level(-kRange, c); i++) {
          EXPECT_NEAR(print.At(i, c), bare.At(i, c), 14) << i;
        }
      }
    }
  }
}

// What is around the picture is not always the film's base.
TEST(AdaptiveNegative, DoubtsABorder) {
  ScannedFilm film;
  std::fill_n(film.base, 3, 120.0);
  // Open light is 0.59 denser than the film's base is.
  ScannedFilm light = film;
  std::fill_n(light.base, 3, 255.0);
  Scanned open = Scan(light, {.border = 0.05}, Wedge);
  Scanned hole = Scan(film, {.border = 0.05}, Wedge);
  for (int y = 0; y < open.image->height; y++) {
    for (int x = 0; x < open.image->width; x++) {
      const bool inside = x >= 12 && x < 252 && y >= 12 && y < 172;
      const bool scratch = std::abs(x - 130) < 3 && std::abs(y - 90) < 20;
      for (int c = 0; c < 3; c++) {
        if (inside) open.image->Level(x, y, c) = hole.image->Level(x, y, c);
        if (scratch) hole.image->Level(x, y, c) = 200;
      }
    }
  }
  for (const Scanned* scan : {&open, &hole}) {
    const Print print(*scan->image, 3);
    EXPECT_EQ(print.Seen().border, 1.0);
    EXPECT_EQ(print.Seen().baseMeasured, 0.0);
  }
}

// A holder's edge across the corner fills no line: its blocks are left out one by one, with two around them.
TEST(AdaptiveNegative, LeavesOutWhatReachesIn) {
  const ScannedFilm film;
  const Print bare(*Scan(film, {}, Wedge).image, 3);
  const Print tilted(*Scan(film, {.tilt = 0.1}, Wedge).image, 3);
  // A triangle of 24 lines at the far end: 7.5 %.
  EXPECT_NEAR(Seen(tilted.evidence).trimmed, 0.075, 0.045);
  for (int i = film.Level(0.0, 1); i <= film.Level(-kRange, 1); i++) EXPECT_NEAR(tilted.At(i, 1), bare.At(i, 1), 6);
}

TEST(AdaptiveNegative, OneColourStaysWhatItIs) {
  const ScannedFilm film;
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
    const Print alone(*Scan(film, {.border = 0.05}, red).image, 0, subMode);
    EXPECT_LT(alone.Seen().neutral, subMode == 0 ? 0.2 : 0.4);
    EXPECT_TRUE(alone.Says(ZEP3_REASON_ONE_COLOUR));
    EXPECT_GT(alone.At(film, -0.25, 0), 60 + alone.At(film, -1.1, 1));

    const Print with(*Scan(film, {.border = 0.05}, patches).image, 0, subMode);
    EXPECT_GT(with.Seen().neutral, 0.9);
    EXPECT_FALSE(with.Says(ZEP3_REASON_ONE_COLOUR));
    for (const double patch : {0.0, -2.0}) {
      for (const int c : {0, 2}) EXPECT_NEAR(with.At(film, patch, c), with.At(film, patch, 1), 12);
    }
    EXPECT_GT(with.At(film, -0.25, 0), 60 + with.At(film, -1.1, 1));
    EXPECT_GT(with.evidence.dConfidence, alone.evidence.dConfidence);
  }
}

TEST(AdaptiveNegative, UnusualPictures) {
  const ScannedFilm film;
  const auto print = [&](const Scene& scene, int type = 0) { return Print(*Scan(film, {}, scene).image, type); };
  // A few lights in the dark, and a post in the snow.
  const auto few = [](double x) { return x * 7 - std::floor(x * 7) < 0.04; };
  const Print night = print([&](double x, double y, int) { return few(x) ? 0.0 : -1.7 + 0.3 * std::sin(60 * y); });
  EXPECT_GT(night.Seen().lift, 0.05);
  EXPECT_TRUE(night.Says(ZEP3_REASON_BRIGHTNESS));
  const Print snow = print([](double x, double, int) { return std::fabs(x - 0.5) < 0.01 ? -1.7 : 0.0; });
  EXPECT_LT(snow.Seen().lift, -0.05);
  EXPECT_TRUE(snow.Says(ZEP3_REASON_BRIGHTNESS));
  // Hardly above the base, without a gray to vote: still gray.
  ScannedFilm thin;
  thin.white = -0.1;
  const Print faint(*Scan(thin, {}, Wedge).image, 0);
  EXPECT_EQ(faint.evidence.lAnalysis, ZEP3_ANALYSIS_NEGATIVE);
  EXPECT_TRUE(faint.Says(ZEP3_REASON_FLAT));
  EXPECT_EQ(faint.Seen().votes, 0.0);
}

TEST(AdaptiveNegative, FollowsMatrixAndLevel) {
  const ScannedFilm film;
  const Scanned scan = Scan(film, {}, Wedge);
  const Print own(*scan.image, 0);
  // Twice the film's own contrasts are the film's own; half of blue's is not, and is held at half.
  double twice[9] = {2 * 0.807, 0, 0, 0, 2 * 0.97, 0, 0, 0, 2 * 1.009};
  EXPECT_EQ(Print(*scan.image, 0, 0, 4, twice).r.Points(), own.r.Points());
  double flatBlue[9] = {0.807, 0, 0, 0, 0.97, 0, 0, 0, 0.01};
  EXPECT_LT(Print(*scan.image, 0, 0, 4, flatBlue).Seen().slope[2], 0.7 * own.Seen().slope[2]);
  // Faded film has no use for it.
  EXPECT_EQ(Print(*scan.image, 0, 2, 4, flatBlue).r.Points(), Print(*scan.image, 0, 2).r.Points());
  // Without one levels must be unusable for ZEP3 to get so far.
  const Scanned held = Scan(film, {.border = 0.02, .holder = 0.12}, Wedge);
  EXPECT_EQ(Print(*held.image, 0, 0, 4, nullptr).r.Points(), Print(*held.image, 0).r.Points());

  for (const int type : {0, 3}) {
    const double power = Print(*scan.image, type).Seen().power;
    for (const int64_t level : {INT64_MIN, int64_t{0}, int64_t{3}, int64_t{9}, INT64_MAX}) {
      const double below = level < 0 ? 4.0 : level > 4 ? 0.0 : 4.0 - double(level);
      EXPECT_NEAR(Print(*scan.image, type, 0, level).Seen().power, power * (1.0 - 0.03 * below), 1e-12);
    }
  }
}

// The print is the scene's at level 4, of unfaded monochrome film too, for which the standard curve starts at level 2.
TEST(AdaptiveNegative, AMasterCurveAddsToThePrintAboveLevelFour) {
  const Scanned scan = Scan(ScannedFilm(), {}, Wedge);
  for (const int type : {0, 3}) {
    for (const int subMode : {0, 2}) {
      SCOPED_TRACE(testing::Message() << "type " << type << ", sub-mode " << subMode);
      for (const int64_t level : {2, 3, 4, 5, 6}) {
        const Print print(*scan.image, type, subMode, level);
        EXPECT_EQ(print.r.para.lLevelFlag, level > 4);
        ASSERT_EQ(print.r.outMaster.wPointNum, level > 4 ? 5 : 2);
        EXPECT_EQ(print.r.outMaster.ptCtrl[level > 4 ? 4 : 1].x, 255);
        // More contrast: outputs below the middle point fall, those above rise.
        const LPOINT(&points)[ZEP3_TONE_POINTS] = print.r.outMaster.ptCtrl;
        if (level > 4) {
          EXPECT_LT(points[1].y, points[1].x);
          EXPECT_GT(points[3].y, points[3].x);
          EXPECT_NEAR(points[3].y - points[3].x, 8.0 * (level - 4.0), 2);
        }
      }
    }
  }
}

TEST(AdaptiveNegative, SameEitherWayRound) {
  const ScannedFilm film;
  const Scene scene = [](double x, double y, int c) { return -0.8 - 0.8 * std::sin(9 * x + 5 * y * y + 0.4 * c * x); };
  for (const int type : {0, 3}) {
    const auto print = [&](double fromX, double fromY) {
      return std::make_unique<Print>(
          *Scan(film, {.border = 0.05, .holder = 0.05},
                [&](double x, double y, int c) { return scene(std::fabs(fromX - x), std::fabs(fromY - y), c); })
               .image,
          type);
    };
    const auto straight = print(0, 0);
    EXPECT_EQ(print(0, 0)->r.Points(), straight->r.Points());
    for (const auto& turned : {print(1, 0), print(0, 1)}) {
      // Other blocks vote.
      for (int i = 0; i < 768; i++) EXPECT_NEAR(turned->At(i % 256, i / 256), straight->At(i % 256, i / 256), 2);
      EXPECT_NEAR(turned->Seen().range, straight->Seen().range, 0.01);
    }
  }
}

TEST(AdaptiveNegative, NoNegatives) {
  const struct {
    const char* name;
    int width, height;
    std::function<int(int, int, int)> level;
    int64_t colour, monochrome; // reason; 0: analysed
  } cases[] = {
      {"black", 200, 100, [](int, int, int) { return 0; }, ZEP3_REASON_DEFAULTS, ZEP3_REASON_DEFAULTS},
      {"white", 200, 100, [](int, int, int) { return 255; }, ZEP3_REASON_DEFAULTS, ZEP3_REASON_DEFAULTS},
      {"flat", 200, 100, [](int, int, int) { return 120; }, ZEP3_REASON_TOO_LITTLE, ZEP3_REASON_TOO_LITTLE},
      {"too dense", 200, 100, [](int x, int, int) { return 10 + x / 20; }, ZEP3_REASON_DEFAULTS,
       ZEP3_REASON_TOO_LITTLE},
      {"one pixel", 1, 1, [](int, int, int) { return 100; }, ZEP3_REASON_TOO_LITTLE, ZEP3_REASON_TOO_LITTLE},
      {"nine pixels", 3, 3, [](int x, int y, int) { return 40 + 20 * x + 50 * y; }, ZEP3_REASON_TOO_LITTLE,
       ZEP3_REASON_TOO_LITTLE},
      {"noise", 200, 100, [](int x, int y, int c) { return Noise(x + 200 * y, c); }, ZEP3_REASON_DEFAULTS, 0},
      {"empty channel", 200, 100, [](int x, int, int c) { return c == 2 ? 0 : 30 + x; }, ZEP3_REASON_DEFAULTS, 0},
      {"green alone", 200, 100, [](int x, int, int c) { return c == 1 ? 30 + x : 0; }, ZEP3_REASON_DEFAULTS, 0},
      {"blue alone", 200, 100, [](int x, int, int c) { return c == 2 ? 30 + x : 0; }, ZEP3_REASON_DEFAULTS, 0},
      {"clipped", 200, 100, [](int x, int y, int) { return (x + y) % 2 == 0 ? 2 : 250; }, ZEP3_REASON_DEFAULTS,
       ZEP3_REASON_DEFAULTS},
      {"two levels", 200, 100, [](int x, int y, int) { return (x + y) % 2 == 0 ? 20 : 240; }, 0, 0},
  };
  for (const int type : {0, 3}) {
    for (const int subMode : {0, 2}) {
      for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        Image image(test.width, test.height);
        image.Fill(test.level);
        const Print print(image, type, subMode);
        const int64_t reason = type == 0 ? test.colour : test.monochrome;
        if (reason == 0) {
          EXPECT_EQ(print.evidence.lAnalysis, type == 0 ? ZEP3_ANALYSIS_NEGATIVE : ZEP3_ANALYSIS_NEGATIVE_BW);
          const NegativeEvidence seen = print.Seen();
          for (const double share :
               {seen.neutral, seen.votes, print.evidence.dConfidence, Seen(print.evidence).trimmed}) {
            EXPECT_TRUE(0.0 <= share && share <= 1.0);
          }
          EXPECT_TRUE(0.6 <= seen.power && seen.power <= 2.0);
          EXPECT_TRUE(seen.range >= 0.1 && std::isfinite(seen.range));
          for (int c = 0; c < 3; c++) {
            EXPECT_TRUE(2.0 <= seen.base[c] && seen.base[c] <= 280.5);
            EXPECT_TRUE(0.1 <= seen.slope[c] && seen.slope[c] <= 2.0);
            EXPECT_TRUE(std::is_sorted(print.table.rbegin() + 256 * c, print.table.rbegin() + 256 * (c + 1)));
          }
          continue;
        }
        // What ZEP3 says, and nothing but the reason.
        EXPECT_EQ(print.evidence.lReasons, reason);
        EXPECT_EQ(print.evidence.lAnalysis, ZEP3_ANALYSIS_STANDARD);
        EXPECT_EQ(print.Seen().base[0], 0.0);
        EXPECT_EQ(print.evidence.dConfidence, 0.0);
        Record standard(type, subMode);
        standard.para.lCorrectLevel = 4;
        EXPECT_EQ(ZEP3(&image.bmp, &standard.para, kIdentity), 1);
        EXPECT_EQ(print.r.Points(), standard.Points());
      }
    }
  }
  Image blank(200, 100);
  blank.Fill([](int, int, int) { return 0; });
  EXPECT_EQ(Print(blank, ZEP3_DOC_REFLECTIVE).evidence.lReasons, ZEP3_REASON_DEFAULTS);
}

TEST(AdaptiveNegative, ATurnedAreaCountsAlone) {
  const ScannedFilm film;
  Image image(200, 200);
  const auto inside = [](int x, int y) { return std::abs(x - 100) + std::abs(y - 100) < 96; };
  // Around it, what would be another picture.
  image.Fill([&](int x, int y, int c) {
    return inside(x, y) ? film.Level(Wedge((x + y - 4) / 392.0, (x - y + 196) / 392.0, c), c) : c == 0 ? 20 : 240;
  });
  image.SetArea({8, 100}, {100, 8}, {192, 100}, {100, 192});
  const Print print(image, 0);
  EXPECT_EQ(print.evidence.lAnalysis, ZEP3_ANALYSIS_NEGATIVE);
  EXPECT_LT(Seen(print.evidence).trimmed, 0.05); // the tips, which are short lines of one gray
  EXPECT_LE(CastOf(print, film).largest, 12);
}

TEST(AdaptiveNegative, PlainHandlingIsTheStandardOne) {
  const Scanned scan = Scan({}, {}, Wedge);
  Record adaptive(0, 0, ZEP3_OPTION_PLAIN);
  Record standard(0, 0, ZEP3_OPTION_PLAIN);
  ZEP3_EVIDENCE evidence;
  EXPECT_EQ(ZEP3Adaptive(&scan.image->bmp, &adaptive.para, kIdentity, &evidence), 1);
  EXPECT_EQ(ZEP3(&scan.image->bmp, &standard.para, kIdentity), 1);
  EXPECT_EQ(adaptive.Points(), standard.Points());
  EXPECT_EQ(evidence.lReasons, ZEP3_REASON_NOT_ADAPTIVE);
}

BlockGrid GridOf(int rows, int columns, double level) {
  BlockGrid grid{rows, columns, {}, {}};
  const size_t size = static_cast<size_t>(rows) * static_cast<size_t>(columns);
  for (std::vector<double>& channel : grid.level) channel.assign(size, level);
  grid.inside.assign(size, 1);
  return grid;
}

TEST(NegativeFrame, GridsWithoutAPicture) {
  EXPECT_TRUE(FindNegativeFrame({}).picture.empty());
  // All dark: no holder, for nothing would remain.
  const NegativeFrame dark = FindNegativeFrame(GridOf(20, 30, 5.0));
  EXPECT_EQ(dark.picture.size(), 600u);
  EXPECT_EQ(dark.trimmed, 0.0);
  // Nothing of the area in the middle.
  BlockGrid corner = GridOf(20, 30, 100.0);
  std::fill(corner.inside.begin() + 1, corner.inside.end(), uint8_t{0});
  EXPECT_TRUE(FindNegativeFrame(corner).picture.empty());
}

TEST(NegativeFrame, OnlyBlocksOfTheAreaCount) {
  // A border at the top, seen through one block alone, above a line outside of the area; a picture lies below.
  BlockGrid grid = GridOf(40, 40, 100.0);
  for (int column = 0; column < 40; column++) {
    for (std::vector<double>& channel : grid.level) channel[grid.At(20, column)] = 50.0 + column;
    grid.inside[grid.At(1, column)] = 0;
    if (column > 0) grid.inside[grid.At(0, column)] = 0;
  }
  for (std::vector<double>& channel : grid.level) channel[0] = 3.0;
  const NegativeFrame frame = FindNegativeFrame(grid);
  EXPECT_TRUE(
      std::none_of(frame.picture.begin(), frame.picture.end(), [&](size_t at) { return grid.inside[at] == 0; }));
  EXPECT_TRUE(frame.holder[0]);
}

TEST(NegativeFrame, ClearFilmOnOppositeSidesIsABase) {
  const struct {
    bool side[4];
    size_t strips;
  } cases[] = {
      {{true, false, false, false}, 0}, {{true, true, false, false}, 1}, {{false, false, true, false}, 0},
      {{false, false, true, true}, 1},  {{true, false, false, true}, 0}, {{true, true, true, true}, 1},
  };
  for (const auto& test : cases) {
    BlockGrid grid = GridOf(50, 50, 0.0);
    for (int row = 0; row < 50; row++) {
      for (int column = 0; column < 50; column++) {
        const bool clear = (test.side[0] && row < 4) || (test.side[1] && row >= 46) || (test.side[2] && column < 4) ||
                           (test.side[3] && column >= 46);
        const size_t at = grid.At(row, column);
        for (std::vector<double>& channel : grid.level) channel[at] = clear ? 200.0 : 60.0 + Noise(row, column) / 4.0;
      }
    }
    const NegativeFrame frame = FindNegativeFrame(grid);
    EXPECT_TRUE(std::equal(frame.clear, frame.clear + 4, test.side));
    ASSERT_EQ(frame.strips.size(), test.strips);
    for (const ClearStrip& strip : frame.strips) EXPECT_EQ(strip.level[1], 200.0);
  }
}

// Rings of three lines, ever darker, around a picture with a few light spots: four are taken for borders, one by one.
TEST(NegativeFrame, EndsAfterFourRounds) {
  BlockGrid grid = GridOf(60, 60, 0.0);
  for (int row = 0; row < 60; row++) {
    for (int column = 0; column < 60; column++) {
      const int ring = std::min(std::min(row, 59 - row), std::min(column, 59 - column)) / 3;
      const double level = ring < 6 ? 240.0 - 20.0 * ring : row == 30 && column % 4 == 0 ? 250.0 : 60.0 + column;
      for (std::vector<double>& channel : grid.level) channel[grid.At(row, column)] = level;
    }
  }
  const NegativeFrame frame = FindNegativeFrame(grid);
  ASSERT_EQ(frame.strips.size(), 4u);
  for (size_t i = 0; i < 4; i++) EXPECT_EQ(frame.strips[i].level[0], 240.0 - 20.0 * static_cast<double>(i));
}

TEST(Frame, PeelsLinesWhileTheyAreForeign) {
  const BlockGrid grid = GridOf(5, 7, 1.0);
  const struct {
    Side side;
    size_t first, last;
    int lines, across;
  } cases[] = {
      {Side::kTop, 0, 6, 4, 2}, {Side::kBottom, 28, 34, 4, 2}, {Side::kLeft, 0, 28, 6, 2}, {Side::kRight, 6, 34, 6, 2}};
  for (const auto& test : cases) {
    Frame frame = WholeGrid(grid);
    const GridLine line = LineAt(grid, frame, test.side);
    EXPECT_EQ(line.At(0), test.first);
    EXPECT_EQ(line.At(line.count - 1), test.last);
    int seen = 0;
    EXPECT_EQ(PeelSide(grid, frame, test.side, 9, [&](const GridLine&) { return ++seen <= 2; }), test.across);
    EXPECT_EQ(LinesAcross(frame, test.side), test.lines + 1 - 2);
    // The limit, and the last line, which stays.
    EXPECT_EQ(PeelSide(grid, frame, test.side, 1, [](const GridLine&) { return true; }), 1);
    EXPECT_EQ(PeelSide(grid, frame, test.side, 9, [](const GridLine&) { return true; }), test.lines - 3);
    EXPECT_EQ(LinesAcross(frame, test.side), 1);
  }
}

} // namespace

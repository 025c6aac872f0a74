// The adaptive analysis of negatives, bare and in a holder, and images that are no negatives.


#include "film_bench.h"

namespace {

bool Rises(const Print& print, int c) {
  return std::is_sorted(print.table.rbegin() + 256 * (2 - c), print.table.rbegin() + 256 * (3 - c));
}

int64_t AnalysisOf(int type) { return type == 0 ? ZEP3_ANALYSIS_NEGATIVE : ZEP3_ANALYSIS_NEGATIVE_BW; }

TEST(AdaptiveNegative, GrayPrintsGrayWithTheSceneTones) {
  const struct {
    const char* name;
    int type, subMode;
    void (*change)(ScannedFilm&);
    int largest; // difference of the channels
    double mean;
    int dark; // tolerance of the darkest
    int64_t reasons;
  } cases[] = {
      {"daylight", 0, 0, [](ScannedFilm&) {}, 10, 4.0, 18, 0},
      {"thin", 0, 0, [](ScannedFilm& f) { f.white -= 0.4; }, 12, 4.0, 18, 0},
      {"dense", 0, 0, [](ScannedFilm& f) { f.white += 0.7; }, 12, 4.0, 18, 0},
      {"lamp", 0, 0, [](ScannedFilm& f) { f.light[0] += 0.22, f.light[2] -= 0.31; }, 16, 7.0, 18,
       ZEP3_REASON_INCANDESCENT},
      {"faded", 0, 2, [](ScannedFilm& f) { f.kept[0] = 0.6, f.kept[1] = 0.9, f.kept[2] = 0.7, f.stain[2] = 0.1; }, 12,
       4.0, 25, ZEP3_REASON_UNEVEN_FADING},
      {"monochrome", 3, 0, StainFilm, 8, 3.0, 18, 0},
      {"monochrome, faded", 3, 2, [](ScannedFilm& f) { StainFilm(f), f.kept[0] = f.kept[1] = f.kept[2] = 0.7; }, 8, 3.0,
       18, 0},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    ScannedFilm film;
    if (test.type == 3) std::fill_n(film.light, 3, 0.0);
    test.change(film);
    const Print print(*Scan(film, {}, Wedge), true, test.type, test.subMode);
    EXPECT_EQ(print.evidence.lAnalysis, AnalysisOf(test.type));
    EXPECT_EQ(print.evidence.lReasons, test.reasons);
    const Cast cast(print, film);
    EXPECT_LE(cast.largest, test.largest);
    EXPECT_LE(cast.mean, test.mean);
    // White lies in the table's roll-off. In the display's gamma of 2.2 a light of 0.18 is 117 and one of 0.02 is 43,
    // but for the contrast that the film is thought to have added.
    EXPECT_NEAR(print.At(film, 0.0, 1), 240, 15);
    EXPECT_NEAR(print.At(film, -0.745, 1), 117, 22);
    EXPECT_NEAR(print.At(film, -1.7, 1), 43, test.dark);
    for (int c = 0; c < 3; c++) EXPECT_TRUE(Rises(print, c)) << c;
  }
}

TEST(AdaptiveNegative, FindsTheFrame) {
  const struct {
    const char* name;
    Mount mount;
    double holder, border, around; // sides, of four; share of the scan that is not the picture
  } cases[] = {
      {"border", {.border = 0.05}, 0, 1, 1 - 240 * 160 / (264 * 184.0)},
      {"holder", {.holder = 0.04}, 1, 0, 1 - 240 * 160 / (258 * 178.0)},
      {"both", {.border = 0.05, .holder = 0.03}, 1, 1, 1 - 240 * 160 / (278 * 198.0)},
      {"so much holder that the levels are no film's",
       {.border = 0.02, .holder = 0.12},
       1,
       1,
       1 - 240 * 160 / (304 * 224.0)},
  };
  const ScannedFilm film;
  const Scene scene = [](double x, double y, int c) { return Wedge(x, y, c) - (y > 0.6 ? 0.3 * c * y : 0.0); };
  for (const int type : {0, 3}) {
    const Print bare(*Scan(film, {}, scene), true, type);
    EXPECT_EQ(Seen(bare.evidence).trimmed + bare.Seen().holder + bare.Seen().border + bare.Seen().baseMeasured, 0.0);
    for (const auto& test : cases) {
      SCOPED_TRACE(test.name);
      const Print print(*Scan(film, test.mount, scene), true, type);
      EXPECT_EQ(print.Seen().holder, test.holder);
      EXPECT_EQ(print.Seen().border, test.border);
      EXPECT_EQ(print.Seen().baseMeasured, test.border);
      EXPECT_EQ(print.Says(ZEP3_REASON_MEASURED_BASE), test.border == 1);
      EXPECT_TRUE(print.Says(ZEP3_REASON_BORDER_REMOVED));
      EXPECT_EQ(print.saturation, 0);
      // At every side a line of blocks (2 pixels) may be half border, and one further is taken off after each round.
      EXPECT_GE(Seen(print.evidence).trimmed, test.around - 0.01);
      EXPECT_LE(Seen(print.evidence).trimmed, test.around + 0.10);
      for (int c = 0; c < 3; c++) {
        if (test.border == 1) {
          EXPECT_NEAR(print.Seen().base[c], film.base[c], 1.0);
        }
        for (int i = film.Level(0.0, c); i <= film.Level(-kRange, c); i++) {
          EXPECT_NEAR(print.At(i, c), bare.At(i, c), 14) << i;
        }
      }
    }
    // A holder's edge across the corner fills no line: a triangle of 24 lines at the far end, 7.5 %.
    const Print tilted(*Scan(film, {.tilt = 0.1}, scene), true, type);
    EXPECT_NEAR(Seen(tilted.evidence).trimmed, 0.075, 0.045);
  }
  // Open light around the picture is not the film's base, which is 0.59 denser.
  ScannedFilm dense, light;
  std::fill_n(dense.base, 3, 120.0);
  std::fill_n(light.base, 3, 255.0);
  const auto open = Scan(light, {.border = 0.05}, Wedge), hole = Scan(dense, {.border = 0.05}, Wedge);
  open->Fill([&](int x, int y, int c) {
    const bool inside = x >= 12 && x < 252 && y >= 12 && y < 172;
    return inside ? hole->Level(x, y, c) : 255;
  });
  const Print print(*open, true, 3);
  EXPECT_EQ(print.Seen().border, 1.0);
  EXPECT_EQ(print.Seen().baseMeasured, 0.0);
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
  const auto few = [](double x) { return x * 7 - std::floor(x * 7) < 0.04; };
  const Print night(
      *Scan({}, {}, [&](double x, double y, int) { return few(x) ? 0.0 : -1.7 + 0.3 * std::sin(60 * y); }), true, 0);
  EXPECT_GT(night.Seen().lift, 0.05);
  EXPECT_TRUE(night.Says(ZEP3_REASON_BRIGHTNESS));
  const Print snow(*Scan({}, {}, [](double x, double, int) { return std::fabs(x - 0.5) < 0.01 ? -1.7 : 0.0; }), true,
                   0);
  EXPECT_LT(snow.Seen().lift, -0.05);
  // Hardly above the base, without a gray to vote: still gray.
  ScannedFilm thin;
  thin.white = -0.1;
  const Print faint(*Scan(thin, {}, Wedge), true, 0);
  EXPECT_EQ(faint.evidence.lAnalysis, ZEP3_ANALYSIS_NEGATIVE);
  EXPECT_TRUE(faint.Says(ZEP3_REASON_FLAT));
  EXPECT_EQ(faint.Seen().votes, 0.0);
}

TEST(AdaptiveNegative, FollowsMatrixAndLevel) {
  const auto scan = Scan({}, {}, Wedge);
  const Print own(*scan, true, 0);
  // Twice the film's own contrasts are the film's own; a hundredth of blue's is not, and is held at half.
  double twice[9] = {2 * 0.807, 0, 0, 0, 2 * 0.97, 0, 0, 0, 2 * 1.009};
  EXPECT_EQ(Print(*scan, true, 0, 0, 4, twice).r.Points(), own.r.Points());
  double flatBlue[9] = {0.807, 0, 0, 0, 0.97, 0, 0, 0, 0.01};
  EXPECT_LT(Print(*scan, true, 0, 0, 4, flatBlue).Seen().slope[2], 0.7 * own.Seen().slope[2]);
  // Faded film has no use for it.
  EXPECT_EQ(Print(*scan, true, 0, 2, 4, flatBlue).r.Points(), Print(*scan, true, 0, 2).r.Points());
  for (const int type : {0, 3}) {
    for (const int subMode : {0, 2}) {
      const double power = Print(*scan, true, type, subMode).Seen().power;
      for (const int64_t level : {INT64_MIN, int64_t{0}, int64_t{3}, int64_t{4}, int64_t{6}, INT64_MAX}) {
        const Print print(*scan, true, type, subMode, level);
        const double below = level < 0 ? 4.0 : level > 4 ? 0.0 : 4.0 - double(level);
        EXPECT_NEAR(print.Seen().power, power * (1.0 - 0.03 * below), 1e-12);
        // A master curve above level 4, of monochrome film too: outputs below the middle fall, those above rise.
        const LPOINT(&points)[ZEP3_TONE_POINTS] = print.r.outMaster.ptCtrl;
        EXPECT_EQ(print.r.para.lLevelFlag, level > 4);
        ASSERT_EQ(print.r.outMaster.wPointNum, level > 4 ? 5 : 2);
        if (level == 6) {
          EXPECT_LT(points[1].y, points[1].x);
          EXPECT_NEAR(points[3].y - points[3].x, 16, 2);
        }
      }
    }
  }
}

TEST(AdaptiveNegative, NoNegatives) {
  const struct {
    const char* name;
    int width, height;
    int (*level)(int x, int y, int c);
    int64_t colour, monochrome; // reason; 0: analysed
  } cases[] = {
      {"black", 200, 100, [](int, int, int) { return 0; }, ZEP3_REASON_DEFAULTS, ZEP3_REASON_DEFAULTS},
      {"flat", 200, 100, [](int, int, int) { return 120; }, ZEP3_REASON_TOO_LITTLE, ZEP3_REASON_TOO_LITTLE},
      {"too dense", 200, 100, [](int x, int, int) { return 10 + x / 20; }, ZEP3_REASON_DEFAULTS,
       ZEP3_REASON_TOO_LITTLE},
      {"one pixel", 1, 1, [](int, int, int) { return 100; }, ZEP3_REASON_TOO_LITTLE, ZEP3_REASON_TOO_LITTLE},
      {"empty channel", 200, 100, [](int x, int, int c) { return c == 2 ? 0 : 30 + x; }, ZEP3_REASON_DEFAULTS, 0},
      {"green alone", 200, 100, [](int x, int, int c) { return c == 1 ? 30 + x : 0; }, ZEP3_REASON_DEFAULTS, 0},
      {"clipped", 200, 100, [](int x, int y, int) { return (x + y) % 2 == 0 ? 2 : 250; }, ZEP3_REASON_DEFAULTS,
       ZEP3_REASON_DEFAULTS},
      {"two levels", 200, 100, [](int x, int y, int) { return (x + y) % 2 == 0 ? 20 : 240; }, 0, 0},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    for (const int type : {0, 3}) {
      Image image(test.width, test.height);
      image.Fill(test.level);
      const Print print(image, true, type);
      const int64_t reason = type == 0 ? test.colour : test.monochrome;
      if (reason == 0) {
        EXPECT_EQ(print.evidence.lAnalysis, AnalysisOf(type));
        for (int c = 0; c < 3; c++) EXPECT_TRUE(Rises(print, c));
        continue;
      }
      // What ZEP3 says, and nothing but the reason.
      ZEP3_EVIDENCE expected = {};
      expected.lReasons = reason;
      EXPECT_EQ(std::memcmp(&print.evidence, &expected, sizeof expected), 0);
      EXPECT_EQ(print.r.Points(), Print(image, false, type).r.Points());
    }
  }
}

// The finder on grids made for it.
TEST(NegativeFrame, TakesLinesOfBorderOff) {
  const auto gridOf = [](int rows, int columns, const std::function<double(int row, int column)>& level) {
    BlockGrid grid{rows, columns, {}, {}};
    for (int row = 0; row < rows; row++) {
      for (int column = 0; column < columns; column++) {
        for (std::vector<double>& channel : grid.level) channel.push_back(level(row, column));
        grid.inside.push_back(1);
      }
    }
    return grid;
  };
  EXPECT_TRUE(FindNegativeFrame({}).picture.empty());
  // All dark: no holder, for nothing would remain.
  EXPECT_EQ(FindNegativeFrame(gridOf(20, 30, [](int, int) { return 5.0; })).picture.size(), 600u);
  // Clear film is a base where it stands on opposite sides.
  const struct {
    bool side[4];
    size_t strips;
  } cases[] = {{{true, false, false, true}, 0}, {{true, true, false, false}, 1}, {{true, true, true, true}, 1}};
  for (const auto& test : cases) {
    const NegativeFrame frame = FindNegativeFrame(gridOf(50, 50, [&](int row, int column) {
      const bool clear = (test.side[0] && row < 4) || (test.side[1] && row >= 46) || (test.side[2] && column < 4) ||
                         (test.side[3] && column >= 46);
      return clear ? 200.0 : 60.0 + Noise(row, column) / 4.0;
    }));
    EXPECT_TRUE(std::equal(frame.clear, frame.clear + 4, test.side));
    ASSERT_EQ(frame.strips.size(), test.strips);
    for (const ClearStrip& strip : frame.strips) EXPECT_EQ(strip.level[1], 200.0);
  }
  // Rings of three lines, ever darker, around a picture with a few light spots: four are taken for borders.
  const NegativeFrame rings = FindNegativeFrame(gridOf(60, 60, [](int row, int column) {
    const int ring = std::min({row, 59 - row, column, 59 - column}) / 3;
    return ring < 6 ? 240.0 - 20.0 * ring : row == 30 && column % 4 == 0 ? 250.0 : 60.0 + column;
  }));
  ASSERT_EQ(rings.strips.size(), 4u);
  EXPECT_EQ(rings.strips[3].level[0], 180.0);
  // A side keeps its last line.
  const BlockGrid grid = gridOf(5, 7, [](int, int) { return 1.0; });
  Frame frame = WholeGrid(grid);
  EXPECT_EQ(PeelSide(grid, frame, Side::kRight, 9, [](const GridLine&) { return true; }), 6);
}

} // namespace

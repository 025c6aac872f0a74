// Colour, faded and monochrome negatives: film that the test exposes and scans itself, and histograms of every kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <random>

#include "engine/calc/czep.h"
#include "engine/film/histogram_print.h"
#include "engine/hist/chist.h"
#include "engine/lut/clut.h"
#include "scanned_film.h"
#include "support.h"

namespace {

double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// A gray wedge of 2.2 in log10 light, in steps of one column.
constexpr int kSteps = 111;
double Wedge(int step) { return -2.2 + 0.02 * step; }

struct Print {
  Record r;
  std::array<uint8_t, 768> table{};
  explicit Print(int type, int subMode = 0) : r(type, subMode) {}
  int At(const ScannedFilm& film, double logLight, int c) const {
    return table[static_cast<size_t>(256 * c + film.Level(logLight, c))];
  }
};

// color(step, row, channel): the scene's light.
using Scene = std::function<double(int, int, int)>;
double Gray(int step, int, int) { return Wedge(step); }

void Finish(Print& print, const ScannedFilm& film, const Scene& scene = Gray) {
  Image image(kSteps, 100);
  image.Fill([&](int x, int y, int c) { return film.Level(scene(x, y, c), c); });
  ASSERT_EQ(ZEP3(&image.bmp, &print.r.para, kIdentity), 1);
  ASSERT_EQ(MakeZEP3LUT(&print.r.para, print.table.data()), 1);
}

// Largest and mean difference between the printed channels along the wedge, the clipped ends left out.
struct Cast {
  int largest = 0;
  double mean = 0.0;
};
Cast CastOf(const Print& print, const ScannedFilm& film) {
  Cast cast;
  for (int i = 20; i < kSteps - 3; i++) {
    const int rgb[3] = {print.At(film, Wedge(i), 0), print.At(film, Wedge(i), 1), print.At(film, Wedge(i), 2)};
    const int span = *std::max_element(rgb, rgb + 3) - *std::min_element(rgb, rgb + 3);
    cast.largest = std::max(cast.largest, span);
    cast.mean += span / double(kSteps - 23);
  }
  return cast;
}

TEST(NegaPrint, AGrayWedgePrintsGray) {
  struct Row {
    const char* why;
    int type, subMode;
    double mean, largest; // display levels between the channels
    std::function<void(ScannedFilm&)> change;
  };
  const auto lamp = [](ScannedFilm& f) { f.light[0] += 0.22, f.light[2] -= 0.31; }; // 3200 K
  const auto loss = [](ScannedFilm& f) { f.kept[0] = 0.6, f.kept[2] = 0.7, f.stain[2] = 0.15; };
  const auto tint = [](ScannedFilm& f) {
    for (int c = 0; c < 3; c++) f.slope[c] = 0.5 + 0.06 * c, f.light[c] = 0.0, f.stain[c] = 0.06 * c;
  };
  // Left as they are, the lamp would give a cast of 70 levels, the faded dyes more.
  const Row rows[] = {
      {"daylight", 0, 0, 6, 16, [](ScannedFilm&) {}},
      {"incandescent light", 0, 0, 18, 26, lamp},
      {"one stop under", 0, 0, 6, 16, [](ScannedFilm& f) { f.white -= 0.3; }},
      {"two stops over", 0, 0, 6, 16, [](ScannedFilm& f) { f.white += 0.6; }},
      {"dark base", 0, 0, 6, 16, [](ScannedFilm& f) { f.base[2] = 90; }},
      {"restored though unfaded", 0, 2, 6, 16, [](ScannedFilm&) {}},
      {"two faded dyes", 0, 2, 8, 24, loss},
      {"one faded dye, beyond the limit", 0, 2, 14, 36, [](ScannedFilm& f) { f.kept[1] = 0.6; }},
      {"monochrome, stained", 3, 2, 6, 16, tint},
      {"monochrome, faded", 3, 2, 6, 16, [=](ScannedFilm& f) { tint(f), f.kept[0] = f.kept[1] = f.kept[2] = 0.6; }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    ScannedFilm film;
    row.change(film);
    Print print(row.type, row.subMode);
    Finish(print, film);
    const Cast cast = CastOf(print, film);
    EXPECT_LE(cast.mean, row.mean);
    EXPECT_LE(cast.largest, row.largest);
    // White is white, black is black, and mid gray (18 %) lies where a picture's does.
    EXPECT_GE(print.At(film, 0.0, 1), 205);
    EXPECT_LE(print.At(film, -2.2, 1), 30);
    EXPECT_NEAR(print.At(film, -0.745, 1), 118, 25);
  }
}

// A density of 1 that lost a quarter and is not restored prints 60 levels off.
TEST(NegaPrint, FadingMovesTheRestoredWedgeLittle) {
  ScannedFilm unfaded;
  Print before(0, 2);
  Finish(before, unfaded);
  for (int c = 0; c < 3; c++) {
    ScannedFilm faded;
    faded.kept[c] = 0.75;
    faded.stain[c] = 0.1;
    Print after(0, 2);
    Finish(after, faded);
    for (int i = 20; i < kSteps; i += 10) {
      EXPECT_NEAR(after.At(faded, Wedge(i), c), before.At(unfaded, Wedge(i), c), 18) << c << " " << i;
    }
  }
}

TEST(NegaPrint, OneColourStaysItself) {
  // Cloth: a fifth of red's light in green and blue, nothing white; a strip of clear film tells the base.
  const Scene cloth = [](int step, int row, int c) {
    return row < 6 ? -5.0 : 0.5 * Wedge(step) - 0.3 - (c == 0 ? 0.0 : 0.7);
  };
  ScannedFilm film;
  Print print(0);
  Finish(print, film, cloth);
  EXPECT_GT(print.At(film, -0.6, 0), print.At(film, -1.3, 1) + 50);
  EXPECT_GT(print.At(film, -0.6, 0), print.At(film, -1.3, 2) + 50);
}

TEST(NegaPrint, AFlatSceneIsNotStretched) {
  const Scene fog = [](int step, int, int) { return -0.7 + 0.2 * Wedge(step) / 2.2; };
  ScannedFilm film;
  Print print(0);
  Finish(print, film, fog);
  const int span = print.At(film, -0.7, 1) - print.At(film, -0.9, 1);
  EXPECT_GT(span, 15);
  EXPECT_LT(span, 90);
}

// A denser base or a weaker lamp is a factor on all levels: the points go along, the gammas stay.
TEST(NegaPrint, ABaseDensityShiftsThePoints) {
  std::array<int64_t, 15> first{};
  for (double factor : {1.0, 0.94, 0.88}) {
    CHIST hist;
    for (int c = 0; c < 3; c++) {
      const double ends[5] = {30.0 - 4 * c, 32.0 - 4 * c, 180.0 - 20 * c, 170.0 - 20 * c, 85.0 - 12 * c};
      hist.m_pdHistMin[0][c] = ends[0] * factor;
      hist.m_pdHistMin[1][c] = hist.m_pdNegaMin[1][c] = ends[1] * factor;
      hist.m_pdHistMax[0][c] = ends[2] * factor;
      hist.m_pdHistMax[1][c] = ends[3] * factor;
      hist.m_pdHistAve[c] = ends[4] * factor;
      for (int i = 0; i < 2000; i++) {
        hist.m_nHistOrg[c][static_cast<int>(factor * (ends[0] + (ends[2] - ends[0]) * i / 2000) + 0.5)] += 5;
      }
    }
    Record r(0);
    CZEP zep;
    zep.SetParam(&hist, &r.para);
    ASSERT_TRUE(zep.CalcParamNega(kIdentity));
    if (factor == 1.0) first = r.Points();
    for (size_t c = 0; c < 3; c++) {
      for (size_t k = 0; k < 2; k++) {
        const double expected = factor * double(first[5 * c + k]);
        EXPECT_NEAR(double(r.Points()[5 * c + k]), expected, 0.01 * expected);
      }
      EXPECT_NEAR(double(r.Points()[5 * c + 4]), double(first[5 * c + 4]), 2);
    }
  }
}

// ---- statistics of generated histograms ----

// Fills the histograms with a few heaps a channel and runs the statistics that the analysis would.
void FillRandom(CHIST& hist, int type, std::mt19937& random) {
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  for (int c = 0; c < 3; c++) {
    uint32_t left = 10000;
    const int heaps = 1 + below(6);
    const int lowest = below(200);
    const int width = 1 + below(256 - lowest);
    for (int k = 0; k < heaps; k++) {
      const uint32_t share = k + 1 == heaps ? left : left * static_cast<uint32_t>(below(100)) / 100;
      const int at = lowest + below(width);
      const int spread = 1 + below(std::min(60, 256 - at));
      for (int i = 0; i < spread; i++) hist.m_nHist[c][at + i] += share / static_cast<uint32_t>(spread);
      hist.m_nHist[c][at] += share % static_cast<uint32_t>(spread);
      left -= share;
    }
  }
  std::memcpy(hist.m_nHistOrg, hist.m_nHist, sizeof hist.m_nHist);
  hist.m_nPixelCount = 10000;
  Record r(type);
  hist.CalcHistAverage(r.para);
  hist.CalcHistMinValue(r.para);
  hist.CalcHistMaxValue(r.para);
  if (type == 0) {
    std::rotate(&hist.m_nHist[0][0], &hist.m_nHist[0][0] + below(20), &hist.m_nHist[0][0] + 256);
    hist.CalcNegaMinValue();
  }
  hist.CalcAnlRangeValue();
  hist.CalcAnlSlopeValue();
}

enum Calculator { kNega, kRestoration, kRestorationBW };

bool Calculate(CHIST& hist, Record& r, Calculator calculator, const double* matrix = kIdentity) {
  CZEP zep;
  zep.SetParam(&hist, &r.para);
  switch (calculator) {
    case kNega:
      return zep.CalcParamNega(matrix);
    case kRestoration:
      return zep.CalcRestorationNega();
    default:
      return zep.CalcRestorationNegaBW();
  }
}

TEST(NegaCalculators, EveryHistogramLevelAndMatrixGivesAFallingCurve) {
  const double values[] = {0, 1, 1, 0.5, 2, -1, 1e300, -1e300, 1e-300, NAN, INFINITY};
  const int64_t levels[] = {INT64_MIN, -1, 0, 1, 2, 3, 4, 5, 9, 1000000000000000000, INT64_MAX};
  std::mt19937 random(3);
  for (int n = 0; n < 3000; n++) {
    SCOPED_TRACE(n);
    const auto calculator = static_cast<Calculator>(n % 3);
    CHIST hist;
    FillRandom(hist, calculator == kRestorationBW ? 3 : 0, random);
    double matrix[9];
    for (double& m : matrix) m = values[random() % std::size(values)];
    Record r(calculator == kRestorationBW ? 3 : 0, calculator == kNega ? 0 : 2);
    const int64_t level = r.para.lCorrectLevel = levels[random() % std::size(levels)];
    const ZEP3_PARA before = r.para;
    ASSERT_TRUE(Calculate(hist, r, calculator, matrix));

    for (const ZEP3_POINTS& p : r.para.ic.ch) {
      ASSERT_GE(p.lHlIn, 25);
      ASSERT_LT(p.lHlIn, p.lSdIn);
      ASSERT_LE(p.lSdIn, 65535);
      ASSERT_GE(p.lGamma, 30);
      ASSERT_LE(p.lGamma, 500);
      ASSERT_EQ(p.lHlOut, 51400);
      ASSERT_EQ(p.lSdOut, 2570);
    }
    ASSERT_EQ(r.para.lLevelFlag, level > 4 ? 1 : 0);
    ASSERT_EQ(r.outMaster.wPointNum, level > 4 ? 5 : 2);
    const int64_t saturation = r.para.lSaturation;
    const int64_t most = calculator == kRestoration && level > 0 ? 125 : 0;
    const int64_t least = calculator == kRestorationBW && level > 0 ? -125 : 0;
    ASSERT_TRUE(least <= saturation && saturation <= most) << saturation;

    // Nothing but what a calculator may write.
    ZEP3_PARA rest = r.para;
    std::memcpy(rest.ic.ch, before.ic.ch, sizeof rest.ic.ch);
    rest.ic.wHlCurveType = before.ic.wHlCurveType;
    rest.ic.wSdCurveType = before.ic.wSdCurveType;
    rest.lSaturation = before.lSaturation;
    rest.lLevelFlag = before.lLevelFlag;
    ASSERT_EQ(std::memcmp(&rest, &before, sizeof rest), 0);

    r.para.lScreenGamma = 18; // the points as they are, but for the inversion of the inputs
    for (ZEP3_POINTS& p : r.para.ic.ch) {
      p.lHlIn = 65535 - p.lHlIn;
      p.lSdIn = 65535 - p.lSdIn;
    }
    CLUT lut(&r.para);
    ASSERT_TRUE(lut.MakeLUT(&r.para, nullptr, false));
    for (const auto& curve : lut.m_dCurve) {
      for (int i = 1; i < 256; i++) ASSERT_LE(curve[i], curve[i - 1] + 1e-9) << i;
      ASSERT_GE(curve[0] - curve[255], 20.0);
    }
  }
}

// Below level 4 blacks print lighter and whites darker; above, the points stay and a curve is proposed.
// The dense end takes both of its fractions: the second can lack where statistics are put together by hand.
TEST(NegaCalculators, ADenseEndThatIsNotThereIsPutBelowTheClearOne) {
  CHIST hist;
  for (int c = 0; c < 3; c++) {
    hist.m_pdHistMax[0][c] = hist.m_pdHistMax[1][c] = 200.0;
    hist.m_pdHistMin[0][c] = hist.m_pdHistMin[1][c] = 20.0;
  }
  hist.m_pdHistMin[1][1] = 11.0; // below the lowest level counted in green
  hist.m_pdHistMin[0][2] = 7.0;  // and in blue
  const FilmEnds ends = MeasureFilmEnds(hist, ZEP3_DOC_NEGATIVE, 0.1, 0.7);
  EXPECT_NEAR(ends.dense[0], std::log10(20.0), 1e-12);
  EXPECT_NEAR(ends.dense[1], std::log10(200.0) - 0.7, 1e-12);
  EXPECT_NEAR(ends.dense[2], std::log10(200.0) - 0.7, 1e-12);
}

TEST(NegaCalculators, TheLevelSoftensThePrint) {
  const int kinds[][2] = {{0, 0}, {0, 2}, {3, 2}};
  for (const auto& kind : kinds) {
    SCOPED_TRACE(testing::Message() << kind[0] << " " << kind[1]);
    const auto finished = [&](int64_t level) {
      auto print = std::make_unique<Print>(kind[0], kind[1]);
      print->r.para.lCorrectLevel = level;
      Finish(*print, ScannedFilm());
      EXPECT_EQ(print->r.outMaster.wPointNum, level > 4 ? 5 : 2);
      return print;
    };
    const auto normal = finished(4);
    for (const int level : {5, 9, INT32_MAX}) EXPECT_EQ(finished(level)->r.Points(), normal->r.Points());
    EXPECT_EQ(finished(-3)->r.Points(), finished(0)->r.Points());
    int black = normal->At(ScannedFilm(), -1.7, 1);
    int white = normal->At(ScannedFilm(), -0.05, 1);
    for (const int level : {2, 0}) {
      const auto softer = finished(level);
      EXPECT_GT(softer->At(ScannedFilm(), -1.7, 1), black);
      EXPECT_LT(softer->At(ScannedFilm(), -0.05, 1), white);
      black = softer->At(ScannedFilm(), -1.7, 1);
      white = softer->At(ScannedFilm(), -0.05, 1);
    }
  }
}

TEST(NegaCalculators, OfTheMatrixOnlyTheDiagonalCounts) {
  std::mt19937 random(5);
  for (int n = 0; n < 50; n++) {
    CHIST hist;
    FillRandom(hist, 0, random);
    const auto points = [&](const double* matrix) {
      Record r(0);
      EXPECT_TRUE(Calculate(hist, r, kNega, matrix));
      return r.Points();
    };
    const double mixed[9] = {1, -0.3, NAN, 0.2, 1, 5, 1e300, 0, 1};
    const double rounded[9] = {1.00004, 0, 0, 0, 1, 0, 0, 0, 0.99996};
    const double none[9] = {};
    const double broken[9] = {NAN, 0, 0, 0, 1, 0, 0, 0, 1};
    const double alike[9] = {0.9, 0, 0, 0, 0.9, 0, 0, 0, 0.9};
    EXPECT_EQ(points(mixed), points(kIdentity));
    EXPECT_EQ(points(rounded), points(kIdentity));
    EXPECT_EQ(points(none), points(alike));
    EXPECT_EQ(points(broken), points(alike));
  }
}

TEST(NegaCalculators, WithoutAMatrixNothingIsWritten) {
  CHIST hist;
  std::mt19937 random(1);
  FillRandom(hist, 0, random);
  Record r(0);
  r.SetPoints({1, 2, 3, 4, 5});
  r.para.lSaturation = 7;
  const ZEP3_PARA before = r.para;
  EXPECT_FALSE(Calculate(hist, r, kNega, nullptr));
  EXPECT_EQ(std::memcmp(&r.para, &before, sizeof before), 0);
}

} // namespace

// Tables: defaults, user curves, shapes, splines, and the finer tables beside them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "engine/lut/clut.h"
#include "support.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr ZEP3_POINTS kPhotoPoints = {63424, 4630, 63424, 4630, 100};
constexpr ZEP3_POINTS kNegativePoints = {54157, 11813, 53721, 4630, 150};

using Table = std::array<uint8_t, 768>;

Table TableOf(Record& r) {
  Table table;
  table.fill(99);
  EXPECT_EQ(MakeZEP3LUT(&r.para, table.data()), 1);
  return table;
}

// With display gamma 2.2 the defaults come out as the display conversion of 8-bit levels, which is known by hand:
// 10 -> 4630, 200 -> 53721, 245 -> 63424; inverted 30 -> 54157, 200 -> 11813; 65535 * (v / 255)^(1.8 / 2.2) of 230, 35
// and 9 is 60229, 12906 and 4248.
TEST(UnsetChannels, TakeTheDefaultsOfTheOriginal) {
  const struct {
    int type, subMode, option;
    ZEP3_POINTS points;
    int hl, sd;
  } rows[] = {
      {0, 0, 2, kNegativePoints, 2, 5},
      {3, 1, 1, kNegativePoints, 2, 5},
      {1, 2, 2, kPhotoPoints, 1, 4},
      {2, 3, 1, {60229, 12906, 65535, 4630, 107}, 1, 4},
      {1, 4, 2, {60229, 12906, 65535, 4630, 107}, 1, 5},
      {2, 4, 1, {60229, 4248, 65535, 4630, 100}, 1, 4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.type << " " << row.subMode << " " << row.option);
    Record r(row.type, row.subMode, row.option), user(row.type, row.subMode, row.option), expected;
    r.para.lSaturation = 7;
    // The user's values do not reach an unset channel.
    user.para.ic.lBrightness = 40;
    user.para.ic.lContrast = -30;
    EXPECT_EQ(TableOf(user), TableOf(r));
    expected.SetPoints(row.points);
    EXPECT_EQ(r.Points(), expected.Points());
    EXPECT_EQ(r.para.ic.wHlCurveType, row.hl);
    EXPECT_EQ(r.para.ic.wSdCurveType, row.sd);
    EXPECT_EQ(r.para.lSaturation, 0);
  }
  // One field makes the channel unset and leaves the others.
  Record one, user;
  for (Record* r : {&one, &user}) {
    r->SetPoints({60000, 6000, 62000, 4000, 120});
    r->para.ic.ch[0].lGamma = ZEP3_UNSET;
  }
  user.para.ic.lBrightness = 30;
  const Table before = TableOf(one), after = TableOf(user);
  EXPECT_TRUE(std::equal(before.begin(), before.begin() + 256, after.begin())) << "red is unset";
  EXPECT_FALSE(std::equal(before.begin() + 256, before.end(), after.begin() + 256)) << "the others move";
  EXPECT_EQ(one.para.ic.ch[0].lHlIn, kPhotoPoints.lHlIn);
  EXPECT_EQ(one.para.ic.ch[1].lHlIn, 60000);
}

TEST(Tables, UserCurvesApplyByChannelFirst) {
  Record r;
  r.SetPoints(kPhotoPoints);
  const Table plain = TableOf(r); // identity curves
  // Channel curve to at most 128, then a master curve that halves it: 64. The other way round it would be 127.
  r.rgb[1].ptCtrl[1] = {255, 128};
  r.master.ptCtrl[1] = {254, 127};
  const Table both = TableOf(r);
  EXPECT_EQ(both[255], plain[255] / 2);
  EXPECT_EQ(both[256 + 255], (plain[255] * 128 + 255) / 510);
  r.para.ic.pMasterTone = nullptr;
  r.para.ic.pRGBTone = nullptr;
  EXPECT_EQ(TableOf(r), plain);
}

TEST(Tables, RecordsOutsideTheirRangeStillGiveTables) {
  const struct {
    const char* why;
    void (*spoil)(Record&);
    int byte; // of red, at every level
  } rows[] = {
      {"equal outputs", [](Record& r) { r.para.ic.ch[0].lSdOut = r.para.ic.ch[0].lHlOut; }, 0},
      {"point above the scale on a negative", [](Record& r) { r.para.wDocType = 0, r.para.ic.ch[0].lHlIn = 70000; }, 0},
      {"negative point", [](Record& r) { r.para.ic.ch[0].lHlIn = -2; }, 0},
      {"one point: its output",
       [](Record& r) {
         r.master = {1, {{9, 50}}};
       },
       50},
      {"outputs beyond the scale keep their low 8 bits",
       [](Record& r) {
         r.master = {1, {{-1, 300}}};
       },
       44},
      {"a repeated input is left out",
       [](Record& r) {
         r.master = {2, {{9, 50}, {9, 70}}};
       },
       50},
  };
  for (const auto& row : rows) {
    Record r;
    r.SetPoints(kPhotoPoints);
    row.spoil(r);
    const Table table = TableOf(r);
    for (size_t i = 0; i < 256; i++) ASSERT_EQ(table[i], row.byte) << row.why << " " << i;
  }
  // One that lies before its neighbour does not count, those behind it do; without points there is no curve.
  Record out;
  out.SetPoints(kPhotoPoints);
  const Table identity = TableOf(out);
  out.master = {4, {{0, 0}, {100, 100}, {50, 200}, {255, 255}}};
  EXPECT_EQ(TableOf(out), identity);
  out.master = {-1, {{0, 200}, {255, 200}}};
  EXPECT_EQ(TableOf(out), identity);
}

// At every 257th level the fine tables are the working curves, between them they run on; the record is written alike.
TEST(FineTables, AgreeAtWholeLevelsAndRunOnBetween) {
  std::mt19937 random(6);
  const auto between = [&](int lo, int hi) {
    return lo + static_cast<int>(random() % static_cast<unsigned>(hi - lo + 1));
  };
  std::vector<uint16_t> fine(3 * 65536);
  double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (int n = 0; n < 24; n++) {
    SCOPED_TRACE(n);
    const bool film = n % 4 == 0 || n % 4 == 3;
    Record r(n % 4, n % 5);
    for (ZEP3_POINTS& p : r.para.ic.ch) {
      p = {between(film ? 45000 : 50000, 60000), between(film ? 8000 : 0, film ? 20000 : 6000), between(50000, 60000),
           between(2000, 6000), between(60, 180)};
    }
    r.para.ic.ch[n % 3].lGamma = n % 7 == 0 ? ZEP3_UNSET : 100;
    r.para.ic.wHlCurveType = static_cast<uint16_t>(n % 3 == 0 ? ZEP3_HL_AUTO : between(0, 2));
    r.para.ic.wSdCurveType = static_cast<uint16_t>(n % 3 == 0 ? ZEP3_SD_AUTO : between(3, 5));
    r.para.ic.lContrast = between(-40, 40);
    if (n % 2 == 0) r.master = {3, {{0, 10}, {between(90, 160), between(90, 160)}, {255, 250}}};
    const ZEP3_PARA fresh = r.para;
    ZEP3_PARA copy = fresh, again = fresh;
    ASSERT_EQ(MakeZEP3LUT16(&copy, matrix, fine.data()), 1);
    const double levels[] = {200.0, 0.0, 3000 / 257.0, 255.0, -3.0, 1e300, kNaN};
    constexpr int64_t kLevels = std::size(levels);
    double display[3 * kLevels];
    ASSERT_EQ(MakeZEP3LUTAt(&again, matrix, levels, kLevels, display), 1);
    CLUT lut(&r.para);
    ASSERT_TRUE(lut.MakeLUT(&r.para, matrix, true));
    EXPECT_EQ(std::memcmp(&copy, &r.para, sizeof copy) + std::memcmp(&again, &r.para, sizeof copy), 0);
    for (size_t c = 0; c < 3; c++) {
      const double* curve = lut.m_dCurve[c];
      for (size_t i = 0; i < 256; i++) {
        ASSERT_EQ(fine[65536 * c + 257 * i], CLUT::UCRound(257.0 * curve[i])) << c << " " << i;
      }
      for (size_t i = 1; i < 65536 && r.para.ic.wSdCurveType != ZEP3_SD_HARD_CLIP; i++) {
        const int step = fine[65536 * c + i] - fine[65536 * c + i - 1];
        ASSERT_TRUE(film ? step <= 0 : step >= 0) << c << " " << i;
      }
      // At any levels, in any order: the same curves, not rounded.
      const double* at = &display[kLevels * c];
      EXPECT_TRUE(at[0] == curve[200] && at[1] == curve[0] && at[3] == curve[255]);
      EXPECT_TRUE(at[4] == curve[0] && at[5] == curve[255] && std::isnan(at[6]));
      EXPECT_EQ(CLUT::UCRound(257 * at[2]), fine[65536 * c + 3000]);
    }
    // Levels before the results, among them or behind them: all are read before any is overwritten.
    for (const size_t place : {0, 1, 6, 7, 10, 14, 21, 27, 28}) {
      double both[5 * kLevels];
      std::copy_n(levels, kLevels, &both[place]);
      again = fresh;
      ASSERT_EQ(MakeZEP3LUTAt(&again, matrix, &both[place], kLevels, &both[kLevels]), 1);
      EXPECT_EQ(std::memcmp(&both[kLevels], display, sizeof display), 0) << place;
    }
  }
  // Outputs beyond the scale are held within, what is no number is 0.
  Record r;
  r.SetPoints(kPhotoPoints);
  r.master = {1, {{0, 300}}};
  ASSERT_EQ(MakeZEP3LUT16(&r.para, nullptr, fine.data()), 1);
  EXPECT_EQ(fine[40000], 65535);
  r.para.ic.ch[0].lGamma = 0;
  r.master.wPointNum = 0;
  ASSERT_EQ(MakeZEP3LUT16(&r.para, nullptr, fine.data()), 1);
  EXPECT_EQ(fine[40000], 0);
}

// Level 0 of an original that is not a negative: the curve and the toe stand at 0.1, the hard clip counts twice.
TEST(Shaping, LevelZero) {
  Record r;
  r.para.lScreenGamma = 18; // linear levels are record levels
  const auto curveAt = [&](const ZEP3_POINTS& points, uint16_t type, int level) {
    r.SetPoints(points);
    r.para.ic.wHlCurveType = ZEP3_HL_NONE;
    r.para.ic.wSdCurveType = type;
    CLUT lut(&r.para);
    EXPECT_TRUE(lut.MakeLUT(&r.para, nullptr, false));
    return lut.m_dCurve[0][level];
  };
  // Gamma 1: a line of slope 160 / 150 through (50, 60) and (200, 220); the toe's foot lies at -62.5.
  const ZEP3_POINTS line = {200 * 257, 50 * 257, 220 * 257, 60 * 257, 100};
  EXPECT_NEAR(curveAt(line, ZEP3_SD_TOE, 0), 60.0 * std::pow(62.6 / 112.5, 2.0), 1e-9);
  EXPECT_NEAR(curveAt(line, ZEP3_SD_TOE, 1), 60.0 * std::pow(63.5 / 112.5, 2.0), 1e-9);
  EXPECT_NEAR(curveAt(line, ZEP3_SD_NONE, 0), 60.0 - 49.9 * 160.0 / 150.0, 1e-9);
  // Slope 200 / (200 - p) through (p, 20) and (200, 220).
  const double p = 128.0 / 257.0;
  const double clipped = 20.0 - (p - 0.1) * 200.0 / (200.0 - p) - std::pow(p, 3.0) - std::pow(p - 0.1, 3.0);
  EXPECT_NEAR(curveAt({200 * 257, 128, 220 * 257, 20 * 257, 100}, ZEP3_SD_HARD_CLIP, 0), clipped, 1e-9);
}

TEST(Shaping, RollOffLeavesItsExactEnd) {
  Record r;
  r.para.lScreenGamma = 18;
  r.SetPoints({200 * 257, 50 * 257, 245 * 257, 30 * 257, 100});
  r.para.ic.wHlCurveType = ZEP3_HL_ROLL_OFF;
  CLUT lut(&r.para);
  lut.m_dCoefB[0] = 1.0; // out = in: slope 1 at 200, so 255 is reached at 200 + 10 * 2
  for (int i = 0; i < 256; i++) lut.m_dCurve[0][i] = i;
  ASSERT_TRUE(lut.CalcHlCurve(&r.para));
  EXPECT_EQ(lut.m_dCurve[0][200], 200.0);
  EXPECT_NEAR(lut.m_dCurve[0][210], 255.0 - 10.0 * 0.25, 1e-12);
  EXPECT_EQ(lut.m_dCurve[0][220], 220.0) << "the end itself keeps the base curve";
  EXPECT_EQ(lut.m_dCurve[0][221], 255.0);
}

TEST(Spline, CurvesThroughPoints) {
  double table[256];
  const double x[] = {0, 64, 192}, y[] = {0, 32, 224};
  ASSERT_TRUE(CLUT::GetGammaCurve(x, y, 2, table));
  EXPECT_EQ(table[0], 32.0);
  EXPECT_EQ(table[63], 32.0);
  EXPECT_NEAR(table[128], 128.0, 1e-12);
  EXPECT_EQ(table[193], 224.0);
  // Natural spline through (0,0), (100,200), (200,0): second derivatives 0, -0.06, 0; at 50: 100 + 0.375 * 0.06 *
  // 1e4 / 6.
  const double x3[] = {0, 0, 100, 200}, y3[] = {0, 0, 200, 0};
  double y2[4], value = 0.0;
  ASSERT_TRUE(CLUT::Spline(x3, y3, 3, 1e30, 1e30, y2));
  EXPECT_NEAR(y2[2], -0.06, 1e-15);
  ASSERT_TRUE(CLUT::CalcApproximateValue(x3, y3, y2, 3, 50.0, &value));
  EXPECT_NEAR(value, 137.5, 1e-12);
  // Ends held at slope 0: 2 a + b = 0.12 and 2 a + 4 b = -0.24.
  ASSERT_TRUE(CLUT::Spline(x3, y3, 3, 0.0, 0.0, y2));
  EXPECT_NEAR(y2[1], 0.12, 1e-12);
  EXPECT_NEAR(y2[2], -0.12, 1e-12);
  const double wide[] = {0, 0, 100, 155, 255}, high[] = {0, 100, 250, 250, 100};
  ASSERT_TRUE(CLUT::GetGammaCurve(wide, high, 4, table));
  EXPECT_EQ(table[128], 255.0) << "an overshoot is cut off";
  EXPECT_FALSE(CLUT::GetGammaCurve(x, y, 2, nullptr));
  // Of more points than a tone record holds the first sixteen count.
  double line[41];
  for (int i = 1; i <= 40; i++) line[i] = 4 * i;
  ASSERT_TRUE(CLUT::GetGammaCurve(line, line, 40, table));
  EXPECT_EQ(table[63], 63.0);
  EXPECT_EQ(table[100], 64.0);
}

TEST(Tone, InterpolatesAndKeepsWhatIsNoNumber) {
  Record r;
  CLUT lut(&r.para);
  r.master = {3, {{0, 10}, {254, 10}, {255, 110}}};
  r.para.ic.pRGBTone = nullptr;
  double table[256], rgb[768];
  ASSERT_TRUE(CLUT::MakeToneCurvLUT(&r.para.ic, table, rgb));
  for (int i = 0; i < 768; i++) EXPECT_EQ(rgb[i], i % 256) << "no curves are the identity";
  const double in[] = {254.5, 255.0, -1e300, kNaN}, out[] = {(table[254] + 110.0) / 2.0, 110.0, 10.0};
  std::copy(std::begin(in), std::end(in), lut.m_dCurve[0]);
  lut.ApplyMasterTone(&r.master);
  for (int i = 0; i < 3; i++) EXPECT_NEAR(lut.m_dCurve[0][i], out[i], 1e-12);
  EXPECT_TRUE(std::isnan(lut.m_dCurve[0][3]));
  // Rounding goes away from zero.
  const double rows[][2] = {{0.5, 1}, {-0.5, -1}, {254.49, 254}, {-3.5, -4}, {0.0, 0}, {kNaN, INT32_MIN}};
  for (const auto& row : rows) EXPECT_EQ(CLUT::UCRound(row[0]), static_cast<int32_t>(row[1])) << row[0];
}

TEST(AgainstLight, BareCurveStartsAtZeroAndOnlyNegativesAreShaped) {
  Record r;
  r.para.lScreenGamma = 18;
  r.SetPoints({200 * 257, 50 * 257, 220 * 257, 60 * 257, 100});
  r.para.ic.wHlCurveType = ZEP3_HL_ROLL_OFF;
  r.para.ic.lContrast = 50; // not applied
  CLUT lut(&r.para);
  ASSERT_TRUE(lut.MakeLUTForAgainstLight(&r.para));
  EXPECT_NEAR(lut.m_dCurve[0][0], 60.0 - 50.0 * 160.0 / 150.0, 1e-9);
  EXPECT_NEAR(lut.m_dCurve[0][210], 220.0 + 10.0 * 160.0 / 150.0, 1e-9);
  Record n(ZEP3_DOC_NEGATIVE);
  n.para.lScreenGamma = 18;
  n.SetPoints({225 * 257, 55 * 257, 200 * 257, 10 * 257, 100}); // film levels 30 (white) and 200 (black)
  CLUT film(&n.para);
  ASSERT_TRUE(film.MakeLUTForAgainstLight(&n.para));
  EXPECT_EQ(n.para.ic.wSdCurveType, ZEP3_SD_TOE);
  EXPECT_NEAR(film.m_dCurve[0][30], 200.0, 1e-9);
  // Slope 190 / 170: the toe's foot lies at 30 - 20 * 170 / 190; level 255 enters as 6000 / 255.
  const double foot = 30.0 - 20.0 * 170.0 / 190.0;
  EXPECT_NEAR(film.m_dCurve[0][255], 10.0 * std::pow((6000.0 / 255.0 - foot) / (30.0 - foot), 2.0), 1e-9);
}

TEST(ConvVal, FactorsFromTheSlopesInLight) {
  Record r;
  r.para.lScreenGamma = 18;
  r.SetPoints({200 * 257, 50 * 257, 200 * 257, 50 * 257, 100});
  r.para.ic.ch[1].lHlOut = 100 * 257;
  double factor[3];
  CLUT(&r.para).ApplyConvVal(&r.para, nullptr, factor);
  const auto light = [](double level) { return std::pow(level / 255.0, 1.8); };
  EXPECT_NEAR(factor[0], (light(100) - light(50)) / (light(200) - light(50)), 1e-12);
  EXPECT_NEAR(factor[1], 1.0, 1e-12);
  r.para.ic.ch[0].lHlIn = r.para.ic.ch[0].lSdIn;
  CLUT(&r.para).ApplyConvVal(&r.para, nullptr, factor);
  EXPECT_EQ(factor[0], 1.0) << "equal inputs: no slope";
  Record film(ZEP3_DOC_NEGATIVE);
  film.SetPoints(kNegativePoints);
  const double noRed[9] = {0, 0, 0, 0, 1.2, 0, 0, 0, 1.1};
  CLUT(&film.para).ApplyConvVal(&film.para, noRed, factor);
  EXPECT_EQ(factor[0], 1.0) << "a channel without a gain takes no part";
}

} // namespace

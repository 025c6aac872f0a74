// Tables: defaults, user curves, shapes, splines, and the finer tables beside them. Most of their bytes stand in the
// golden rows.
#include "engine/lut/clut.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "support.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

using Table = std::array<uint8_t, 768>;

Table TableOf(Record& r) {
  Table table;
  table.fill(99);
  EXPECT_EQ(MakeZEP3LUT(&r.para, table.data()), 1);
  return table;
}

TEST(Tables, RecordsOutsideTheirRangeStillGiveTables) {
  const struct {
    const char* why;
    void (*spoil)(Record&);
    int byte; // of red, at every level; -1: as if the record were in order
  } rows[] = {
      {"equal outputs", [](Record& r) { r.para.ic.ch[0].lSdOut = r.para.ic.ch[0].lHlOut; }, 0},
      {"above the scale, negative", [](Record& r) { r.para.wDocType = 0, r.para.ic.ch[0].lHlIn = 70000; }, 0},
      {"negative point", [](Record& r) { r.para.ic.ch[0].lHlIn = -2; }, 0},
      {"one point: its output",
       [](Record& r) {
         r.master.wPointNum = 1, r.master.ptCtrl[0] = {9, 50};
       },
       50},
      {"the low 8 bits of it",
       [](Record& r) {
         r.master.wPointNum = 1, r.master.ptCtrl[0] = {-1, 300};
       },
       44},
      {"a repeated input is left out",
       [](Record& r) {
         r.master.ptCtrl[0] = {255, 50};
       },
       50},
      {"a point before its neighbour",
       [](Record& r) {
         r.master = {4, {{0, 0}, {9, 9}, {5, 200}, {255, 255}}};
       },
       -1},
      {"no points",
       [](Record& r) {
         r.master = {-1, {{0, 200}, {255, 200}}};
       },
       -1},
  };
  Record good;
  good.SetPoints(kPhotoPoints);
  for (const auto& row : rows) {
    Record r;
    r.SetPoints(kPhotoPoints);
    row.spoil(r);
    Table expected = TableOf(good);
    if (row.byte >= 0) std::fill_n(expected.begin(), 256, static_cast<uint8_t>(row.byte));
    EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + 256, TableOf(r).begin())) << row.why;
  }
}

// At every 257th level the fine tables are the working curves, between them they run on; the record is written alike.
TEST(FineTables, AgreeAtWholeLevelsAndRunOnBetween) {
  std::mt19937 random(6);
  const auto between = [&](int lo, int hi) {
    return lo + static_cast<int>(random() % static_cast<unsigned>(hi - lo + 1));
  };
  std::vector<uint16_t> fine(3 * 65536);
  for (int n = 0; n < 24; n++) {
    SCOPED_TRACE(n);
    Record r(n % 4, n % 5);
    const bool film = r.IsFilm();
    for (ZEP3_POINTS& p : r.para.ic.ch) {
      p = {between(film ? 45000 : 50000, 60000), between(film ? 8000 : 0, film ? 20000 : 6000), between(50000, 60000),
           between(2000, 6000), between(60, 180)};
    }
    r.para.ic.ch[n % 3].lGamma = n % 7 == 0 ? ZEP3_UNSET : 100;
    r.para.ic.wHlCurveType = static_cast<uint16_t>(n % 3 == 0 ? ZEP3_HL_AUTO : between(0, 2));
    r.para.ic.wSdCurveType = static_cast<uint16_t>(n % 3 == 0 ? ZEP3_SD_AUTO : between(3, 5));
    const ZEP3_PARA fresh = r.para;
    ZEP3_PARA copy = fresh, again = fresh;
    ASSERT_EQ(MakeZEP3LUT16(&copy, kIdentity, fine.data()), 1);
    const double levels[] = {200.0, 0.0, 3000 / 257.0, 255.0, -3.0, 1e300, kNaN};
    constexpr int64_t kLevels = std::size(levels);
    double display[3 * kLevels];
    ASSERT_EQ(MakeZEP3LUTAt(&again, kIdentity, levels, kLevels, display), 1);
    CLUT lut(&r.para);
    ASSERT_TRUE(lut.MakeLUT(&r.para, kIdentity, true));
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
      ASSERT_EQ(MakeZEP3LUTAt(&again, kIdentity, &both[place], kLevels, &both[kLevels]), 1);
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

TEST(Shaping, RollOffLeavesItsExactEnd) {
  Record r;
  r.para.lScreenGamma = 18;
  r.SetPoints({200 * 257, 50 * 257, 245 * 257, 30 * 257, 100});
  r.para.ic.wHlCurveType = ZEP3_HL_ROLL_OFF;
  CLUT lut(&r.para);
  lut.m_dCoefB[0] = 1.0; // out = in: slope 1 at 200, so 255 is reached at 200 + 10 * 2
  for (int i = 0; i < 256; i++) lut.m_dCurve[0][i] = i;
  ASSERT_TRUE(lut.CalcHlCurve(&r.para));
  EXPECT_NEAR(lut.m_dCurve[0][210], 255.0 - 10.0 * 0.25, 1e-12);
  EXPECT_EQ(lut.m_dCurve[0][220], 220.0) << "the end itself keeps the base curve";
  EXPECT_EQ(lut.m_dCurve[0][221], 255.0);
}

TEST(Spline, EndsMayBeHeldAndSixteenPointsCount) {
  // Through (0,0), (100,200), (200,0) with slope 0 at both ends: 2 a + b = 0.12 and 2 a + 4 b = -0.24.
  const double x[] = {0, 0, 100, 200}, y[] = {0, 0, 200, 0};
  double y2[4], line[41], table[256];
  ASSERT_TRUE(CLUT::Spline(x, y, 3, 0.0, 0.0, y2));
  EXPECT_NEAR(y2[1], 0.12, 1e-12);
  EXPECT_NEAR(y2[2], -0.12, 1e-12);
  for (int i = 1; i <= 40; i++) line[i] = 4 * i;
  ASSERT_TRUE(CLUT::GetGammaCurve(line, line, 40, table));
  EXPECT_EQ(table[63], 63.0);
  EXPECT_EQ(table[100], 64.0);
  EXPECT_FALSE(CLUT::GetGammaCurve(line, line, 2, nullptr));
}

TEST(Tone, KeepsWhatIsNoNumberAndRoundsAwayFromZero) {
  Record r;
  CLUT lut(&r.para);
  r.master = {3, {{0, 10}, {254, 10}, {255, 110}}};
  double table[256], rgb[768];
  ASSERT_TRUE(CLUT::MakeToneCurvLUT(&r.para.ic, table, rgb));
  const double in[] = {254.5, 255.0, -1e300, kNaN}, out[] = {(table[254] + 110.0) / 2.0, 110.0, 10.0};
  std::copy(std::begin(in), std::end(in), lut.m_dCurve[0]);
  lut.ApplyMasterTone(&r.master);
  for (int i = 0; i < 3; i++) EXPECT_NEAR(lut.m_dCurve[0][i], out[i], 1e-12);
  EXPECT_TRUE(std::isnan(lut.m_dCurve[0][3]));
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

TEST(ConvVal, ChannelsWithoutASlopeOrAGainTakeNoPart) {
  Record r, film(ZEP3_DOC_NEGATIVE);
  r.SetPoints(kPhotoPoints);
  r.para.ic.ch[0].lHlIn = r.para.ic.ch[0].lSdIn;
  film.SetPoints(kFilmPoints);
  double factor[3];
  CLUT(&r.para).ApplyConvVal(&r.para, nullptr, factor);
  EXPECT_EQ(factor[0], 1.0);
  const double noRed[9] = {0, 0, 0, 0, 1.2, 0, 0, 0, 1.1};
  CLUT(&film.para).ApplyConvVal(&film.para, noRed, factor);
  EXPECT_EQ(factor[0], 1.0);
}

} // namespace

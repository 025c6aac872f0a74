// Tables: defaults, user curves, shapes, splines, and the finer tables beside them. Most of their bytes stand in the
// golden rows.
#include "engine/lut/clut.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

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
  Record good;
  good.SetPoints(kPhotoPoints);
  const struct {
    const char* why;
    ZEP3_TONE master;
    int64_t hlIn; // of red
    int byte;     // of red, at every level; -1: as if the record were in order
  } rows[] = {
      {"negative point", good.master, -2, 0},
      {"no number", good.master, INT32_MIN, 0},
      {"one point: its output", {1, {{9, 50}}}, 63424, 50},
      {"the low 8 bits of it", {1, {{-1, 300}}}, 63424, 44},
      {"a repeated input is left out", {2, {{255, 50}, {255, 255}}}, 63424, 50},
      {"a point before its neighbour", {4, {{0, 0}, {9, 9}, {5, 200}, {255, 255}}}, 63424, -1},
      {"no points", {-1, {{0, 200}, {255, 200}}}, 63424, -1},
  };
  for (const auto& row : rows) {
    Record r;
    r.SetPoints(kPhotoPoints);
    r.para.ic.ch[0].lHlIn = row.hlIn;
    r.master = row.master;
    Table expected = TableOf(good);
    if (row.byte >= 0) std::fill_n(expected.begin(), 256, static_cast<uint8_t>(row.byte));
    EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + 256, TableOf(r).begin())) << row.why;
  }
}

// At every 257th level the fine tables are the working curves, between them they run on; the record is written alike.
TEST(FineTables, AgreeAtWholeLevelsAndRunOnBetween) {
  std::vector<uint16_t> fine(3 * 65536);
  for (int n = 0; n < 20; n++) {
    SCOPED_TRACE(n);
    Record r(n % 4, n % 5);
    r.SetPoints(r.IsFilm() ? kFilmPoints : kPhotoPoints);
    for (ZEP3_POINTS& p : r.para.ic.ch) p.lSdIn = n % 5 == 2 ? 0 : p.lSdIn - 200 * n, p.lHlIn -= 300 * n;
    r.para.ic.ch[n % 3].lGamma = n % 7 == 0 ? ZEP3_UNSET : 60 + 6 * n;
    r.para.ic.wHlCurveType = static_cast<uint16_t>(n % 3 == 0 ? ZEP3_HL_AUTO : n / 3 % 3);
    r.para.ic.wSdCurveType = static_cast<uint16_t>(n % 3 == 0 ? ZEP3_SD_AUTO : 3 + n / 4 % 3);
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
        ASSERT_TRUE(r.IsFilm() ? step <= 0 : step >= 0) << c << " " << i;
      }
      // At any levels, in any order: the same curves, not rounded.
      const double* at = &display[kLevels * c];
      EXPECT_TRUE(at[0] == curve[200] && at[1] == curve[0] && at[3] == curve[255]);
      EXPECT_TRUE(at[4] == curve[0] && at[5] == curve[255] && std::isnan(at[6]));
      EXPECT_EQ(CLUT::UCRound(257 * at[2]), fine[65536 * c + 3000]);
    }
    // Levels before the results, among them or behind them: all are read before any is overwritten.
    for (const size_t place : {0, 6, 7, 10, 21, 28}) {
      double both[5 * kLevels];
      std::copy_n(levels, kLevels, &both[place]);
      again = fresh;
      ASSERT_EQ(MakeZEP3LUTAt(&again, kIdentity, &both[place], kLevels, &both[kLevels]), 1);
      EXPECT_EQ(std::memcmp(&both[kLevels], display, sizeof display), 0) << place;
    }
  }
}

// A scan's table is the curve at the level of each value.
TEST(ScanTables, AreTheCurveAtTheLevelsOfTheValues) {
  Record r(ZEP3_DOC_POSITIVE);
  r.SetPoints({60000, 3000, 63424, 4630, 120});
  std::vector<uint16_t> table(3 * 256);
  for (const int64_t gamma : {10, 18, 22}) {
    ASSERT_EQ(MakeZEP3ScanLUT(&r.para, nullptr, gamma, 256, table.data()), 1);
    for (const size_t i : {0u, 128u, 255u}) {
      const double level = 255 * std::pow(double(i) / 255, double(gamma) / 18);
      double display[3];
      ASSERT_EQ(MakeZEP3LUTAt(&r.para, nullptr, &level, 1, display), 1);
      EXPECT_NEAR(table[256 + i], 257 * display[1], 0.51);
    }
  }
}

} // namespace

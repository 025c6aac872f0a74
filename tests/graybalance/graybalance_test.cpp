// The pipettes, and colours run backwards.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "engine/graybalance/cgryblnce.h"
#include "support.h"

namespace {

// Completed records: a photo and a colour negative with unequal channels.
void Complete(Record& r) {
  const bool negative = r.para.wDocType == 0 || r.para.wDocType == 3;
  const ZEP3_POINTS photo[3] = {
      {60000, 6000, 63424, 4630, 105}, {58000, 5000, 63424, 4630, 100}, {62000, 7000, 63424, 4630, 110}};
  const ZEP3_POINTS film[3] = {
      {54000, 12000, 53721, 4630, 150}, {56000, 17000, 53721, 4630, 140}, {58000, 22000, 53721, 4630, 130}};
  r.para.lScreenGamma = 18; // tables, points and picked colours on one scale
  for (int c = 0; c < 3; c++) r.para.ic.ch[c] = negative ? film[c] : photo[c];
}

// What the record's tables make of the picked colour, which for negatives is given on the inverted scale.
std::array<int, 3> Printed(Record& r, const int64_t (&pick)[3]) {
  std::array<uint8_t, 768> table;
  EXPECT_EQ(MakeZEP3LUT(&r.para, table.data()), 1);
  const bool negative = r.para.wDocType == 0 || r.para.wDocType == 3;
  std::array<int, 3> out;
  for (size_t c = 0; c < 3; c++) out[c] = table[256 * c + static_cast<size_t>(negative ? 255 - pick[c] : pick[c])];
  return out;
}

// Gray balance by the points, pipette by the gammas.
TEST(Pipettes, BringThePickedColourToOneGray) {
  for (const bool gammas : {false, true}) {
    for (const int type : {0, 1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << "gammas " << gammas << ", type " << type);
      Record r(type);
      Complete(r);
      int64_t pick[3] = {124, 128, 133};
      const auto run = [&] {
        return gammas ? GetGamma(pick, &r.para) : GetGrayBalance(&r.para, {pick[0], pick[1], pick[2], 100});
      };
      ASSERT_EQ(run(), 1);
      const auto printed = Printed(r, pick);
      EXPECT_NEAR(printed[0], printed[1], gammas ? 2 : 1);
      EXPECT_NEAR(printed[2], printed[1], gammas ? 2 : 1);
      // It is gray now: once more moves nothing but roundings.
      const auto points = r.Points();
      ASSERT_EQ(run(), 1);
      for (size_t i = 0; i < 15; i++) EXPECT_NEAR(double(r.Points()[i]), double(points[i]), 3) << i;
    }
  }
}

TEST(PipetteGamma, RefusesColoursOutsideAnyChannelsRange) {
  const int64_t picks[][3] = {{254, 128, 128}, {128, 5, 128}, {0, 0, 0}, {128, INT64_MAX, 128}};
  for (const auto& row : picks) {
    for (const int type : {0, 2}) {
      Record r(type);
      Complete(r);
      const auto before = r.Points();
      int64_t pick[3] = {row[0], row[1], row[2]};
      EXPECT_EQ(GetGamma(pick, &r.para), 1);
      EXPECT_EQ(r.Points(), before);
    }
  }
}

TEST(InverseLookUp, FindsTheLastSegmentOrASubstitute) {
  Record r;
  Complete(r);
  CGRYBLNCE g(&r.para);
  double rising[768];
  double falling[768];
  for (int i = 0; i < 256; i++) {
    rising[i] = 10.0 + i * 0.5;              // 10 .. 137.5
    rising[256 + i] = i < 128 ? i : 255 - i; // up and down
    rising[512 + i] = i;
    for (int c = 0; c < 3; c++) falling[256 * c + i] = 200.0 - i * 0.5; // 200 .. 72.5
  }
  struct Row {
    const char* why;
    bool falls, master;
    double in[3], out[3];
  };
  const Row rows[] = {
      {"between, the falling part has no rising segment, on an entry", false, false, {11.25, 100, 7}, {2.5, 100, 7}},
      {"above the top; the top itself; the first entry", false, false, {140, 300, 0}, {254.9, 254.9, 0.1}},
      {"below; exactly the top of a rising table", false, false, {9, -1, 255}, {0.1, 0.1, 0.1}},
      {"all in the master table", false, true, {11.25, 20, 137.5}, {2.5, 20, 0.1}},
      {"falling: between, above, below", true, false, {199.75, 201, 72}, {0.5, 0.1, 254.9}},
      {"falling: on entries; the last belongs to its segment", true, false, {150, 72.5, 200}, {100, 255, 0.1}},
  };
  for (const Row& row : rows) {
    double color[3] = {row.in[0], row.in[1], row.in[2]};
    if (row.falls) {
      g.ConvNewColorNega(falling, color);
    } else {
      g.ConvNewColor(rising, color, row.master);
    }
    for (int c = 0; c < 3; c++) EXPECT_NEAR(color[c], row.out[c], 1e-12) << row.why << " " << c;
  }
}

TEST(InverseMatrix, SolvesOrRefuses) {
  Record r;
  Complete(r);
  CGRYBLNCE g(&r.para);
  const int64_t color[3] = {10, 20, 30};
  double out[3] = {7, 7, 7};
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double refused[][9] = {
      {0, 1, 0, 1, 0, 0, 0, 0, 1}, {0.0099, 0, 0, 0, 1, 0, 0, 0, 1}, {nan, 0, 0, 0, 1, 0, 0, 0, 1}};
  for (const auto& matrix : refused) {
    EXPECT_FALSE(g.ConvInverseMatrix(matrix, color, out));
    EXPECT_EQ(out[0], 7.0);
  }
  const double matrix[9] = {1.2, -0.1, -0.1, -0.3, 1.5, -0.2, 0.1, -0.4, 1.3};
  ASSERT_TRUE(g.ConvInverseMatrix(matrix, color, out));
  for (int row = 0; row < 3; row++) {
    const double* m = &matrix[3 * row];
    EXPECT_NEAR(m[0] * out[0] + m[1] * out[1] + m[2] * out[2], double(color[row]), 1e-12);
  }
}

TEST(NegaGains, IdentityWithinFourDecimalsStandsForFilm) {
  Record r;
  Complete(r);
  CGRYBLNCE g(&r.para);
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    double diagonal[3], gain[3];
  } rows[] = {{{1.00004, 0.99996, 1}, {0.807, 0.97, 1.009}},
              {{1.00006, 1, 1}, {1.00006, 1, 1}},
              {{1, 1, 1.2}, {1, 1, 1.2}},
              {{inf, 1, 1}, {inf, 1, 1}}};
  double gain[3];
  for (const auto& row : rows) {
    const double matrix[9] = {row.diagonal[0], 5, 5, 5, row.diagonal[1], 5, 5, 5, row.diagonal[2]};
    g.CheckCoefOfNega(matrix, gain);
    for (int c = 0; c < 3; c++) EXPECT_EQ(gain[c], row.gain[c]) << row.diagonal[0];
  }
  g.CheckCoefOfNega(nullptr, gain);
  EXPECT_EQ(gain[0], 1.0);
}

} // namespace

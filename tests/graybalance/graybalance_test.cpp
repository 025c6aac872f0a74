// Colours run backwards. What the pipettes make of them stands in the golden rows.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "engine/graybalance/cgryblnce.h"
#include "support.h"

namespace {

TEST(InverseLookUp, FindsTheLastSegmentOrASubstitute) {
  Record r;
  r.SetPoints(kPhotoPoints);
  CGRYBLNCE g(&r.para);
  double rising[768], falling[768];
  for (int i = 0; i < 256; i++) {
    rising[i] = 10.0 + i * 0.5;              // 10 .. 137.5
    rising[256 + i] = i < 128 ? i : 255 - i; // up and down
    rising[512 + i] = i;
    for (int c = 0; c < 3; c++) falling[256 * c + i] = 200.0 - i * 0.5; // 200 .. 72.5
  }
  const struct {
    const char* why;
    bool falls, master;
    double in[3], out[3];
  } rows[] = {
      {"between, the falling part has no rising segment, on an entry", false, false, {11.25, 100, 7}, {2.5, 100, 7}},
      {"above the top; the top itself; the first entry", false, false, {140, 300, 0}, {254.9, 254.9, 0.1}},
      {"below; exactly the top of a rising table", false, false, {9, -1, 255}, {0.1, 0.1, 0.1}},
      {"all in the master table", false, true, {11.25, 20, 137.5}, {2.5, 20, 0.1}},
      {"falling: between, above, below", true, false, {199.75, 201, 72}, {0.5, 0.1, 254.9}},
      {"falling: on entries; the last belongs to its segment", true, false, {150, 72.5, 200}, {100, 255, 0.1}},
  };
  for (const auto& row : rows) {
    double color[3] = {row.in[0], row.in[1], row.in[2]};
    row.falls ? g.ConvNewColorNega(falling, color) : g.ConvNewColor(rising, color, row.master);
    for (int c = 0; c < 3; c++) EXPECT_NEAR(color[c], row.out[c], 1e-12) << row.why << " " << c;
  }
}

TEST(Matrices, AreInvertedOrRefusedAndGiveGains) {
  Record r;
  r.SetPoints(kPhotoPoints);
  CGRYBLNCE g(&r.para);
  const int64_t color[3] = {10, 20, 30};
  double out[3] = {7, 7, 7};
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const double refused[][9] = {
      {0, 1, 0, 1, 0, 0, 0, 0, 1}, {0.0099, 0, 0, 0, 1, 0, 0, 0, 1}, {kNaN, 0, 0, 0, 1, 0, 0, 0, 1}};
  for (const auto& matrix : refused) EXPECT_FALSE(g.ConvInverseMatrix(matrix, color, out));
  EXPECT_EQ(out[0], 7.0);
  const double matrix[9] = {1.2, -0.1, -0.1, -0.3, 1.5, -0.2, 0.1, -0.4, 1.3};
  ASSERT_TRUE(g.ConvInverseMatrix(matrix, color, out));
  for (int row = 0; row < 3; row++) {
    const double* m = &matrix[3 * row];
    EXPECT_NEAR(m[0] * out[0] + m[1] * out[1] + m[2] * out[2], double(color[row]), 1e-12);
  }
  // An identity within four decimals stands for film.
  const double gains[][2][3] = {
      {{1.00004, 0.99996, 1}, {0.807, 0.97, 1.009}}, {{1.00006, 1, 1}, {1.00006, 1, 1}}, {{1, 1, 1.2}, {1, 1, 1.2}}};
  for (const auto& [diagonal, expected] : gains) {
    const double film[9] = {diagonal[0], 5, 5, 5, diagonal[1], 5, 5, 5, diagonal[2]};
    g.CheckCoefOfNega(film, out);
    for (int c = 0; c < 3; c++) EXPECT_EQ(out[c], expected[c]) << diagonal[0];
  }
  g.CheckCoefOfNega(nullptr, out);
  EXPECT_EQ(out[0], 1.0);
}

} // namespace

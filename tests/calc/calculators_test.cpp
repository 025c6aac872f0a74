// The default points, and who leads an underexposed frame. What calculators make of statistics stands in the golden
// rows.
#include "engine/calc/czep.h"

#include <gtest/gtest.h>

#include "support.h"

namespace {

TEST(SetDefault, PointsAndCurvesByKindOfOriginal) {
  struct Row {
    int type, subMode;
    ZEP3_POINTS points; // lHlIn 0: left alone
    int hl, sd;
  };
  const ZEP3_POINTS negative = {7710, 51400, 51400, 2570, 150};
  const ZEP3_POINTS photo = {62965, 2570, 62965, 2570, 100};
  const ZEP3_POINTS document = {59110, 8995, 65535, 2570, 107};
  const Row rows[] = {
      {0, 0, negative, 2, 5}, {0, 2, negative, 2, 5}, {1, 0, photo, 1, 4},    {1, 1, document, 1, 5},
      {1, 2, {}, 1, 4},       {2, 0, photo, 1, 4},    {2, 1, document, 1, 5}, {2, 3, document, 1, 4},
      {2, 4, {}, 1, 4},       {3, 1, negative, 2, 5}, {5, 0, negative, 2, 5}, {0xFFFF, 0, negative, 2, 5},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "type " << row.type << " sub-mode " << row.subMode);
    Record asked(row.type, row.subMode);
    Record linked; // the record that is written is the linked one
    CZEP zep;
    zep.SetParam(nullptr, &linked.para);
    zep.SetDefault(&asked.para);
    Record expected;
    EXPECT_EQ(asked.Points(), expected.Points());
    if (row.points.lHlIn != 0) expected.SetPoints(row.points);
    EXPECT_EQ(linked.Points(), expected.Points());
    EXPECT_EQ(linked.para.ic.wHlCurveType, row.hl);
    EXPECT_EQ(linked.para.ic.wSdCurveType, row.sd);
  }
}

// By hand: the weights are (clear - 2) / 0.15, at most 1. No golden row has channels of equal ranges and other weights.
TEST(Exposure, UnderIsLedByTheNarrowestChannel) {
  const struct {
    double clear[3], range[3], weight[3];
  } rows[] = {{{2.25, 2.125, 2.0}, {0.5, 0.5, 0.5}, {1, 5.0 / 6.0, 0}},
              // Blue is narrowest and has 5/6. Red: 0.6 * 1 > 0.5. Green: (0.5 / 0.75 + 0.4) * 5/6.
              {{2.25, 2.25, 2.125}, {1.0, 0.75, 0.5}, {5.0 / 6.0, 8.0 / 9.0, 5.0 / 6.0}}};
  for (const auto& row : rows) {
    double dense[3], weight[3], pile[3], range[3];
    for (int c = 0; c < 3; c++) dense[c] = row.clear[c] - row.range[c];
    CZEP().ExposureUnder(row.clear, row.clear, weight, dense, pile, range);
    for (int c = 0; c < 3; c++) EXPECT_NEAR(weight[c], row.weight[c], 1e-9) << c;
  }
}

} // namespace

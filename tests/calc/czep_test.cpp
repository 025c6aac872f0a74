// Default points, and the clamp of input points.
#include <gtest/gtest.h>

#include "engine/calc/czep.h"
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
    const auto before = asked.Points();
    CZEP zep;
    zep.SetParam(nullptr, &linked.para);
    zep.SetDefault(&asked.para);
    EXPECT_EQ(asked.Points(), before);
    Record expected;
    if (row.points.lHlIn != 0) expected.SetPoints(row.points);
    EXPECT_EQ(linked.Points(), expected.Points());
    EXPECT_EQ(linked.para.ic.wHlCurveType, row.hl);
    EXPECT_EQ(linked.para.ic.wSdCurveType, row.sd);
  }
}

TEST(LimitHlinSdin, KeepsTheEnds) {
  CZEP zep;
  const double rows[][2] = {{0.0, 0.1}, {0.1, 0.1}, {17.5, 17.5}, {255.0, 255.0}, {300.0, 255.0}, {-1.0, 0.1}};
  for (const auto& row : rows) EXPECT_EQ(zep.LimitHlinSdin(row[0]), row[1]);
}

} // namespace

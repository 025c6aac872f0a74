// The analysis area: which corners it takes, where its edges lie, which pixels lie inside.
#include <gtest/gtest.h>

#include <cstdint>

#include "engine/hist/chist.h"
#include "support.h"

namespace {

AREA Rectangle(int64_t left, int64_t top, int64_t right, int64_t bottom) {
  return {{left, top}, {left, top}, {right, bottom}, {right, bottom}};
}

TEST(Area, RectanglesShrinkByTheMargin) {
  const struct {
    const char* why;
    AREA area;
    int margin;
    int rect[4]; // left, right, top, bottom
  } rows[] = {
      {"2.5 is truncated", Rectangle(10, 20, 110, 120), 5, {12, 108, 22, 118}},
      {"above 90 as 90", Rectangle(10, 20, 110, 120), 120, {55, 65, 65, 75}},
      {"35 pixels keep what the object holds", Rectangle(10, 20, 15, 27), 5, {-1, -1, -1, -1}},
      {"40 pixels shrink", Rectangle(0, 0, 40, 1), 5, {1, 39, 0, 1}},
      {"extents multiply beyond 32 bits", Rectangle(0, 0, 65536, 65536), 5, {1638, 63898, 1638, 63898}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    CHIST hist;
    for (int& edge : hist.m_nAreaRect) edge = -1;
    AREA area = row.area;
    EXPECT_TRUE(hist.CalcLineEquation(&area, row.margin));
    EXPECT_FALSE(hist.m_bRotatedArea);
    for (int k = 0; k < 4; k++) EXPECT_EQ(hist.m_nAreaRect[k], row.rect[k]) << k;
  }
}

TEST(Area, RefusesCornersOutOfOrderAndVerticalEdges) {
  constexpr int64_t k2To32 = int64_t{1} << 32;
  const struct {
    const char* why;
    AREA area;
    bool checkPasses = false; // refused by the lines only
  } rows[] = {
      {"left right of top", {{51, 50}, {50, 0}, {100, 50}, {50, 100}}},
      {"top below left", {{0, 50}, {50, 51}, {100, 60}, {50, 100}}},
      {"the other half", {{0, 50}, {50, 0}, {100, 100}, {100, 100}}},
      {"vertical left edge", {{0, 50}, {0, 0}, {100, 50}, {50, 100}}, true},
      {"vertical in the low 32 bits", {{0, 50}, {k2To32, 0}, {2 * k2To32, 50}, {50, 100}}, true},
      {"corners at the ends of 64 bits", Rectangle(INT64_MIN, INT64_MIN, INT64_MAX, INT64_MAX), true},
      // From top to right x falls by one in the low 32 bits: turned by that edge's angle, the corners pass each other.
      {"an edge that runs backwards", {{0, 256 * k2To32}, {0, 0}, {UINT32_MAX, 256 * k2To32}, {5, 512 * k2To32}}, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    CHIST hist;
    AREA area = row.area;
    EXPECT_EQ(hist.AreaCheck(&area), row.checkPasses);
    EXPECT_FALSE(hist.CalcLineEquation(&area, 0) && hist.CalcLineEquation(&area, 5));
  }
}

} // namespace

// The analysis area: which corners it takes, where its edges lie, which pixels lie inside.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>

#include "engine/hist/chist.h"
#include "support.h"

namespace {

AREA Rectangle(int64_t left, int64_t top, int64_t right, int64_t bottom) {
  return {{left, top}, {left, top}, {right, bottom}, {right, bottom}};
}

// Corners at 45 degrees: the edges have slopes -1 and 1 and pass through pixels.
const AREA kDiamond = {{0, 50}, {50, 0}, {100, 50}, {50, 100}};

TEST(Area, RectanglesShrinkByTheMargin) {
  struct Row {
    const char* why;
    AREA area;
    int margin;
    int rect[4]; // left, right, top, bottom
  };
  const Row rows[] = {
      {"2.5 is truncated", Rectangle(10, 20, 110, 120), 5, {12, 108, 22, 118}},
      {"no margin", Rectangle(10, 20, 110, 120), 0, {10, 110, 20, 120}},
      {"negative as none", Rectangle(10, 20, 110, 120), -3, {10, 110, 20, 120}},
      {"above 90 as 90", Rectangle(10, 20, 110, 120), 120, {55, 65, 65, 75}},
      {"35 pixels keep what the object holds", Rectangle(10, 20, 15, 27), 5, {-1, -1, -1, -1}},
      {"35 pixels without a margin do not", Rectangle(10, 20, 15, 27), 0, {10, 15, 20, 27}},
      {"39 pixels keep it, too", Rectangle(0, 0, 39, 1), 5, {-1, -1, -1, -1}},
      {"40 pixels shrink", Rectangle(0, 0, 40, 1), 5, {1, 39, 0, 1}},
      {"extents multiply beyond 32 bits", Rectangle(0, 0, 65536, 65536), 5, {1638, 63898, 1638, 63898}},
  };
  for (const Row& row : rows) {
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
  struct Row {
    const char* why;
    AREA area;
    bool checkPasses = false; // refused by the lines only
    int margin = 5;
  };
  const Row rows[] = {
      {"left right of top", {{51, 50}, {50, 0}, {100, 50}, {50, 100}}},
      {"bottom right of right", {{0, 50}, {50, 0}, {100, 50}, {101, 100}}},
      {"top below right", {{0, 50}, {50, 51}, {100, 50}, {50, 100}}},
      {"left below bottom", {{0, 101}, {50, 0}, {100, 50}, {50, 100}}},
      {"right below bottom", {{0, 50}, {50, 0}, {100, 101}, {50, 100}}},
      {"left right of bottom", {{51, 50}, {60, 0}, {100, 50}, {50, 100}}},
      {"top right of right", {{0, 50}, {101, 0}, {100, 50}, {50, 100}}},
      {"top below left", {{0, 50}, {50, 51}, {100, 60}, {50, 100}}},
      {"half a rectangle", {{0, 0}, {0, 0}, {100, 50}, {50, 100}}},
      {"the other half", {{0, 50}, {50, 0}, {100, 100}, {100, 100}}},
      {"vertical left edge", {{0, 50}, {0, 0}, {100, 50}, {50, 100}}, true, 0},
      {"vertical right edge", {{0, 50}, {100, 0}, {100, 50}, {50, 100}}, true},
      {"vertical in the low 32 bits", {{0, 50}, {int64_t{1} << 32, 0}, {int64_t{1} << 33, 50}, {50, 100}}, true, 0},
      {"corners at the ends of 64 bits", Rectangle(INT64_MIN, INT64_MIN, INT64_MAX, INT64_MAX), true},
      // From top to right x falls by one in the low 32 bits: turned by that edge's angle, the corners pass each other.
      {"an edge that runs backwards in the low 32 bits",
       {{0, int64_t{1} << 40}, {0, 0}, {UINT32_MAX, int64_t{1} << 40}, {5, int64_t{1} << 41}},
       true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    CHIST hist;
    AREA area = row.area;
    EXPECT_EQ(hist.AreaCheck(&area), row.checkPasses);
    EXPECT_FALSE(hist.CalcLineEquation(&area, row.margin));
  }
}

TEST(Area, RotatedAreasShrinkAlongTheirEdges) {
  struct Row {
    int margin;
    double slope[4], intercept[4];
  };
  // Margin 20 takes a tenth of the sides off each end: the corners move 10 inwards.
  const Row rows[] = {{0, {-1, 1, -1, 1}, {50, -50, 150, 50}}, {20, {-1, 1, -1, 1}, {60, -40, 140, 40}}};
  for (const Row& row : rows) {
    CHIST hist;
    AREA area = kDiamond;
    ASSERT_TRUE(hist.CalcLineEquation(&area, row.margin));
    EXPECT_TRUE(hist.m_bRotatedArea);
    for (int k = 0; k < 4; k++) {
      EXPECT_EQ(hist.m_dLineSlope[k], row.slope[k]) << row.margin;
      EXPECT_EQ(hist.m_dLineIntercept[k], row.intercept[k]) << row.margin;
    }
  }
}

// A row's span is a short cut for testing each of its pixels, and the count one for counting them. Also far from the
// origin, where the edge lines are rounded most.
TEST(Area, SpansHoldExactlyTheInnerPixels) {
  int rotated = 0;
  std::mt19937 random(1);
  const auto upTo = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
  for (int n = 0; rotated < 5000; n++) {
    ASSERT_LT(n, 10000) << "areas are refused";
    const int far = n % 3 == 0 ? upTo(1 << 28) : 0;
    const int width = 2 + upTo(n % 5 == 0 ? 20000 : 60);
    const int height = 2 + upTo(n % 5 == 0 ? 20000 : 60);
    AREA area = {{0, upTo(height)}, {upTo(width), 0}, {width, upTo(height)}, {upTo(width), height}};
    if (n % 10 == 1) area = Rectangle(0, 0, width, height);
    for (LPOINT* corner : {&area.ptLeft, &area.ptTop, &area.ptRight, &area.ptBottom})
      corner->x += far, corner->y += far;
    CHIST hist;
    if (!hist.CalcLineEquation(&area, upTo(40))) continue;
    rotated += hist.m_bRotatedArea;
    // A window at one of the corners.
    const LPOINT& corner = *std::array{&area.ptLeft, &area.ptTop, &area.ptRight, &area.ptBottom}[n / 3 % 4];
    const PixelSpan columns = {static_cast<int>(corner.x) - upTo(30), static_cast<int>(corner.x) + 15};
    const PixelSpan lines = {static_cast<int>(corner.y) - upTo(30), static_cast<int>(corner.y) + 15};
    int64_t count = 0;
    for (int y = lines.begin; y < lines.end; y++) {
      const PixelSpan span = hist.Area().InnerSpan(y, columns);
      for (int x = columns.begin; x < columns.end; x++) {
        const bool inner = hist.IsInnerPoint(x, y);
        ASSERT_EQ(inner, span.begin <= x && x < span.end) << n << " " << x << "," << y;
        count += inner;
      }
    }
    ASSERT_EQ(hist.Area().InnerCount(columns, lines), count) << n;
    ASSERT_EQ(hist.Area().InnerCount({columns.begin, columns.begin}, lines), 0);
  }
}

} // namespace
